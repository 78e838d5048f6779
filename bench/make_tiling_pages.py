#!/usr/bin/env python3
"""Writes the tiling-pattern benchmark pages into a directory: A4 pages filled with
one tiling pattern whose cell is two CMYK squares, at cell sizes of 0.5 pt, 1 pt
and 6 pt.

    python3 bench/make_tiling_pages.py DIR
    BENCH_DPIS=1200 BENCH_THREADS=1 bench/pages.sh DIR

The 6 pt page (about 14 000 cells) is drawn cell by cell; the 0.5 pt and 1 pt pages
(2 and 0.5 million cells) pass the importer's cell limit and become one object whose
cell the renderer draws once and repeats. Every run writes the same bytes.
"""
import pathlib
import sys

PAGE = "[0 0 595.276 841.89]"


def page(cell):
    half = cell / 2
    body = ("0 1 0 0 k 0 0 %g %g re f 0 0 0 1 k %g %g %g %g re f\n"
            % (half, half, half, half, half, half)).encode()
    objects = [
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox %s /Resources << /Pattern << /P 5 0 R >> >> "
        "/Contents 4 0 R >>" % PAGE,
    ]
    content = b"/Pattern cs /P scn 0 0 595.276 841.89 re f\n"
    streams = {4: content,
               5: body}
    dicts = {4: "<< >>",
             5: "<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 %g %g] /XStep %g "
                "/YStep %g /Resources << >> >>" % (cell, cell, cell, cell)}
    out = bytearray(b"%PDF-1.7\n")
    offsets = []
    for number in range(1, 6):
        offsets.append(len(out))
        if number in streams:
            data = streams[number]
            header = dicts[number][:-2] + "/Length %d >>" % len(data)
            out += b"%d 0 obj\n%s\nstream\n%s\nendstream\nendobj\n" % (
                number, header.encode(), data)
        else:
            out += b"%d 0 obj\n%s\nendobj\n" % (number, objects[number - 1].encode())
    xref = len(out)
    out += b"xref\n0 6\n0000000000 65535 f \n"
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size 6 /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % xref
    return bytes(out)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    directory = pathlib.Path(sys.argv[1])
    directory.mkdir(parents=True, exist_ok=True)
    for name, cell in (("tiling_cell_0p5pt.pdf", 0.5), ("tiling_cell_1pt.pdf", 1.0),
                       ("tiling_cell_6pt.pdf", 6.0)):
        (directory / name).write_bytes(page(cell))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes the transparency benchmark page: an A4 page of 1 000 overlapping isolated
groups, each two CMYK rectangles composited with Multiply at 70 % under its own
luminosity soft mask (a grey rectangle over a black backdrop).

    python3 bench/make_group_page.py OUT.pdf

Positions, sizes and colours are fixed formulas of the group's number, so every run
writes the same file; transparency_bench renders it through the importer and the
library, and a peer renderer can be timed on the same file.
"""
import sys
import zlib

COUNT = 1000
PAGE_W, PAGE_H = 595.276, 841.89


def n(value):
    return ("%.3f" % value).rstrip("0").rstrip(".")


def unit(i, prime):
    return ((i * prime) % 1000) / 1000.0


def build():
    objects = []

    def add(body, stream=None):
        objects.append((body, stream))
        return len(objects)

    groups, states = [], []
    for i in range(COUNT):
        size = 50 + 150 * unit(i, 31)
        x = unit(i, 7919) * (PAGE_W - size)
        y = unit(i, 104729) * (PAGE_H - size)
        c, m, yy, k = unit(i, 13), unit(i, 17), unit(i, 19), unit(i, 23) * 0.3
        content = ("%s %s %s %s k %s %s %s %s re f " % (n(c), n(m), n(yy), n(k), n(x), n(y),
                                                       n(size), n(size * 0.6)) +
                   "%s %s %s %s k %s %s %s %s re f" % (n(m), n(yy), n(c), 0, n(x + size * 0.3),
                                                      n(y + size * 0.3), n(size * 0.7),
                                                      n(size * 0.7)))
        mask = add("<< /Type /XObject /Subtype /Form /BBox [0 0 %s %s] "
                   "/Group << /S /Transparency /CS /DeviceGray >> /Filter /FlateDecode >>" %
                   (n(PAGE_W), n(PAGE_H)),
                   zlib.compress(("%s g %s %s %s %s re f" % (n(0.2 + 0.6 * unit(i, 29)),
                                                           n(x + size * 0.1), n(y),
                                                           n(size * 0.8), n(size))).encode()))
        groups.append(add("<< /Type /XObject /Subtype /Form /BBox [0 0 %s %s] "
                          "/Group << /S /Transparency /I true /CS /DeviceCMYK >> "
                          "/Filter /FlateDecode >>" % (n(PAGE_W), n(PAGE_H)),
                          zlib.compress(content.encode())))
        states.append(add("<< /Type /ExtGState /ca 0.7 /CA 0.7 /BM /Multiply "
                          "/SMask << /Type /Mask /S /Luminosity /G %d 0 R >> >>" % mask))
    page_content = "".join("q /S%d gs /G%d Do Q\n" % (i, i) for i in range(COUNT))
    content = add("<< /Filter /FlateDecode >>", zlib.compress(page_content.encode()))
    resources = ("<< /XObject << %s >> /ExtGState << %s >> >>" %
                 (" ".join("/G%d %d 0 R" % (i, g) for i, g in enumerate(groups)),
                  " ".join("/S%d %d 0 R" % (i, s) for i, s in enumerate(states))))
    pages = len(objects) + 2
    page = add("<< /Type /Page /Parent %d 0 R /MediaBox [0 0 %s %s] /Resources %s "
               "/Contents %d 0 R >>" % (pages, n(PAGE_W), n(PAGE_H), resources, content))
    add("<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    catalog = add("<< /Type /Catalog /Pages %d 0 R >>" % pages)

    out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
    offsets = []
    for number, (body, stream) in enumerate(objects, 1):
        offsets.append(len(out))
        if stream is None:
            out += b"%d 0 obj\n%s\nendobj\n" % (number, body.encode())
        else:
            body = body[:-2].rstrip() + " /Length %d >>" % len(stream)
            out += b"%d 0 obj\n%s\nstream\n%s\nendstream\nendobj\n" % (number, body.encode(),
                                                                      stream)
    xref = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += b"trailer\n<< /Size %d /Root %d 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (
        len(objects) + 1, catalog, xref)
    return bytes(out)


if __name__ == "__main__":
    with open(sys.argv[1], "wb") as f:
        f.write(build())

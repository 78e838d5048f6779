"""Shared fixtures of the Python module's tests: the press sheet, the `qorsc`
command built beside the module, and a reader for the command's PAM output."""

import os
import pathlib
import struct
import subprocess
import zlib

import numpy
import pytest

import qorsc

SOURCE_DIR = pathlib.Path(os.environ.get("QORSC_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
PRESS_SHEET = SOURCE_DIR / "samples" / "press_sheet.pdf"


@pytest.fixture(scope="session")
def press_sheet():
    return qorsc.open(PRESS_SHEET)


def read_pam(path):
    """The plates of a PAM file as (plates, height, width) and its TUPLTYPE."""
    data = pathlib.Path(path).read_bytes()
    end = data.index(b"ENDHDR\n") + len(b"ENDHDR\n")
    fields = dict(line.split(" ", 1) for line in data[:end].decode().splitlines()[1:-1])
    width, height, depth = (int(fields[k]) for k in ("WIDTH", "HEIGHT", "DEPTH"))
    pixels = numpy.frombuffer(data, numpy.uint8, offset=end).reshape(height, width, depth)
    return pixels.transpose(2, 0, 1), fields["TUPLTYPE"]


def read_rgb_png(path):
    """The pixels of an 8-bit RGB PNG without interlacing, as (height, width, 3)."""
    data = pathlib.Path(path).read_bytes()
    position, idat = 8, b""
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + length]
        if kind == b"IHDR":
            width, height, depth, color, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert (depth, color, interlace) == (8, 2, 0)
        elif kind == b"IDAT":
            idat += body
        position += 12 + length
    raw = numpy.frombuffer(zlib.decompress(idat), numpy.uint8).reshape(height, 1 + 3 * width)
    rows = numpy.zeros((height, 3 * width), numpy.int32)
    for y in range(height):
        kind, line = raw[y, 0], raw[y, 1:].astype(numpy.int32)
        above = rows[y - 1] if y else numpy.zeros_like(line)
        if kind in (0, 2):
            rows[y] = (line + (above if kind == 2 else 0)) & 0xFF
            continue
        row = rows[y]
        for x in range(3 * width):  # Sub, Average and Paeth depend on the left pixel
            left = row[x - 3] if x >= 3 else 0
            upper_left = above[x - 3] if x >= 3 else 0
            if kind == 1:
                predicted = left
            elif kind == 3:
                predicted = (left + above[x]) // 2
            else:
                p = left + above[x] - upper_left
                pa, pb, pc = abs(p - left), abs(p - above[x]), abs(p - upper_left)
                predicted = left if pa <= pb and pa <= pc else above[x] if pb <= pc else upper_left
            row[x] = (line[x] + predicted) & 0xFF
    return rows.astype(numpy.uint8).reshape(height, width, 3)


@pytest.fixture
def cli_render(tmp_path):
    """Renders page 1 of a PDF with the `qorsc` command to PAM (or, with "-f png",
    to its preview); returns the plates (or the RGB pixels)."""

    def render(pdf, *options):
        cli = os.environ.get("QORSC_CLI")
        if not cli:
            pytest.skip("QORSC_CLI does not name the qorsc command")
        png = "png" in options
        out = tmp_path / ("page-%d.png" if png else "page-%d.pam")
        format_options = [] if png else ["-f", "pam"]
        subprocess.run([cli, "render", str(pdf), "-p", "1", *format_options, "-o", str(out),
                        "--quiet", *options], check=True)
        if png:
            return read_rgb_png(tmp_path / "page-1.png")
        return read_pam(tmp_path / "page-1.pam")

    return render

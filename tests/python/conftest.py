"""Shared fixtures of the Python module's tests: the press sheet, the `qorsc`
command built beside the module, and a reader for the command's PAM output."""

import os
import pathlib
import subprocess

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


@pytest.fixture
def cli_render(tmp_path):
    """Renders page 1 of a PDF with the `qorsc` command to PAM; returns its plates."""

    def render(pdf, *options):
        cli = os.environ.get("QORSC_CLI")
        if not cli:
            pytest.skip("QORSC_CLI does not name the qorsc command")
        out = tmp_path / "page-%d.pam"
        subprocess.run([cli, "render", str(pdf), "-p", "1", "-f", "pam", "-o", str(out),
                        "--quiet", *options], check=True)
        return read_pam(tmp_path / "page-1.pam")

    return render

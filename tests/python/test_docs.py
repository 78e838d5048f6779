"""The examples people copy: the package's docstring, the README's and the ink
coverage sample."""

import contextlib
import doctest
import io
import re
import subprocess
import sys

import qorsc
from conftest import PRESS_SHEET, SOURCE_DIR


def test_the_package_example_holds(monkeypatch):
    monkeypatch.chdir(SOURCE_DIR)
    failures, tried = doctest.testmod(qorsc)
    assert tried > 0 and failures == 0


def test_the_readme_example_prints_a_line_per_plate(monkeypatch):
    readme = (SOURCE_DIR / "README.md").read_text()
    example = re.search(r"```python\n(.*?)```", readme, re.S).group(1)
    monkeypatch.chdir(SOURCE_DIR)
    output = io.StringIO()
    with contextlib.redirect_stdout(output):
        exec(example, {})
    lines = output.getvalue().splitlines()
    assert [line.split()[0] for line in lines][:4] == ["Cyan", "Magenta", "Yellow", "Black"]
    assert len(lines) == 6 and all(line.endswith("%") for line in lines)


def test_the_ink_coverage_sample_prints_every_plate():
    result = subprocess.run(
        [sys.executable, str(SOURCE_DIR / "samples" / "ink_coverage.py"), str(PRESS_SHEET), "50"],
        check=True, capture_output=True, text=True)
    assert "page 1: 842 x 595 pt at 50 dpi" in result.stdout
    assert "PANTONE 185 C" in result.stdout and "Silver" in result.stdout
    missing = subprocess.run(
        [sys.executable, str(SOURCE_DIR / "samples" / "ink_coverage.py"), "/nonexistent.pdf"],
        capture_output=True, text=True)
    assert missing.returncode != 0 and "nonexistent.pdf" in missing.stderr

"""lines() keeps memory proportional to the page width: the first lines of the A4
press sheet at 2400 dpi (28 067 pixels wide, six plates) in a fresh interpreter,
with two threads filling their band buffers, stay under 100 MB resident."""

import os
import re
import subprocess
import sys

from conftest import PRESS_SHEET, SOURCE_DIR


def test_lines_at_2400_dpi_stay_under_100_mb():
    script = SOURCE_DIR / "bench" / "python_lines_memory.py"
    result = subprocess.run(
        [sys.executable, str(script), str(PRESS_SHEET), "--dpi", "2400", "--threads", "2",
         "--max-lines", "3000"],
        check=True, capture_output=True, text=True, env=os.environ)
    peak = int(re.search(r"peak resident (\d+) MB", result.stdout).group(1))
    assert peak < 100, result.stdout

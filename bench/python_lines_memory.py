#!/usr/bin/env python3
"""Peak resident memory and time of Page.lines() over a whole page: lines() must
stay proportional to the page width, also at imagesetter resolutions.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_lines_memory.py \
        [FILE.pdf] [--dpi 2400] [--threads N] [--max-lines N]

Prints the page's size in pixels, the lines read, the seconds taken and the peak
resident set size (ru_maxrss) of the process.
"""

import argparse
import pathlib
import resource
import time

import qorsc


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("pdf", nargs="?",
                        default=pathlib.Path(__file__).parents[1] / "samples" / "press_sheet.pdf")
    parser.add_argument("--dpi", type=float, default=2400)
    parser.add_argument("--threads", type=int, default=None)
    parser.add_argument("--max-lines", type=int, default=None)
    arguments = parser.parse_args()

    page = qorsc.open(arguments.pdf)[0]
    start = time.monotonic()
    count = 0
    width = 0
    inked = 0
    for line in page.lines(dpi=arguments.dpi, threads=arguments.threads):
        width = line.shape[1]
        inked += int(line.any(axis=0).sum())
        count += 1
        if arguments.max_lines is not None and count >= arguments.max_lines:
            break
    seconds = time.monotonic() - start
    peak_mb = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
    print(f"{width} pixels x {count} lines at {arguments.dpi:g} dpi, {inked} inked pixels: "
          f"{seconds:.1f} s, peak resident {peak_mb:.0f} MB")


if __name__ == "__main__":
    main()

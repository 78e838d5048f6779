#!/usr/bin/env python3
"""Prints the ink coverage of every plate of every page of a PDF: the share of the
page's area each plate covers, weighted by ink (100 % is the whole page in solid
ink), and the page's total area coverage at its heaviest pixel.

    PYTHONPATH=build/release/python /usr/bin/python3 samples/ink_coverage.py FILE.pdf [DPI]
"""

import sys

import numpy

import qorsc


def main(arguments):
    if len(arguments) not in (1, 2):
        sys.exit(__doc__.strip().splitlines()[-1].strip())
    dpi = float(arguments[1]) if len(arguments) == 2 else 150
    try:
        document = qorsc.open(arguments[0])
    except qorsc.ImportError as error:
        sys.exit(f"ink_coverage: {error}")
    for page in document:
        width, height = page.size
        print(f"page {page.index + 1}: {width:g} x {height:g} pt at {dpi:g} dpi")
        plates = page.render(dpi=dpi, dtype=numpy.float32)
        for name, plate in zip(plates.plate_names, plates):
            print(f"  {name:24} {plate.mean():7.2%}")
        total = plates.sum(axis=0)
        print(f"  {'maximum total coverage':24} {total.max():7.0%}")


if __name__ == "__main__":
    main(sys.argv[1:])

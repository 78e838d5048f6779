"""Separations of PDF pages as numpy arrays.

    >>> import qorsc
    >>> page = qorsc.open("samples/press_sheet.pdf")[0]
    >>> plates = page.render(dpi=150)
    >>> plates.shape, plates.plate_names[:4]
    ((6, 1240, 1754), ['Cyan', 'Magenta', 'Yellow', 'Black'])

Plates hold ink amounts: 0 is no ink, 255 (or 1.0 as float32) full ink. Pages render
exactly as `qorsc render` renders them: the same plates, anti-aliasing and bytes.

Errors are exceptions: ImportError (a ValueError) for files that cannot be read,
IndexError for pages and pixels outside the document, ValueError for bad arguments.
"""

import os

import numpy

from . import _qorsc

ImportError = _qorsc.ImportError  # noqa: A001 - the package's own, a ValueError
Hit = _qorsc.Hit
__version__ = _qorsc.__version__

__all__ = ["open", "Document", "Page", "Plates", "Hit", "ImportError"]


class Plates(numpy.ndarray):
    """A render: an array of shape (plates, height, width) whose plate_names name
    the first axis, in order.

    Slicing the first axis slices the names too; one plate (plates[i] or
    plates.plate(name)) is a plain (height, width) array."""

    def __new__(cls, array, plate_names):
        plates = numpy.asarray(array).view(cls)
        plates.plate_names = list(plate_names)
        return plates

    def __array_finalize__(self, source):
        self.plate_names = getattr(source, "plate_names", None)

    def __getitem__(self, key):
        result = super().__getitem__(key)
        first = key[0] if isinstance(key, tuple) and key else key
        if isinstance(result, Plates) and self.plate_names is not None:
            if isinstance(first, (int, numpy.integer)):
                return result.view(numpy.ndarray)
            if isinstance(first, slice):
                result.plate_names = self.plate_names[first]
        return result

    def __iter__(self):
        for index in range(len(self)):
            yield self[index]

    def plate(self, name):
        """The plane of the plate called `name` (a KeyError if there is none)."""
        try:
            return numpy.asarray(self)[self.plate_names.index(name)]
        except ValueError:
            raise KeyError(name) from None


def open(source, annotations=False):  # noqa: A001 - qorsc.open reads like the built-in
    """Opens a PDF document from a path (str or os.PathLike) or from its bytes
    (bytes, bytearray or memoryview). Raises qorsc.ImportError when the file is
    missing, unreadable, not a PDF or needs a password.

    With annotations=True pages also draw the annotations that print (their
    appearance streams), as `qorsc render --annotations` does."""
    if isinstance(source, (bytes, bytearray, memoryview)):
        return Document(_qorsc.open_bytes(bytes(source), bool(annotations)))
    return Document(_qorsc.open_file(os.fspath(source), bool(annotations)))


class Document:
    """An open PDF document: a sequence of pages.

    Pages are imported when first asked for and kept. A document may be used from
    several threads; each page renders independently of the others. The file stays
    open until close() (or the end of a `with` block); pages already taken stay
    usable after it."""

    def __init__(self, core):
        self._open_core = core
        self._pages = {}

    @property
    def _core(self):
        if self._open_core is None:
            raise ValueError("the document is closed")
        return self._open_core

    def close(self):
        """Closes the file. Pages taken before stay usable."""
        self._open_core = None

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def __repr__(self):
        if self._open_core is None:
            return "<qorsc.Document (closed)>"
        return f"<qorsc.Document {self.name!r}, {len(self)} pages>"

    def __len__(self):
        return self._core.page_count

    def __getitem__(self, index):
        """The page at zero-based `index` (negative counts from the end); IndexError
        when there is no such page."""
        count = len(self)
        if not isinstance(index, int):
            raise TypeError("page indices are integers")
        if index < 0:
            index += count
        if not 0 <= index < count:
            raise IndexError(f"page index {index} is out of range: the document has {count} pages")
        page = self._pages.get(index)
        if page is None:
            page = self._pages.setdefault(index, Page(self._core.page(index)))
        return page

    def __iter__(self):
        for index in range(len(self)):
            yield self[index]

    @property
    def name(self):
        """The file's name, or "(memory)" for a document opened from bytes."""
        return self._core.name

    @property
    def output_intent(self):
        """The output intent's ICC profile (bytes), or None when there is none."""
        return self._core.output_intent

    @property
    def warnings(self):
        """Warnings about the file as a whole, as "subject: reason" strings."""
        return self._core.warnings


def _threads(threads, most=None):
    if threads is not None:
        return threads
    cores = os.cpu_count() or 1
    return cores if most is None else min(cores, most)


def _dtype(dtype):
    try:
        name = numpy.dtype(dtype).name
    except TypeError:
        raise ValueError(f"dtype: {dtype!r} is neither uint8 nor float32") from None
    if name not in ("uint8", "float32"):
        raise ValueError(f"dtype: {name} is neither uint8 nor float32")
    return name


def _box(box):
    if box is None:
        return None
    left, top, right, bottom = (int(v) for v in box)
    return (left, top, right, bottom)


class Page:
    """One page of a document, imported and ready to render.

    Render arguments, shared by render(), lines() and preview():
      dpi        resolution in dots per inch (0 < dpi <= 100000)
      colorants  "auto" (CMYK then the page's spot colours in order of use), "cmyk",
                 "gray" (one plate "Black"), or a list of plate names
      aa         anti-aliasing: 1 (none) to 4, converting that many times finer
      aa_filter  "tent" or "box", the anti-aliasing reduction
      threads    rendering threads; None: one per core
      dtype      numpy.uint8 (0..255) or numpy.float32 (0.0..1.0, needs aa=1)
      box        (left, top, right, bottom) in pixels of the page at dpi, or None
                 for the whole page
    """

    def __init__(self, core):
        self._core = core

    def __repr__(self):
        width, height = self.size
        return f"<qorsc.Page {self.index} {width:g} x {height:g} pt>"

    @property
    def index(self):
        """The zero-based page index."""
        return self._core.index

    @property
    def size(self):
        """(width, height) of the page as displayed, in points (1/72 inch)."""
        return self._core.size

    @property
    def colorants(self):
        """The colorants the page uses (process and spot), in order of first use."""
        return self._core.colorants

    @property
    def warnings(self):
        """What the importer skipped or repaired on this page, as "subject: reason"
        strings."""
        return self._core.warnings

    @property
    def not_rendered(self):
        """What the page holds that will not print (features not supported yet,
        fonts, images or shadings that could not be read, annotations without an
        appearance), as (feature, count) pairs in order of first meeting; empty
        when everything is drawn. `qorsc info` lists the same."""
        return self._core.not_rendered

    @property
    def incomplete(self):
        """Why the page's content was not read to its end (the file asks for more
        work or memory than any real page needs), or None. Such a page is refused
        by render(), lines() and preview() with qorsc.ImportError, as by `qorsc
        render`."""
        return self._core.incomplete

    def render(self, dpi=300, colorants="auto", aa=1, aa_filter="tent", threads=None,
               dtype=numpy.uint8, box=None):
        """Renders the page to a Plates array of shape (plates, height, width).

        The bytes are those `qorsc render` writes with the same settings. The
        interpreter lock is released while rendering, so other Python threads run
        (and may render too)."""
        array, names = self._core.render(dpi, colorants, aa, aa_filter, _threads(threads),
                                         _dtype(dtype), _box(box))
        return Plates(array, names)

    def lines(self, dpi=300, colorants="auto", aa=1, aa_filter="tent", threads=None,
              dtype=numpy.uint8, box=None):
        """Renders the page one line at a time: a generator of arrays of shape
        (plates, width), top to bottom. Memory follows the page width, not its
        area, so very large pages can be processed. The plate names are those
        render() gives for the same arguments.

        threads=None uses at most two: the reader is usually slower than the
        render, and each thread adds band buffers (A4 at 2400 dpi: about 55 MB
        with one thread, 90 MB with two, all told). Float lines
        are converted by the reading thread itself."""
        stream = self._core.lines(dpi, colorants, aa, aa_filter, _threads(threads, most=2),
                                  _dtype(dtype), _box(box))
        try:
            yield from stream
        finally:
            stream.close()

    def plate_names(self, colorants="auto"):
        """The plates a render with these colorants produces, in order."""
        return self._core.lines(72, colorants, 1, "tent", 1, "uint8", None).plate_names

    def hits(self, x, y, dpi=300):
        """The objects painting pixel (x, y) of the page at dpi (on the "auto"
        plates), first painted first, as Hit objects. IndexError when the pixel
        lies outside the page."""
        return self._core.hits(int(x), int(y), dpi)

    def preview(self, dpi=72, colorants="auto", aa=1, aa_filter="tent", threads=None):
        """An RGB picture of the page (uint8, shape (height, width, 3)): the plates'
        inks as printed on white paper, through the document's output intent when
        it has a usable CMYK profile."""
        return self._core.preview(dpi, colorants, aa, aa_filter, _threads(threads))

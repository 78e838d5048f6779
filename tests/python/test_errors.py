"""Bad input reaches Python as the documented exceptions, never as a crash."""

import numpy
import pytest

import qorsc
from conftest import SOURCE_DIR


def test_unreadable_files_raise_import_error(tmp_path):
    assert issubclass(qorsc.ImportError, ValueError)
    with pytest.raises(qorsc.ImportError, match="missing.pdf"):
        qorsc.open(tmp_path / "missing.pdf")
    not_pdf = tmp_path / "not.pdf"
    not_pdf.write_bytes(b"plain text, no PDF at all\n")
    with pytest.raises(qorsc.ImportError):
        qorsc.open(str(not_pdf))
    with pytest.raises(ValueError):
        qorsc.open(b"%PDF-1.7\ngarbage")
    with pytest.raises(TypeError):
        qorsc.open(42)


def test_pages_outside_the_document_raise_index_error(press_sheet):
    for index in (1, 7, -2):
        with pytest.raises(IndexError):
            press_sheet[index]
    with pytest.raises(TypeError):
        press_sheet["1"]


@pytest.mark.parametrize("arguments", [
    dict(dpi=0), dict(dpi=-72), dict(dpi=float("nan")), dict(dpi=float("inf")), dict(dpi=2e5),
    dict(colorants="CMYK"), dict(colorants="Cyan,Black"), dict(colorants=[]),
    dict(colorants=["Cyan", ""]), dict(colorants=["Cyan", "Cyan"]),
    dict(aa=0), dict(aa=5), dict(aa_filter="gauss"), dict(threads=0), dict(threads=-2),
    dict(dtype=numpy.int16), dict(dtype="complex"), dict(dtype=numpy.float32, aa=2),
    dict(box=(0, 0, 0, 10)), dict(box=(-1, 0, 10, 10)), dict(box=(0, 0, 10, 100000)),
])
def test_bad_render_arguments_raise_value_error(press_sheet, arguments):
    page = press_sheet[0]
    with pytest.raises(ValueError):
        page.render(**{"dpi": 20, **arguments})
    with pytest.raises(ValueError):
        next(page.lines(**{"dpi": 20, **arguments}))


def test_pixels_outside_the_page_raise_index_error(press_sheet):
    page = press_sheet[0]
    for x, y in ((-1, 0), (0, -1), (842, 0), (0, 595)):
        with pytest.raises(IndexError):
            page.hits(x, y, dpi=72)
    with pytest.raises(ValueError):
        page.hits(0, 0, dpi=0)


def test_a_page_too_large_for_memory_raises_memory_error(press_sheet):
    with pytest.raises(MemoryError):
        press_sheet[0].render(dpi=100000)


def test_hostile_pages_are_refused_like_the_command():
    hostile = SOURCE_DIR / "tests" / "pdf" / "data" / "hostile"
    page = qorsc.open(hostile / "form_chain.pdf")[0]
    assert "placements" in page.incomplete
    with pytest.raises(qorsc.ImportError, match="is refused"):
        page.render(dpi=10)
    with pytest.raises(qorsc.ImportError, match="is refused"):
        next(page.lines(dpi=10))
    huge = qorsc.open(hostile / "huge_media_box.pdf")[0]
    assert huge.incomplete is None
    with pytest.raises(ValueError, match="too large"):
        huge.render(dpi=300)
    with pytest.raises(ValueError, match="too large"):
        huge.render(dpi=300, dtype=numpy.float32, box=(0, 0, 1, 1))

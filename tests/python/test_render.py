"""Renders through the module against the `qorsc` command, and its shapes of output
against each other."""

import os
import signal
import threading
import time

import numpy
import pytest

import qorsc
from conftest import PRESS_SHEET, SOURCE_DIR


@pytest.mark.parametrize("options,arguments", [
    (["-r", "100"], dict(dpi=100)),
    (["-r", "60", "--colorants", "cmyk", "--aa", "3", "--aa-filter", "box", "--threads", "2"],
     dict(dpi=60, colorants="cmyk", aa=3, aa_filter="box", threads=2)),
    (["-r", "50", "--colorants", "Silver,Black,PANTONE 185 C", "--aa", "2"],
     dict(dpi=50, colorants=["Silver", "Black", "PANTONE 185 C"], aa=2, threads=3)),
    (["-r", "75", "--colorants", "gray"], dict(dpi=75, colorants="gray", threads=1)),
])
def test_plates_equal_the_command_byte_for_byte(press_sheet, cli_render, options, arguments):
    expected, tuple_type = cli_render(PRESS_SHEET, *options)
    plates = press_sheet[0].render(**arguments)
    assert isinstance(plates, qorsc.Plates)
    assert plates.dtype == numpy.uint8
    assert plates.shape == expected.shape
    assert tuple_type in ("CMYK", ",".join(plates.plate_names))
    numpy.testing.assert_array_equal(numpy.asarray(plates), expected)
    assert plates.any(), "the press sheet paints every plate list above"


def bytes_of(floats):
    """Ink amounts as bytes: (int)(v·255 + 0.5) in single precision, a trace of ink
    never 0."""
    v = numpy.asarray(floats, numpy.float32)
    b = (v * numpy.float32(255) + numpy.float32(0.5)).astype(numpy.int64) & 0xFF
    return numpy.where((b == 0) & (v.astype(numpy.float64) >= 1e-6), 1, b).astype(numpy.uint8)


def test_float_output_matches_bytes_by_the_byte_rule(press_sheet):
    page = press_sheet[0]
    for colorants in ("auto", "cmyk", ["Silver", "Magenta"]):
        floats = page.render(dpi=90, colorants=colorants, dtype=numpy.float32, threads=2)
        assert floats.dtype == numpy.float32
        assert 0.0 <= floats.min() and floats.max() <= 1.0
        # Real ink values, not bytes divided back: some are no multiple of 1/255.
        assert (numpy.round(floats * 255) != floats * 255).any()
        plates = page.render(dpi=90, colorants=colorants, threads=1)
        assert floats.plate_names == plates.plate_names
        numpy.testing.assert_array_equal(bytes_of(floats), plates)


def test_lines_concatenated_equal_the_render(press_sheet):
    page = press_sheet[0]
    cases = [dict(dpi=80), dict(dpi=70, aa=2, threads=2),
             dict(dpi=80, dtype=numpy.float32, box=(30, 40, 400, 170)),
             dict(dpi=64, colorants=["Black"], aa=4, box=(5, 300, 200, 301))]
    for arguments in cases:
        whole = page.render(**arguments)
        lines = list(page.lines(**arguments))
        assert len(lines) == whole.shape[1]
        assert all(line.shape == (whole.shape[0], whole.shape[2]) for line in lines)
        assert lines[0].dtype == whole.dtype
        numpy.testing.assert_array_equal(numpy.stack(lines, axis=1), whole)


def test_a_box_is_the_same_part_of_the_whole_page(press_sheet):
    page = press_sheet[0]
    for aa in (1, 3):
        whole = page.render(dpi=72, aa=aa)
        part = page.render(dpi=72, aa=aa, box=(100, 50, 321, 400))
        numpy.testing.assert_array_equal(part, whole[:, 50:400, 100:321])


def test_stopping_lines_early_ends_the_render(press_sheet):
    page = press_sheet[0]
    first = page.render(dpi=150, box=(0, 0, 1754, 3))
    lines = page.lines(dpi=150, threads=2)
    for y in range(3):
        numpy.testing.assert_array_equal(next(lines), first[:, y])
    lines.close()
    # Abandoned without closing: dropping the generator stops its thread too.
    abandoned = page.lines(dpi=150)
    next(abandoned)
    del abandoned


def test_page_properties_and_plate_names(press_sheet):
    assert len(press_sheet) == 1
    page = press_sheet[0]
    assert press_sheet[-1] is page
    width, height = page.size
    assert (round(width), round(height)) == (842, 595)
    assert page.colorants[4:] == ["PANTONE 185 C", "Silver"]
    assert all(isinstance(w, str) for w in page.warnings)
    assert page.plate_names() == ["Cyan", "Magenta", "Yellow", "Black", "PANTONE 185 C",
                                  "Silver"]
    assert page.plate_names("gray") == ["Black"]
    plates = page.render(dpi=20)
    numpy.testing.assert_array_equal(plates.plate("Silver"), plates[5])
    assert type(plates[5]) is numpy.ndarray and plates[5].shape == plates.shape[1:]
    assert all(type(plate) is numpy.ndarray for plate in plates)
    assert plates[4:].plate_names == ["PANTONE 185 C", "Silver"]
    assert plates[::-3, 2:5].plate_names == ["Silver", "Yellow"]
    with pytest.raises(KeyError):
        plates.plate("Orange")


def test_annotations_draw_on_request_and_missing_ones_are_counted(press_sheet):
    path = SOURCE_DIR / "tests" / "pdf" / "data" / "annotations.pdf"
    plain = qorsc.open(path)[0]
    assert plain.not_rendered == []
    assert plain.render(dpi=72, colorants=["Black"])[0, 180, 20] == 0
    annotated = qorsc.open(path.read_bytes(), annotations=True)[0]
    # The square annotation's black appearance fills its /Rect (10 10 50 30).
    assert annotated.render(dpi=72, colorants=["Black"])[0, 180, 20] == 255
    assert annotated.not_rendered == [("annotation without a usable appearance", 2)]
    assert press_sheet[0].not_rendered == []


def test_bytes_open_like_the_file(press_sheet):
    document = qorsc.open(PRESS_SHEET.read_bytes())
    assert document.name == "(memory)"
    numpy.testing.assert_array_equal(document[0].render(dpi=40), press_sheet[0].render(dpi=40))


def test_pages_outlive_their_closed_document(press_sheet):
    with qorsc.open(PRESS_SHEET) as document:
        page = document[0]
        lines = page.lines(dpi=30)
        first = next(lines)
    assert "closed" in repr(document)
    with pytest.raises(ValueError):
        len(document)
    numpy.testing.assert_array_equal(page.render(dpi=30), press_sheet[0].render(dpi=30))
    numpy.testing.assert_array_equal(first, press_sheet[0].render(dpi=30)[:, 0])
    assert len(list(lines)) == page.render(dpi=30).shape[1] - 1


def test_hits_name_the_objects_painting_a_pixel(press_sheet):
    page = press_sheet[0]
    plates = page.render(dpi=72)
    inked = numpy.argwhere(plates.any(axis=0))
    y, x = inked[len(inked) // 2]
    hits = page.hits(int(x), int(y), dpi=72)
    assert hits, "an inked pixel has an object painting it"
    assert all(isinstance(h, qorsc.Hit) and h.kind and h.description for h in hits)
    blank = numpy.argwhere(~plates.any(axis=0))
    if len(blank):
        by, bx = blank[0]
        assert page.hits(int(bx), int(by), dpi=72) == []


def test_preview_equals_the_commands_png(press_sheet, cli_render):
    expected = cli_render(PRESS_SHEET, "-f", "png", "-r", "40", "--aa", "2")
    numpy.testing.assert_array_equal(press_sheet[0].preview(dpi=40, aa=2), expected)


def test_preview_is_rgb_white_where_there_is_no_ink(press_sheet):
    page = press_sheet[0]
    rgb = page.preview(dpi=36)
    plates = page.render(dpi=36)
    assert rgb.dtype == numpy.uint8 and rgb.shape == plates.shape[1:] + (3,)
    blank = ~plates.any(axis=0)
    assert blank.any() and (~blank).any()
    assert (rgb[blank] == 255).all()
    assert (rgb[~blank] < 255).any()


def test_ctrl_c_stops_a_long_render(press_sheet):
    # Every line of the page at 2400 dpi, four times finer, is rendered for a box 10
    # pixels wide: many seconds of work, interrupted after a fraction of one.
    page = press_sheet[0]
    timer = threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT))
    finished = False
    start = time.monotonic()
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            page.render(dpi=2400, aa=4, box=(0, 0, 10, 19833), threads=2)
            finished = True
            time.sleep(10)
    finally:
        timer.cancel()
    assert not finished
    assert time.monotonic() - start < 3

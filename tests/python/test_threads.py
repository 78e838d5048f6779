"""Renders from several Python threads at once: the lock is released while
rendering and pages share no state, so each thread gets what it would alone."""

import threading

import numpy

import qorsc
from conftest import PRESS_SHEET


def test_two_threads_render_at_once(press_sheet):
    page = press_sheet[0]
    settings = [dict(dpi=110, aa=2), dict(dpi=90, colorants="cmyk", dtype=numpy.float32)]
    expected = [page.render(threads=1, **s) for s in settings]
    other_document = qorsc.open(PRESS_SHEET)
    results = [None] * 4
    errors = []
    start = threading.Barrier(4)

    def work(slot, page, arguments):
        try:
            start.wait()
            results[slot] = page.render(threads=2, **arguments)
        except Exception as error:  # reported below, from the test's own thread
            errors.append(error)

    jobs = [(0, page, settings[0]), (1, page, settings[1]),
            (2, other_document[0], settings[0]), (3, other_document[0], settings[1])]
    threads = [threading.Thread(target=work, args=job) for job in jobs]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not errors
    for slot, result in enumerate(results):
        numpy.testing.assert_array_equal(result, expected[slot % 2])


def test_pages_are_imported_once_from_several_threads():
    document = qorsc.open(PRESS_SHEET)
    pages = []
    threads = [threading.Thread(target=lambda: pages.append(document[0])) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert all(page is pages[0] for page in pages)


def test_python_runs_on_while_a_page_renders(press_sheet):
    # With the interpreter lock held by the render, the counting thread could not
    # count at all while it runs.
    page = press_sheet[0]
    count = [0]
    stop = threading.Event()

    def counter():
        while not stop.is_set():
            count[0] += 1

    thread = threading.Thread(target=counter)
    thread.start()
    try:
        while count[0] == 0:
            pass
        before = count[0]
        page.render(dpi=2400, box=(0, 0, 10, 19833), threads=1)
        during = count[0] - before
    finally:
        stop.set()
        thread.join()
    assert during > 1000

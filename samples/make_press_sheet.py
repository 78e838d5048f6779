#!/usr/bin/env python3
"""Writes samples/press_sheet.pdf, the bundled sample page (standard library only).

One A4 landscape page laid out as a grid of labelled cells, each showing one thing a
separation renderer must get right: process and spot colours, overprint, standard
fonts and text state, strokes, clips, forms, transparency groups (isolated and
knockout) and a luminosity soft mask, optional content, image masks, curves and a
spot-colour vignette (an axial shading). Crop marks and registration targets sit
outside the trim box.

The output is deterministic (no dates, fixed object order, zlib level 9), so the
PDF lives in the repository beside this script and regenerating it shows no diff.
Run from anywhere: python3 samples/make_press_sheet.py
"""

import math
import pathlib
import zlib

OUTPUT = pathlib.Path(__file__).resolve().parent / "press_sheet.pdf"

# A4 landscape; the trim box leaves a 36 pt margin for crop marks and targets.
PAGE_W, PAGE_H = 842, 595
TRIM = (36, 36, 806, 559)

# Control-point distance that makes four cubic Béziers a near-exact circle.
KAPPA = 0.5522847498

# Colour spaces and their setters. Process colours go through DeviceCMYK so the
# plates appear in the order Cyan, Magenta, Yellow, Black, then the spots.
PANTONE = "/CS185 cs %s scn"
SILVER = "/CSSilver cs %s scn"
REGISTRATION = "/CSAll CS 1 SCN"
BLACK = "0 0 0 1 k"
BLACK_STROKE = "0 0 0 1 K"
GREY_RULE = "0 0 0 0.45 K"
WHITE = "0 0 0 0 k"

# Type 4 tint transforms: the stack holds the tint(s) on entry and C M Y K on exit.
SILVER_TRANSFORM = b"{ dup 0.22 mul exch dup 0.15 mul exch dup 0.12 mul exch 0.3 mul }"
# (pantone, black) -> (0, 0.91 pantone, 0.76 pantone, black), the same alternate
# as the PANTONE 185 C Separation so both spaces preview alike.
DEVICEN_TRANSFORM = b"{ exch dup 0.91 mul exch 0.76 mul 3 -1 roll 0 4 1 roll }"


def num(value):
    """Shortest fixed-point text for a number, so the stream bytes never depend on
    float printing quirks."""
    text = "%.3f" % value
    text = text.rstrip("0").rstrip(".")
    return "0" if text in ("", "-0") else text


def nums(*values):
    return " ".join(num(v) for v in values)


def pdf_string(text):
    """A literal string in WinAnsiEncoding (cp1252 is the same table for the
    characters used here)."""
    raw = text.encode("cp1252")
    out = bytearray(b"(")
    for byte in raw:
        if byte in b"()\\":
            out += b"\\"
        out.append(byte)
    out += b")"
    return out.decode("latin-1")


class Pdf:
    """Numbered objects written in order; the catalog is always object 1."""

    def __init__(self):
        self.objects = {}

    def reserve(self):
        number = len(self.objects) + 1
        self.objects[number] = None
        return number

    def set(self, number, body, stream=None):
        if stream is not None:
            stream = zlib.compress(stream, 9)
            assert body.endswith(">>")
            body = body[:-2].rstrip() + " /Filter /FlateDecode /Length %d >>" % len(stream)
        self.objects[number] = (body, stream)
        return number

    def add(self, body, stream=None):
        return self.set(self.reserve(), body, stream)

    def build(self):
        out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
        offsets = {}
        for number in sorted(self.objects):
            body, stream = self.objects[number]
            offsets[number] = len(out)
            out += b"%d 0 obj\n%s\n" % (number, body.encode("latin-1"))
            if stream is not None:
                out += b"stream\n" + stream + b"\nendstream\n"
            out += b"endobj\n"
        size = len(self.objects) + 1
        xref = len(out)
        out += b"xref\n0 %d\n0000000000 65535 f \n" % size
        for number in range(1, size):
            out += b"%010d 00000 n \n" % offsets[number]
        out += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (size, xref)
        return bytes(out)


class Content:
    """Operators collected line by line; helpers cover the shapes the sheet repeats."""

    def __init__(self):
        self.lines = []

    def __call__(self, *operators):
        self.lines.extend(operators)
        return self

    def data(self):
        return ("\n".join(self.lines) + "\n").encode("latin-1")

    def rect(self, x, y, w, h, paint="f"):
        return self("%s re %s" % (nums(x, y, w, h), paint))

    def circle_path(self, cx, cy, r):
        k = r * KAPPA
        return self("%s m" % nums(cx + r, cy),
                    "%s c" % nums(cx + r, cy + k, cx + k, cy + r, cx, cy + r),
                    "%s c" % nums(cx - k, cy + r, cx - r, cy + k, cx - r, cy),
                    "%s c" % nums(cx - r, cy - k, cx - k, cy - r, cx, cy - r),
                    "%s c" % nums(cx + k, cy - r, cx + r, cy - k, cx + r, cy), "h")

    def star_path(self, cx, cy, r):
        """A self-crossing pentagram: its centre has winding number 2, so non-zero
        fills it and even-odd leaves it empty."""
        points = [(cx + r * math.cos(math.radians(90 + 144 * i)),
                   cy + r * math.sin(math.radians(90 + 144 * i))) for i in range(5)]
        self("%s m" % nums(*points[0]))
        for point in points[1:]:
            self("%s l" % nums(*point))
        return self("h")

    def text(self, font, size, x, y, string, colour=BLACK):
        return self("BT %s /%s %s Tf %s Td %s Tj ET" %
                    (colour, font, num(size), nums(x, y), pdf_string(string)))

    def label(self, x, y, string, size=5.5):
        return self.text("F1", size, x, y, string)

    def arrow(self, x, y, direction):
        """A small filled arrowhead with its tip at (x, y) pointing left (-1) or right (1)."""
        back = x - 4 * direction
        return self("%s m %s l %s l h f" % (nums(x, y), nums(back, y + 1.6), nums(back, y - 1.6)))


def cell_frame(c, x, y, w, h, title):
    c("q 0.3 w", GREY_RULE)
    c.rect(x, y, w, h, "S")
    c("Q")
    c.text("F2", 8, x + 6, y + h - 13, title)


def colour_bar(c, x, y):
    """Tint steps of the process inks, then grey, RGB, both spots, DeviceN and
    registration, each patch labelled below."""
    size, step = 24, 26.6
    groups = [
        ("Cyan", ["%s 0 0 0 k" % num(t) for t in (1, .75, .5, .25)], ["100", "75", "50", "25"]),
        ("Magenta", ["0 %s 0 0 k" % num(t) for t in (1, .75, .5, .25)], ["100", "75", "50", "25"]),
        ("Yellow", ["0 0 %s 0 k" % num(t) for t in (1, .75, .5, .25)], ["100", "75", "50", "25"]),
        ("Black", ["0 0 0 %s k" % num(t) for t in (1, .75, .5, .25)], ["100", "75", "50", "25"]),
        ("Gray", ["0.5 g"], ["50 g"]),
        ("RGB", ["0.15 0.45 0.8 rg"], ["rg"]),
        ("PANTONE 185 C", [PANTONE % num(t) for t in (1, .75, .5, .25)],
         ["100", "75", "50", "25"]),
        ("Silver", [SILVER % num(t) for t in (1, .5)], ["100", "50"]),
        ("DeviceN 185+K", ["/CSDN cs 1 0 scn", "/CSDN cs 0.5 0.6 scn"], ["1 0", ".5 .6"]),
        ("All", ["/CSAll cs 1 scn"], ["Reg"]),
    ]
    # Paint every patch before any label so the first ink used is Cyan, not the
    # labels' Black.
    positions = []
    cursor = x
    for _, fills, _ in groups:
        positions.append(cursor)
        for fill in fills:
            c(fill)
            c.rect(cursor, y, size, size)
            cursor += step
        cursor += 6
    for (name, fills, tints), left in zip(groups, positions):
        c.label(left, y + size + 4, name, 6)
        for i, tint in enumerate(tints):
            c.label(left + i * step + 1, y - 7, tint, 5)
    return cursor


def overprint_cell(c, x, y):
    """Spot over process and CMYK over CMYK, each with overprint on and off."""
    c.label(x + 6, y + 167, "PANTONE 185 C over Cyan background:")
    c("0.8 0 0 0 k")
    c.rect(x + 6, y + 112, 173, 48)
    c("q /GSop gs", PANTONE % "1")
    c.circle_path(x + 50, y + 136, 18)("f Q")
    c("q /GSko gs", PANTONE % "1")
    c.circle_path(x + 135, y + 136, 18)("f Q")
    c.label(x + 14, y + 104, "op true: cyan prints under")
    c.label(x + 104, y + 104, "op false: knockout")

    c.label(x + 6, y + 88, "0 0 1 0 k over Magenta background:")
    c("0 0.9 0 0 k")
    c.rect(x + 6, y + 30, 173, 52)
    labels = [("GSopm1", "OP on, OPM 1", "red: M kept"),
              ("GSop", "OP on, OPM 0", "yellow: zeros paint"),
              ("GSko", "OP off", "yellow: knockout")]
    for i, (state, line1, line2) in enumerate(labels):
        left = x + 14 + i * 57
        c("q /%s gs 0 0 1 0 k" % state)
        c.rect(left, y + 40, 42, 32)
        c("Q")
        c.label(left, y + 21, line1, 5)
        c.label(left, y + 14, line2, 5)
    c.label(x + 6, y + 4, "ExtGState /OP /op /OPM. Previews without overprint show knockouts.", 4.6)


def text_cell(c, x, y):
    """Standard fonts, render modes 0, 1, 2 and 7, kerning and text state."""
    left = x + 8
    c("BT", BLACK, "/F1 9 Tf %s Td" % nums(left, y + 164),
      "%s Tj" % pdf_string("Helvetica 9 pt, fill (Tr 0)"), "ET")
    c("q BT 1 Tr 0.6 w", "/CS185 CS 1 SCN", "/F2 20 Tf %s Td" % nums(left, y + 142),
      "%s Tj ET Q" % pdf_string("Stroke Tr 1"))
    c("q BT 2 Tr 0.7 w 0.9 0 0 0 k 0 0 0 1 K", "/F3 20 Tf %s Td" % nums(left, y + 120),
      "%s Tj ET Q" % pdf_string("Fill + stroke Tr 2"))
    c("BT", BLACK, "/F4 9 Tf %s Td 1.5 Tc" % nums(left, y + 104),
      "%s Tj 0 Tc ET" % pdf_string("Times-Italic, Tc 1.5 spacing"))
    c("BT", BLACK, "/F3 9 Tf %s Td 6 Tw" % nums(left, y + 92),
      "%s Tj 0 Tw ET" % pdf_string("Times-Roman, Tw 6 between words"))
    c("BT", BLACK, "/F5 8 Tf %s Td 140 Tz" % nums(left, y + 79),
      "%s Tj 100 Tz ET" % pdf_string("Courier Tz 140"))
    c("BT", BLACK, "/F3 11 Tf %s Td" % nums(left + 108, y + 79),
      "%s Tj" % pdf_string("H"),
      "/F3 7 Tf -2.5 Ts %s Tj" % pdf_string("2"),
      "/F3 11 Tf 0 Ts %s Tj" % pdf_string("O x"),
      "/F3 7 Tf 5 Ts %s Tj 0 Ts ET" % pdf_string("2"))
    c("BT", BLACK, "/F2 15 Tf %s Td" % nums(left, y + 58),
      "%s Tj ET" % pdf_string("WAVE AV"),
      "BT /F2 15 Tf %s Td" % nums(left + 80, y + 58),
      "[(W) 90 (A) 110 (VE) 40 ( ) 0 (A) 120 (V)] TJ ET")
    c.label(left, y + 50, "Tj, no kerning", 5)
    c.label(left + 80, y + 50, "TJ with kerning", 5)
    # Render mode 7 adds the glyph outlines to the clip at ET; the stripes below are
    # the only marks, so the word shows as striped letters with no outline.
    c("q BT 7 Tr /F2 34 Tf %s Td" % nums(left, y + 10), "%s Tj ET" % pdf_string("CLIP"))
    c("1.6 w 0.85 0 0 0 K")
    for i in range(0, 40):
        x0 = left - 10 + i * 3.2
        c("%s m %s l S" % (nums(x0, y + 4), nums(x0 + 24, y + 40)))
    c("/CS185 CS 1 SCN 0.8 w")
    for i in range(0, 7):
        c("%s m %s l S" % (nums(left, y + 8 + i * 4.8), nums(left + 90, y + 8 + i * 4.8)))
    c("Q")
    c.label(left + 96, y + 30, "Tr 7: the glyphs clip", 5.5)
    c.label(left + 96, y + 23, "the stripes under them.", 5.5)
    c.label(left + 96, y + 10, "Standard fonts, not", 5)
    c.label(left + 96, y + 4, "embedded, WinAnsi.", 5)


def strokes_cell(c, x, y):
    """Line widths down to a hairline, caps, joins with miter limits, dashes."""
    left = x + 8
    c.label(left, y + 167, "Widths 0 (hairline), 0.25, 0.5, 1, 2 pt:")
    c(BLACK_STROKE)
    for i, width in enumerate((0, 0.25, 0.5, 1, 2)):
        xi = left + 4 + i * 14
        c("%s w %s m %s l S" % (num(width), nums(xi, y + 128), nums(xi, y + 158)))
    for i, width in enumerate((0, 0.25, 0.5, 1, 2)):
        yi = y + 155 - i * 7
        c("%s w %s m %s l S" % (num(width), nums(left + 80, yi), nums(left + 168, yi)))

    c.label(left, y + 116, "Caps J 0 / 1 / 2, 12 pt, over the path:")
    for i, cap in enumerate((0, 1, 2)):
        yi = y + 100 - i * 17
        c("q 12 w %d J 0.6 0 0 0 K %s m %s l S" % (cap, nums(left + 20, yi), nums(left + 70, yi)))
        c("0 w", BLACK_STROKE, "%s m %s l S Q" % (nums(left + 20, yi), nums(left + 70, yi)))
        c.label(left, yi - 2, "J %d" % cap)

    c.label(left + 112, y + 116, "Joins j 0 / 1 / 2:")
    for i, join in enumerate((0, 1, 2)):
        xi = left + 96 + i * 27
        c("q 10 w %d j 10 M 0 0.7 0 0 K %s m %s l %s l S Q" %
          (join, nums(xi, y + 74), nums(xi + 9, y + 100), nums(xi + 18, y + 74)))
        c.label(xi + 4, y + 64, "j %d" % join, 5)
    c.label(left + 102, y + 54, "Miter limit, sharp j 0:", 5)
    for i, limit in enumerate((10, 2)):
        xi = left + 108 + i * 34
        c("q 5 w 0 j %s M 0 0 0 0.6 K %s m %s l %s l S Q" %
          (num(limit), nums(xi, y + 14), nums(xi + 6, y + 38), nums(xi + 12, y + 14)))
        c.label(xi - 1, y + 4, "M %s" % num(limit), 5)

    c.label(left, y + 44, "Dashes: [6 3] 0 d, [6 3] 4 d, [0 4] round:", 5)
    dashes = [("[6 3] 0 d 0 J", 2.5), ("[6 3] 4 d 0 J", 2.5), ("[0 4] 0 d 1 J", 2.5)]
    for i, (dash, width) in enumerate(dashes):
        yi = y + 34 - i * 9
        c("q %s w %s 0 0.6 0.9 0 K %s m %s l S Q" %
          (num(width), dash, nums(left, yi), nums(left + 84, yi)))
    c.label(left, y + 4, "Phase 4 shifts the second dash.", 5)


def clipping_cell(c, x, y):
    """A rectangle clip with a nested circle clip, and a pentagram clipped by the
    non-zero and the even-odd rule."""
    left = x + 8
    # re W n: the Magenta disc is cut to the rectangle; inside that, a nested
    # circle clip limits the Yellow stripes; Q restores both.
    c("q")
    c.rect(left + 12, y + 112, 70, 50, "W n")
    c("0 0.8 0 0 k")
    c.circle_path(left + 47, y + 137, 40)("f")
    c("q")
    c.circle_path(left + 47, y + 137, 18)("W n")
    c("0 0 1 0 K 3 w")
    for i in range(10):
        yi = y + 117 + i * 4.5
        c("%s m %s l S" % (nums(left + 20, yi), nums(left + 74, yi)))
    c("Q")
    c("0 0 0 1 k")
    c.rect(left + 10, y + 135, 80, 4)
    c("Q")
    c("q 0 w", BLACK_STROKE)
    c.rect(left + 12, y + 112, 70, 50, "S")
    c("Q")
    c.label(left + 92, y + 152, "re W n clips the", 5.5)
    c.label(left + 92, y + 145, "magenta disc and a", 5.5)
    c.label(left + 92, y + 138, "black bar; a nested", 5.5)
    c.label(left + 92, y + 131, "q/circle W n clips", 5.5)
    c.label(left + 92, y + 124, "the yellow stripes.", 5.5)

    for i, (clip, name) in enumerate((("W n", "W n (non-zero)"), ("W* n", "W* n (even-odd)"))):
        cx, cy = left + 40 + i * 90, y + 60
        c("q")
        c.star_path(cx, cy, 42)(clip)
        for j in range(12):
            c("0.9 0 0 0 k" if j % 2 == 0 else PANTONE % "1")
            c.rect(cx - 45, cy - 45 + j * 7.5, 90, 7.5)
        c("Q")
        c("q 0 w", BLACK_STROKE)
        c.star_path(cx, cy, 42)("S Q")
        c.label(cx - 24, y + 6, name)
    c.label(left, y + 102, "Pentagram clips: the centre winds twice.", 5.5)


def logo_form(c):
    """The logo drawn twice by the forms cell: a spot disc, a black ring and a
    Silver core, in a 40 x 40 box."""
    c(PANTONE % "1")
    c.circle_path(20, 20, 19)("f")
    c("q 2.5 w", BLACK_STROKE)
    c.circle_path(20, 20, 13)("S Q")
    c(SILVER % "1")
    c.rect(14, 14, 12, 12)


def group_form(c):
    """Three overlapping discs at 60 % opacity inside an isolated group."""
    c("/GSa60 gs 1 0 0 0 k")
    c.circle_path(30, 40, 20)("f")
    c("0 1 0 0 k")
    c.circle_path(50, 40, 20)("f")
    c("0 0 1 0 k")
    c.circle_path(40, 22, 20)("f")


def mask_form(c):
    """A luminosity mask's content: five grey steps from white (shows all) to black
    (shows nothing), 10 pt each."""
    for k, grey in enumerate((1, 0.75, 0.5, 0.25, 0)):
        c("%s g" % num(grey))
        c.rect(10 * k, 0, 10, 42)


def forms_cell(c, x, y):
    left = x + 8
    c.label(left, y + 167, "One form XObject, placed twice with cm:")
    c("q 1 0 0 1 %s cm /Logo Do Q" % nums(left + 6, y + 112))
    angle = math.radians(20)
    scale = 1.4
    c("q %s cm /Logo Do Q" % nums(scale * math.cos(angle), scale * math.sin(angle),
                                 -scale * math.sin(angle), scale * math.cos(angle),
                                 left + 110, y + 100))
    c.label(left + 6, y + 104, "1 0 0 1 tx ty cm", 5)
    c.label(left + 80, y + 104, "scale 1.4, rotate 20", 5)

    c.label(left, y + 88, "Discs at ca 0.6 in an isolated group, in an isolated", 5.5)
    c.label(left, y + 81, "knockout group; magenta under a luminosity soft mask:", 5.5)
    c("0 0 0 1 k")
    c.rect(left, y + 40, 168, 8)
    c("q 0.6 0 0 0.6 %s cm /Group Do Q" % nums(left, y + 22))
    c("q 0.6 0 0 0.6 %s cm /Knockout Do Q" % nums(left + 58, y + 22))
    c("q 1 0 0 1 %s cm /GSlum gs 0 1 0 0 k 0 0 50 42 re f Q" % nums(left + 118, y + 24))
    c.label(left + 4, y + 12, "isolated", 5)
    c.label(left + 62, y + 12, "knockout", 5)
    c.label(left + 118, y + 12, "grey steps 0-100 % as mask", 5)


def optional_content_cell(c, x, y):
    left = x + 8
    c.label(left, y + 167, "OCGs: Dimensions (on), Notes (off by default)")
    c("0.35 0.1 0 0 k")
    c.rect(left + 20, y + 90, 120, 48)
    c.text("F2", 9, left + 52, y + 110, "Artwork", BLACK)
    c("/OC /ocDims BDC")
    c("q 0.4 w", BLACK_STROKE)
    c("%s m %s l S" % (nums(left + 20, y + 142), nums(left + 20, y + 152)))
    c("%s m %s l S" % (nums(left + 140, y + 142), nums(left + 140, y + 152)))
    c("%s m %s l S" % (nums(left + 24, y + 148), nums(left + 136, y + 148)))
    c(BLACK)
    c.arrow(left + 20, y + 148, -1)
    c.arrow(left + 140, y + 148, 1)
    c("%s m %s l S" % (nums(left + 144, y + 90), nums(left + 154, y + 90)))
    c("%s m %s l S" % (nums(left + 144, y + 138), nums(left + 154, y + 138)))
    c("%s m %s l S Q" % (nums(left + 149, y + 92), nums(left + 149, y + 136)))
    c.text("F1", 6, left + 68, y + 151, "120 pt")
    c.text("F1", 6, left + 152, y + 111, "48")
    c("EMC")

    c("/OC /ocNotes BDC")
    c("0 0 0.6 0 k")
    c.rect(left + 10, y + 40, 150, 36)
    c.text("F3", 9, left + 16, y + 62, "Note: this layer is off by default")
    c.text("F3", 9, left + 16, y + 50, "and must not appear on any plate.")
    c("EMC")

    c("/OC /ocNotesOff BDC")
    c("q 0.6 w [2 2] 0 d", GREY_RULE)
    c.rect(left + 10, y + 40, 150, 36, "S")
    c("Q")
    c.text("F4", 8, left + 16, y + 55, "Notes is hidden: this dashed frame is an")
    c.text("F4", 8, left + 16, y + 45, "OCMD (/P /AllOff on Notes), so it shows.")
    c("EMC")
    c.label(left, y + 20, "Expected: dimensions and the dashed frame print,", 5.5)
    c.label(left, y + 12, "the yellow note does not.", 5.5)


def checkerboard_mask():
    """8 x 8, one byte per row; bit 0 paints under the default decode."""
    return bytes(0xAA if row % 2 == 0 else 0x55 for row in range(8))


def ring_mask(size=32):
    """A ring with a tail, one bit per pixel, rows padded to whole bytes; 0 paints."""
    rows = bytearray()
    centre = (size - 1) / 2
    for row in range(size):
        bits = 0
        for col in range(size):
            dx, dy = col - centre, row - centre
            distance = math.hypot(dx, dy)
            ring = size * 0.27 <= distance <= size * 0.45
            tail = abs((col - row)) <= 2 and col > size * 0.6 and row > size * 0.6
            bits = (bits << 1) | (0 if ring or tail else 1)
        rows += bits.to_bytes(size // 8, "big")
    return bytes(rows)


def image_mask_cell(c, x, y):
    left = x + 8
    c.label(left, y + 167, "1-bit /ImageMask true, painted in the fill colour:")
    c("q", PANTONE % "1", "60 0 0 60 %s cm /Checker Do Q" % nums(left + 4, y + 94))
    c.label(left + 4, y + 84, "8 x 8 in PANTONE 185 C", 5)
    c("0.5 0 0 0 k")
    c.rect(left + 88, y + 94, 76, 60)
    c("q", SILVER % "1", "56 0 0 56 %s cm /Ring Do Q" % nums(left + 98, y + 96))
    c.label(left + 88, y + 84, "32 x 32 in Silver over Cyan", 5)
    c("q", BLACK, "40 0 0 40 %s cm /RingInverted Do Q" % nums(left + 4, y + 26))
    c.label(left + 50, y + 48, "Same bitmap, /Decode [1 0],", 5.5)
    c.label(left + 50, y + 41, "in Black: the complement paints.", 5.5)
    c("q 0 1 0 0 k 24 0 0 24 %s cm" % nums(left + 130, y + 14),
      "BI /W 8 /H 8 /IM true /BPC 1 ID", "\x81\x42\x24\x18\x18\x24\x42\x81", "EI Q")
    c.label(left + 50, y + 20, "Inline image mask (BI /IM", 5.5)
    c.label(left + 50, y + 13, "true) in Magenta:", 5.5)


def curves_cell(c, x, y):
    left = x + 8
    c.label(left, y + 167, "Circles of four c segments; v and y shapes:")
    c("0.7 0 0.1 0 k")
    c.circle_path(left + 30, y + 130, 24)("f")
    c("q 1.5 w", BLACK_STROKE)
    c.circle_path(left + 30, y + 130, 24)("S Q")
    c.label(left + 16, y + 98, "4 x c", 5)

    # v: the first control point is the current point; y: the second control
    # point is the end point. Control polygons are drawn as thin dashes.
    c("0 0.6 0.9 0 k")
    c("%s m %s v %s y f" % (nums(left + 64, y + 110), nums(left + 64, y + 160, left + 104, y + 150),
                            nums(left + 104, y + 110, left + 64, y + 110)))
    c("q 0 w [1.5 1.5] 0 d", BLACK_STROKE)
    c("%s m %s l %s l S" % (nums(left + 64, y + 110), nums(left + 64, y + 160),
                            nums(left + 104, y + 150)))
    c("%s m %s l %s l S Q" % (nums(left + 104, y + 150), nums(left + 104, y + 110),
                              nums(left + 64, y + 110)))
    c.label(left + 70, y + 98, "v then y", 5)

    # An ellipse as a circle under a non-uniform cm, stroked: the pen is squashed
    # with the path.
    c("q 2.2 0 0 1 %s cm 3 w /CS185 CS 1 SCN" % nums(left + 148, y + 130))
    c.circle_path(0, 0, 11)("S Q")
    c.label(left + 126, y + 98, "circle, 2.2 x 1 cm", 5)

    # A wave of c segments and a filled bezier rosette.
    c("q 1.2 w 0 0 0 0.8 K %s m" % nums(left, y + 70))
    for i in range(6):
        x0 = left + i * 28
        c("%s c" % nums(x0 + 9, y + 88, x0 + 19, y + 52, x0 + 28, y + 70))
    c("S Q")
    c.label(left, y + 80, "A wave of c segments:", 5)
    c(SILVER % "1")
    cx, cy = left + 50, y + 28
    c("%s m" % nums(cx, cy))
    for i in range(6):
        a0 = math.radians(i * 60 - 20)
        a1 = math.radians(i * 60 + 20)
        c("%s c" % nums(cx + 34 * math.cos(a0), cy + 20 * math.sin(a0),
                        cx + 34 * math.cos(a1), cy + 20 * math.sin(a1), cx, cy))
    c("f")
    c.label(left, y + 6, "Six c petals in Silver (non-zero fill).", 5)

    # A spot vignette: an axial shading on the PANTONE 185 C Separation, 0 to 100 %
    # left to right, painted by sh inside a clip; it ramps only the spot plate.
    vx, vy = left + 104, y + 18
    c("q %s re W n 1 0 0 1 %s cm /Vignette185 sh Q" % (nums(vx, vy, 66, 20), nums(vx, vy)))
    c.label(vx, vy + 24, "Vignette: sh, PANTONE 185 C", 5)


def registration_marks(c):
    """Crop marks at the trim corners and a registration target beyond each, all in
    the /All colorant so they print on every plate."""
    x0, y0, x1, y1 = TRIM
    c("q 0.3 w", REGISTRATION)
    for x, y, sx, sy in ((x0, y0, -1, -1), (x1, y0, 1, -1), (x0, y1, -1, 1), (x1, y1, 1, 1)):
        c("%s m %s l S" % (nums(x + sx * 6, y), nums(x + sx * 30, y)))
        c("%s m %s l S" % (nums(x, y + sy * 6), nums(x, y + sy * 30)))
        tx, ty = x + sx * 16, y + sy * 16
        c.circle_path(tx, ty, 6)("S")
        c.circle_path(tx, ty, 3)("f")
        c("%s m %s l S" % (nums(tx - 9, ty), nums(tx + 9, ty)))
        c("%s m %s l S" % (nums(tx, ty - 9), nums(tx, ty + 9)))
    c("Q")


def page_content():
    c = Content()
    x0, y0, x1, y1 = TRIM
    colour_bar(c, x0, 478)
    c.text("F2", 15, x0, 536, "qorsc press sheet")
    c.text("F1", 7, x0 + 150, 537,
           "Separations test page. Expected plates: Cyan, Magenta, Yellow, Black, "
           "PANTONE 185 C, Silver.")
    c("q 0.5 w", GREY_RULE, "%s m %s l S Q" % (nums(x0, 528), nums(x1, 528)))

    cells = [
        ("Overprint", overprint_cell), ("Text: fonts, modes, state", text_cell),
        ("Strokes: widths, caps, joins, dashes", strokes_cell), ("Clipping", clipping_cell),
        ("Form XObjects and transparency", forms_cell),
        ("Optional content", optional_content_cell), ("Image masks", image_mask_cell),
        ("Curves", curves_cell),
    ]
    width, height, gap = 185, 196, 10
    for index, (title, draw) in enumerate(cells):
        column, row = index % 4, index // 4
        x = x0 + column * (width + gap)
        y = 252 - row * (height + 10)
        cell_frame(c, x, y, width, height, title)
        draw(c, x, y + 6)

    registration_marks(c)
    c.text("F5", 6, x0 + 60, 22,
           "samples/press_sheet.pdf - regenerate with python3 samples/make_press_sheet.py")
    return c.data()


def form_data(draw):
    c = Content()
    draw(c)
    return c.data()


def main():
    pdf = Pdf()
    catalog, pages, page = pdf.reserve(), pdf.reserve(), pdf.reserve()

    pantone_fn = pdf.add("<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] "
                         "/C1 [0 0.91 0.76 0] /N 1 >>")
    silver_fn = pdf.add("<< /FunctionType 4 /Domain [0 1] /Range [0 1 0 1 0 1 0 1] >>",
                        SILVER_TRANSFORM)
    devicen_fn = pdf.add("<< /FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>",
                         DEVICEN_TRANSFORM)
    all_fn = pdf.add("<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [1 1 1 1] /N 1 >>")
    pantone = pdf.add("[/Separation /PANTONE#20185#20C /DeviceCMYK %d 0 R]" % pantone_fn)
    silver = pdf.add("[/Separation /Silver /DeviceCMYK %d 0 R]" % silver_fn)
    devicen = pdf.add("[/DeviceN [/PANTONE#20185#20C /Black] /DeviceCMYK %d 0 R]" % devicen_fn)
    registration = pdf.add("[/Separation /All /DeviceCMYK %d 0 R]" % all_fn)
    colour_spaces = ("<< /CS185 %d 0 R /CSSilver %d 0 R /CSDN %d 0 R /CSAll %d 0 R >>" %
                     (pantone, silver, devicen, registration))

    fonts = []
    for base in ("Helvetica", "Helvetica-Bold", "Times-Roman", "Times-Italic"):
        fonts.append(pdf.add("<< /Type /Font /Subtype /Type1 /BaseFont /%s "
                             "/Encoding /WinAnsiEncoding >>" % base))
    # Courier carries explicit widths; the others rely on the standard metrics.
    fonts.append(pdf.add("<< /Type /Font /Subtype /Type1 /BaseFont /Courier "
                         "/Encoding /WinAnsiEncoding /FirstChar 32 /LastChar 126 "
                         "/Widths [%s] >>" % " ".join(["600"] * 95)))
    font_dict = "<< %s >>" % " ".join("/F%d %d 0 R" % (i + 1, f) for i, f in enumerate(fonts))

    alpha_gstate = pdf.add("<< /GSa60 << /Type /ExtGState /ca 0.6 /CA 0.6 >> >>")

    logo = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 40 40] "
                   "/Resources << /ColorSpace %s >> >>" % colour_spaces, form_data(logo_form))
    group = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 80 70] "
                    "/Group << /Type /Group /S /Transparency /I true /CS /DeviceCMYK >> "
                    "/Resources << /ExtGState %d 0 R >> >>" % alpha_gstate,
                    form_data(group_form))
    knockout = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 80 70] "
                       "/Group << /Type /Group /S /Transparency /I true /K true "
                       "/CS /DeviceCMYK >> /Resources << /ExtGState %d 0 R >> >>" % alpha_gstate,
                       form_data(group_form))
    mask_group = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 50 42] "
                         "/Group << /Type /Group /S /Transparency /CS /DeviceGray >> >>",
                         form_data(mask_form))
    checker = pdf.add("<< /Type /XObject /Subtype /Image /Width 8 /Height 8 /ImageMask true "
                      "/BitsPerComponent 1 >>", checkerboard_mask())
    ring_bits = ring_mask()
    ring = pdf.add("<< /Type /XObject /Subtype /Image /Width 32 /Height 32 /ImageMask true "
                   "/BitsPerComponent 1 >>", ring_bits)
    ring_inverted = pdf.add("<< /Type /XObject /Subtype /Image /Width 32 /Height 32 "
                            "/ImageMask true /BitsPerComponent 1 /Decode [1 0] >>", ring_bits)

    dims = pdf.add("<< /Type /OCG /Name (Dimensions) >>")
    notes = pdf.add("<< /Type /OCG /Name (Notes) >>")
    notes_off = pdf.add("<< /Type /OCMD /OCGs [%d 0 R] /P /AllOff >>" % notes)

    ext_gstates = pdf.add("<< /GSop << /Type /ExtGState /OP true /op true /OPM 0 >> "
                          "/GSopm1 << /Type /ExtGState /OP true /op true /OPM 1 >> "
                          "/GSko << /Type /ExtGState /OP false /op false /OPM 0 >> "
                          "/GSlum << /Type /ExtGState /SMask << /Type /Mask /S /Luminosity "
                          "/G %d 0 R >> >> >>" % mask_group)
    # Coordinates of the vignette's own space: the curves cell places it with cm.
    vignette = pdf.add("<< /ShadingType 2 /ColorSpace %d 0 R /Coords [0 0 66 0] "
                       "/Function << /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >> "
                       "/Extend [true true] >>" % pantone)
    content = pdf.add("<< >>", page_content())
    resources = ("<< /ProcSet [/PDF /Text /ImageB] /Font %s /ColorSpace %s /ExtGState %d 0 R "
                 "/XObject << /Logo %d 0 R /Group %d 0 R /Knockout %d 0 R /Checker %d 0 R "
                 "/Ring %d 0 R /RingInverted %d 0 R >> /Shading << /Vignette185 %d 0 R >> "
                 "/Properties << /ocDims %d 0 R /ocNotes %d 0 R /ocNotesOff %d 0 R >> >>" %
                 (font_dict, colour_spaces, ext_gstates, logo, group, knockout, checker, ring,
                  ring_inverted, vignette, dims, notes, notes_off))
    pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox [0 0 %d %d] /TrimBox [%s] "
            "/Resources %s /Contents %d 0 R >>" %
            (pages, PAGE_W, PAGE_H, nums(*TRIM), resources, content))
    pdf.set(pages, "<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R /OCProperties << /OCGs [%d 0 R %d 0 R] "
            "/D << /Name (Default) /Order [%d 0 R %d 0 R] /OFF [%d 0 R] >> >> >>" %
            (pages, dims, notes, dims, notes, notes))
    OUTPUT.write_bytes(pdf.build())


if __name__ == "__main__":
    main()

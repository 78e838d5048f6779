#!/usr/bin/env python3
"""Writes the PDF importer's test files into tests/pdf/data/ (standard library only).

Every file is small and built object by object, so each test can name the exact
page-tree shape, box, rotation or content it checks. Output is deterministic: the
same script always writes the same bytes, so the files can be kept in the repository
and regenerated without noise. Run from anywhere: python3 tests/pdf/make_test_pdfs.py
The hostile files in data/hostile/ come from make_hostile_pdfs.py, called from here
(about a minute: one of them compresses a gibibyte).
"""

import hashlib
import pathlib
import struct
import zlib

import make_hostile_pdfs

DATA = pathlib.Path(__file__).resolve().parent / "data"

# The standard security handler pads passwords with these 32 fixed bytes.
PASSWORD_PAD = bytes.fromhex(
    "28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A")

# A fixed file identifier keeps encrypted output reproducible.
FILE_ID = bytes.fromhex("0123456789ABCDEF0123456789ABCDEF")


def rc4(key, data):
    state = list(range(256))
    j = 0
    for i in range(256):
        j = (j + state[i] + key[i % len(key)]) % 256
        state[i], state[j] = state[j], state[i]
    out = bytearray()
    i = j = 0
    for byte in data:
        i = (i + 1) % 256
        j = (j + state[i]) % 256
        state[i], state[j] = state[j], state[i]
        out.append(byte ^ state[(state[i] + state[j]) % 256])
    return bytes(out)


class Rc4Encryption:
    """40-bit RC4 (revision 2): the weakest handler, enough to prove decryption runs."""

    PERMISSIONS = -4  # every permission granted

    def __init__(self, user_password, owner_password):
        user = (user_password.encode("latin-1") + PASSWORD_PAD)[:32]
        owner = (owner_password.encode("latin-1") + PASSWORD_PAD)[:32]
        self.owner_entry = rc4(hashlib.md5(owner).digest()[:5], user)
        self.key = hashlib.md5(user + self.owner_entry + struct.pack("<i", self.PERMISSIONS) +
                               FILE_ID).digest()[:5]
        self.user_entry = rc4(self.key, PASSWORD_PAD)

    def dictionary(self):
        return ("<< /Filter /Standard /V 1 /R 2 /Length 40 /P %d /O <%s> /U <%s> >>" %
                (self.PERMISSIONS, self.owner_entry.hex(), self.user_entry.hex()))

    def encrypt(self, number, data):
        object_key = hashlib.md5(self.key + struct.pack("<I", number)[:3] + b"\0\0").digest()
        return rc4(object_key[:10], data)


class Pdf:
    """Numbered objects written in order; the catalog is always object 1."""

    def __init__(self):
        self.objects = {}

    def reserve(self):
        number = len(self.objects) + 1
        self.objects[number] = None
        return number

    def set(self, number, body, stream=None, compress=False):
        if stream is not None and compress:
            stream = zlib.compress(stream, 9)
            body = body[:-2].rstrip() + " /Filter /FlateDecode >>"
        self.objects[number] = (body, stream)
        return number

    def add(self, body, stream=None, compress=False):
        return self.set(self.reserve(), body, stream, compress)

    def build(self, encryption=None, xref_shift=0):
        out = bytearray(b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n")
        offsets = {}
        for number in sorted(self.objects):
            body, stream = self.objects[number]
            offsets[number] = len(out)
            if stream is None:
                out += b"%d 0 obj\n%s\nendobj\n" % (number, body.encode("latin-1"))
                continue
            if encryption:
                stream = encryption.encrypt(number, stream)
            assert body.endswith(">>")
            body = body[:-2].rstrip() + " /Length %d >>" % len(stream)
            out += b"%d 0 obj\n%s\nstream\n" % (number, body.encode("latin-1"))
            out += stream + b"\nendstream\nendobj\n"
        trailer_extra = ""
        size = len(self.objects) + 1
        if encryption:
            offsets[size] = len(out)
            out += b"%d 0 obj\n%s\nendobj\n" % (size, encryption.dictionary().encode("latin-1"))
            trailer_extra = " /Encrypt %d 0 R /ID [<%s> <%s>]" % (size, FILE_ID.hex(),
                                                                FILE_ID.hex())
            size += 1
        xref = len(out)
        out += b"xref\n0 %d\n0000000000 65535 f \n" % size
        for number in range(1, size):
            out += b"%010d 00000 n \n" % (offsets[number] + xref_shift)
        out += b"trailer\n<< /Size %d /Root 1 0 R%s >>\nstartxref\n%d\n%%%%EOF\n" % (
            size, trailer_extra.encode("latin-1"), xref)
        return bytes(out)


def flat_document(page_bodies, pages_extra=""):
    """A catalog, one /Pages node and one page per body (each body is the page's
    extra dictionary text, or a (text, content bytes) pair)."""
    pdf = Pdf()
    catalog = pdf.reserve()
    root = pdf.reserve()
    kids = []
    for entry in page_bodies:
        text, content = entry if isinstance(entry, tuple) else (entry, None)
        page = pdf.reserve()
        if content is not None:
            text += " /Contents %d 0 R" % pdf.add("<< >>", content)
        pdf.set(page, "<< /Type /Page /Parent %d 0 R %s >>" % (root, text))
        kids.append(page)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%s] /Count %d %s >>" %
            (" ".join("%d 0 R" % k for k in kids), len(kids), pages_extra))
    return pdf


def page_tree():
    """Inheritance: the root node gives MediaBox, CropBox and Rotate; a middle node
    overrides two of them; pages inherit, override, or name null (same as absent)."""
    pdf = Pdf()
    catalog, root, page_a, middle, page_b, page_c, page_d = (pdf.reserve() for _ in range(7))
    shared_box = pdf.add("[0 0 300 300]")
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%d 0 R %d 0 R %d 0 R] /Count 4 "
            "/MediaBox [0 0 612 792] /CropBox [10 10 600 780] /Rotate 90 >>" %
            (page_a, middle, page_d))
    pdf.set(page_a, "<< /Type /Page /Parent %d 0 R >>" % root)
    pdf.set(middle, "<< /Type /Pages /Parent %d 0 R /Kids [%d 0 R %d 0 R] /Count 2 "
            "/MediaBox [0 0 400 400] /Rotate 180 >>" % (root, page_b, page_c))
    pdf.set(page_b, "<< /Type /Page /Parent %d 0 R >>" % middle)
    pdf.set(page_c, "<< /Type /Page /Parent %d 0 R /MediaBox [0 0 200 300] /Rotate 0 "
            "/CropBox null >>" % middle)
    pdf.set(page_d, "<< /Type /Page /Parent %d 0 R /MediaBox %d 0 R >>" % (root, shared_box))
    return pdf.build()


def boxes():
    return flat_document([
        "/MediaBox [0 0 595 842]",
        "/MediaBox [0 0 595 842] /CropBox [-10 -10 1000 500]",
        "/MediaBox [612 792 0 0] /CropBox [500 700 100 50]",
        "/MediaBox [-100.5 -200.25 100.5 200.25] /UserUnit 2.5",
        "/MediaBox [0 0 1000 1000] /CropBox [100 100 200 200] /UserUnit 0.5",
    ]).build()


# Rotate as written, in page order; the expected values live in the test.
ROTATIONS = ["", "/Rotate 0", "/Rotate 90", "/Rotate 180", "/Rotate 270", "/Rotate 360",
             "/Rotate -90", "/Rotate 450", "/Rotate -540", "/Rotate 3600000090",
             "/Rotate 45", "/Rotate 90.0", "/Rotate 12.5", "/Rotate /R90", "/Rotate (90)",
             "/Rotate null"]


def rotation():
    return flat_document(ROTATIONS, "/MediaBox [0 0 100 200]").build()


def malformed():
    """One fault per page, in this order: MediaBox of three numbers, a string, zero
    width; CropBox with a name inside, outside the MediaBox; no MediaBox anywhere;
    UserUnit -1, a name, 0; a /Parent whose own /Parent is itself; /Contents an
    integer, a missing object; a missing object inside the MediaBox; and a last page
    whose content stream holds stray delimiters among valid operators."""
    pdf = Pdf()
    catalog = pdf.reserve()
    root = pdf.reserve()
    loop_node = pdf.reserve()
    pdf.set(loop_node, "<< /Type /Pages /Parent %d 0 R >>" % loop_node)
    a4 = "/MediaBox [0 0 595 842]"
    bodies = [
        "/MediaBox [0 0 612]",
        "/MediaBox (wide)",
        "/MediaBox [0 0 0 792]",
        a4 + " /CropBox [0 0 /A 100]",
        a4 + " /CropBox [700 900 800 1000]",
        "",
        a4 + " /UserUnit -1",
        a4 + " /UserUnit /Big",
        a4 + " /UserUnit 0",
        "LOOP",
        a4 + " /Contents 7",
        a4 + " /Contents 999 0 R",
        "/MediaBox [0 0 595 999 0 R]",
    ]
    kids = []
    for body in bodies:
        page = pdf.reserve()
        parent = root
        if body == "LOOP":
            parent, body = loop_node, ""
        pdf.set(page, "<< /Type /Page /Parent %d 0 R %s >>" % (parent, body))
        kids.append(page)
    garbage = pdf.reserve()
    content = pdf.add("<< >>", b"q 1 0 0 1 0 0 cm ) ] >> 5 5 m Q <<")
    pdf.set(garbage, "<< /Type /Page /Parent %d 0 R %s /Contents %d 0 R >>" %
            (root, a4, content))
    kids.append(garbage)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%s] /Count %d >>" %
            (" ".join("%d 0 R" % k for k in kids), len(kids)))
    return pdf.build()


CONTENT_FIRST = b"""q
1 0 0 1 10 20 cm
0 0 1 rg
10 10 100 50 re
f
Q
/Span << /MCID 0 /Flag true >> BDC
BT /F1 12 Tf 72 700 Td (a) Tj [(b) -20 (c)] TJ ET
EMC
0.5 g 1 0 0
"""

# Starts with the operator whose operands ended the first stream: the streams of a
# page form one sequence.
CONTENT_SECOND = (b"rg 0 0 m 10 10 l 20 0 l h S\n"
                  b"BI /W 2 /H 1 /BPC 8 /CS /G ID \x00\xff EI\n"
                  b"frobnicate q Q\n")


def content():
    pdf = Pdf()
    catalog, root, page = pdf.reserve(), pdf.reserve(), pdf.reserve()
    first = pdf.add("<< >>", CONTENT_FIRST)
    second = pdf.add("<< >>", CONTENT_SECOND, compress=True)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox [0 0 200 100] "
            "/Contents [%d 0 R %d 0 R] >>" % (root, first, second))
    return pdf.build()


SQUARE = b"q 0 0 1 rg 0 0 10 10 re f Q\n"


def encrypted(user_password):
    pdf = flat_document([("/MediaBox [0 0 300 400]", SQUARE)])
    return pdf.build(encryption=Rc4Encryption(user_password, "owner"))


def two_pages():
    return flat_document([("/MediaBox [0 0 300 400]", SQUARE),
                          ("/MediaBox [0 0 500 600]", SQUARE * 8)])


def content_page(content, resources="", media="[0 0 200 200]", catalog_extra="", extra=None,
                 page_extra=""):
    """One page with the given content stream and /Resources text; `extra` may add
    objects first: it gets the Pdf and returns a dict of names to object numbers,
    usable as %(name)d in resources and catalog_extra."""
    pdf = Pdf()
    catalog, root, page = pdf.reserve(), pdf.reserve(), pdf.reserve()
    refs = extra(pdf) if extra else {}
    stream = pdf.add("<< >>", content)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R %s >>" % (root, catalog_extra % refs))
    pdf.set(root, "<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox %s /Resources << %s >> "
            "/Contents %d 0 R %s>>" % (root, media, resources % refs, stream, page_extra))
    return pdf.build()


def paths():
    """Fills, strokes and both, with every painting operator, curves and styles."""
    return content_page(b"""q 1 0 0 1 10 20 cm
0 1 0 0 k 10 10 100 50 re f
Q
0 0 0 1 K 2 w 1 J 2 j 4 M [3 1] 0.5 d
10 150 m 60 190 l 110 150 l S
0.5 g 0 0 1 0 K 20 20 m 80 20 l 80 80 l 20 80 l h 40 40 m 60 40 l 60 60 l 40 60 l h B*
1 0 0 rg 120 120 m 120 150 150 180 180 180 c 185 175 170 170 v 150 130 160 120 y b
0 0 0 0 k 0 0 5 5 re f
n 5 5 m 6 6 l n
""")


def clips():
    """A rectangle clip inside q/Q, an even-odd clip, a clip by an empty path, and
    painting after each Q."""
    return content_page(b"""q 10 10 100 100 re W n
0 0 0 1 k 0 0 200 200 re f
q 0 0 m 50 0 l 50 50 l 0 50 l h 10 10 m 40 10 l 40 40 l 10 40 l h W* n
1 0 0 0 k 0 0 200 200 re f
Q
Q
0 1 0 0 k 150 150 20 20 re f
q W n 0 0 1 0 k 0 0 200 200 re f Q
""")


def overprint_extra(pdf):
    spot = pdf.add("[/Separation /Spot#20Orange /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
                   "/C0 [0 0 0 0] /C1 [0 0.5 1 0] /N 1 >>]")
    return {"spot": spot}


def overprint():
    """Over a cyan and magenta background: a spot and process colours with overprint
    on and off, in modes 0 and 1, registration (All) and None."""
    return content_page(b"""0.3 0.6 0 0 k 0 0 200 200 re f
/CS0 cs 1 sc 10 10 30 30 re f
/GSop gs
/CS0 cs 0.5 sc 50 10 30 30 re f
0.2 0 0.4 0 k 90 10 30 30 re f
/GSopm gs
0.2 0 0.4 0 k 130 10 30 30 re f
/GSoff gs
0.2 0 0.4 0 k 10 50 30 30 re f
/GSopm gs 0 0 0 0 k 50 50 30 30 re f
/All cs 1 sc 90 50 30 30 re f
/None cs 1 sc 130 50 30 30 re f
""", "/ColorSpace << /CS0 %(spot)d 0 R /All [/Separation /All /DeviceCMYK "
         "<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [1 1 1 1] /N 1 >>] "
         "/None [/Separation /None /DeviceGray << /FunctionType 2 /Domain [0 1] /N 1 >>] >> "
         "/ExtGState << /GSop << /OP true /op true >> /GSopm << /OP true /OPM 1 >> "
         "/GSoff << /OP false /op false /OPM 0 >> >>",
                        extra=overprint_extra)


def forms_extra(pdf):
    inner = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] >>",
                    b"0 0 0 1 k 0 0 20 20 re f")
    group = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 50 50] "
                    "/Matrix [2 0 0 2 10 0] /Resources << /XObject << /In %d 0 R >> >> "
                    "/Group << /S /Transparency /I true /K false >> >>" % inner,
                    b"1 0 0 0 k 0 0 40 40 re f /In Do")
    loop = pdf.reserve()
    pdf.set(loop, "<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] "
            "/Resources << /XObject << /Self %d 0 R >> >> >>" % loop,
            b"0 0 0 0.1 k 0 0 1 1 re f /Self Do")
    image = pdf.add("<< /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
                    "/BitsPerComponent 8 >>", b"\x80")
    return {"inner": inner, "group": group, "loop": loop, "image": image}


def forms():
    """A plain form with a BBox clip, a transparency group under an ExtGState with
    opacity and blend mode, a form that calls itself, and unsupported content."""
    return content_page(b"""q 1 0 0 1 100 100 cm /In Do Q
/GT gs /Grp Do
/GN gs /Loop Do
/Img Do 0 0 10 10 re /Sh sh
frobnicate
""", "/XObject << /In %(inner)d 0 R /Grp %(group)d 0 R /Loop %(loop)d 0 R "
         "/Img %(image)d 0 R >> "
         "/ExtGState << /GT << /ca 0.5 /CA 0.25 /BM /Multiply >> "
         "/GN << /ca 1 /CA 1 /BM /Normal >> >>",
                        extra=forms_extra)


def layers_extra(pdf):
    shown = pdf.add("<< /Type /OCG /Name (Shown) >>")
    hidden = pdf.add("<< /Type /OCG /Name (Hidden) >>")
    ocmd = pdf.add("<< /Type /OCMD /VE [/And %d 0 R [/Not %d 0 R]] >>" % (shown, hidden))
    anyoff = pdf.add("<< /Type /OCMD /OCGs [%d 0 R %d 0 R] /P /AnyOff >>" % (shown, hidden))
    form = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] /OC %d 0 R >>" % hidden,
                   b"0 0 1 0 k 0 0 10 10 re f")
    return {"shown": shown, "hidden": hidden, "ocmd": ocmd, "anyoff": anyoff, "form": form}


def layers():
    """Two groups (one hidden by default), a membership expression, a policy, an
    XObject with /OC, a layer with a clip that outlives it, and an unknown name."""
    return content_page(b"""/OC /L1 BDC 1 0 0 0 k 0 0 10 10 re f EMC
/OC /L2 BDC 0 1 0 0 k 20 0 10 10 re f EMC
/OC /M1 BDC /OC /M2 BDC 0 0 0 1 k 40 0 10 10 re f EMC EMC
/Fm Do
/OC /L1 BDC 50 50 100 100 re W n EMC
0 0 0 1 k 0 0 200 200 re f
/OC /Missing BDC 0 0 0 0.5 k 0 0 5 5 re f EMC
""", "/Properties << /L1 %(shown)d 0 R /L2 %(hidden)d 0 R /M1 %(ocmd)d 0 R /M2 %(anyoff)d 0 R >> "
         "/XObject << /Fm %(form)d 0 R >>",
                        catalog_extra="/OCProperties << /OCGs [%(shown)d 0 R %(hidden)d 0 R] "
                        "/D << /OFF [%(hidden)d 0 R] >> >>", extra=layers_extra)


def text_extra(pdf):
    glyph = pdf.add("<< >>", b"0 0 0 1 k 0 0 750 750 re f")
    type3 = pdf.add("<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] "
                    "/FontMatrix [0.001 0 0 0.001 0 0] /CharProcs << /box %d 0 R >> "
                    "/Encoding << /Differences [65 /box] >> /FirstChar 65 /LastChar 65 "
                    "/Widths [1000] >>" % glyph)
    helvetica = pdf.add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica "
                        "/Encoding /WinAnsiEncoding >>")
    return {"type3": type3, "helvetica": helvetica}


def text():
    """Standard-font text in each render mode group, TJ adjustments, a text clip, and
    a Type3 font."""
    return content_page(b"""BT /F1 20 Tf 10 150 Td 0 0 0 1 k (AV) Tj ET
BT /F1 20 Tf 10 120 Td [(A) -1000 (V)] TJ ET
BT /F1 20 Tf 1 Tr 0.5 w 1 0 0 0 K 10 90 Td (A) Tj 3 Tr (A) Tj ET
q BT /F1 40 Tf 7 Tr 10 10 Td (H) Tj ET
0 1 0 0 k 0 0 200 200 re f Q
BT /T3 10 Tf 0 Tr 150 150 Td (AA) Tj ET
""", "/Font << /F1 %(helvetica)d 0 R /T3 %(type3)d 0 R >>", extra=text_extra)


def image_masks_extra(pdf):
    # 4 x 2 samples: row 0 = 0101, row 1 = 1100 (high bits of each byte).
    mask = pdf.add("<< /Type /XObject /Subtype /Image /Width 4 /Height 2 /ImageMask true "
                   "/BitsPerComponent 1 >>", bytes([0b01010000, 0b11000000]), compress=True)
    inverted = pdf.add("<< /Type /XObject /Subtype /Image /Width 4 /Height 2 /ImageMask true "
                       "/Decode [1 0] >>", bytes([0b01010000, 0b11000000]))
    return {"mask": mask, "inverted": inverted}


def image_masks():
    """An image mask XObject (Flate), one with /Decode [1 0], and an inline one
    (ASCIIHex); samples 0101 / 1100."""
    return content_page(b"""q 0 0 0 1 k 40 0 0 20 10 10 cm /M Do Q
q 1 0 0 0 k 40 0 0 20 10 50 cm /MI Do Q
q 0 1 0 0 k 40 0 0 20 10 100 cm BI /W 4 /H 2 /IM true /F /AHx ID 50C0> EI Q
""", "/XObject << /M %(mask)d 0 R /MI %(inverted)d 0 R >>", extra=image_masks_extra)

# 8 x 8 JPEGs of one colour each: CMYK (200, 50, 0, 100) written inverted with
# Adobe's APP14 marker, as most CMYK JPEG writers do, and grey 64.
JPEG_CMYK = bytes.fromhex(
    "ffd8ffee000e41646f626500640000000000ffdb00430001010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101ffc000140800080008044311004d11005911004b1100ffc4001f0000010501010101010100000000000000000102030405060708090a0bffc400b5100002010303020403050504040000017d01020300041105122131410613516107227114328191a1082342b1c11552d1f02433627282090a161718191a25262728292a3435363738393a434445464748494a535455565758595a636465666768696a737475767778797a838485868788898a92939495969798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9faffda000e0443004d0059004b00003f00fe6debfa68afefe2bed8afffd9")
# Lossless JPEG 2000: a 2 x 2 RGBA JP2 file (red, black / white with alpha 0, blue
# with alpha 128) and a bare 2 x 1 grey codestream (0, 255).
JPX_RGBA = bytes.fromhex(
    "0000000c6a5020200d0a870a00000014667479706a703220000000006a7032200000002d6a703268000000166968647200000002000000020004070700000000000f636f6c7201000000000010000000b76a703263ff4fff510032000000000002000000020000000000000000000000020000000200000000000000000004070101070101070101070101ff52000c00000001000104040001ff5c00074040484850ff640025000143726561746564206279204f70656e4a5045472076657273696f6e20322e352e30ff90000a0000000000390001ff9380cfb4040780c7d40204cfc00409cfc0067e0031f80080070409a7e00200c7da033f0028fc004004067f04ffd9")
J2K_GRAY = bytes.fromhex(
    "ff4fff510029000000000002000000010000000000000000000000020000000100000000000000000001070101ff52000c00000001000004040001ff5c00044040ff640025000143726561746564206279204f70656e4a5045472076657273696f6e20322e352e30ff90000a0000000000140001ff93df801805a2ddffd9")
# A 16 x 2 fax picture: row 0 eight 0 bits then eight 1 bits, row 1 the reverse,
# as Group 4 and as Group 3 1-D data (bits as written: 0 runs are fax white).
FAX_G4 = bytes.fromhex("33149a8b001001")
FAX_G3 = bytes.fromhex("00198a0026a2cc")
# The same picture as an embedded JBIG2 stream: page information, one immediate
# generic region coded with MMR (the Group 4 data above; set bits black), end of
# page.
JBIG2_PAGE = bytes.fromhex(
    "0000000030000100000013000000100000000200000000000000000000000000000126000100000019"
    "00000010000000020000000000000000000133149a8b0010010000000231000100000000")
JPEG_GRAY = bytes.fromhex(
    "ffd8ffe000104a46494600010100000100010000ffdb00430001010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101ffc0000b080008000801011100ffc4001f0000010501010101010100000000000000000102030405060708090a0bffc400b5100002010303020403050504040000017d01020300041105122131410613516107227114328191a1082342b1c11552d1f02433627282090a161718191a25262728292a3435363738393a434445464748494a535455565758595a636465666768696a737475767778797a838485868788898a92939495969798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9faffda0008010100003f00fe7febffd9")


def images_extra(pdf):
    def image(keys, data, compress=True):
        return pdf.add("<< /Type /XObject /Subtype /Image %s >>" % keys, data, compress=compress)
    spot = pdf.add("[/Separation /Gold /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
                   "/C0 [0 0 0 0] /C1 [0 0.25 1 0] /N 1 >>]")
    return {
        # 2 x 2 grey: 0, 255 / 128, 64.
        "gray": image("/Width 2 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 8",
                      bytes([0, 255, 128, 64])),
        # 1 bit: 10 / 01; 4 bits: 0, 15 / 5, 10; 16-bit CMYK with /Decode on cyan.
        "bits1": image("/Width 2 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 1",
                       bytes([0b10000000, 0b01000000])),
        "bits4": image("/Width 2 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 4",
                       bytes([0x0F, 0x5A])),
        "cmyk16": image("/Width 1 /Height 1 /ColorSpace /DeviceCMYK /BitsPerComponent 16 "
                        "/Decode [1 0 0 1 0 1 0 1]", bytes([0, 0, 255, 255, 128, 0, 0, 0])),
        # Indexed over RGB: index 0 red, 1 white.
        "indexed": image("/Width 2 /Height 1 /ColorSpace [/Indexed /DeviceRGB 1 <FF0000FFFFFF>] "
                         "/BitsPerComponent 8", bytes([0, 1])),
        "spot": image("/Width 1 /Height 1 /ColorSpace %d 0 R /BitsPerComponent 8" % spot,
                      bytes([255])),
        "rgb": image("/Width 1 /Height 1 /ColorSpace /DeviceRGB /BitsPerComponent 8",
                     bytes([0, 0, 0])),
        # Two rows of four promised, one row given; and a huge image with ten bytes.
        "short": image("/Width 4 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 8",
                       bytes([0, 0, 0, 0])),
        "huge": image("/Width 100000 /Height 100000 /ColorSpace /DeviceGray "
                      "/BitsPerComponent 8", bytes(10)),
        "jcmyk": image("/Width 8 /Height 8 /ColorSpace /DeviceCMYK /BitsPerComponent 8 "
                       "/Filter /DCTDecode", JPEG_CMYK, compress=False),
        # Black 2 x 1 images masked on the right by a soft mask (255 | 0) and by a
        # stencil (01), and 10 | 200 grey keyed out on 0..20.
        "smasked": image("/Width 2 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 "
                         "/SMask %d 0 R" % image("/Width 2 /Height 1 /ColorSpace /DeviceGray "
                                                 "/BitsPerComponent 8", bytes([255, 0])),
                         bytes([0, 0])),
        "stenciled": image("/Width 2 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 "
                           "/Mask %d 0 R" % image("/Width 2 /Height 1 /ImageMask true "
                                                  "/BitsPerComponent 1", bytes([0b01000000])),
                           bytes([0, 0])),
        "keyed": image("/Width 2 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 "
                       "/Mask [0 20]", bytes([10, 200])),
        "jpx": image("/Width 2 /Height 2 /SMaskInData 1 /Filter /JPXDecode", JPX_RGBA,
                     compress=False),
        "j2k": image("/Width 2 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 "
                     "/Filter /JPXDecode", J2K_GRAY, compress=False),
        "g4": image("/Width 16 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 1 "
                    "/Filter /CCITTFaxDecode "
                    "/DecodeParms << /K -1 /Columns 16 /Rows 2 /BlackIs1 true >>", FAX_G4,
                    compress=False),
        "g3": image("/Width 16 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 1 "
                    "/Filter /CCITTFaxDecode /DecodeParms << /K 0 /Columns 16 >>", FAX_G3,
                    compress=False),
        "jbig2": image("/Width 16 /Height 2 /ColorSpace /DeviceGray /BitsPerComponent 1 "
                       "/Filter /JBIG2Decode", JBIG2_PAGE, compress=False),
        "jbig2mask": image("/Width 16 /Height 2 /ImageMask true /Filter /JBIG2Decode",
                           JBIG2_PAGE, compress=False),
        "jgray": image("/Width 8 /Height 8 /ColorSpace /DeviceGray /BitsPerComponent 8 "
                       "/Filter [/ASCIIHexDecode /DCTDecode]",
                       JPEG_GRAY.hex().encode() + b">", compress=False),
    }


def images():
    """Sampled images, one per 20 x 20 square along the page: grey (Flate), 1 and 4
    bits, 16-bit CMYK with /Decode, Indexed RGB, a Separation, RGB black, short
    data, a huge image with ten bytes, CMYK and grey JPEGs, an inline image, and
    images masked by a soft mask, a stencil and a colour key; the grey image again;
    JPEG 2000 with its own alpha (over black) and a bare grey codestream; fax
    images (Group 4 with /BlackIs1, Group 3 1-D) and an inline fax image mask; a
    JBIG2 image and a JBIG2 image mask."""
    return content_page(b"""q 20 0 0 20 0 180 cm /G Do Q
q 20 0 0 20 20 180 cm /B1 Do Q
q 20 0 0 20 40 180 cm /B4 Do Q
q 20 0 0 20 60 180 cm /C16 Do Q
q 20 0 0 20 80 180 cm /IX Do Q
q 20 0 0 20 100 180 cm /SP Do Q
q 20 0 0 20 120 180 cm /RGB Do Q
q 20 0 0 20 140 180 cm /SH Do Q
q 20 0 0 20 160 180 cm /HU Do Q
q 20 0 0 20 0 160 cm /JC Do Q
q 20 0 0 20 20 160 cm /JG Do Q
q 20 0 0 20 40 160 cm BI /W 2 /H 1 /CS /G /BPC 8 /F /AHx ID 00FF> EI Q
q 20 0 0 20 60 160 cm /SM Do Q
q 20 0 0 20 80 160 cm /ST Do Q
q 20 0 0 20 100 160 cm /KY Do Q
q 20 0 0 20 120 160 cm /G Do Q
q 0 0 0 1 k 140 160 20 20 re f 20 0 0 20 140 160 cm /JX Do Q
q 20 0 0 20 160 160 cm /JK Do Q
q 20 0 0 20 0 140 cm /F4 Do Q
q 20 0 0 20 20 140 cm /F3 Do Q
q 0 0 0 1 k 20 0 0 20 40 140 cm BI /W 16 /H 2 /IM true /F [/AHx /CCF]
/DP [null << /K -1 /Columns 16 /BlackIs1 true >>] ID 33149a8b001001> EI Q
q 20 0 0 20 60 140 cm /JB Do Q
q 0 0 0 1 k 20 0 0 20 80 140 cm /JM Do Q
""", "/XObject << /G %(gray)d 0 R /B1 %(bits1)d 0 R /B4 %(bits4)d 0 R /C16 %(cmyk16)d 0 R "
       "/IX %(indexed)d 0 R /SP %(spot)d 0 R /RGB %(rgb)d 0 R /SH %(short)d 0 R "
       "/HU %(huge)d 0 R /JC %(jcmyk)d 0 R /JG %(jgray)d 0 R /SM %(smasked)d 0 R "
       "/ST %(stenciled)d 0 R /KY %(keyed)d 0 R /JX %(jpx)d 0 R /JK %(j2k)d 0 R "
       "/F4 %(g4)d 0 R /F3 %(g3)d 0 R /JB %(jbig2)d 0 R /JM %(jbig2mask)d 0 R >>",
       extra=images_extra)


def hairlines():
    """One black stroke per page of 200 x 200 pt, off the pixel grid: pages 1-4
    horizontal, 5-8 vertical, 9-12 diagonal (drawn under a 2x scale with half the
    width, so the page sees the same width), each group at widths 0, 0.05, 0.1 and
    0.25 pt; page 13: "lllll" in 3 pt Helvetica, whose stems are about half a pixel
    wide at 150 dpi."""
    widths = (0, 0.05, 0.1, 0.25)
    pages = []
    for w in widths:
        pages.append(b"0 0 0 1 K %g w 20.3 100.17 m 180.3 100.17 l S" % w)
    for w in widths:
        pages.append(b"0 0 0 1 K %g w 100.11 20.2 m 100.11 180.2 l S" % w)
    for w in widths:
        pages.append(b"2 0 0 2 0 0 cm 0 0 0 1 K %g w 10.065 15.145 m 90.065 85.145 l S" % (w / 2))
    bodies = [("/MediaBox [0 0 200 200]", content) for content in pages]
    bodies.append(("/MediaBox [0 0 200 200] /Resources << /Font << /F1 << /Type /Font "
                   "/Subtype /Type1 /BaseFont /Helvetica >> >> >>",
                   b"BT /F1 3 Tf 20.3 100.17 Td 0 0 0 1 k (lllll) Tj ET"))
    return flat_document(bodies)


def soft_masks_extra(pdf):
    def group(content, resources=""):
        return pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] %s"
                       "/Group << /S /Transparency /CS /DeviceGray >> >>" % resources, content)
    white = group(b"1 g 0 0 200 200 re f")
    half = group(b"0.5 g 0 0 200 200 re f")
    # A mask whose group sets the very same mask again.
    self_mask, self_group = pdf.reserve(), pdf.reserve()
    pdf.set(self_mask, "<< /S /Alpha /G %d 0 R >>" % self_group)
    pdf.set(self_group, "<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] "
            "/Resources << /ExtGState << /S << /SMask %d 0 R >> >> >> "
            "/Group << /S /Transparency >> >>" % self_mask, b"/S gs 0 g 0 0 200 200 re f")
    # A chain of masks, each group drawing under the next mask, deeper than the limit.
    chain = group(b"0 g 0 0 200 200 re f")
    for _ in range(70):
        mask = pdf.add("<< /S /Alpha /G %d 0 R >>" % chain)
        chain = group(b"/M gs 0 g 0 0 200 200 re f",
                      "/Resources << /ExtGState << /M << /SMask %d 0 R >> >> >> " % mask)
    knockout = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] "
                       "/Resources << /ExtGState << /H << /ca 0.5 >> >> >> "
                       "/Group << /S /Transparency /I true /K true >> >>",
                       b"/H gs 0 1 0 0 k 10 100 40 30 re f 1 0 0 0 k 30 100 40 30 re f")
    return {"white": white, "half": half, "self": self_mask, "chain": chain,
            "knockout": knockout}


def soft_masks():
    """Soft masks good and bad: a luminosity mask at half, a /BC of the wrong size, a
    /TR that is not a function, a mask that refers to itself, masks nested past the
    limit, a knockout group of two half-opaque fills, and a fill whose /BM array's
    first known mode is the non-separable Hue."""
    return content_page(b"""q /Lum gs 1 0 0 0 k 10 10 30 30 re f Q
q /BadBC gs 1 0 0 0 k 50 10 30 30 re f Q
q /BadTR gs 1 0 0 0 k 90 10 30 30 re f Q
q /Self gs 1 0 0 0 k 130 10 30 30 re f Q
q /Deep gs 1 0 0 0 k 10 50 30 30 re f Q
/Ko Do
q /NS gs 0 0 0 1 k 150 150 20 20 re f Q
""", "/XObject << /Ko %(knockout)d 0 R >> /ExtGState << "
         "/NS << /BM [/Bogus /Hue /Multiply] >> "
         "/Lum << /SMask << /S /Luminosity /G %(half)d 0 R /BC [0] >> >> "
         "/BadBC << /SMask << /S /Luminosity /G %(white)d 0 R /BC [0 0] >> >> "
         "/BadTR << /SMask << /S /Alpha /G %(white)d 0 R /TR 5 >> >> "
         "/Self << /SMask %(self)d 0 R >> "
         "/Deep << /SMask << /S /Alpha /G %(chain)d 0 R >> >> >>",
                        extra=soft_masks_extra)


def knockout_page():
    """A page group with the knockout flag: two half-opaque fills, the later one
    replacing the earlier where they overlap."""
    return content_page(b"/H gs 0 1 0 0 k 10 10 40 30 re f 1 0 0 0 k 30 10 40 30 re f\n",
                        "/ExtGState << /H << /ca 0.5 >> >>",
                        page_extra="/Group << /S /Transparency /K true /CS /DeviceCMYK >> ")


def shadings_extra(pdf):
    spot = pdf.add("[/Separation /Spot#20Blue /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
                   "/C0 [0 0 0 0] /C1 [1 0.6 0 0] /N 1 >>]")
    ramp = "<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [1] /N 1 >>"
    axial = pdf.add("<< /ShadingType 2 /ColorSpace %d 0 R /Coords [0 0 100 0] /Function %s "
                    "/Extend [true true] >>" % (spot, ramp))
    radial = pdf.add("<< /ShadingType 3 /ColorSpace /DeviceCMYK /Coords [50 50 0 50 50 40] "
                     "/Function << /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [0 1 0 0] "
                     "/N 1 >> /Extend [false false] /BBox [10 10 90 90] >>")
    gray = pdf.add("<< /ShadingType 2 /ColorSpace /DeviceGray /Coords [0 0 0 100] "
                   "/Function [%s] /Background [0.5] >>" % ramp)
    tint = pdf.add("<< /FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>",
                   b"{ pop pop 0 0 0 1 }")
    devicen = pdf.add("<< /ShadingType 2 /ColorSpace [/DeviceN [/Spot#20Blue /Gold] /DeviceCMYK "
                      "%d 0 R] /Coords [0 0 100 0] /Function << /FunctionType 2 /Domain [0 1] "
                      "/C0 [0 1] /C1 [1 0] /N 1 >> >>" % tint)
    bad = pdf.add("<< /ShadingType 3 /ColorSpace /DeviceGray /Coords [0 0 -5 0 0 10] "
                  "/Function %s >>" % ramp)
    wrong = pdf.add("<< /ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 1 0] "
                    "/Function %s >>" % ramp)
    # A free-form mesh in the top right corner whose stream ends inside its second
    # triangle's vertex.
    mesh = pdf.add("<< /ShadingType 4 /ColorSpace /DeviceGray /BitsPerCoordinate 8 "
                   "/BitsPerComponent 8 /BitsPerFlag 8 /Decode [0 255 0 255 0 1] >>",
                   b"\x00\xbe\xbe\xff\x00\xc8\xbe\x80\x00\xc3\xc8\x00\x01\x10")
    pattern = pdf.add("<< /PatternType 2 /Shading %d 0 R /Matrix [1 0 0 1 100 0] >>" % gray)
    return {"spot": spot, "axial": axial, "radial": radial, "devicen": devicen, "bad": bad,
            "wrong": wrong, "mesh": mesh, "pattern": pattern}


def shadings():
    """sh with a Separation axial shading (extended) inside a clip, a CMYK radial
    shading with a /BBox under a CTM, a DeviceN axial shading; a DeviceGray shading
    pattern with a background as fill of a rectangle; unusable shadings (a negative
    radius, a function of the wrong output count) and a truncated mesh; the pattern
    once more under an opacity, where background and shading composite as one unit."""
    return content_page(b"""q 0 0 100 50 re W n /Sh0 sh Q
q 1 0 0 1 100 100 cm /Sh1 sh Q
q 0 50 100 50 re W n /Sh3 sh Q
/Pattern cs /P0 scn 100 0 100 100 re f
/Sh4 sh /Sh5 sh /Sh6 sh
/GSa gs 190 90 5 5 re f
""", "/Shading << /Sh0 %(axial)d 0 R /Sh1 %(radial)d 0 R /Sh3 %(devicen)d 0 R "
         "/Sh4 %(bad)d 0 R /Sh5 %(wrong)d 0 R /Sh6 %(mesh)d 0 R >> "
         "/Pattern << /P0 %(pattern)d 0 R >> /ExtGState << /GSa << /ca 0.5 >> >>",
                        extra=shadings_extra)


def shading_pattern_state_extra(pdf):
    cyan = pdf.add("<< /ShadingType 2 /ColorSpace /DeviceCMYK /Coords [0 0 200 0] "
                   "/Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0 0] /C1 [1 0 0 0] "
                   "/N 1 >> >>")
    separation = pdf.add("<< /ShadingType 2 /ColorSpace [/Separation /Cyan /DeviceCMYK "
                         "<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [1 0 0 0] /N 1 >>] "
                         "/Coords [0 0 200 0] /Function << /FunctionType 2 /Domain [0 1] "
                         "/C0 [1] /C1 [1] /N 1 >> >>")
    half = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] "
                   "/Group << /S /Transparency /CS /DeviceGray >> >>", b"0.5 g 0 0 200 200 re f")

    def pattern(state, shading=cyan):
        return pdf.add("<< /PatternType 2 /Shading %d 0 R /ExtGState << %s >> >>"
                       % (shading, state))
    return {"opacity": pattern("/ca 0.5 /CA 0.5"),
            "stroke": pattern("/CA 0.25 /BM /Multiply /LW 30"),
            "overprint": pattern("/op true /OP true", separation),
            "masked": pattern("/SMask << /S /Luminosity /G %d 0 R >>" % half),
            "plain": pdf.add("<< /PatternType 2 /Shading %d 0 R >>" % cyan)}


def shading_pattern_state():
    """Shading patterns with an /ExtGState over a magenta backdrop: at half opacity,
    as a stroke in Multiply at a quarter (its /LW does not widen the stroke), a
    Separation Cyan with overprint (the backdrop's magenta stays), under a luminosity soft mask of 0.5; one filled at half opacity and
    stroked in black at once (two objects); then a flat fill, opaque again, and the
    pattern without a state."""
    return content_page(b"""0 1 0 0 k 0 0 200 100 re f
/Pattern cs /Op scn 10 10 30 30 re f
/Pattern CS /St SCN 2 w 60 10 30 30 re S
/Pattern cs /Ov scn 110 10 30 30 re f
/Pattern cs /Ma scn 160 10 30 30 re f
/Pattern cs /Op scn 0 0 0 1 K 10 60 30 30 re B
0 0 1 0 k 60 60 30 30 re f
/Pattern cs /Pl scn 110 60 30 30 re f
""", "/Pattern << /Op %(opacity)d 0 R /St %(stroke)d 0 R /Ov %(overprint)d 0 R "
         "/Ma %(masked)d 0 R /Pl %(plain)d 0 R >>", extra=shading_pattern_state_extra)


def pack(fields):
    """Packs (value, bits) pairs most significant bit first; each element given as a
    list of fields starts on a byte boundary."""
    out = bytearray()
    for element in fields:
        acc, n = 0, 0
        for value, bits in element:
            acc = (acc << bits) | value
            n += bits
        if n % 8:
            acc <<= 8 - n % 8
            n += 8 - n % 8
        out += acc.to_bytes(n // 8, "big")
    return bytes(out)


def mesh_types_extra(pdf):
    cmyk_decode = "/Decode [0 200 0 200 0 1 0 1 0 1 0 1]"
    f1 = pdf.add("<< /ShadingType 1 /ColorSpace /DeviceCMYK /Domain [0 1 0 1] "
                 "/Matrix [80 0 0 80 10 110] /Function << /FunctionType 4 /Domain [0 1 0 1] "
                 "/Range [0 1 0 1 0 1 0 1] /Length 20 >> >>")
    calc = pdf.add("<< /FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>",
                   b"{ 0 0 4 2 roll 0 exch }")
    pdf.set(f1, "<< /ShadingType 1 /ColorSpace /DeviceCMYK /Domain [0 1 0 1] "
                "/Matrix [80 0 0 80 10 110] /Function %d 0 R >>" % calc)

    def v4(flag, x, y, c, m, yy, k):
        return [(flag, 8), (x, 16), (y, 16), (c, 8), (m, 8), (yy, 8), (k, 8)]
    s = 65535 / 200.0
    def px(v):
        return int(round(v * s))
    free = pack([v4(0, px(110), px(110), 255, 0, 0, 0), v4(0, px(190), px(110), 0, 255, 0, 0),
                 v4(0, px(110), px(190), 0, 0, 255, 0), v4(1, px(190), px(190), 0, 0, 0, 255),
                 v4(2, px(150), px(199), 255, 255, 0, 0)])
    f4 = pdf.add("<< /ShadingType 4 /ColorSpace /DeviceCMYK /BitsPerCoordinate 16 "
                 "/BitsPerComponent 8 /BitsPerFlag 8 %s >>" % cmyk_decode, free)
    lattice = []
    for r in range(4):
        for c in range(5):
            lattice.append([(px(10 + 20 * c), 16), (px(10 + 25 * r), 16), (int(255 * c / 4), 8)])
    f5 = pdf.add("<< /ShadingType 5 /ColorSpace /DeviceGray /BitsPerCoordinate 16 "
                 "/BitsPerComponent 8 /VerticesPerRow 5 /Decode [0 200 0 200 0 1] >>",
                 pack(lattice))
    def coons(flag, points, colours, bits=8):
        element = [(flag, 8)]
        for x, y in points:
            element += [(px(x), 16), (px(y), 16)]
        for t in colours:
            element += [(t, 8)]
        return element
    # Two Coons patches sharing an edge (flag 2), a spot ramp through a function.
    boundary = [(115, 20), (125, 15), (140, 25), (150, 20), (155, 35), (150, 50), (152, 65),
                (140, 60), (125, 70), (115, 65), (110, 50), (118, 35)]
    second = [(165, 70), (180, 60), (185, 65), (190, 40), (188, 25), (185, 10), (170, 15),
              (160, 18)]
    spot = pdf.add("[/Separation /Mesh#20Green /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
                   "/C0 [0 0 0 0] /C1 [0.8 0 1 0] /N 1 >>]")
    f6 = pdf.add("<< /ShadingType 6 /ColorSpace %d 0 R /BitsPerCoordinate 16 /BitsPerComponent 8 "
                 "/BitsPerFlag 8 /Decode [0 200 0 200 0 1] /Function << /FunctionType 2 "
                 "/Domain [0 1] /C0 [0] /C1 [1] /N 1 >> >>" % spot,
                 pack([coons(0, boundary, [0, 80, 160, 255]), coons(2, second, [40, 200])]))
    tensor = boundary + [(125, 30), (125, 55), (140, 55), (140, 30)]
    f7 = pdf.add("<< /ShadingType 7 /ColorSpace /DeviceRGB /BitsPerCoordinate 16 "
                 "/BitsPerComponent 8 /BitsPerFlag 8 /Decode [0 200 0 200 0 1 0 1 0 1] >>",
                 pack([coons(0, [(x - 100, y + 80) for x, y in tensor],
                             [255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0])]))
    return {"f1": f1, "f4": f4, "f5": f5, "f6": f6, "f7": f7}


def mesh_types():
    """One shading of each type 1, 4, 5, 6, 7: function-based CMYK, a free-form
    mesh with both shared-edge flags, a grey lattice, two Coons patches of a spot
    through a function, an RGB tensor-product patch."""
    return content_page(b"/F1 sh /F4 sh /F5 sh /F6 sh /F7 sh\n",
                        "/Shading << /F1 %(f1)d 0 R /F4 %(f4)d 0 R /F5 %(f5)d 0 R "
                        "/F6 %(f6)d 0 R /F7 %(f7)d 0 R >>", extra=mesh_types_extra)


def shading_types_extra(pdf):
    refs = mesh_types_extra(pdf)
    s = 65535 / 200.0

    def px(v):
        return int(round(v * s))
    refs["axial"] = pdf.add("<< /ShadingType 2 /ColorSpace /DeviceCMYK /Coords [10 110 90 190] "
                            "/Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0 0] "
                            "/C1 [0 0 1 0.2] /N 1 >> /Extend [true true] >>")
    refs["radial"] = pdf.add("<< /ShadingType 3 /ColorSpace /DeviceCMYK "
                             "/Coords [150 150 5 160 140 45] /Function << /FunctionType 2 "
                             "/Domain [0 1] /C0 [0 1 0 0] /C1 [0 0 0 1] /N 1 >> >>")
    # A 12 × 12 grid of Coons patches over (100..200, 100..200) whose wavy edges
    # match their neighbours', so the subdivision has work to do and no gap opens.
    patches = []
    n = 12
    step = 100.0 / n
    for row in range(n):
        for col in range(n):
            x0, y0 = 100 + col * step, 100 + row * step
            x1, y1 = x0 + step, y0 + step
            wob = step / 4
            bnd = [(x0, y0), (x0 + wob, y0 + step / 3), (x0 - wob, y0 + 2 * step / 3), (x0, y1),
                   (x0 + step / 3, y1 + wob), (x0 + 2 * step / 3, y1 - wob), (x1, y1),
                   (x1 - wob, y1 - step / 3), (x1 + wob, y1 - 2 * step / 3), (x1, y0),
                   (x0 + 2 * step / 3, y0 - wob), (x0 + step / 3, y0 + wob)]
            shade = [int(255 * (row + col) / (2 * n))] * 4
            element = [(0, 8)]
            for x, y in bnd:
                element += [(px(min(max(x, 0), 200)), 16), (px(min(max(y, 0), 200)), 16)]
            element += [(v, 8) for v in shade]
            patches.append(element)
    refs["grid"] = pdf.add("<< /ShadingType 6 /ColorSpace /DeviceGray /BitsPerCoordinate 16 "
                           "/BitsPerComponent 8 /BitsPerFlag 8 /Decode [0 200 0 200 0 1] >>",
                           pack(patches))
    return refs


def shading_types():
    """Every shading type 1 to 7 on one page, among them a 12 × 12 grid of Coons
    patches: the benchmark page of shadings."""
    return content_page(b"q 0 0 100 100 re W n /F1 sh /F5 sh Q q 0 100 100 100 re W n /A sh Q "
                        b"/F4 sh /F6 sh /F7 sh /G sh /R sh\n",
                        "/Shading << /F1 %(f1)d 0 R /F4 %(f4)d 0 R /F5 %(f5)d 0 R "
                        "/F6 %(f6)d 0 R /F7 %(f7)d 0 R /A %(axial)d 0 R /R %(radial)d 0 R "
                        "/G %(grid)d 0 R >>", extra=shading_types_extra)


# Tiling patterns: P1 coloured with non-integer steps; P2 uncoloured, rotated, with a
# negative XStep; P3 coloured whose cell fills with P2 (nested).
TILING_CELLS = {
    "P1": b"0 1 0 0 k 0 0 5 5 re f 1 0 0 0 k 5 5 5 5 re f\n",
    "P2": b"0 0 3 8 re f\n",
    "P3": b"/CsK cs 0 0 0 1 /P2 scn 1 1 15 15 re f 1 1 0 0 k 16 16 4 4 re f\n",
}
TILING_GEOMETRY = {
    # bbox, xstep, ystep, matrix, cell indices i and j that cover the page
    "P1": ((0, 0, 10, 10), 12.5, 10.25, (1, 0, 0, 1, 0, 0), (-1, 17), (-1, 20)),
    "P2": ((0, 0, 8, 8), -6.5, 8, (0.8, 0.6, -0.6, 0.8, 3, 0), (-45, 45), (-20, 40)),
    "P3": ((0, 0, 20, 20), 21, 21, (1, 0, 0, 1, 0, 0), (-1, 10), (-1, 10)),
}
# The areas of page 1 (a fill of P1, a fill of P2 in 20 % cyan 80 % black, text in
# P1, a fill of P3) and of page 2, the same drawn with the cells written out.
TILING_FILLS = [
    ("P1", b"/Pattern cs /P1 scn", b"10 10 80 70 re", b"f"),
    ("P2", b"/CsK cs 0.2 0 0 0.8 /P2 scn", b"110 10 80 80 re", b"f"),
    ("P1", b"/Pattern cs /P1 scn", b"BT /F1 60 Tf 10 120 Td (Ag) Tj ET", b""),
    ("P3", b"/Pattern cs /P3 scn", b"110 110 m 190 110 l 150 190 l h", b"f"),
]


def tiling_numbers(values):
    return " ".join(("%r" % v).rstrip("0").rstrip(".") if isinstance(v, float) else str(v)
                    for v in values)


def tiling_expanded(name, area, paint):
    """The cells of pattern `name` written out under the clip of `area`: every cell
    that can reach the page; cells outside the area are clipped away."""
    (x0, y0, x1, y1), xs, ys, matrix, (i0, i1), (j0, j1) = TILING_GEOMETRY[name]
    text = area.startswith(b"BT")
    out = b"q " + (area.replace(b"Tf", b"Tf 7 Tr") if text else area + b" W n") + b"\n"
    for j in range(j0, j1 + 1):
        for i in range(i0, i1 + 1):
            out += b"q %s cm 1 0 0 1 %s cm %d %d %d %d re W n " % (
                tiling_numbers(matrix).encode(), tiling_numbers([i * xs, j * ys]).encode(),
                x0, y0, x1 - x0, y1 - y0)
            if name == "P2":
                out += b"0.2 0 0 0.8 k " + TILING_CELLS["P2"]
            elif name == "P3":
                out += b"/Fm3 Do\n"
            else:
                out += TILING_CELLS[name]
            out += b"Q\n"
    return out + b"Q\n"


def tiling():
    """Page 1: tiling patterns as fills and on text: coloured (non-integer steps),
    uncoloured in a CMYK underlying space (rotated /Matrix, negative XStep), nested.
    Page 2: page 1 drawn with the cells written out by hand, which must give the same
    pixels. Page 3: patterns on strokes and stroked text, under opacity, in a form
    whose matrix moves the pattern. Page 4: bad patterns: one that paints itself,
    /XStep 0, 10^13 cells (coloured in a device or a named space, uncoloured), no
    /BBox, a pattern that is not a stream, one that is not there; each a warning and
    a sensible result."""
    pdf = Pdf()
    catalog, root = pdf.reserve(), pdf.reserve()
    refs = {}
    csk = "[/Pattern /DeviceCMYK]"
    refs["P2"] = pdf.add("<< /PatternType 1 /PaintType 2 /TilingType 1 /BBox [0 0 8 8] "
                         "/XStep -6.5 /YStep 8 /Matrix [0.8 0.6 -0.6 0.8 3 0] "
                         "/Resources << >> >>", TILING_CELLS["P2"])
    refs["P1"] = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 2 /BBox [0 0 10 10] "
                         "/XStep 12.5 /YStep 10.25 /Resources << >> >>", TILING_CELLS["P1"])
    inner = "/Pattern << /P2 %d 0 R >> /ColorSpace << /CsK %s >>" % (refs["P2"], csk)
    refs["P3"] = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 3 /BBox [0 0 20 20] "
                         "/XStep 21 /YStep 21 /Resources << %s >> >>" % inner,
                         TILING_CELLS["P3"])
    form3 = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 20 20] /Resources << %s >> >>"
                    % inner, TILING_CELLS["P3"])
    font = pdf.add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold "
                   "/Encoding /WinAnsiEncoding >>")
    # Bad patterns.
    selfish = pdf.reserve()
    pdf.set(selfish, "<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] /XStep 10 "
            "/YStep 10 /Resources << /Pattern << /Ps %d 0 R >> >> >>" % selfish,
            b"0 0 0 1 k 1 1 4 4 re f /Pattern cs /Ps scn 5 5 5 5 re f\n")
    zero = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] /XStep 0 "
                   "/YStep 10 /Resources << >> >>", b"1 0 0 0 k 0 0 5 10 re f\n")
    tiny = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 0.00001 0.00001] "
                   "/XStep 0.00001 /YStep 0.00001 /Resources << >> >>",
                   b"0 0 1 0 k 0 0 0.000005 0.000005 re f\n")
    tiny_uncoloured = pdf.add("<< /PatternType 1 /PaintType 2 /TilingType 1 "
                              "/BBox [0 0 0.00001 0.00001] /XStep 0.00001 /YStep 0.00001 "
                              "/Resources << >> >>", b"0 0 0.000005 0.000005 re f\n")
    tiny_named = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 1 "
                         "/BBox [0 0 0.00001 0.00001] /XStep 0.00001 /YStep 0.00001 "
                         "/Resources << /ColorSpace << /G0 /DeviceGray >> >> >>",
                         b"/G0 cs 0.25 sc 0 0 0.000005 0.000005 re f\n")
    dictionary = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] "
                         "/XStep 10 /YStep 10 >>")
    unbounded = pdf.add("<< /PatternType 1 /PaintType 1 /TilingType 1 /XStep 10 /YStep 10 "
                        "/Resources << >> >>", b"0 1 0 0 k 0 0 5 5 re f\n")
    form = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                   "/Matrix [1 0 0 1 3.25 1.5] /Resources << /Pattern << /P1 %d 0 R >> >> >>"
                   % refs["P1"], b"/Pattern cs /P1 scn 0 0 60 60 re f\n")
    resources = ("/Pattern << /P1 %d 0 R /P2 %d 0 R /P3 %d 0 R /Ps %d 0 R /Pz %d 0 R "
                 "/Pt %d 0 R /Pu %d 0 R /Pv %d 0 R /Pd %d 0 R /Pw %d 0 R >> "
                 "/ColorSpace << /CsK %s >> "
                 "/Font << /F1 %d 0 R >> /XObject << /Fm3 %d 0 R /Fm %d 0 R >> "
                 "/ExtGState << /H << /CA 0.5 /ca 0.5 >> >>"
                 % (refs["P1"], refs["P2"], refs["P3"], selfish, zero, tiny, unbounded,
                    tiny_uncoloured, dictionary, tiny_named, csk, font, form3, form))
    patterned = b"".join(select + b" " + area + b" " + op + b"\n"
                         for _, select, area, op in TILING_FILLS)
    expanded = b"".join(tiling_expanded(name, area, op) for name, _, area, op in TILING_FILLS)
    strokes = (b"/Pattern CS /P1 SCN 12 w 1 J 20 30 m 90 90 l S\n"
               b"/CsK CS 0 0 0 1 /P2 SCN 0 1 0 0 k 6 w 110 20 70 50 re B\n"
               b"/Pattern CS /P1 SCN 2 w BT /F1 50 Tf 1 Tr 10 110 Td (Ok) Tj ET\n"
               b"q 1 0 0 1 100 100 cm /H gs /Fm Do Q\n")
    bad = (b"/Pattern cs /Ps scn 10 10 40 40 re f /Pz scn 60 10 40 40 re f\n"
           b"/Pt scn 110 10 40 40 re f /Pu scn 10 60 40 40 re f\n"
           b"/CsK cs 0 0 0 0.5 /Pv scn 60 60 40 40 re f\n"
           b"/Pattern cs /Pd scn 110 60 40 40 re f /Pn scn 160 10 30 40 re f\n"
           b"/Pw scn 160 60 30 40 re f\n")
    kids = []
    for content in (patterned, expanded, strokes, bad):
        page = pdf.reserve()
        stream = pdf.add("<< >>", content, compress=True)
        pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox [0 0 200 200] /Resources << %s >> "
                "/Contents %d 0 R >>" % (root, resources, stream))
        kids.append(page)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%s] /Count %d >>" %
            (" ".join("%d 0 R" % k for k in kids), len(kids)))
    return pdf.build()


def default_spaces_extra(pdf):
    zero = pdf.add("<< /FunctionType 4 /Domain [0 1 0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>",
                   b"{ 0 }")
    gold = pdf.add("[/Separation /Gold /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
                   "/C0 [0 0 0 0] /C1 [0 0.2 1 0] /N 1 >>]")
    cmy = pdf.add("[/DeviceN [/Cyan /Magenta /Yellow] /DeviceCMYK %d 0 R]" % zero)
    mcy = pdf.add("[/DeviceN [/Magenta /Cyan /Yellow] /DeviceCMYK %d 0 R]" % zero)
    two = pdf.add("[/DeviceN [/Cyan /Magenta] /DeviceCMYK %d 0 R]" % zero)
    own = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] "
                  "/Resources << /ColorSpace << /DefaultRGB %d 0 R /DefaultCMYK %d 0 R >> >> >>"
                  % (mcy, two), b"0.2 0.4 0.6 rg 10 60 40 40 re f 0 0 0 1 k 60 60 40 40 re f")
    inherit = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 200 200] "
                      "/Resources << >> >>", b"0.2 0.4 0.6 rg 110 60 40 40 re f")
    image = pdf.add("<< /Type /XObject /Subtype /Image /Width 1 /Height 1 "
                    "/ColorSpace /DeviceGray /BitsPerComponent 8 >>", b"\x40")
    red = pdf.add("<< /ShadingType 2 /ColorSpace /DeviceRGB /Coords [150 0 190 0] "
                  "/Function << /FunctionType 2 /Domain [0 1] /C0 [1 0 0] /C1 [1 0 0] /N 1 >> >>")
    return {"gold": gold, "cmy": cmy, "own": own, "inherit": inherit, "image": image,
            "red": red}


def default_spaces():
    """DefaultGray (a Gold separation) and DefaultRGB (DeviceN Cyan Magenta Yellow)
    in the page's resources: rg, g, cs /DeviceRGB, a resource naming DeviceRGB and a
    DeviceGray image use them; a form with its own DefaultRGB (Magenta Cyan Yellow)
    and a DefaultCMYK of two components (reported, DeviceCMYK used), a form that
    inherits the page's, DeviceCMYK untouched, and a DeviceRGB shading (red) that
    DefaultRGB turns cyan."""
    return content_page(b"""0.2 0.4 0.6 rg 10 10 40 40 re f
0.25 g 60 10 40 40 re f
/DeviceRGB cs 0.1 0.2 0.3 sc 110 10 40 40 re f
/RGB0 cs 0.3 0.2 0.1 sc 160 10 30 40 re f
0 0 1 0 k 10 160 30 30 re f
/Own Do /Inherit Do
q 40 0 0 40 10 110 cm /Im Do Q
q 150 110 40 40 re W n /Red sh Q
""", "/ColorSpace << /DefaultGray %(gold)d 0 R /DefaultRGB %(cmy)d 0 R /RGB0 /DeviceRGB >> "
         "/XObject << /Own %(own)d 0 R /Inherit %(inherit)d 0 R /Im %(image)d 0 R >> "
         "/Shading << /Red %(red)d 0 R >>",
                        extra=default_spaces_extra)


def type3_clip_extra(pdf):
    # A filled box glyph (d0), an image-mask glyph (d1, a 2 x 2 checker) and a glyph
    # that shows itself.
    box = pdf.add("<< >>", b"1000 0 d0 0 0 0 1 k 0 0 500 1000 re f")
    checker = pdf.add("<< >>", b"1000 0 0 0 1000 1000 d1 q 1000 0 0 1000 0 0 cm "
                      b"BI /W 2 /H 2 /IM true /D [1 0] ID \x80\x40 EI Q")
    ring = pdf.add("<< >>", b"1000 0 d0 50 w 100 100 800 800 re S")
    self_glyph = pdf.reserve()
    font = pdf.reserve()
    pdf.set(self_glyph, "<< >>", b"1000 0 d0 BT /T3 1 Tf 7 Tr (C) Tj ET 0 0 100 100 re f")
    pdf.set(font, "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] "
            "/FontMatrix [0.001 0 0 0.001 0 0] /CharProcs << /box %d 0 R /checker %d 0 R "
            "/self %d 0 R /ring %d 0 R >> /Encoding << /Differences [65 /box /checker /self /ring] >> "
            "/FirstChar 65 /LastChar 68 /Widths [1000 1000 1000 1000] "
            "/Resources << /Font << /T3 %d 0 R >> >> >>" % (box, checker, self_glyph, ring, font))
    return {"type3": font}


def type3_clip():
    """Type3 glyphs in clipping render modes: a box glyph with 7 Tr clips a magenta
    fill to its left half; a 2 x 2 checker image-mask glyph with 4 Tr paints itself
    and clips a cyan fill to its two set samples; a glyph that shows itself in
    clipping mode is reported and ends; a stroked square glyph clips black to its
    2-pt wide outline."""
    return content_page(b"""q BT /T3 40 Tf 7 Tr 10 10 Td (A) Tj ET 0 1 0 0 k 0 0 200 200 re f Q
q BT /T3 40 Tf 4 Tr 100 10 Td (B) Tj ET 1 0 0 0 k 0 0 200 200 re f Q
q BT /T3 40 Tf 7 Tr 10 100 Td (C) Tj ET 0 0 1 0 k 0 0 200 200 re f Q
q BT /T3 40 Tf 7 Tr 150 100 Td (D) Tj ET 0 0 0 1 k 0 0 200 200 re f Q
""", "/Font << /T3 %(type3)d 0 R >>", extra=type3_clip_extra)


def annotations():
    """Annotations with appearance streams: a square drawn by its /AP /N placed from
    its /BBox and /Matrix into its /Rect; a check box whose /AS picks the /On state;
    a hidden one, one without the print flag, one without /AP, one whose /Rect is not
    a rectangle, and a link (no appearance, silently nothing)."""
    pdf = Pdf()
    catalog, root, page = pdf.reserve(), pdf.reserve(), pdf.reserve()
    # A 10 x 20 box appearance turned a quarter: its bounding box is 20 x 10, mapped
    # onto the 40 x 20 rectangle (2x scale).
    square = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 10 20] "
                     "/Matrix [0 1 -1 0 0 0] >>", b"0 0 0 1 k 0 0 10 20 re f")
    on = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] >>",
                 b"1 0 0 0 k 0 0 10 10 re f")
    off = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] >>",
                  b"0 1 0 0 k 0 0 10 10 re f")
    yellow = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] >>",
                     b"0 0 1 0 k 0 0 10 10 re f")
    annots = [
        "<< /Type /Annot /Subtype /Square /Rect [10 10 50 30] /F 4 /AP << /N %d 0 R >> >>"
        % square,
        "<< /Type /Annot /Subtype /Widget /FT /Btn /T (box) /Rect [60 10 80 30] /F 4 /AS /On "
        "/AP << /N << /On %d 0 R /Off %d 0 R >> >> >>" % (on, off),
        "<< /Type /Annot /Subtype /Square /Rect [100 10 120 30] /F 6 /AP << /N %d 0 R >> >>"
        % yellow,
        "<< /Type /Annot /Subtype /Square /Rect [130 10 150 30] /F 0 /AP << /N %d 0 R >> >>"
        % yellow,
        "<< /Type /Annot /Subtype /Stamp /Rect [10 100 50 140] /F 4 >>",
        "<< /Type /Annot /Subtype /Square /Rect [10 150 (x) 190] /F 4 /AP << /N %d 0 R >> >>"
        % yellow,
        "<< /Type /Annot /Subtype /Link /Rect [100 100 150 150] /F 4 >>",
    ]
    refs = [pdf.add(a) for a in annots]
    content = pdf.add("<< >>", b"0 0 0 0.2 k 0 0 5 5 re f")
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R >>" % root)
    pdf.set(root, "<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox [0 0 200 200] /Resources << >> "
            "/Contents %d 0 R /Annots [%s] >>" % (root, content,
                                                 " ".join("%d 0 R" % r for r in refs)))
    return pdf.build()


def closepath():
    """Segments right after h start at the closed subpath's start: v, l and c."""
    return content_page(b"""0 0 0 1 k
10 10 m 100 10 l 100 100 l h 10 100 60 150 v f
110 10 m 190 10 l 190 90 l h 110 90 l f
""")


def type1_number(value):
    """A number in Type1 charstring encoding."""
    if -107 <= value <= 107:
        return bytes([value + 139])
    if 108 <= value <= 1131:
        value -= 108
        return bytes([(value >> 8) + 247, value & 0xFF])
    if -1131 <= value <= -108:
        value = -value - 108
        return bytes([(value >> 8) + 251, value & 0xFF])
    return b"\xff" + struct.pack(">i", value)


def type1_encrypt(data, key, skip):
    """Type1 encryption (eexec key 55665, charstring key 4330) after `skip` zero bytes."""
    out = bytearray()
    for byte in b"\0" * skip + data:
        cipher = byte ^ (key >> 8)
        key = ((cipher + key) * 52845 + 22719) & 0xFFFF
        out.append(cipher)
    return bytes(out)


def type1_polygon(points, width=1000):
    """The charstring of one closed polygon (absolute points in glyph units)."""
    ops = type1_number(0) + type1_number(width) + b"\x0d"  # hsbw
    x, y = 0, 0
    for i, (px, py) in enumerate(points):
        ops += type1_number(px - x) + type1_number(py - y) + (b"\x15" if i == 0 else b"\x05")
        x, y = px, py
    return ops + b"\x09\x0e"  # closepath endchar


def tiny_type1(glyphs):
    """A minimal Type1 program whose glyphs are polygons, in the order given (glyph 1
    onwards; .notdef is glyph 0): FreeType reads it as any other Type1 font."""
    charstrings = [(b".notdef", type1_number(0) + type1_number(1000) + b"\x0d\x0e")]
    charstrings += [(name.encode(), type1_polygon(points)) for name, points in glyphs]
    private = bytearray(b"dup /Private 8 dict dup begin\n"
                        b"/RD {string currentfile exch readstring pop} executeonly def\n"
                        b"/ND {noaccess def} executeonly def\n"
                        b"/NP {noaccess put} executeonly def\n"
                        b"/BlueValues [] ND\n/MinFeature {16 16} ND\n/password 5839 def\n"
                        b"/lenIV 4 def\n")
    private += b"2 index /CharStrings %d dict dup begin\n" % len(charstrings)
    for name, ops in charstrings:
        encrypted = type1_encrypt(ops, 4330, 4)
        private += b"/%s %d RD %s ND\n" % (name, len(encrypted), encrypted)
    private += (b"end\nend\nreadonly put\nnoaccess put\n"
                b"dup /FontName get exch definefont pop\nmark currentfile closefile\n")
    clear = (b"%!PS-AdobeFont-1.0: QorTiny 001\n10 dict begin\n/FontName /QorTiny def\n"
             b"/FontType 1 def\n/PaintType 0 def\n/FontMatrix [0.001 0 0 0.001 0 0] readonly def\n"
             b"/FontBBox {0 0 1000 1000} readonly def\n/Encoding StandardEncoding def\n"
             b"currentdict end\ncurrentfile eexec\n")
    encrypted = type1_encrypt(bytes(private), 55665, 4)
    trailer = (b"0" * 64 + b"\n") * 8 + b"cleartomark\n"
    return clear, encrypted, trailer


def tiny_cid_program(pdf):
    """The embedded font of the CJK pages: a Type1 program whose glyph 1 is a square
    and glyph 2 a triangle, and a CIDToGIDMap sending CID 264 (A under 90ms-RKSJ-H)
    and CID 843 (hiragana a) to them."""
    clear, encrypted, trailer = tiny_type1([
        ("square", [(100, 0), (900, 0), (900, 800), (100, 800)]),
        ("triangle", [(100, 0), (900, 0), (500, 800)]),
    ])
    program = pdf.add("<< /Length1 %d /Length2 %d /Length3 %d >>" % (
        len(clear), len(encrypted), len(trailer)), clear + encrypted + trailer, compress=True)
    gid_map = bytearray(2 * 844)
    gid_map[2 * 264:2 * 264 + 2] = b"\x00\x01"
    gid_map[2 * 843:2 * 843 + 2] = b"\x00\x02"
    return program, pdf.add("<< >>", bytes(gid_map), compress=True)


def tiny_cid_font(pdf, tiny, encoding):
    program, cid_to_gid = tiny
    return pdf.add(
        "<< /Type /Font /Subtype /Type0 /BaseFont /QorTiny /Encoding %s "
        "/DescendantFonts [<< /Type /Font /Subtype /CIDFontType2 /BaseFont /QorTiny "
        "/CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) /Supplement 2 >> "
        "/W [264 [1000] 843 [1000]] /CIDToGIDMap %d 0 R "
        "/FontDescriptor << /Type /FontDescriptor /FontName /QorTiny /Flags 4 "
        "/FontBBox [0 0 1000 1000] /ItalicAngle 0 /Ascent 800 /Descent 0 /CapHeight 800 "
        "/StemV 80 /FontFile %d 0 R >> >>] >>" % (encoding, cid_to_gid, program))


def cjk_fonts_extra(pdf):
    embedded = tiny_cid_font(pdf, tiny_cid_program(pdf), "/90ms-RKSJ-H")
    to_unicode = pdf.add("<< >>", b"1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                         b"1 beginbfchar <3042> <3042> endbfchar\n")

    def bare(name, encoding, ordering, flags, extra=""):
        return pdf.add(
            "<< /Type /Font /Subtype /Type0 /BaseFont /%s /Encoding /%s %s"
            "/DescendantFonts [<< /Type /Font /Subtype /CIDFontType0 /BaseFont /%s "
            "/CIDSystemInfo << /Registry (Adobe) /Ordering (%s) /Supplement 2 >> /DW 1000 "
            "/FontDescriptor << /Type /FontDescriptor /FontName /%s /Flags %d "
            "/FontBBox [0 -120 1000 880] /ItalicAngle 0 /Ascent 880 /Descent -120 "
            "/CapHeight 700 /StemV 80 >> >>] >>" % (name, encoding, extra, name, ordering, name,
                                                     flags))
    return {
        "embedded": embedded,
        "mincho": bare("KozMinPro-Regular", "UniJIS-UCS2-H", "Japan1", 6),
        "hei": bare("SimHei", "UniGB-UCS2-H", "GB1", 4),
        "batang": bare("Batang", "KSCms-UHC-H", "Korea1", 6),
        "unknown": bare("KozGoPro-Medium", "No-Such-CMap-H", "Japan1", 4,
                        "/ToUnicode %d 0 R " % to_unicode),
    }


def cjk_fonts():
    """CJK text: an embedded program under a predefined mixed one- and two-byte CMap
    (A, hiragana a, A: square, triangle, square), and fonts without a program drawn
    with a substitute: Japanese serif, Chinese sans, Korean serif; a CMap that is not
    installed reads two-byte codes, drawn through the font's /ToUnicode."""
    return content_page(b"""0 0 0 1 k
BT /E 20 Tf 20 160 Td (A\x82\xa0A) Tj ET
BT /M 24 Tf 20 120 Td <304265e5672c> Tj ET
BT /H 24 Tf 20 80 Td <4e2d6587> Tj ET
BT /B 24 Tf 20 40 Td <c7d1b1db> Tj ET
BT /U 12 Tf 120 160 Td <3042> Tj ET
""", "/Font << /E %(embedded)d 0 R /M %(mincho)d 0 R /H %(hei)d 0 R /B %(batang)d 0 R "
       "/U %(unknown)d 0 R >>", extra=cjk_fonts_extra)


def cjk_bad_cmaps_extra(pdf):
    tiny = tiny_cid_program(pdf)
    # Two embedded CMaps that use each other.
    loop_a, loop_b = pdf.reserve(), pdf.reserve()
    pdf.set(loop_a, "<< /Type /CMap /CMapName /LoopA /UseCMap %d 0 R >>" % loop_b,
            b"1 begincodespacerange <00> <FF> endcodespacerange\n"
            b"1 begincidchar <41> 264 endcidchar\n")
    pdf.set(loop_b, "<< /Type /CMap /CMapName /LoopB /UseCMap %d 0 R >>" % loop_a,
            b"1 begincidchar <42> 843 endcidchar\n")
    # A range that runs past CID 65535: it ends there.
    huge = pdf.add("<< /Type /CMap /CMapName /Huge >>",
                   b"1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                   b"1 begincidrange <0000> <FFFF> 264 endcidrange\n")
    return {
        "loop": tiny_cid_font(pdf, tiny, "%d 0 R" % loop_a),
        "huge": tiny_cid_font(pdf, tiny, "%d 0 R" % huge),
        "unknown": tiny_cid_font(pdf, tiny, "/No-Such-CMap-H"),
    }


def cjk_bad_cmaps():
    """Bad CMaps still show their text, with one warning each: two CMap streams that use
    each other (A, B: square, triangle), a range past the last CID (codes 0 and 579:
    square, triangle; FEF8 is beyond the cut), a CMap name that is not installed
    (two-byte identity: 264 is the square)."""
    return content_page(b"""0 0 0 1 k
BT /L 20 Tf 20 160 Td (AB) Tj ET
BT /H 20 Tf 20 120 Td <00000243fef8> Tj ET
BT /U 20 Tf 20 80 Td <0108> Tj ET
""", "/Font << /L %(loop)d 0 R /H %(huge)d 0 R /U %(unknown)d 0 R >>",
                        extra=cjk_bad_cmaps_extra)


def main():
    DATA.mkdir(exist_ok=True)
    intact = two_pages().build()
    files = {
        "page_tree.pdf": page_tree(),
        "boxes.pdf": boxes(),
        "rotation.pdf": rotation(),
        "malformed.pdf": malformed(),
        "content.pdf": content(),
        "images.pdf": images(),
        "encrypted_empty_password.pdf": encrypted(""),
        "encrypted_user_password.pdf": encrypted("secret"),
        # Every cross-reference offset points 7 bytes too far.
        "damaged_xref.pdf": two_pages().build(xref_shift=7),
        # Cut inside the second page's content: no cross-reference table, no trailer.
        "truncated.pdf": intact[:intact.index(b"re f Q", intact.index(b"500 600")) + 40],
        # Cut after the trailer dictionary: startxref and the end marker are lost.
        "truncated_tail.pdf": intact[:intact.rindex(b"startxref")],
        "not_a_pdf.pdf": b"This is a text file, not a PDF.\n",
        "paths.pdf": paths(),
        "closepath.pdf": closepath(),
        "cjk_fonts.pdf": cjk_fonts(),
        "cjk_bad_cmaps.pdf": cjk_bad_cmaps(),
        "clips.pdf": clips(),
        "overprint.pdf": overprint(),
        "forms.pdf": forms(),
        "layers.pdf": layers(),
        "text.pdf": text(),
        "image_masks.pdf": image_masks(),
        "hairlines.pdf": hairlines().build(),
        "soft_masks.pdf": soft_masks(),
        "knockout_page.pdf": knockout_page(),
        "shadings.pdf": shadings(),
        "shading_pattern_state.pdf": shading_pattern_state(),
        "mesh_types.pdf": mesh_types(),
        "shading_types.pdf": shading_types(),
        "tiling.pdf": tiling(),
        "default_spaces.pdf": default_spaces(),
        "type3_clip.pdf": type3_clip(),
        "annotations.pdf": annotations(),
    }
    for name, data in files.items():
        (DATA / name).write_bytes(data)
    (DATA / "hostile").mkdir(exist_ok=True)
    for name, data in make_hostile_pdfs.hostile_files(Pdf).items():
        (DATA / "hostile" / name).write_bytes(data)


if __name__ == "__main__":
    main()

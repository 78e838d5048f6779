#!/usr/bin/env python3
"""Writes the PDF importer's test files into tests/pdf/data/ (standard library only).

Every file is small and built object by object, so each test can name the exact
page-tree shape, box, rotation or content it checks. Output is deterministic: the
same script always writes the same bytes, so the files can be kept in the repository
and regenerated without noise. Run from anywhere: python3 tests/pdf/make_test_pdfs.py
"""

import hashlib
import pathlib
import struct
import zlib

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


def main():
    DATA.mkdir(exist_ok=True)
    intact = two_pages().build()
    files = {
        "page_tree.pdf": page_tree(),
        "boxes.pdf": boxes(),
        "rotation.pdf": rotation(),
        "malformed.pdf": malformed(),
        "content.pdf": content(),
        "encrypted_empty_password.pdf": encrypted(""),
        "encrypted_user_password.pdf": encrypted("secret"),
        # Every cross-reference offset points 7 bytes too far.
        "damaged_xref.pdf": two_pages().build(xref_shift=7),
        # Cut inside the second page's content: no cross-reference table, no trailer.
        "truncated.pdf": intact[:intact.index(b"re f Q", intact.index(b"500 600")) + 40],
        # Cut after the trailer dictionary: startxref and the end marker are lost.
        "truncated_tail.pdf": intact[:intact.rindex(b"startxref")],
        "not_a_pdf.pdf": b"This is a text file, not a PDF.\n",
    }
    for name, data in files.items():
        (DATA / name).write_bytes(data)


if __name__ == "__main__":
    main()

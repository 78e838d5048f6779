"""Hostile test files: small PDFs whose structure asks for unbounded work or memory.

Called by make_test_pdfs.py; writes into tests/pdf/data/hostile/. Each file holds one
fault, named by its file name, and stays a few kilobytes: large data is made by
compression (twice Flate-compressed runs of one byte), large work by sharing objects.
Every file must be refused or imported within a second or two and a few hundred
megabytes, whatever resolution it is rendered at.
"""

import zlib

GIB = 1 << 30
MIB = 1 << 20


def deflate_repeated(byte, count, prefix=b"", suffix=b"", twice=True):
    """prefix + count copies of byte + suffix, Flate-compressed (by default twice: a
    gigabyte of one byte is about a megabyte after one pass and a few kilobytes after
    two)."""
    once = zlib.compressobj(9)
    parts = [once.compress(prefix)]
    chunk = byte * MIB
    for _ in range(count // MIB):
        parts.append(once.compress(chunk))
    parts.append(once.compress(byte * (count % MIB)))
    parts.append(once.compress(suffix))
    parts.append(once.flush())
    return zlib.compress(b"".join(parts), 9) if twice else b"".join(parts)


def one_page(pdf_class, content, resources="", media="[0 0 200 200]", page_extra="",
             catalog_extra="", extra=None, content_filter=""):
    """One page; `extra(pdf)` may add objects first and returns names for %(name)d."""
    pdf = pdf_class()
    catalog, root, page = pdf.reserve(), pdf.reserve(), pdf.reserve()
    refs = extra(pdf) if extra else {}
    stream = pdf.add("<< %s >>" % content_filter, content)
    pdf.set(catalog, "<< /Type /Catalog /Pages %d 0 R %s >>" % (root, catalog_extra % refs))
    pdf.set(root, "<< /Type /Pages /Kids [%d 0 R] /Count 1 >>" % page)
    pdf.set(page, "<< /Type /Page /Parent %d 0 R /MediaBox %s %s /Resources << %s >> "
            "/Contents %d 0 R >>" % (root, media, page_extra, resources % refs, stream))
    return pdf.build()


SQUARE = b"0 0 0 1 k 10 10 50 50 re f\n"
TWICE_FLATE = "/Filter [/FlateDecode /FlateDecode]"


def form_chain(pdf):
    """40 forms, each drawing the next one twice: 2^40 placements of the last."""
    leaf = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] >>",
                   b"0 0 0 1 k 0 0 1 1 re f")
    below = leaf
    for _ in range(39):
        below = pdf.add("<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                        "/Resources << /XObject << /N %d 0 R >> >> >>" % below,
                        b"/N Do 0.5 0 0 0.5 10 10 cm /N Do")
    return {"top": below}


def recursive_forms(pdf):
    """Two forms that each draw the other three times."""
    a, b = pdf.reserve(), pdf.reserve()
    for this, other in ((a, b), (b, a)):
        pdf.set(this, "<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] "
                "/Resources << /XObject << /O %d 0 R >> >> >>" % other,
                b"0 0 0 1 k 0 0 1 1 re f /O Do /O Do /O Do")
    return {"top": a}


def type3_recursive(pdf):
    """A Type3 font whose only glyph shows two glyphs of the same font."""
    font = pdf.reserve()
    glyph = pdf.add("<< >>", b"1000 0 0 0 750 750 d1 0 0 100 100 re f "
                    b"BT /T 1 Tf (AA) Tj ET")
    pdf.set(font, "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] "
            "/FontMatrix [0.001 0 0 0.001 0 0] /CharProcs << /box %d 0 R >> "
            "/Encoding << /Differences [65 /box] >> /FirstChar 65 /LastChar 65 "
            "/Widths [1000] /Resources << /Font << /T %d 0 R >> >> >>" % (glyph, font))
    return {"font": font}


def visibility_dag(pdf):
    """A membership expression of 30 levels, each level [/And below below]: 2^30
    paths to the one optional-content group at the bottom."""
    group = pdf.add("<< /Type /OCG /Name (Layer) >>")
    below = group
    for _ in range(30):
        below = pdf.add("[/And %d 0 R %d 0 R]" % (below, below))
    ocmd = pdf.add("<< /Type /OCMD /VE %d 0 R >>" % below)
    return {"group": group, "ocmd": ocmd}


def flate_bomb_mask(pdf):
    """An 8 x 8 image mask whose data inflates to a gibibyte."""
    mask = pdf.add("<< /Type /XObject /Subtype /Image /Width 8 /Height 8 /ImageMask true "
                   "/BitsPerComponent 1 %s >>" % TWICE_FLATE, deflate_repeated(b"\x00", GIB))
    return {"mask": mask}


def deep_object(pdf):
    """An array nested 5000 deep (ten times qpdf's own limit), used as a colour space."""
    return {"deep": pdf.add("[" * 5000 + "/DeviceGray" + "]" * 5000)}


def hostile_files(pdf_class):
    nested_arrays = b"[" * 100000 + b" 0 0 0 1 k " + SQUARE
    nested_dicts = b"<<" * 100000 + b" 0 0 0 1 k " + SQUARE
    return {
        "nested_arrays.pdf": one_page(pdf_class, zlib.compress(nested_arrays, 9),
                                      content_filter="/Filter /FlateDecode"),
        "nested_dictionaries.pdf": one_page(pdf_class, zlib.compress(nested_dicts, 9),
                                            content_filter="/Filter /FlateDecode"),
        # The same depth in an object the file structure holds, which qpdf parses.
        "nested_objects.pdf": one_page(pdf_class, b"/C cs 1 sc " + SQUARE,
                                       "/ColorSpace << /C %(deep)d 0 R >>", extra=deep_object),
        "huge_media_box.pdf": one_page(pdf_class, SQUARE, media="[0 0 1000000000 1000000000]"),
        "huge_user_unit.pdf": one_page(pdf_class, SQUARE, media="[0 0 612 792]",
                                       page_extra="/UserUnit 1000000"),
        "form_chain.pdf": one_page(pdf_class, b"/F Do", "/XObject << /F %(top)d 0 R >>",
                                   extra=form_chain),
        "recursive_forms.pdf": one_page(pdf_class, b"/F Do", "/XObject << /F %(top)d 0 R >>",
                                        extra=recursive_forms),
        "type3_recursive.pdf": one_page(pdf_class, b"BT /T 10 Tf 10 10 Td (AA) Tj ET",
                                        "/Font << /T %(font)d 0 R >>", extra=type3_recursive),
        "visibility_dag.pdf": one_page(
            pdf_class, b"/OC /M BDC " + SQUARE + b"EMC", "/Properties << /M %(ocmd)d 0 R >>",
            catalog_extra="/OCProperties << /OCGs [%(group)d 0 R] /D << >> >>",
            extra=visibility_dag),
        # Within the content limits, but longer than any token may be.
        "huge_string.pdf": one_page(
            pdf_class, deflate_repeated(b"A", 17 * MIB, b"BT (", b") Tj ET\n" + SQUARE, False),
            content_filter="/Filter /FlateDecode"),
        "flate_bomb_content.pdf": one_page(
            pdf_class, deflate_repeated(b" ", GIB, b"", SQUARE), content_filter=TWICE_FLATE),
        "flate_bomb_mask.pdf": one_page(pdf_class, b"q 100 0 0 100 10 10 cm /M Do Q",
                                        "/XObject << /M %(mask)d 0 R >>", extra=flate_bomb_mask),
    }

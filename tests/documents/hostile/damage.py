"""Families of documents that were in order once, and those that still are."""

import random

from encryption import SCHEMES, encrypted
from family import family
from fonts import cff, truetype, type1, with_font
from pdf import FONT, FREE, TEXT, document, packed, write
from pictures import flipped, image, jpeg

MEGABYTE = 1 << 20
SOME = 20_000  # of what libqpdf reads in a time that grows with the square


def sound_documents():
    form = ("/Type/Annot/Subtype/Widget/FT/Tx/T(f)/V(value)/Rect[20 20 180 60]/DA(/F 12 Tf 0 g)/F 4")
    yield "plain", write()
    yield "streams", document(packed(TEXT)).with_stream((1, 2, 3))
    yield "table-and-flate", write(packed(TEXT))
    yield "picture", image(bytes(range(64)))
    yield "jpeg", image(jpeg(), more="/Filter/DCTDecode")
    yield "truetype", with_font(truetype(), "FontFile2")
    yield "type1", with_font(type1()[0], "FontFile", "Type1", type1()[1])
    yield "cff", with_font(cff(), "FontFile3", "Type1", "/Subtype/Type1C")
    yield "form", write(page=f"/Annots[{FREE} 0 R]", catalog=f"/AcroForm<</Fields[{FREE} 0 R]"
                        f"/DR<<{FONT}>>>>", extra=[f"<<{form}>>"])
    yield "pages", document().set(2, "<</Type/Pages/Count 3/Kids[3 0 R 5 0 R 6 0 R]>>").set(
        5, "<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 100]>>").set(
        6, "<</Type/Page/Parent 2 0 R/MediaBox[0 0 100 200]/Rotate 90>>").with_table()
    for name, scheme in SCHEMES.items():
        yield name, encrypted(document(), scheme).with_table()
        yield f"{name}-streams", encrypted(document(packed(TEXT)), scheme).with_stream((2, 3))


@family
def sound():
    yield from sound_documents()


@family
def truncated():
    documents = dict(sound_documents())
    for name in ["plain", "streams", "form", "jpeg", "rc4-128", "aes-128-streams", "aes-256"]:
        for size in range(0, len(documents[name]), 10):
            yield f"{name}-{size:04}", documents[name][:size]


@family
def flipped_bytes():
    chance = random.Random("flips")
    for name, content in sound_documents():
        for turn in range(15):
            yield f"{name}-{turn:02}", flipped(chance, content, [1, 2, 5, 20, 100][turn % 5])


@family
def moved_bytes():
    """With pieces left out, put in or written twice, so that all that follows lies elsewhere."""
    chance = random.Random("moves")
    for name, content in sound_documents():
        for turn in range(9):
            start, other = (chance.randrange(len(content)) for _ in range(2))
            size = chance.choice([1, 10, 200])
            piece = [b"", content[start:start + size] * 2, content[other:other + size]][turn % 3]
            yield f"{name}-{turn}", content[:start] + piece + content[start + size:]


@family
def rubbish():
    chance = random.Random("rubbish")
    kinds = {"noise": chance.randbytes(MEGABYTE), "zeros": bytes(MEGABYTE)}
    for name, piece in [("headers", b"%PDF-1.7\n"), ("objects", b"1 0 obj\n"), ("ends", b"endobj\n"),
                        ("texts", b"("), ("tables", b"xref\n0 1\n"), ("starts", b"startxref\n9\n"),
                        ("trailers", b"trailer<</Root 1 0 R>>\n"), ("streams", b"<<>>stream\n"),
                        ("dictionaries", b"<<"), ("numbers", b"9 "), ("marks", b"%%EOF\n")]:
        kinds[name] = piece * (MEGABYTE // len(piece))
    kinds["headers"], kinds["marks"] = kinds["headers"][:SOME], kinds["marks"][:SOME]
    yield "headers-long", b"%PDF-1.7\n" * (MEGABYTE // 9) + write()
    documents = {"plain": write(), "streams": document().with_stream((1, 2, 3))}
    for name, noise in kinds.items():
        for number, (document_name, content) in enumerate(documents.items()):
            yield f"{name}-before-{document_name}", noise + content
            yield f"{name}-after-{document_name}", content + noise
            if number == 0:
                yield f"{name}-both", noise + content + noise
                yield f"{name}-alone", noise


@family
def headers():
    content = write()
    for size in [1, 1000, 1019, 1020, 1023, 1024, 1025, 2000]:
        yield f"after-{size}", b"x" * size + content
    for number, header in enumerate([b"", b"%PDF", b"%PDF-", b"%PDF-9.9", b"%PDF--1.-1", b"%PDF-1." + b"9" * 5000,
                                     b"%PDF-1.7%PDF-1.4", b"%!PS-Adobe-3.0 PDF-1.4", b"%FDF-1.2", b"%pdf-1.7",
                                     b"\xef\xbb\xbf%PDF-1.7", b"\xff\xfe%\0P\0D\0F\0"]):
        yield f"kind-{number:02}", header + content[8:]
    for number, version in enumerate(["/9.9", "/" + "9" * 5000, "/-1", "(1.7)", "/1.7.7.7", "/x", "1.7", "/"]):
        yield f"version-{number}", write(catalog=f"/Version{version}")
    others = {"empty": b"", "one-byte": b"%", "zeros": bytes(100), "line-feed": b"\n", "text": b"Hello.\n" * 99,
              "postscript": b"%!PS-Adobe-3.0\nshowpage\n", "archive": b"PK\3\4" + bytes(200),
              "picture": b"\x89PNG\r\n\x1a\n" + bytes(100), "page": b"<!DOCTYPE html><html></html>",
              "header-alone": b"%PDF-1.7\n", "header-and-end": b"%PDF-1.7\n%%EOF\n",
              "trailer-alone": b"%PDF-1.7\ntrailer<<>>\nstartxref\n0\n%%EOF\n"}
    for name, content in others.items():
        yield f"other-{name}", content

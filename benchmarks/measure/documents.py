"""Makes the documents that are too large, or too many, to be drawn."""

import random
import subprocess
import zlib

PASSWORD = "password"
A4 = (595, 842)
A1 = (1684, 2384)


def deflated(size):
    """A stream of so many bytes and a little more, of noise in few letters."""
    noise = random.Random(1).choices(b" 0123456789etaoinshrdlucm\n", k=size * 8 // 5)
    return zlib.compress(bytes(noise), 1)


def ruled_page():
    """What takes little time to draw, and no font."""
    return zlib.compress(b" ".join(b"50 %d 495 4 re f" % (60 + 14 * line) for line in range(52)))


def page_objects(first, count, content, box):
    """Of each page itself, what it shows, and a note on it."""
    for number in range(first, first + 3 * count, 3):
        yield (b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 %d %d]/Contents %d 0 R/Annots[%d 0 R]"
               b"/Resources<<>>>>" % (*box, number + 1, number + 2))
        yield (b"<</Filter/FlateDecode/Length %d>>stream\n" % len(content) + content +
               b"\nendstream")
        yield b"<</Type/Annot/Subtype/Text/Rect[9 9 29 29]/F 2/Contents(Note %d)>>" % number


def write(path, pages, content, box=A4):
    """A document of three objects a page, and two more."""
    first = 3
    kids = b" ".join(b"%d 0 R" % number for number in range(first, first + 3 * pages, 3))
    head = [b"<</Type/Catalog/Pages 2 0 R>>",
            b"<</Type/Pages/Count %d/Kids[%b]>>" % (pages, kids)]
    places = []
    with open(path, "wb") as file:
        file.write(b"%PDF-1.7\n")
        for objects in (head, page_objects(first, pages, content, box)):
            for body in objects:
                places.append(file.tell())
                file.write(b"%d 0 obj\n%b\nendobj\n" % (len(places), body))
        table = file.tell()
        file.write(b"xref\n0 %d\n0000000000 65535 f \n" % (len(places) + 1))
        file.writelines(b"%010d 00000 n \n" % place for place in places)
        file.write(b"trailer\n<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n" %
                   (len(places) + 1, table))


ENCRYPTIONS = {
    "AES-128": ["--encrypt", PASSWORD, "owner", "128", "--use-aes=y", "--"],
    "AES-256": ["--encrypt", PASSWORD, "owner", "256", "--"],
}


def encrypt(source, target, encryption):
    subprocess.run(["qpdf", *ENCRYPTIONS[encryption], source, target], check=True)

"""Boxes, rotations and units of pages."""

from drawings import LANDMARK, drawn
from encryption import SCHEMES, encrypted
from pdf import document, write

FRACTIONS = (199.7 - 0.4, 210.9 - 0.3)  # the size of the page "media-box-of-fractions"


def boxed(media, page="", shift="", pages=""):
    """The landmark on a page of these boxes, moved by `shift`."""
    moved = f"1 0 0 1 {shift} cm " if shift else ""
    return lambda: write(moved + LANDMARK, box=media, page=page, pages=pages)


for name, make in {
    "rotated-90": boxed("0 0 200 260", "/Rotate 90"),
    "rotated-180": boxed("0 0 200 260", "/Rotate 180"),
    "rotated-270": boxed("0 0 200 260", "/Rotate 270"),
    "rotated-minus-90": boxed("0 0 200 260", "/Rotate -90"),
    "rotated-450": boxed("0 0 200 260", "/Rotate 450"),
    "rotated-with-crop-box": boxed("0 0 200 260", "/CropBox[5 30 180 200]/Rotate 90"),
    "rotated-by-inheritance": boxed("0 0 200 260", pages="/Rotate 270"),
    "crop-box": boxed("0 0 300 300", "/CropBox[20 35 190 215.5]"),
    "crop-box-partly-outside": boxed("0 0 200 200", "/CropBox[50 -80 290 150]"),
    "crop-box-reversed": boxed("0 0 300 300", "/CropBox[190 215 20 35]"),
    "crop-box-empty": boxed("0 0 200 200", "/CropBox[50 50 50 50]"),
    "media-box-elsewhere": boxed("100 150 300 370", shift="100 150"),
    "media-box-negative": boxed("-150 -100 70 110", shift="-150 -100"),
    "media-box-reversed": boxed("200 220 0 0"),
    "media-box-of-fractions": boxed("0.4 0.3 199.7 210.9"),
    "boxes-inherited": boxed(None, pages="/MediaBox[0 0 300 300]/CropBox[0 0 200 220]"),
    "boxes-that-do-not-matter": boxed(
        "0 0 200 220", "/BleedBox[10 10 190 190]/TrimBox[20 20 180 180]/ArtBox[50 50 90 90]"),
    "user-unit": boxed("0 0 200 200", "/UserUnit 1.5"),
    "user-unit-with-crop-box": boxed("0 0 200 200", "/UserUnit 2/CropBox[10 20 150 120]"),
}.items():
    drawn(name)(make)


@drawn("encrypted")
def sealed_page():
    return encrypted(document(LANDMARK), SCHEMES["aes-256"]).with_table()

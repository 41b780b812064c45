"""Puts small pictures of a PDF's pages onto one: contact_sheet.py DOCUMENT.pdf SHEET.png [PASSWORD-FILE]"""

import pathlib
import sys

from PIL import Image

import pdfconvert

SIDE = 200
COLUMNS = 4


def contact_sheet(document: str, password: str | None) -> Image.Image:
    rows = -(-pdfconvert.info(document, password=password).pages // COLUMNS)
    sheet = Image.new("RGB", (COLUMNS * SIDE, rows * SIDE), "gray")
    pages = pdfconvert.pages(document, size=(SIDE - 10, SIDE - 10), password=password)
    for index, page in enumerate(pages):
        sheet.paste(page, (index % COLUMNS * SIDE + 5, index // COLUMNS * SIDE + 5))
    return sheet


def main() -> int:
    document, target, *password_file = sys.argv[1:]
    password = pathlib.Path(password_file[0]).read_text().rstrip("\n") if password_file else None
    try:
        contact_sheet(document, password).save(target)
    except pdfconvert.PasswordError as error:
        print(f"{error}; name a file with its password", file=sys.stderr)
        return 2
    except pdfconvert.PdfConvertError as error:
        print(f"{error} ({error.reason})", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

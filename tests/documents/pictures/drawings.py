"""The register of the documents, and what several of them draw."""

import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "hostile"))

DOCUMENTS = {}

HELVETICA = "/Font<</F<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>>>"

# A page that looks like no mirrored, turned or shifted one.
LANDMARK = ("q 0.8 0.1 0.1 rg 10 10 60 30 re f 0.1 0.3 0.8 rg 10 50 30 60 re f 0 0.5 0 RG 4 w"
            " 10 190 m 190 190 l 190 150 l S 0.9 0.7 0 rg 120 20 m 190 20 l 155 90 l f Q ")


def drawn(name):
    """Registers what gives the bytes of the document called so."""
    def register(function):
        DOCUMENTS[name] = function
        return function
    return register


def line(font, size, y, shown, x=15):
    """A line of text; `shown` as a string in parentheses or in hexadecimal."""
    return f"BT /{font} {size} Tf {x} {y} Td {shown} Tj ET\n"

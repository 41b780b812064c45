"""Families of fonts: small sound ones of three kinds, and what damage makes of them."""

import random
import struct

from family import NUMBERS, ODD_VALUES, family, numbered
from pdf import FREE, stream, write
from pictures import flipped

SHOW = "BT /F 60 Tf 20 80 Td (AB) Tj ET"
DESCRIPTOR = "/Type/FontDescriptor/FontName/Own/Flags 4/FontBBox[0 0 1000 1000]/ItalicAngle 0" \
             "/Ascent 900/Descent 0/CapHeight 700/StemV 80"


def with_font(data, key, kind="TrueType", entries="", more=""):
    font = (f"/Font<</F<</Type/Font/Subtype/{kind}/BaseFont/Own/FirstChar 65/LastChar 66"
            f"/Widths[700 700]/FontDescriptor<<{DESCRIPTOR}/{key} {FREE} 0 R>>{more}>>>>")
    return write(SHOW, font, extra=[stream(data, entries)])


def truetype(glyph=None, program=b"", tables=None):
    """Three glyphs, each a square unless `glyph` says what they are."""
    if glyph is None:
        glyph = struct.pack(">5hHH", 1, 0, 0, 700, 700, 3, len(program)) + program
        glyph += b"\1\1\1\1" + struct.pack(">8h", 0, 700, 0, -700, 0, 0, 700, 0)
    glyph += bytes(-len(glyph) % 4)
    parts = {
        b"cmap": struct.pack(">HHHHI", 0, 1, 1, 0, 12) + struct.pack(">HHH", 0, 262, 0)
                 + bytes(65) + b"\1\2" + bytes(189),
        b"fpgm": program or b"\x2d", b"glyf": glyph * 3,
        b"head": struct.pack(">IIIIHHQQ4hHHhhh", 65536, 65536, 0, 0x5F0F3CF5, 0, 1000, 0, 0,
                             0, 0, 700, 700, 0, 8, 2, 1, 0),
        b"hhea": struct.pack(">I3hH11hH", 65536, 900, 0, 0, 700, *[0] * 11, 3),
        b"hmtx": struct.pack(">Hh", 700, 0) * 3,
        b"loca": struct.pack(">4I", *(len(glyph) * n for n in range(4))),
        b"maxp": struct.pack(">IH13H", 65536, 3, 4, 1, 4, 1, 2, 4, 4, 4, 4, 64, 64, 2, 2)}
    parts.update(tables or {})
    return sfnt(parts)


def sfnt(parts):
    offset, directory, data = 12 + 16 * len(parts), b"", b""
    for tag, part in sorted(parts.items()):
        directory += tag + struct.pack(">III", 0, offset + len(data), len(part))
        data += part + bytes(-len(part) % 4)
    return struct.pack(">IHHHH", 65536, len(parts), 128, 3, 0) + directory + data


def crypt(data, key):
    out = bytearray()
    for byte in data:
        out.append(byte ^ key >> 8)
        key = (out[-1] + key) * 52845 + 22719 & 0xFFFF
    return bytes(out)


def number(value):
    """As charstrings write whole numbers."""
    return bytes([value + 139]) if -107 <= value <= 107 else b"\xff" + struct.pack(">i", value)


def square(width=b""):
    sides = [(0, b"\x15"), (700, b"\x06"), (700, b"\x07"), (-700, b"\x06")]
    return width + number(0) + b"".join(number(length) + code for length, code in sides)


TYPE1_SQUARE = number(0) + number(700) + b"\x0d" + square() + b"\x09\x0e"


def type1(glyph=TYPE1_SQUARE, subroutines=(b"\x0b",), private=""):
    """Of a program that is encrypted as it should be; gives its entries, too."""
    def charstring(code):
        code = crypt(bytes(4) + code, 4330)
        return b"%d RD " % len(code) + code
    head = (b"%!PS-AdobeFont-1.0: Own\n11 dict begin/FontName/Own def/FontType 1 def/PaintType 0 def"
            b"/FontMatrix[.001 0 0 .001 0 0]def/FontBBox{0 0 700 700}def/Encoding 256 array\n"
            b"dup 65/A put dup 66/B put readonly def currentdict end currentfile eexec\n")
    secret = (b"dup/Private 9 dict dup begin/RD{string currentfile exch readstring pop}def/ND{def}def"
              b"/NP{put}def/BlueValues[]def/lenIV 4 def" + private.encode() + b"/Subrs %d array\n"
              % len(subroutines))
    for index, code in enumerate(subroutines):
        secret += b"dup %d " % index + charstring(code) + b" NP\n"
    secret += b"2 index/CharStrings 3 dict dup begin\n"
    for name in [b"A", b"B", b".notdef"]:
        secret += b"/" + name + b" " + charstring(glyph) + b" ND\n"
    secret = crypt(bytes(4) + secret + b"end end put definefont pop mark currentfile closefile\n", 55665)
    tail = b"0" * 64 + b"\ncleartomark\n"
    return head + secret + tail, f"/Length1 {len(head)}/Length2 {len(secret)}/Length3 {len(tail)}"


def index(*items):
    if not items:
        return b"\0\0"
    places = [1]
    for item in items:
        places.append(places[-1] + len(item))
    return struct.pack(">HB", len(items), 4) + b"".join(
        struct.pack(">I", place) for place in places) + b"".join(items)


def operand(value):
    return b"\x1d" + struct.pack(">i", value)


CFF_SQUARE = square() + b"\x0e"


def cff(glyph=CFF_SQUARE, subroutines=(b"\x0b",), top=b""):
    """`top` is put before the top dictionary's entries."""
    def layout(charset, strings, private):
        entries = top + operand(charset) + b"\x0f" + operand(strings) + b"\x11"
        entries += operand(len(inner)) + operand(private) + b"\x12"
        return b"\1\0\4\4" + index(b"Own") + index(entries) + index() + index(*subroutines)
    inner = operand(700) + b"\x14" + operand(12) + b"\x13"
    start = len(layout(0, 0, 0))
    glyphs = index(glyph, glyph, glyph)
    private = start + 5 + len(glyphs)
    return (layout(start, start + 5, private) + b"\0\0\x22\0\x23" + glyphs + inner
            + index(*subroutines))


def program_files():
    """Each font and the way into a document that takes it."""
    yield "truetype", truetype(), lambda data: with_font(data, "FontFile2")
    program, entries = type1()
    yield "type1", program, lambda data: with_font(data, "FontFile", "Type1", entries)
    yield "cff", cff(), lambda data: with_font(data, "FontFile3", "Type1", "/Subtype/Type1C")
    yield "opentype", sfnt({b"CFF ": cff()}), lambda data: with_font(
        data, "FontFile3", "Type1", "/Subtype/OpenType")


@family
def damaged_fonts():
    chance = random.Random("fonts")
    for name, program, embed in program_files():
        yield f"{name}-whole", embed(program)
        for cut in range(0, len(program), max(1, len(program) // 25)):
            yield f"{name}-cut-{cut:04}", embed(program[:cut])
        for turn in range(40):
            yield f"{name}-flip-{turn:02}", embed(flipped(chance, program, 1 + turn % 8))
        for turn in range(5):
            yield f"{name}-noise-{turn}", embed(chance.randbytes(5000))
        for key in ["FontFile", "FontFile2", "FontFile3"]:
            yield f"{name}-as-{key}", with_font(program, key)
    for name, value in numbered(NUMBERS + ODD_VALUES):
        program, _ = type1()
        yield f"lengths-{name}", with_font(program, "FontFile", "Type1",
                                           f"/Length1 {value}/Length2 {value}/Length3 {value}")
        yield f"characters-{name}", with_font(truetype(), "FontFile2", more=f"/FirstChar {value}"
                                              f"/LastChar {value}/Widths[{value}]")


@family
def endless_fonts():
    """Programs that call or hold themselves, run for ever, or count without end."""
    def composite(*glyphs):
        parts = [struct.pack(">HHbb", 0x22 if n < len(glyphs) - 1 else 2, glyph, 0, 0)
                 for n, glyph in enumerate(glyphs)]
        return struct.pack(">5h", -1, 0, 0, 700, 700) + b"".join(parts)
    loop = b"\xb8\xff\xfd\x1c"  # pushes -3, jumps by it
    programs = {"own-part": truetype(composite(1)), "own-parts": truetype(composite(*[1, 2] * 20)),
                "other-part": truetype(composite(60_000)),
                "jump": truetype(program=loop), "calls": truetype(
                    program=b"\xb0\0\x2c\xb0\0\x2b\x2d\xb0\0\x2b"),
                "loop-call": truetype(program=b"\xb0\0\x2c\x2d\xb8\x7f\xff\xb0\0\x2a"),
                "storage": truetype(program=b"\xb8\x7f\xff\xb8\x7f\xff\x42"),
                "contours": truetype(struct.pack(">5h", 32767, 0, 0, 1, 1) + b"\xff\xff" * 100),
                "points": truetype(struct.pack(">5hHH", 1, 0, 0, 1, 1, 65534, 0) + b"\x09\xff" * 100),
                "glyphs": truetype(tables={b"maxp": struct.pack(">IH13H", 65536, 65535, *[65535] * 13)}),
                "no-units": truetype(tables={b"head": bytes(54)}),
                "map": truetype(tables={b"cmap": struct.pack(">HHHHIHHIIIIII", 0, 1, 3, 10, 12, 12, 0, 28,
                                                             0, 1, 0, 0xFFFFFFFF, 0)})}
    for name, program in programs.items():
        yield f"truetype-{name}", with_font(program, "FontFile2")
    calls = {"itself": (number(0) + b"\x0a", (number(0) + b"\x0a",)),
             "many": (number(0) + b"\x0a", tuple((number(n + 1) + b"\x0a") * 10 + b"\x0b"
                                               for n in range(9)) + (number(9) * 2 + b"\x06\x0b",)),
             "missing": (number(99_999) + b"\x0a", (b"\x0b",)),
             "stack": (number(1) * 5000, (b"\x0b",)), "empty": (b"", (b"",)),
             "divide": (number(7) + number(0) + b"\x0c\x0c" * 50, (b"\x0b",)),
             "accents": (number(0) * 3 + number(65) * 2 + b"\x0c\x06", (b"\x0b",)),
             "lines": ((number(2**31 - 1) * 2 + b"\x05") * 3000 + b"\x0e", (b"\x0b",))}
    for name, (glyph, subroutines) in calls.items():
        program, entries = type1(glyph, subroutines)
        yield f"type1-{name}", with_font(program, "FontFile", "Type1", entries)
        shifted = glyph.replace(number(0), number(-107), 1)  # as those of this kind are counted
        yield f"cff-{name}", with_font(cff(shifted, tuple(
            code.replace(number(0), number(-107), 1) for code in subroutines)), "FontFile3", "Type1",
            "/Subtype/Type1C")
    for name, private in numbered(["/lenIV -1 def", "/lenIV 99999 def", "/BlueValues[" + "1 " * 999 + "]def",
                                   "/Subrs 2147483647 array", "{" * 10_000, "/A " + "[" * 100_000]):
        program, entries = type1(private=private)
        yield f"type1-private-{name}", with_font(program, "FontFile", "Type1", entries)
    for code in [5, 13, 14, 15, 16, 17, 18]:
        for value in [-1, 0, 2**31 - 1]:
            yield f"cff-entry-{code}-{value}", with_font(
                cff(top=operand(value) * 2 + bytes([code])), "FontFile3", "Type1", "/Subtype/Type1C")


@family
def composite_fonts():
    """Fonts of many characters, whose codes are mapped by programs of their own."""
    def composite(encoding="/Identity-H", descendant="", to_unicode=""):
        return write("BT /F 40 Tf 20 80 Td <0041004200FF> Tj ET", (
            f"/Font<</F<</Type/Font/Subtype/Type0/BaseFont/Own/Encoding {encoding}{to_unicode}"
            f"/DescendantFonts[<</Type/Font/Subtype/CIDFontType2/BaseFont/Own/CIDSystemInfo<<"
            f"/Registry(Adobe)/Ordering(Identity)/Supplement 0>>/FontDescriptor<<{DESCRIPTOR}"
            f"/FontFile2 {FREE} 0 R>>{descendant}>>]>>>>"), extra=[stream(truetype()), stream(cmap)])
    cmap = ""
    yield "whole", composite(descendant="/W[0[700 700 700]]")
    for name, value in numbered(NUMBERS + ODD_VALUES):
        yield f"width-{name}", composite(descendant=f"/W[{value} {value} {value}]/DW {value}")
        yield f"widths-{name}", composite(descendant=f"/W[0 {value} 500 7[{value}]]/W2[{value}]")
        yield f"map-{name}", composite(descendant=f"/CIDToGIDMap {value}")
        yield f"encoding-{name}", composite(encoding=value)
    cmaps = ["1 begincidrange <00000000> <FFFFFFFF> 0 endcidrange",
             "1 beginbfrange <0000> <FFFF> <0000> endbfrange", "1 beginbfrange <0000> <FFFF> [",
             "1 beginbfchar <41> <" + "0041" * 100_000 + "> endbfchar",
             "1 beginbfchar <" + "41" * 1000 + "> <41> endbfchar",
             "2147483647 begincodespacerange <0000> <FFFF>", "<0> <" * 10_000, "[" * 100_000,
             "1 beginbfrange <FFFF> <0000> <D800> endbfrange", "/A usecmap " * 10_000,
             "1 begincodespacerange <00> <FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF> endcodespacerange"]
    for name, cmap in numbered(cmaps):
        cmap = "begincmap " + cmap + " endcmap"
        yield f"cmap-{name}", composite(encoding=f"{FREE + 1} 0 R")
        yield f"to-unicode-{name}", composite(to_unicode=f"/ToUnicode {FREE + 1} 0 R")

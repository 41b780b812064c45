"""Text in fonts of every kind, embedded and not."""

from drawings import HELVETICA, drawn, line
from fonts_of_packages import C059, CJK, DEJAVU_MONO, DEJAVU_SANS, METRICS, NIMBUS_ROMAN
from fonts_of_packages import compact, composite, truetype, type1
from pdf import FREE, stream, write

PANGRAM = "The quick brown fox jumps over (25) lazy dogs."


def lines(font, text, size=16, top=160, step=30):
    return "".join(line(font, size, top - n * step, shown) for n, shown in enumerate(text))


def with_program(font, program, content):
    return write(content, f"/Font<</F {font}>>", extra=[program])


@drawn("fonts-not-embedded")
def fonts_not_embedded():
    names = ["Helvetica", "Times-Roman", "Courier", "Helvetica-BoldOblique", "Times-BoldItalic", "Courier-Bold"]
    fonts = "".join(f"/F{n}<</Type/Font/Subtype/Type1/BaseFont/{name}>>" for n, name in enumerate(names))
    content = "".join(line(f"F{n}", 13, 170 - 24 * n, "(The quick brown fox jumps)") for n in range(6))
    content += "/F6 20 Tf " + line("F6", 18, 20, "<61626c6d>") + line("F7", 18, 20, "<21223334>", 110)
    return write(content, f"/Font<<{fonts}/F6<</Type/Font/Subtype/Type1/BaseFont/Symbol>>"
                          "/F7<</Type/Font/Subtype/Type1/BaseFont/ZapfDingbats>>>>")


@drawn("font-truetype")
def truetype_page(lazy="lazy"):
    return with_program(*truetype(DEJAVU_MONO, PANGRAM, FREE),
                        lines("F", ["(The quick brown)", "(fox jumps over)", rf"(\(25\) {lazy} dogs.)"]))


@drawn("font-type1")
def font_type1():
    return with_program(*type1(C059, FREE), lines("F", ["(The quick brown)", "(fox jumps over)", r"(\(25\) dogs.)"]))


@drawn("font-compact")
def font_compact():
    return with_program(*compact(NIMBUS_ROMAN, PANGRAM, FREE), lines("F", ["(The quick brown)", "(fox jumps over)"]))


@drawn("font-type3")
def font_type3():
    """Of a square, a triangle in its own colours, and a picture."""
    glyphs = ["1000 0 0 0 800 800 d1 0 0 800 800 re f", "1000 0 d0 1 0 0 rg 0 0 m 800 0 l 400 800 l f",
              "1000 0 0 0 800 800 d1 800 0 0 800 0 0 cm BI/IM true/W 8/H 8/BPC 1 ID \x01\x03\x07\x0f\x1f?\x7f\xff EI"]
    procedures = "".join(f"/{name} {FREE + n} 0 R" for n, name in enumerate("abc"))
    font = (f"<</Type/Font/Subtype/Type3/FontBBox[0 0 1000 1000]/FontMatrix[.001 0 0 .001 0 0]/FirstChar 97"
            f"/LastChar 99/Widths[1000 1000 1000]/Encoding<</Differences[97/a/b/c]>>/CharProcs<<{procedures}>>>>")
    return write("0 0 1 rg " + lines("F", ["(abc)", "(cab)"], 48, 130, 70), f"/Font<</F {font}>>",
                 extra=[stream(glyph) for glyph in glyphs])


@drawn("font-cid-truetype")
def font_cid_truetype():
    font, program, shown = composite(DEJAVU_SANS, "Grüße, Ελληνικά\nкириллица ∑√∞", FREE)
    return with_program(font, program, lines("F", shown))


@drawn("font-cid-opentype")
def font_cid_opentype():
    font, program, shown = composite(NIMBUS_ROMAN, "Grüße, Ελληνικά\nкириллица", FREE)
    return with_program(font, program, lines("F", shown))


@drawn("right-to-left")
def right_to_left():
    """As it stands on the page: mirrored and joined by whoever made it."""
    arabic = "\ufe94\ufef4\ufe91\ufeae\ufecc\ufedf\ufe8d \ufe94\ufed0\ufee0\ufedf\ufe8d"
    font, program, shown = composite(DEJAVU_SANS, "\u05d9\u05ea\u05dc\u05e9\u05d5\u05e8\u05d9\n" + arabic, FREE)
    return with_program(font, program, lines("F", shown, 22))


@drawn("cjk-embedded")
def cjk_embedded():
    font, program, shown = composite(CJK, "日本語の文字\n简体中文测试", FREE)
    return with_program(font, program, lines("F", shown, 24, 150, 50))


@drawn("cjk-not-embedded")
def cjk_not_embedded():
    """In fonts whose names nobody knows, of those languages that one font of the machine has."""
    fonts, content = "", ""
    for n, (order, encoding, shown) in enumerate([
            ("Japan1", "UniJIS-UTF16-H", "日本語の文字"), ("CNS1", "UniCNS-UTF16-H", "繁體中文測試")]):
        fonts += (f"/F{n}<</Type/Font/Subtype/Type0/BaseFont/Own/Encoding/{encoding}/DescendantFonts[<</Type/Font"
                  f"/Subtype/CIDFontType0/BaseFont/Own/CIDSystemInfo<</Registry(Adobe)/Ordering({order})"
                  f"/Supplement 2>>/DW 1000/FontDescriptor<<{METRICS}>>>>]>>")
        content += line(f"F{n}", 24, 150 - 50 * n, f"<{shown.encode('utf-16-be').hex()}>")
    return write(content, f"/Font<<{fonts}>>")


@drawn("text-modes")
def text_modes():
    """Outlined, both, spaced, stretched, raised, turned, and as a clip."""
    return write("1 0 0 RG 0 0 1 rg BT /F 30 Tf 10 165 Td 1 Tr (Line) Tj 2 Tr ( Both) Tj ET "
                 "BT 0 Tr /F 14 Tf 10 135 Td 3 Tc 10 Tw (a b c) Tj 0 Tc 0 Tw 150 Tz (wide) Tj 100 Tz 5 Ts (up) Tj ET "
                 "BT 0 Ts .8 .6 -.6 .8 20 60 Tm [(Tur) -300 (ned)] TJ 3 Tr (unseen) Tj ET "
                 "q BT 7 Tr /F 60 Tf 1 0 0 1 80 40 Tm (Clip) Tj ET 1 .5 0 rg 80 30 60 60 re f"
                 " 0 .5 0 rg 140 30 60 60 re f Q",
                 HELVETICA)

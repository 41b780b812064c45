"""Fonts of Debian's packages, cut down to what is shown and ready to be embedded."""

import io
import pathlib

from fontTools.afmLib import AFM
from fontTools.subset import Options, Subsetter
from fontTools.ttLib import TTFont
from pdf import packed

FONTS = pathlib.Path("/usr/share/fonts")
DEJAVU_SANS = FONTS / "truetype/dejavu/DejaVuSans.ttf"
DEJAVU_MONO = FONTS / "truetype/dejavu/DejaVuSansMono-Bold.ttf"
CJK = FONTS / "truetype/droid/DroidSansFallbackFull.ttf"
NIMBUS_ROMAN = FONTS / "opentype/urw-base35/NimbusRoman-Bold.otf"
C059 = FONTS / "type1/urw-base35/C059-Italic.t1"

METRICS = ("/Type/FontDescriptor/FontName/Own/Flags 4/ItalicAngle 0/FontBBox[-1000 -400 2000 1200]"
           "/Ascent 900/Descent -240/CapHeight 730/StemV 80")
DESCRIPTOR = f"/FontDescriptor<<{METRICS}/{{}} {{}} 0 R>>"


def subset(path, text):
    font = TTFont(path, recalcTimestamp=False)
    options = Options(glyph_names=True)
    options.drop_tables += ["FFTM"]
    subsetter = Subsetter(options)
    subsetter.populate(text=text)
    subsetter.subset(font)
    return font


def program(font):
    data = io.BytesIO()
    font.save(data)
    return data.getvalue()


def width(font, glyph):
    return round(font["hmtx"][glyph][0] * 1000 / font["head"].unitsPerEm)


def widths(font):
    """Of the codes 32 to 126."""
    names = font.getBestCmap()
    return " ".join(str(width(font, names.get(code, ".notdef"))) for code in range(32, 127))


def simple(kind, key, number, advances):
    return (f"<</Type/Font/Subtype/{kind}/BaseFont/Own/FirstChar 32/LastChar 126/Widths[{advances}]"
            f"/Encoding/WinAnsiEncoding{DESCRIPTOR.format(key, number)}>>")


def truetype(path, text, number):
    """A font of single bytes, and its program, which is object `number`."""
    font = subset(path, text)
    return simple("TrueType", "FontFile2", number, widths(font)), packed(program(font))


def compact(path, text, number):
    font = subset(path, text)
    return (simple("Type1", "FontFile3", number, widths(font)),
            packed(font.getTableData("CFF "), "/Subtype/Type1C"))


def type1(path, number):
    data = path.read_bytes()
    clear = data.index(b"eexec") + len(b"eexec\n")
    end = data.rindex(b"0" * 64, 0, data.rindex(b"cleartomark"))
    while data[end - 1] in b"0\n":
        end -= 1
    lengths = f"/Length1 {clear}/Length2 {end - clear}/Length3 {len(data) - end}"
    metrics = AFM(path.with_suffix(".afm"))
    by_code = {metrics[name][0]: metrics[name][1] for name in metrics.chars()}
    advances = " ".join(str(by_code.get(code, 0)) for code in range(32, 127))
    return (simple("Type1", "FontFile", number, advances), packed(data, lengths))


def composite(path, text, number):
    """A font of glyphs' numbers, its program, and a line of it for each line of the text."""
    font = subset(path, text)
    names = font.getBestCmap()
    glyphs = font.getGlyphOrder()
    advances = " ".join(str(width(font, glyph)) for glyph in glyphs)
    kind, key, more = (("CIDFontType0", "FontFile3", "/Subtype/OpenType") if "CFF " in font else
                       ("CIDFontType2", "FontFile2", ""))
    lines = ["<" + "".join(f"{glyphs.index(names[ord(character)]):04x}" for character in line) + ">"
             for line in text.split("\n")]
    return (f"<</Type/Font/Subtype/Type0/BaseFont/Own/Encoding/Identity-H/DescendantFonts[<</Type/Font"
            f"/Subtype/{kind}/BaseFont/Own/CIDSystemInfo<</Registry(Adobe)/Ordering(Identity)"
            f"/Supplement 0>>/W[0[{advances}]]{DESCRIPTOR.format(key, number)}>>]>>",
            packed(program(font), more), lines)

"""Families of pages that are drawn wrongly, endlessly or beyond all bounds."""

import random

from family import NUMBERS, ODD_VALUES, family, numbered
from pdf import FONT, FREE, TEXT, stream, write
from structure import FORM, TILE, drawn

REALS = ["0", "-1", "1e38", "-1e38", "nan", "inf", "NaN", "-Infinity", ".0000001", "1" + "0" * 300,
         "0." + "0" * 300 + "1", "2147483648", "--5", "1.2.3", "14400", "1000000", "3e9", "+-7"]


@family
def page_sizes():
    boxes = [f"0 0 {value} {value}" for value in REALS] + [f"0 0 {value} 100" for value in REALS]
    boxes += [f"{value} {value} 100 100" for value in REALS]
    boxes += ["", "0 0 100", "0 0 100 100 100", "(a)(b)(c)(d)", "null null null null", "[0 0 9 9]",
              "100 100 0 0", "0 0 0 100", "100 100 100 100", "/A /B /C /D", "0 0 9 0 R 9 0 R", None]
    for name, value in numbered(boxes):
        yield f"media-{name}", write(box=value)
        if value is not None:
            yield f"crop-{name}", write(page=f"/CropBox[{value}]")
    for name, value in numbered(REALS + ODD_VALUES):
        yield f"unit-{name}", write(page=f"/UserUnit {value}")
    for name, value in numbered(NUMBERS + ODD_VALUES + ["45", "1", "-90", "90.5", "450", "89.999"]):
        yield f"rotate-{name}", write(page=f"/Rotate {value}")
        yield f"rotate-all-{name}", write(pages=f"/Rotate {value}")
    for name, value in numbered(ODD_VALUES):
        for key in ["MediaBox", "CropBox", "Resources", "Contents", "Annots", "Type", "Parent", "Group",
                    "Rotate", "Tabs", "B"]:
            yield f"{key}-{name}", write(page=f"/{key} {value}")


OPERATORS = ("b B b* B* BDC BI BMC BT BX c cm CS cs d d0 d1 Do DP EI EMC ET EX f F f* G g gs h i ID j J K"
             " k l M m MP n q Q re RG rg ri s S SC sc SCN scn sh T* Tc Td TD Tf Tj TJ TL Tm Tr Ts Tw Tz"
             " v w W W* y ' \"").split()
OPERANDS = ["0", "1", "-1", "20", "150", "0.5", "1e38", "99999999999", "nan", "/F", "/X", "/DeviceRGB",
            "/Pattern", "(A)", "<41>", "[1 2]", "[(A) 9 (B)]", "[0 0] 0", "<</A 1>>", "true", "null"]


@family
def operators():
    chance = random.Random("operators")
    resources = FONT + f"/XObject<</X {FREE} 0 R>>/Pattern<</X {FREE + 1} 0 R>>"
    extra = [stream("0 0 9 9 re f", FORM), stream("0 0 5 5 re f", TILE)]
    for name in range(80):
        words = []
        for _ in range(300):
            words += chance.choices(OPERANDS, k=chance.randrange(7)) + [chance.choice(OPERATORS)]
        yield f"random-{name:03}", write(" ".join(words), resources, extra=extra)
    for name, operator in numbered(OPERATORS):
        yield f"alone-{name}", write(f"{operator} " * 50 + TEXT)
        yield f"huge-{name}", write("1e38 " * 6 + operator + " " + TEXT)
        yield f"numbers-{name}", write(" 9" * 5000 + " " + operator)


@family
def drawings():
    draw = "20 20 m 180 180 l S "
    contents = {
        "save": "q " * 1_000_000 + TEXT, "restore": "Q " * 100_000 + TEXT, "save-some": "q " * 5000 + TEXT,
        "texts": "BT " * 50_000, "marked": "/A BMC " * 50_000 + TEXT, "arrays": "[" * 100_000,
        "inline": "BI /W 9 /H 9 ID " * 1000, "inline-unending": "BI /W 9 /H 9 /BPC 8 /CS /G ID abc",
        "clips": "0 0 99 99 re W n " * 10_000 + TEXT,
        "nested-clips": "q 0 0 99 99 re W n " * 5000 + TEXT,
        "matrix": "9 0 0 9 0 0 cm " * 500 + TEXT, "matrix-zero": "0 0 0 0 0 0 cm " + TEXT,
        "matrix-small": "1e-30 0 0 1e-30 0 0 cm " + TEXT, "dash-zero": "[0 0] 0 d " + draw,
        "dash-negative": "[-1 -2] 0 d " + draw, "dash-tiny": "[.01] 0 d 9 w 0 0 m 1e6 0 l S " + draw,
        "dash-phase": "[3 4] 1e30 d " + draw, "dash-long": "[" + "1 " * 50_000 + "] 0 d " + draw,
        "width": "1e38 w " + draw, "width-negative": "-9 w " + draw, "mitre": "1e-38 M " + draw,
        "curves": "0 0 m " + "200 0 0 200 200 200 c " * 10_000 + "S",
        "lines": "0 0 m " + "200 200 l 0 100 l " * 10_000 + "f*",
        "far": "-1e30 -1e30 m 1e30 1e30 l 9 w S 1e9 1e9 1e9 1e9 re f", "rectangles": "0 0 200 200 re " * 10_000 + "f",
        "comment": "%" * 1_000_000, "name": "/" + "N" * 1_000_000 + " gs", "number": "1" * 1_000_000 + " w",
        "text": "BT /F 9 Tf (" + "x" * 1_000_000 + ") Tj ET", "binary": bytes(range(256)) * 100}
    for name, size in numbered(REALS):
        contents[f"font-size-{name}"] = f"BT /F {size} Tf 20 20 Td (Ab) Tj ET"
        contents[f"text-matrix-{name}"] = f"BT /F 9 Tf {size} 0 0 {size} {size} 9 Tm (Ab) Tj ET"
        contents[f"spacing-{name}"] = f"BT /F 9 Tf {size} Tc {size} Tw {size} Tz {size} TL (A b) ' ET"
        contents[f"kerning-{name}"] = f"BT /F 9 Tf 20 20 Td [(A) {size} (b)] TJ ET"
        contents[f"matrix-{name}"] = f"{size} 0 0 {size} {size} {size} cm " + TEXT
        contents[f"line-{name}"] = f"{size} w [{size} 1] {size} d 0 0 m {size} {size} l S"
    for name, content in contents.items():
        yield name, write(content)
    for count in [0, 2, 5000]:
        yield f"streams-{count}", write("[" + f"{FREE} 0 R " * count + "]", extra=[stream(TEXT)])


def function(kind, entries):
    return f"<</FunctionType {kind}/Domain[0 1]/Range[0 1 0 1 0 1]{entries}>>"


def calculator(program):
    return stream(program, "/FunctionType 4/Domain[0 1]/Range[0 1 0 1 0 1]")


@family
def shadings():
    functions = [calculator("{" * depth + "}" * depth) for depth in [1, 30, 40, 2000, 100_000]]
    functions += [calculator("{" + words + "}") for words in [
        "dup " * 50_000, "1 " * 200, "pop " * 200, "0 div 0 div 0 div", "1000000 -1 roll", "3 2147483647 roll",
        "-1 copy", "2147483647 copy", "99 index", "{1}{2} ifelse", "1e38 dup mul exp", "0 0 atan sqrt ln",
        "-2147483648 -1 idiv", "1 0 mod", "1 2147483647 bitshift", "1 -99 bitshift", "true 1 and"]]
    functions += [function(2, f"/N {value}/C0[0 0 0]/C1[1 1 1]") for value in REALS]
    functions += [function(3, entries) for entries in [
        "/Functions[]/Bounds[]/Encode[]", f"/Functions[{FREE + 1} 0 R]/Bounds[]/Encode[]",
        f"/Functions[null null]/Bounds[9 -9]/Encode[1 0]", "/Bounds[" + ".5 " * 50_000 + "]"]]
    functions += [stream(bytes(100), f"/FunctionType 0/Domain[0 1]/Range[0 1 0 1 0 1]/Size[{size}]"
                                     f"/BitsPerSample {bits}")
                  for size in ["0", "1", "-1", "2147483647", "4294967295"] for bits in [0, 1, 8, 24, 32, 99]]
    functions += [stream(bytes(100), f"/FunctionType 0/Domain[{'0 1 ' * many}]/Range[0 1 0 1 0 1]"
                                     f"/Size[{'2 ' * many}]/BitsPerSample 8") for many in [10, 31, 40, 500]]
    for name, value in numbered(functions + ODD_VALUES):
        for kind in [1, 2, 3]:
            yield f"function-{kind}-{name}", drawn(
                "Shading", f"<</ShadingType {kind}/ColorSpace/DeviceRGB/Coords[0 0 9 90 90 90]"
                           f"/Extend[true true]/Function {FREE + 1} 0 R>>", value)
    chance = random.Random("meshes")
    for kind in [4, 5, 6, 7]:
        for name in range(12):
            bits, flags = chance.choice([0, 1, 8, 16, 32, 99]), chance.choice([0, 2, 8, 99])
            entries = (f"/ShadingType {kind}/ColorSpace/DeviceRGB/BitsPerCoordinate {bits}"
                       f"/BitsPerComponent {bits}/BitsPerFlag {flags}/VerticesPerRow"
                       f" {chance.choice([0, 1, 2, 2**31 - 1])}/Decode[0 200 0 200 0 1 0 1 0 1]")
            yield f"mesh-{kind}-{name:02}", drawn("Shading", stream(chance.randbytes(100), entries))
    for name, value in numbered(REALS):
        for kind in [2, 3]:
            yield f"place-{kind}-{name}", drawn(
                "Shading", f"<</ShadingType {kind}/ColorSpace/DeviceRGB/Extend[true true]/Coords"
                           f"[{value} 0 {value} 90 90 {value}]/Function {FREE + 1} 0 R>>",
                function(2, "/N 1/C0[0 0 0]/C1[1 1 1]"))


@family
def patterns():
    for name, value in numbered(REALS):
        yield f"step-{name}", drawn("Pattern", stream("0 0 5 5 re f", TILE.replace(
            "XStep 9", f"XStep {value}")))
        yield f"box-{name}", drawn("Pattern", stream("0 0 5 5 re f", TILE.replace("9 9]", f"{value} 9]")))
        yield f"matrix-{name}", drawn("Pattern", stream("0 0 5 5 re f", f"{TILE}/Matrix"
                                                        f"[{value} 0 0 {value} 0 0]"))
        yield f"form-box-{name}", drawn("XObject", stream(TEXT, FORM.replace("200 200", f"{value} {value}")))
        yield f"form-matrix-{name}", drawn("XObject", stream(TEXT, f"{FORM}/Matrix[{value} 0 0 1 {value} 0]"))
        yield f"state-{name}", drawn("ExtGState", f"<</LW {value}/ca {value}/CA {value}/ML {value}"
                                     f"/D[[{value}] {value}]/FL {value}/BM {value}>>")
        yield f"glyph-{name}", drawn("Font", (
            f"<</Type/Font/Subtype/Type3/FontBBox[0 0 {value} 9]/FontMatrix[{value} 0 0 .1 0 0]/CharProcs"
            f"<</A {FREE + 1} 0 R>>/Encoding<</Differences[65/A 98/A]>>/FirstChar 65/LastChar 98/Widths["
            f"{value} {'9 ' * 33}]>>"), stream(f"{value} 0 0 0 9 9 d1 0 0 9 9 re f"))


@family
def forms_and_notes():
    """Form fields, which are drawn into the page, and notes on it."""
    widget = "/Type/Annot/Subtype/Widget/FT/Tx/T(f)/V(value)/Rect[20 20 180 60]/DA(/F 12 Tf 0 g)/F 4"
    def field(entries="", body=None, form="/NeedAppearances true"):
        return write(page=f"/Annots[{FREE} 0 R]", catalog=f"/AcroForm<</Fields[{FREE} 0 R]{form}"
                     f"/DR<<{FONT}>>/DA(/F 0 Tf)>>", extra=[f"<<{widget}{entries}>>" if body is None else body])
    yield "whole", field()
    yield "own-kid", field(f"/Kids[{FREE} 0 R]/Parent {FREE} 0 R")
    yield "own-appearance", field(f"/AP<</N {FREE} 0 R>>")
    yield "endless-value", field(f"/V {FREE} 0 R/DV {FREE} 0 R")
    yield "long-value", field("/V(" + "value " * 50_000 + ")/Ff 4096")
    yield "long-options", field("/FT/Ch/Opt[" + "(x)" * 50_000 + "]")
    for name, value in numbered(REALS):
        yield f"rectangle-{name}", field(f"/Rect[0 0 {value} {value}]")
        yield f"size-{name}", field(f"/DA(/F {value} Tf {value} g)")
    for name, value in numbered(ODD_VALUES):
        for key in ["FT", "T", "V", "Rect", "DA", "Ff", "AP", "MK", "Kids", "Parent", "Opt", "AS", "F", "Q", "MaxLen"]:
            yield f"{key}-{name}", field(f"/{key} {value}")
        for kind in ["Btn", "Ch", "Sig", "Tx"]:
            yield f"value-of-{kind}-{name}", field(f"/FT/{kind}/V {value}/AS {value}/Opt[{value}]")
        yield f"field-{name}", field(body=value or "null")
        yield f"form-{name}", write(catalog=f"/AcroForm {value}", page=f"/Annots {value}")
        yield f"fields-{name}", write(catalog=f"/AcroForm<</Fields {value}/DR {value}/DA {value}>>")
        yield f"appearance-{name}", field(f"/AP<</N {value}>>")
    for name, data in numbered(["(", "[[[", "/F 12", "Tf" * 9000, "\\\\", "/F 1e99 Tf", "/Nope 9 Tf"]):
        yield f"look-{name}", field(f"/DA({data.replace('(', chr(92) + '(')})")
    for kind in ["Text", "Link", "FreeText", "Line", "Square", "Circle", "Polygon", "PolyLine", "Highlight",
                 "Ink", "Popup", "Stamp", "FileAttachment", "Movie", "Screen", "3D", "Redact", "Unknown"]:
        for name, value in numbered(["", f"/Vertices[{'9e30 ' * 9}]/L[1 2]/QuadPoints[1]/InkList[[1][]]",
                                     f"/Popup {FREE} 0 R/Parent {FREE} 0 R/IRT {FREE} 0 R/P {FREE} 0 R"]):
            yield f"note-{kind}-{name}", write(page=f"/Annots[{FREE} 0 R {FREE} 0 R]", extra=[
                f"<</Type/Annot/Subtype/{kind}/Rect[9 9 99 99]/C[1 0 0]/Contents(x){value}>>"])

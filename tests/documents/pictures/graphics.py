"""Paths, patterns, shadings, transparency and optional content."""

from drawings import HELVETICA, LANDMARK, drawn
from pdf import FREE, document, stream, write

RED_TO_BLUE = "<</FunctionType 2/Domain[0 1]/N 1/C0[1 0 0]/C1[0 0 1]>>"


def form(content, entries="", resources="", box="0 0 200 200"):
    return stream(content, f"/Type/XObject/Subtype/Form/BBox[{box}]/Resources<<{resources}>>{entries}")


@drawn("strokes")
def strokes():
    """Caps, joins, limits of mitres, dashes and curves."""
    content = "10 w "
    for n in range(3):
        content += f"{n} J {n} j {20 + 60 * n} 130 m {40 + 60 * n} 180 l {60 + 60 * n} 130 l S "
    content += "0 J 0 j 1.2 M 20 80 m 40 115 l 60 80 l S 10 M 4 w [12 6] 0 d 80 110 m 190 110 l S "
    content += "[12 6 2 6] 5 d 1 0 0 RG 80 95 m 190 95 l S 1 J [0 9] 0 d 0 0 1 RG 80 80 m 190 80 l S "
    return write(content + "[] 0 d 0 0.5 0 RG 6 w 20 20 m 20 90 180 -40 180 60 c S 2 w 90 30 40 30 re s")


@drawn("thin-strokes")
def thin_strokes():
    """Lines of no width are a pixel wide."""
    return write("0 w 20 180 m 180 180 l S 0.2 w 20 160 m 180 160 l S 1 w 20 140 m 180 140 l S 2 w 20 120 m 180 100 l S"
                 " 3 w 20 90 m 180 90 l S 0.5 g 20 20 160 50 re f")


@drawn("filling-rules")
def filling_rules():
    star = "{0} 180 m {1} 60 l {2} 140 l {3} 140 l {4} 60 l h"
    left = star.format(50, 85, 5, 95, 15)
    right = star.format(150, 185, 105, 195, 115)
    return write(f"0.2 0.4 0.8 rg {left} f {right} f* 1 0 0 rg q 20 10 m 100 50 l 180 10 l h W n 0 0 200 25 re f Q")


@drawn("clipping")
def clipping():
    return write("q 20 20 160 160 re 60 60 80 80 re W* n " + LANDMARK + "0 1 1 rg 0 0 200 200 re f Q "
                 "q 100 100 m 140 100 l 100 140 l h W n q 90 90 30 30 re W n 1 0 1 rg 0 0 200 200 re f Q Q")


@drawn("tiling-patterns")
def tiling_patterns():
    patterns = f"/Pattern<</P {FREE} 0 R/U {FREE + 1} 0 R>>/ColorSpace<</C[/Pattern/DeviceRGB]>>"
    entries = "/Type/Pattern/PatternType 1/TilingType 1/Resources<<>>"
    return write("/Pattern cs /P scn 10 110 180 80 re f /C cs 0 0.5 0 /U scn 10 10 80 80 re f"
                 " 0.8 0 0.8 /U scn 110 10 80 80 re f", patterns, extra=[
                     stream("1 0 0 rg 0 0 20 20 re f 0 0 1 rg 20 20 20 20 re f", entries
                            + "/PaintType 1/BBox[0 0 40 40]/XStep 40/YStep 40/Matrix[1 0 0 1 10 110]"),
                     stream("0 0 m 30 0 l 0 30 l f", entries
                            + "/PaintType 2/BBox[0 0 30 30]/XStep 40/YStep 40/Matrix[.7 .7 -.7 .7 0 0]")])


@drawn("axial-shadings")
def axial_shadings():
    stitched = ("<</FunctionType 3/Domain[0 1]/Bounds[.3 .6]/Encode[0 1 1 0 0 1]/Functions["
                + RED_TO_BLUE + RED_TO_BLUE + "<</FunctionType 2/Domain[0 1]/N 2/C0[1 0 0]/C1[0 1 0]>>]>>")
    entries = "/ShadingType 2/ColorSpace/DeviceRGB"
    shadings = (f"/Shading<</A<<{entries}/Coords[60 0 140 0]/Function{RED_TO_BLUE}/Extend[true false]>>"
                f"/B<<{entries}/Coords[20 20 180 90]/Function{stitched}/Extend[true true]>>>>"
                f"/Pattern<</P<</PatternType 2/Shading<<{entries}/Coords[0 0 0 200]/Function{RED_TO_BLUE}>>>>>>")
    return write("q 10 110 180 40 re W n /A sh Q q 10 10 180 90 re W n /B sh Q"
                 " /Pattern cs /P scn 20 160 m 180 160 l 100 195 l f", shadings)


@drawn("radial-shadings")
def radial_shadings():
    entries = "/ShadingType 3/ColorSpace/DeviceRGB/Function" + RED_TO_BLUE
    return write("q 0 100 100 100 re W n /A sh Q q 100 100 100 100 re W n /B sh Q q 0 0 200 100 re W n /C sh Q",
                 f"/Shading<</A<<{entries}/Coords[50 150 0 50 150 45]>>"
                 f"/B<<{entries}/Coords[140 150 10 150 150 40]/Extend[true true]>>"
                 f"/C<<{entries}/Coords[40 50 10 150 50 40]/Extend[false false]>>>>")


@drawn("function-shading")
def function_shading():
    return write("q 10 10 180 180 re W n /A sh Q", f"/Shading<</A<</ShadingType 1/ColorSpace/DeviceRGB"
                 f"/Domain[0 1 0 1]/Matrix[180 0 0 180 10 10]/Function {FREE} 0 R>>>>",
                 extra=[stream("{ 2 copy mul 3 1 roll }", "/FunctionType 4/Domain[0 1 0 1]/Range[0 1 0 1 0 1]")])


@drawn("mesh-shadings")
def mesh_shadings():
    """Triangles of three colours, and a patch."""
    def point(flag, x, y, *colour):
        return bytes([flag, x, y, *colour])
    triangles = (point(0, 10, 120, 255, 0, 0) + point(0, 190, 120, 0, 255, 0) + point(0, 100, 190, 0, 0, 255))
    edges = [10, 10, 10, 40, 10, 70, 10, 100, 70, 120, 130, 80, 190, 100, 190, 70, 190, 40, 190, 10, 130, 30, 70, 0]
    patch = bytes([0, *edges, 255, 0, 0, 255, 255, 0, 0, 0, 255, 0, 255, 0])
    entries = ("/ColorSpace/DeviceRGB/BitsPerCoordinate 8/BitsPerComponent 8/BitsPerFlag 8"
               "/Decode[0 255 0 255 0 1 0 1 0 1]")
    return write("/A sh /B sh", f"/Shading<</A {FREE} 0 R/B {FREE + 1} 0 R>>", extra=[
        stream(triangles, "/ShadingType 4" + entries), stream(patch, "/ShadingType 6" + entries)])


@drawn("alpha")
def alpha():
    return write(LANDMARK + "/H gs 1 0 0 rg 20 80 100 100 re f 0 0 1 rg 80 30 100 100 re f 0 0.6 0 RG 20 w"
                 " 20 20 m 180 180 l S", "/ExtGState<</H<</ca .5/CA .3>>>>")


@drawn("blend-modes")
def blend_modes():
    modes = ["Multiply", "Screen", "Overlay", "Darken", "Lighten", "ColorDodge", "ColorBurn", "HardLight", "SoftLight",
             "Difference", "Exclusion", "Hue", "Saturation", "Color", "Luminosity", "Normal"]
    content = "".join(f"{.9 - .1 * x:.1f} {.2 + .1 * x:.1f} {.5 if x % 2 else .2} rg {x * 25} 0 25 200 re f "
                      for x in range(8)) + ".3 .7 .6 rg "
    content += "".join(f"/{mode} gs {n % 2 * 100 + 5} {n // 2 * 25 + 4} 90 17 re f " for n, mode in enumerate(modes))
    return write(content, "/ExtGState<<" + "".join(f"/{mode}<</BM/{mode}>>" for mode in modes) + ">>")


def group(entries, blend):
    """Two squares, one over the other, over stripes; at half strength."""
    return write("0.9 0.9 0.5 rg 0 0 200 200 re f 0.4 0.6 0.9 rg 0 60 200 60 re f /H gs /X Do",
                 f"/XObject<</X {FREE} 0 R>>/ExtGState<</H<</ca .6>>>>", extra=[form(
                     "1 0 0 rg 20 20 100 100 re f /M gs 0 1 .5 rg 80 80 100 100 re f",
                     f"/Group<</S/Transparency/CS/DeviceRGB{entries}>>", f"/ExtGState<</M<</BM/{blend}>>>>")])


for name, entries in {"": "", "-isolated": "/I true", "-of-one-level": "/K true",
                      "-isolated-of-one-level": "/I true/K true"}.items():
    for blend in ["Normal", "Multiply"]:
        drawn(f"group{name}-{blend.lower()}")(lambda entries=entries, blend=blend: group(entries, blend))


@drawn("page-group")
def page_group():
    return write(LANDMARK + "/M gs 0 1 1 rg 40 30 120 130 re f", "/ExtGState<</M<</BM/Multiply/ca .8>>>>",
                 page="/Group<</S/Transparency/CS/DeviceRGB/I true>>")


@drawn("soft-masks")
def soft_masks():
    """By luminosity, by alpha, and by luminosity upside down."""
    shading = "/Shading<</A<</ShadingType 2/ColorSpace/DeviceGray/Coords[0 0 200 0]/Function" \
              "<</FunctionType 2/Domain[0 1]/N 1/C0[0]/C1[1]>>>>>>"
    group = "/Group<</S/Transparency/CS/DeviceGray/I true>>"
    turn = "<</FunctionType 2/Domain[0 1]/N 1/C0[1]/C1[0]>>"
    states = (f"/ExtGState<</L<</SMask<</S/Luminosity/G {FREE} 0 R>>>>/A<</SMask<</S/Alpha/G {FREE + 1} 0 R>>>>"
              f"/T<</SMask<</S/Luminosity/G {FREE} 0 R/TR{turn}>>>>/N<</SMask/None>>>>")
    return write("0.9 0.9 0.6 rg 0 0 200 200 re f 0 0 1 rg q /L gs 10 135 180 55 re f Q q /A gs 10 70 180 55 re f Q"
                 " q /T gs 10 5 180 55 re f Q /L gs /N gs 1 0 0 rg 90 0 20 200 re f", states,
                 extra=[form("/A sh", group, shading),
                        form("/H gs 0 0 100 200 re f", group, "/ExtGState<</H<</ca .4>>>>")])


@drawn("optional-content")
def optional_content():
    """One layer that is hidden, one that is shown, and a form that belongs to the hidden one."""
    layers = f"/Properties<</On {FREE} 0 R/Off {FREE + 1} 0 R>>"
    return write("/OC/On BDC 0 0.6 0 rg 10 110 80 80 re f EMC /OC/Off BDC 1 0 0 rg 110 110 80 80 re f EMC /X Do"
                 " 0 0 1 rg 10 10 80 30 re f", f"{layers}/XObject<</X {FREE + 2} 0 R>>",
                 catalog=f"/OCProperties<</OCGs[{FREE} 0 R {FREE + 1} 0 R]/D<</ON[{FREE} 0 R]/OFF[{FREE + 1} 0 R]"
                         f"/Order[{FREE} 0 R {FREE + 1} 0 R]>>>>",
                 extra=["<</Type/OCG/Name(Shown)>>", "<</Type/OCG/Name(Hidden)>>",
                        form("1 0 1 rg 110 10 80 80 re f", f"/OC {FREE + 1} 0 R")])


@drawn("nested-forms")
def nested_forms():
    """Each with a matrix and a box that cuts it."""
    return write("q 0.5 0 0 0.5 10 10 cm /X Do Q q .7 .7 -.7 .7 130 20 cm /X Do Q", f"/XObject<</X {FREE} 0 R>>",
                 extra=[form("1 .9 .6 rg 0 0 200 200 re f /Y Do", "/Matrix[1 0 0 .8 0 20]",
                             f"/XObject<</Y {FREE + 1} 0 R>>", "0 0 150 180"),
                        form(LANDMARK, "/Matrix[.7 0 0 .7 10 10]", "", "0 0 170 200")])


@drawn("without-resources-of-its-own")
def without_resources():
    """A page that takes them from the node above it."""
    pdf = document("BT /F 24 Tf 20 100 Td (From above) Tj ET", pages=f"/Resources<<{HELVETICA}>>")
    pdf.objects[3] = pdf.objects[3].replace(b"/Resources<<" + b"/Font<</F<</Type/Font/Subtype/Type1"
                                            b"/BaseFont/Helvetica>>>>>>", b"")
    return pdf.with_table()


@drawn("several-contents")
def several_contents():
    """Streams that are cut between any two words."""
    return write(f"[{FREE} 0 R {FREE + 1} 0 R {FREE + 2} 0 R]",
                 extra=[stream("q 1 0 0 rg 20 20"), stream("100 50 re f Q q 0 0 1 rg"), stream("50 100 40 40 re f Q")])

"""Form fields and annotations."""

from drawings import HELVETICA, drawn
from graphics import form
from pdf import FREE, document

SHOWN = ("0.8 1 0.8 rg 0 0 160 30 re f BT 0 g /F 14 Tf 5 9 Td (Appearance) Tj ET", HELVETICA, "0 0 160 30")


def appearance(content=SHOWN[0], resources=SHOWN[1], box=SHOWN[2]):
    return form(content, resources=resources, box=box)


def with_annotations(*annotations, extra=(), catalog="", content="0.9 0.9 1 rg 0 0 100 200 re f"):
    """Those from number FREE on, then the other objects."""
    references = " ".join(f"{FREE + n} 0 R" for n in range(len(annotations)))
    return document(content, HELVETICA, page=f"/Annots[{references}]", catalog=catalog,
                    extra=[f"<</Type/Annot{annotation}>>" for annotation in annotations] + list(extra))


def with_fields(*fields, extra=(), needs_appearances=False, flags=4):
    references = " ".join(f"{FREE + n} 0 R" for n in range(len(fields)))
    needs = "/NeedAppearances true" if needs_appearances else ""
    return with_annotations(
        *(f"/Subtype/Widget/F {flags}/T(field{n}){field}" for n, field in enumerate(fields)), extra=extra,
        catalog=f"/AcroForm<</Fields[{references}]/DA(/F 14 Tf 0 g)/DR<<{HELVETICA}>>{needs}>>")


def turned(pdf):
    pdf.objects[3] = pdf.objects[3].replace(b"/Type/Page", b"/Type/Page/Rotate 90", 1)
    return pdf


def buttons():
    """Boxes that are on and off, and the same of round ones."""
    def states(on):
        return f"/AP<</N<</On {FREE + 4} 0 R/Off {FREE + 5} 0 R>>>>/AS/{on}/V/{on}/FT/Btn"
    on = appearance("0 0.5 0 RG 4 w 5 5 m 35 35 l 5 35 m 35 5 l S", "", "0 0 40 40")
    off = appearance("0.5 G 2 w 2 2 36 36 re S", "", "0 0 40 40")
    return with_fields(states("On") + "/Rect[20 140 60 180]", states("Off") + "/Rect[120 140 160 180]",
                       states("On") + "/Ff 49152/Rect[20 40 60 80]", states("Off") + "/Ff 49152/Rect[120 40 160 80]",
                       extra=[on, off])


TEXT_FIELD = "/FT/Tx/V(Filled in)/DA(/F 14 Tf 0 0 1 rg)/Rect[20 150 180 180]"
COMBO = "/FT/Ch/Ff 131072/Opt[(One)(Two)(Three)]/V(Two)/DA(/F 14 Tf 0 g)/Rect[20 100 180 130]"
MARKS = "/QuadPoints[20 140 180 140 20 100 180 100]/Rect[20 100 180 140]"
UNDER = "BT /F 30 Tf 20 108 Td (Under it) Tj ET"

for name, make in {
    "field-with-appearance": lambda: with_fields(TEXT_FIELD + f"/AP<</N {FREE + 1} 0 R>>", extra=[appearance()]),
    "fields-without-appearance": lambda: with_fields(TEXT_FIELD, COMBO, needs_appearances=True),
    "combo-with-appearance": lambda: with_fields(COMBO + f"/AP<</N {FREE + 1} 0 R>>", extra=[appearance()]),
    "field-hidden": lambda: with_fields(TEXT_FIELD + f"/AP<</N {FREE + 1} 0 R>>", extra=[appearance()], flags=2),
    "field-on-turned-page": lambda: turned(with_fields(TEXT_FIELD + f"/AP<</N {FREE + 1} 0 R>>", extra=[appearance()])),
    "buttons": buttons,
    "highlight": lambda: with_annotations("/Subtype/Highlight/C[1 1 0]" + MARKS, content=UNDER),
    "underline": lambda: with_annotations("/Subtype/Underline/C[1 0 0]" + MARKS, content=UNDER),
    "strike-out": lambda: with_annotations("/Subtype/StrikeOut/C[1 0 0]" + MARKS, content=UNDER),
    "square": lambda: with_annotations("/Subtype/Square/C[1 0 0]/IC[.8 .9 1]/BS<</W 4>>/Rect[30 30 170 120]"),
    "circle": lambda: with_annotations("/Subtype/Circle/C[1 0 0]/IC[.8 .9 1]/BS<</W 4>>/Rect[30 30 170 120]"),
    "ink": lambda: with_annotations("/Subtype/Ink/C[0 0 1]/BS<</W 5>>/InkList[[20 20 60 160 100 20 140 160 180 20]]"
                                    "/Rect[10 10 190 170]"),
    "line": lambda: with_annotations("/Subtype/Line/C[0 0 1]/BS<</W 5>>/L[20 30 180 150]/Rect[10 20 190 160]"),
    "polygon": lambda: with_annotations("/Subtype/Polygon/C[0 0 1]/BS<</W 5>>/Vertices[20 30 180 30 100 150]"
                                        "/Rect[10 20 190 160]"),
    "polyline": lambda: with_annotations("/Subtype/PolyLine/C[0 0 1]/BS<</W 5>>/Vertices[20 30 180 30 100 150]"
                                         "/Rect[10 20 190 160]"),
    "link-with-border": lambda: with_annotations("/Subtype/Link/C[1 0 0]/Border[0 0 4]/Rect[30 30 170 120]"),
}.items():
    drawn(name)(lambda make=make: make().with_table())


@drawn("annotations-with-appearance")
def annotations_with_appearance():
    """Each kind once; the last one's is stretched and turned by its matrix."""
    kinds = ["FreeText/DA(/F 9 Tf)/Contents(Not this)", "Stamp/Name/Draft", "Highlight/QuadPoints[0 0 9 0 0 9 9 9]",
             "Ink/InkList[[0 0 9 9]]"]
    own = [f"/Subtype/{kind}/AP<</N {FREE + 5} 0 R>>/Rect[20 {160 - 35 * n} 180 {190 - 35 * n}]"
           for n, kind in enumerate(kinds)]
    own.append(f"/Subtype/Stamp/AP<</N {FREE + 6} 0 R>>/Rect[20 5 80 50]")
    slanted = form("1 .5 0 rg 0 0 100 50 re f 0 g 0 0 30 20 re f", "/Matrix[0 1 -1 0 0 0]", box="0 0 100 50")
    return with_annotations(*own, extra=[appearance(), slanted]).with_table()


@drawn("annotations-not-shown")
def annotations_not_shown():
    """Hidden, only printed, and a popup; and those that are: to be printed or not, read only."""
    flags = ["/F 2", "/F 36", "/F 32", "/F 0", "/F 4", "/F 64"]
    own = [f"/Subtype/Stamp{flag}/AP<</N {FREE + 7} 0 R>>/Rect[20 {165 - 32 * n} 180 {193 - 32 * n}]"
           for n, flag in enumerate(flags)]
    own.append(f"/Subtype/Popup/Parent {FREE} 0 R/Rect[100 10 190 190]/Contents(Popup)")
    return with_annotations(*own, extra=[appearance()]).with_table()


@drawn("notes-with-popup")
def notes_with_popup():
    return with_annotations(f"/Subtype/Square/C[1 0 0]/BS<</W 4>>/Contents(A note)/T(Somebody)/Popup {FREE + 1} 0 R"
                            "/Rect[20 20 90 90]", f"/Subtype/Popup/Parent {FREE} 0 R/Rect[100 100 190 190]",
                            ).with_table()


def of_layers(owner, defaults=None, widget=False):
    """An annotation of `owner`, where one layer is hidden and one is shown, and one of no layer."""
    off, on, shown = FREE + 2, FREE + 3, FREE + 4
    defaults = f"/OFF[{off} 0 R]" if defaults is None else defaults.format(on=on)
    own = owner.format(on=f"{on} 0 R", off=f"{off} 0 R")
    kind = "Widget/FT/Tx/T(x)/F 4" if widget else "Stamp"
    form_fields = f"/AcroForm<</Fields[{FREE} 0 R]>>" if widget else ""
    return with_annotations(
        f"/Subtype/{kind}/OC {own}/AP<</N {shown} 0 R>>/Rect[20 20 180 50]",
        f"/Subtype/Stamp/AP<</N {shown} 0 R>>/Rect[20 120 180 150]",
        catalog=f"/OCProperties<</OCGs[{off} 0 R {on} 0 R]/D<<{defaults}/Order[{off} 0 R {on} 0 R]>>>>{form_fields}",
        extra=["<</Type/OCG/Name(Hidden)>>", "<</Type/OCG/Name(Shown)>>", appearance()]).with_table()


BOTH = "<</Type/OCMD/OCGs[{on} {off}]"
for name, arguments in {
    "hidden": ("{off}",), "shown": ("{on}",), "hidden-by-default": ("{off}", "/BaseState/OFF/ON[{on} 0 R]"),
    "shown-by-exception": ("{on}", "/BaseState/OFF/ON[{on} 0 R]"), "hidden-field": ("{off}", None, True),
    "any-shown": (BOTH + ">>",), "all-shown": (BOTH + "/P/AllOn>>",), "any-hidden": (BOTH + "/P/AnyOff>>",),
    "all-hidden": (BOTH + "/P/AllOff>>",),
}.items():
    drawn(f"annotation-of-layer-{name}")(lambda arguments=arguments: of_layers(*arguments))

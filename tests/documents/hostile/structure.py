"""Families that lie about what a document is made of."""

from family import NUMBERS, ODD_VALUES, family, numbered
from pdf import (CONTENT, FREE, PAGE, PAGES, ROOT, TEXT, document, object_stream, packed,
                 stream, to_bytes, write, xref_row, xref_table)

DEPTHS = [50, 499, 501, 2000, 20_000, 200_000]
A, B, C = FREE, FREE + 1, FREE + 2  # further objects of a document


@family
def nested_values():
    for depth in DEPTHS:
        for name, opening, inner, closing in [("array", "[", "1", "]"), ("open", "[", "", ""),
                                              ("dictionary", "<</K", " 1", ">>"),
                                              ("mixed", "[<</K", " 1", ">>]"),
                                              ("text", "(", "x", ")")]:
            value = opening * depth + inner + closing * depth
            yield f"{name}-{depth}-catalog", write(catalog=f"/K {value}")
            yield f"{name}-{depth}-page", write(page=f"/K {value}")
            yield f"{name}-{depth}-content", write(f"{value} 0 0 1 rg 20 20 60 60 re f")


def page_tree(depth, kids):
    """Every level of the tree holds `kids` times the next one."""
    pdf = document(page=f"/Parent {FREE + depth - 1} 0 R")
    pdf.set(PAGES, f"<</Type/Pages/Kids[{FREE} 0 R]/Count 1>>")
    for level in range(depth):
        child = PAGE if level == depth - 1 else FREE + level + 1
        parent = PAGES if level == 0 else FREE + level - 1
        pdf.set(FREE + level, f"<</Type/Pages/Parent {parent} 0 R/Count {kids ** (depth - level)}"
                              f"/Kids[{f'{child} 0 R ' * kids}]>>")
    return pdf


@family
def nested_pages():
    for depth in [10, 100, 1000, 50_000]:
        yield f"tree-{depth}", page_tree(depth, 1).with_table()
    for depth in [3, 8, 25, 60]:
        yield f"doubling-{depth}", page_tree(depth, 2).with_table()
    for depth in [10, 400, 600, 5000]:
        kids = "[" * depth + f"{PAGE} 0 R" + "]" * depth
        yield f"kids-{depth}", document().set(
            PAGES, f"<</Type/Pages/Count 1/Kids{kids}>>").with_table()
        tree = f"<</Type/Pages/Count 1/Kids[" * depth + f"{PAGE} 0 R" + "]>>" * depth
        yield f"direct-{depth}", document().set(PAGES, tree).with_table()


@family
def nested_objects():
    """Chains of objects through each of the ways in which one leads to another."""
    links = {"outline": ("/Outlines", "<</First {0} 0 R/Next {0} 0 R/Title(x)>>"),
             "names": ("/Names<</Dests", "<</Kids[{0} 0 R]/Limits[(a)(z)]>>"),
             "labels": ("/PageLabels", "<</Kids[{0} 0 R]/Limits[0 9]>>"),
             "fields": ("/AcroForm<</NeedAppearances true/Fields", "<</Kids[{0} 0 R]/T(x)/FT/Tx>>"),
             "structure": ("/StructTreeRoot", "<</Type/StructElem/K[{0} 0 R]/P {0} 0 R>>")}
    for name, (key, link) in links.items():
        for depth in [100, 1000, 30_000]:
            extra = [link.format(FREE + n + 1) for n in range(depth)] + ["null"]
            first = f"[{FREE} 0 R]>>" if name == "fields" else f" {FREE} 0 R"
            yield f"{name}-{depth}", write(
                catalog=key + first + (">>" if name == "names" else ""), extra=extra)
    for depth in [100, 20_000]:
        yield f"references-{depth}", write(catalog=f"/Dests {FREE} 0 R", extra=[
            f"{FREE + n + 1} 0 R" for n in range(depth)] + ["<<>>"])


def drawn(kind, *bodies, resources="", content=None):
    """A page that draws with the resource X, the first of `bodies`."""
    content = {"XObject": "/X Do", "Font": "BT /X 20 Tf 20 20 Td (Ab) Tj ET",
               "Pattern": "/Pattern cs /X scn 0 0 200 200 re f", "Shading": "/X sh",
               "ColorSpace": "/X cs 0 sc 0 0 200 200 re f", "ExtGState": "/X gs 0 0 9 9 re f",
               "Properties": "/OC /X BDC 0 0 9 9 re f EMC"}[kind] if content is None else content
    return write(content, f"/{kind}<</X {A} 0 R>>{resources}", extra=bodies)


FORM = "/Type/XObject/Subtype/Form/BBox[0 0 200 200]"
TILE = "/Type/Pattern/PatternType 1/PaintType 1/TilingType 1/BBox[0 0 9 9]/XStep 9/YStep 9"


def form(draws, target, kind="XObject"):
    return stream(draws, f"{FORM}/Resources<</{kind}<</X {target} 0 R>>>>")


@family
def loops_in_pages():
    def pages(body, **rest):
        return document(**rest).set(PAGES, to_bytes(body)).with_table()
    yield "own-kid", pages(f"<</Type/Pages/Kids[{PAGES} 0 R]/Count 1>>")
    yield "own-kid-and-page", pages(f"<</Type/Pages/Kids[{PAGE} 0 R {PAGES} 0 R]/Count 2>>")
    yield "own-kid-no-type", pages(f"<</Kids[{PAGES} 0 R]>>")
    yield "same-page-twice", pages(f"<</Type/Pages/Kids[{PAGE} 0 R {PAGE} 0 R]/Count 2>>")
    yield "catalog-as-kid", pages(f"<</Type/Pages/Kids[{ROOT} 0 R]/Count 1>>")
    yield "own-parent", pages(f"<</Type/Pages/Kids[{PAGE} 0 R]/Count 1/Parent {PAGES} 0 R>>")
    yield "page-as-parent", pages(f"<</Type/Pages/Kids[{PAGE} 0 R]/Count 1/Parent {PAGE} 0 R>>",
                                  box=None)
    yield "two-nodes", pages(f"<</Type/Pages/Kids[{A} 0 R]/Count 1>>", extra=[
        f"<</Type/Pages/Kids[{PAGES} 0 R]/Parent {PAGES} 0 R/Count 1>>"])
    yield "root-is-pages", pages(f"<</Type/Catalog/Pages {PAGES} 0 R/Kids[{PAGES} 0 R]>>")
    yield "kids-are-kids", pages(f"<</Type/Pages/Kids {A} 0 R/Count 1>>", extra=[f"[{A} 0 R]"])
    yield "count-is-count", pages(f"<</Type/Pages/Kids[{PAGE} 0 R]/Count {A} 0 R>>",
                                  extra=[f"{A} 0 R"])
    yield "contents-is-page", write(f"{PAGE} 0 R")
    yield "contents-is-itself", write(f"{CONTENT} 0 R")
    yield "contents-holds-itself", write(f"[{CONTENT} 0 R]")
    yield "pages-is-catalog", document(catalog=f"/Pages {ROOT} 0 R").with_table()
    for name, key in [("box", "MediaBox"), ("resources", "Resources"), ("rotate", "Rotate"),
                      ("unit", "UserUnit"), ("annotations", "Annots"), ("group", "Group")]:
        yield f"{name}-of-page", write(page=f"/{key} {PAGE} 0 R")
        yield f"{name}-of-itself", write(page=f"/{key} {A} 0 R", extra=[f"{A} 0 R"])
        yield f"{name}-of-array", write(page=f"/{key} {A} 0 R", extra=[f"[{A} 0 R {A} 0 R]"])


@family
def loops_in_resources():
    yield "form", drawn("XObject", form("/X Do", A))
    yield "forms", drawn("XObject", form("/X Do", B), form("/X Do", A))
    yield "page-as-form", drawn("XObject", f"{PAGE} 0 R")
    yield "pattern", drawn("Pattern", stream("/Pattern cs /X scn 0 0 9 9 re f",
                                             f"{TILE}/Resources<</Pattern<</X {A} 0 R>>>>"))
    yield "pattern-form", drawn("Pattern", stream("/X Do", f"{TILE}/Resources<</XObject<</X {B} 0 R>>>>"),
                                form("/Pattern cs /X scn 0 0 9 9 re f", A, "Pattern"))
    glyph = stream("0 0 9 9 0 0 d1 BT /X 1 Tf (A) Tj ET")
    yield "type3", drawn("Font", f"<</Type/Font/Subtype/Type3/FontBBox[0 0 9 9]/FontMatrix[.1 0 0 .1 0 0]"
                         f"/CharProcs<</A {B} 0 R>>/Encoding<</Differences[65/A 98/A]>>/FirstChar 65"
                         f"/LastChar 98/Widths[{'9 ' * 34}]/Resources<</Font<</X {A} 0 R>>>>>>", glyph)
    yield "descendant", drawn("Font", f"<</Type/Font/Subtype/Type0/BaseFont/F/Encoding/Identity-H"
                              f"/DescendantFonts[{A} 0 R]>>")
    yield "encoding", drawn("Font", f"<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding {B} 0 R>>",
                            f"<</BaseEncoding {B} 0 R/Differences {B} 0 R>>")
    yield "to-unicode", drawn("Font", f"<</Type/Font/Subtype/Type1/BaseFont/Helvetica/ToUnicode {B} 0 R>>",
                              stream("/X usecmap", f"/UseCMap {B} 0 R"))
    yield "encoding-cmap", drawn("Font", f"<</Type/Font/Subtype/Type0/BaseFont/F/Encoding {B} 0 R"
                                 f"/DescendantFonts[{C} 0 R]>>", stream("", f"/UseCMap {B} 0 R"),
                                 f"<</Type/Font/Subtype/CIDFontType2/BaseFont/F/W {C} 0 R"
                                 f"/FontDescriptor {C} 0 R/CIDToGIDMap {B} 0 R>>")
    for name, space in [("indexed", f"[/Indexed {A} 0 R 1(abcdef)]"), ("pattern", f"[/Pattern {A} 0 R]"),
                        ("separation", f"[/Separation/S {A} 0 R {B} 0 R]"),
                        ("device-n", f"[/DeviceN[/S]{A} 0 R {B} 0 R]"), ("icc", f"[/ICCBased {C} 0 R]")]:
        yield f"colours-{name}", drawn(
            "ColorSpace", space, f"<</FunctionType 3/Domain[0 1]/Functions[{B} 0 R {B} 0 R]"
            f"/Bounds[.5]/Encode[0 1 0 1]>>", stream("", f"/N 3/Alternate {A} 0 R"))
    image = "/Type/XObject/Subtype/Image/Width 2/Height 2/BitsPerComponent 8/ColorSpace/DeviceGray"
    for key in ["SMask", "Mask", "Alternates", "ColorSpace", "Decode", "Filter", "DecodeParms", "OPI"]:
        yield f"image-{key}", drawn("XObject", stream("abcd", f"{image}/{key} {A} 0 R"))
        yield f"image-{key}-array", drawn("XObject", stream("abcd", f"{image}/{key}[{A} 0 R]"))
    yield "soft-mask", drawn("ExtGState", f"<</SMask<</S/Luminosity/G {B} 0 R/TR {A} 0 R>>>>",
                             stream("/X gs 0 0 9 9 re f", f"{FORM}/Group<</S/Transparency>>"
                                    f"/Resources<</ExtGState<</X {A} 0 R>>>>"))
    yield "layers", drawn("Properties", f"<</Type/OCMD/OCGs {A} 0 R/VE[/And {A} 0 R]>>")
    yield "layer-expression", drawn("Properties", f"<</Type/OCMD/VE {B} 0 R>>", f"[/Not {B} 0 R]")
    for kind in [1, 2, 3]:
        yield f"shading-{kind}", drawn("Shading", f"<</ShadingType {kind}/ColorSpace/DeviceRGB/Function"
                                       f" {B} 0 R/Coords[0 0 9 9 9 9]/Background {A} 0 R>>",
                                       f"[{B} 0 R {B} 0 R {B} 0 R]")
    for depth in [4, 5]:
        extra = [form("/X Do " * 10, A + n + 1) for n in range(depth)] + [stream("0 0 9 9 re f", FORM)]
        yield f"ten-times-{depth}", drawn("XObject", *extra)
    for depth in [30, 1000, 5000]:
        extra = [form("/X Do", A + n + 1) for n in range(depth)] + [stream("0 0 9 9 re f", FORM)]
        yield f"forms-deep-{depth}", drawn("XObject", *extra)


@family
def loops_in_trees():
    def catalog(entries, *extra):
        return write(catalog=entries, extra=extra)
    yield "outline", catalog(f"/Outlines {A} 0 R", f"<</First {A} 0 R/Last {A} 0 R/Next {A} 0 R"
                             f"/Parent {A} 0 R/Title {A} 0 R/Dest {A} 0 R>>")
    yield "outlines", catalog(f"/Outlines {A} 0 R", f"<</First {B} 0 R/Last {B} 0 R>>",
                              f"<</Title(x)/Next {C} 0 R/Prev {C} 0 R/Parent {A} 0 R>>",
                              f"<</Title(x)/Next {B} 0 R/Prev {B} 0 R/First {A} 0 R>>")
    yield "names", catalog(f"/Names {A} 0 R/Dests {A} 0 R", f"<</Dests {A} 0 R/Kids[{A} 0 R]>>")
    yield "labels", catalog(f"/PageLabels {A} 0 R", f"<</Kids[{A} 0 R {A} 0 R]/Nums[0 {A} 0 R]>>")
    yield "structure", catalog(f"/StructTreeRoot {A} 0 R/MarkInfo {A} 0 R",
                               f"<</K {A} 0 R/P {A} 0 R/ParentTree {A} 0 R/Kids[{A} 0 R]>>")
    yield "version", catalog(f"/Version {A} 0 R", f"{A} 0 R")
    yield "metadata", catalog(f"/Metadata {A} 0 R", f"{A} 0 R")
    yield "extensions", catalog(f"/Extensions {A} 0 R/Extends {ROOT} 0 R", f"<</A {A} 0 R>>")
    yield "action", catalog(f"/OpenAction {A} 0 R", f"<</S/GoTo/Next {A} 0 R/D {A} 0 R>>")
    yield "itself", catalog("", f"{A} 0 R")
    yield "each-other", catalog(f"/Dests {A} 0 R", f"{B} 0 R", f"{A} 0 R")
    yield "array", catalog(f"/Dests {A} 0 R", f"[{A} 0 R {B} 0 R]", f"[{B} 0 R {A} 0 R]")
    for key in ["Info", "ID", "Encrypt", "Prev", "Size", "XRefStm"]:
        pdf = document(extra=[f"{A} 0 R", f"<</Title {B} 0 R/Author {A} 0 R/Filter {B} 0 R>>"])
        for name, target in [("itself", A), ("dictionary", B), ("catalog", ROOT), ("missing", 999)]:
            pdf.trailer = f"/{key} {target} 0 R"
            yield f"trailer-{key}-{name}", pdf.with_table()


STREAM_KINDS = {
    "content": lambda length: document(stream(TEXT, length=length)),
    "font": lambda length: document(resources=f"/Font<</F<</Type/Font/Subtype/TrueType/BaseFont/F"
                                    f"/FontDescriptor<</FontFile2 {A} 0 R/FontName/F/Flags 4>>>>>>",
                                    extra=[stream("abc", length=length)]),
    "image": lambda length: document("90 0 0 90 9 9 cm /X Do", f"/XObject<</X {A} 0 R>>", extra=[
        stream("abcd", "/Subtype/Image/Width 2/Height 2/BitsPerComponent 8/ColorSpace/DeviceGray",
               length=length)]),
    "metadata": lambda length: document(catalog=f"/Metadata {A} 0 R", extra=[
        stream("<x/>", "/Type/Metadata/Subtype/XML", length=length)])}


@family
def lengths():
    loops = [f"{A + 1} 0 R", f"{A} 0 R", f"{CONTENT} 0 R"]
    for kind, make in STREAM_KINDS.items():
        for name, length in numbered(NUMBERS + ODD_VALUES + loops):
            pdf = make(length)
            pdf.set(A + 1, stream("9", length=f"{CONTENT} 0 R"))
            yield f"{kind}-{name}", pdf.with_table()


@family
def tables():
    body, offsets = document().body()
    pdf = document()
    for name, shift in numbered([-1000, -10, -1, 1, 10, 1000, 10**8, 10**9 * 5]):
        yield f"shifted-{name}", pdf.with_table(
            table=xref_table({n: max(0, o + shift) for n, o in offsets.items()}))
    yield "rotated", pdf.with_table(table=xref_table(
        {n: offsets[n % len(offsets) + 1] for n in offsets}))
    yield "all-one-place", pdf.with_table(table=xref_table({n: offsets[PAGE] for n in offsets}))
    for name, start in numbered(NUMBERS + ODD_VALUES + [str(len(body) + 5), "15", str(len(body) - 7)]):
        yield f"start-{name}", pdf.with_table(start=start)
        yield f"count-{name}", pdf.with_table(
            table=xref_table(offsets).replace(b"0 5", b"0 " + to_bytes(start)))
        yield f"first-{name}", pdf.with_table(
            table=xref_table(offsets).replace(b"0 5", to_bytes(start) + b" 5"))
        yield f"size-{name}", pdf.with_table(trailer=f"<</Size {start}/Root {ROOT} 0 R>>")
        yield f"previous-{name}", pdf.with_table(
            trailer=f"<</Size 5/Root {ROOT} 0 R/Prev {start}>>")
        yield f"hybrid-{name}", pdf.with_table(
            trailer=f"<</Size 5/Root {ROOT} 0 R/XRefStm {start}>>")
        yield f"root-{name}", pdf.with_table(trailer=f"<</Size 5/Root {start}>>")
        yield f"pages-{name}", document(catalog=f"/Pages {start}").with_table()
    here = str(len(body))
    yield "previous-itself", pdf.with_table(trailer=f"<</Size 5/Root {ROOT} 0 R/Prev {here}>>")
    yield "hybrid-itself", pdf.with_table(trailer=f"<</Size 5/Root {ROOT} 0 R/XRefStm {here}>>")
    yield "previous-each-other", two_tables(body, offsets)
    yield "previous-long", many_tables(body, offsets, 3000)
    yield "no-trailer", body + xref_table(offsets)
    yield "no-table", body
    yield "trailer-alone", body + b"trailer<</Root 1 0 R>>"
    yield "two-trailers", pdf.with_table(trailer="<</Size 5/Root 3 0 R>>\ntrailer<</Root 1 0 R>>")
    yield "free-loop", pdf.with_table(table=b"xref\n0 5\n" + b"0000000001 65535 f \n" * 5)
    yield "short-rows", pdf.with_table(table=xref_table(offsets).replace(b" n \n", b" n\n"))
    yield "generations", pdf.with_table(table=xref_table(offsets).replace(b" 00000 n", b" 65535 n"))
    yield "letters", pdf.with_table(table=xref_table(offsets).replace(b" n ", b" x "))


def two_tables(body, offsets):
    table = xref_table(offsets) + b"trailer<</Size 5/Root 1 0 R/Prev %010d>>\n"
    places = len(body), len(body) + len(table) + 6
    return body + table % places[1] + table % places[0] + b"startxref\n%d\n%%%%EOF" % places[0]


def many_tables(body, offsets, count):
    parts, place, previous = [body], len(body), b""
    for _ in range(count):
        parts.append(xref_table(offsets) + b"trailer<</Size 5/Root 1 0 R%b>>\n" % previous)
        previous = b"/Prev %d" % place
        place += len(parts[-1])
    return b"".join(parts) + b"startxref\n%d\n%%%%EOF" % (place - len(parts[-1]))


@family
def reference_streams():
    pdf, some = document(), (ROOT, PAGES, PAGE)
    yield "sound", pdf.with_stream(some)
    widths = ["0 0 0", "0 4 2", "1 0 0", "8 8 8", "9 9 9", "-1 4 2", "1 -4 2", "1 4", "1 4 2 9", "",
              "1 2147483647 2", "1 4 4294967296", "2147483647 2147483647 2147483647",
              "9223372036854775807 1 1", "1 4 1.5", "/A 4 2", "[1] 4 2", "1 99999999 2", "100 100 100"]
    for name, value in numbered(widths):
        yield f"widths-{name}", pdf.with_stream(some, widths=value)
    for name, value in numbered(NUMBERS + ODD_VALUES):
        yield f"size-{name}", pdf.with_stream(some, entries=f"/Root 1 0 R/Size {value}")
        yield f"index-{name}", pdf.with_stream(some, index=f"0 {value}")
        yield f"index-first-{name}", pdf.with_stream(some, index=f"{value} 7")
        yield f"previous-{name}", pdf.with_stream(some, entries=f"/Root 1 0 R/Size 7/Prev {value}")
    for name, index in numbered(["", "0", "0 7 0 7", "5 -5", "0 7 " * 500, "7 0 3 4 1 1", "0 1 2"]):
        yield f"pairs-{name}", pdf.with_stream(some, index=index)
    rows = {"empty": b"", "short": bytes(9), "zeros": bytes(700), "ones": b"\1" * 70,
            "kinds": b"".join(xref_row(kind, 15, 0) for kind in range(3, 200)),
            "holder-is-itself": b"".join(xref_row(2, number, 0) for number in range(7)),
            "holder-is-table": b"".join(xref_row(2, 6, number) for number in range(7)),
            "holder-missing": b"".join(xref_row(2, 999_999, number) for number in range(7)),
            "index-huge": xref_row(0, 0, 0) + b"".join(xref_row(2, 5, 65535) for _ in range(6)),
            "offset-huge": b"".join(xref_row(1, 2**32 - 1, 0) for _ in range(7))}
    for name, value in rows.items():
        yield f"rows-{name}", pdf.with_stream(some, rows=value)
    for value in [10**5, 10**6]:
        yield f"rows-{value}", pdf.with_stream(some, rows=bytes(7) * value,
                                               entries=f"/Root 1 0 R/Size {value}")
    yield "previous-itself", previous_itself(pdf, some)


def previous_itself(pdf, some):
    """The place of the table, which its own entry names, is a number of as many digits."""
    size = len(pdf.with_stream(some, entries="/Root 1 0 R/Size 7/Prev 1000"))
    for place in range(size):
        file = pdf.with_stream(some, entries=f"/Root 1 0 R/Size 7/Prev {place}")
        if file.find(b"startxref\n%d\n" % place) >= 0:
            return file
    raise AssertionError("no place is that of the table")


def holding(holder, objects=(ROOT, PAGES, PAGE)):
    """A document some of whose objects are to be found in the object stream `holder`, number 5."""
    pdf = document()
    for number in objects:
        del pdf.objects[number]
    pdf.set(FREE, holder)
    body, offsets = pdf.body()
    offsets[FREE + 1] = len(body)
    rows = b"".join(xref_row(2, FREE, objects.index(n)) if n in objects
                    else xref_row(1, offsets[n], 0) if n in offsets else xref_row(0, 0, 0)
                    for n in range(FREE + 2))
    return b"%b%d 0 obj\n%b\nendobj\nstartxref\n%d\n%%%%EOF\n" % (
        body, FREE + 1, packed(rows, "/Type/XRef/W[1 4 2]/Root 1 0 R/Size 7"), len(body))


@family
def object_streams():
    whole = document().objects
    objects = [(n, whole[n]) for n in (ROOT, PAGES, PAGE)]
    yield "sound", holding(object_stream(objects))
    for name, value in numbered(NUMBERS + ODD_VALUES):
        yield f"count-{name}", holding(object_stream(objects, count=value))
        yield f"first-{name}", holding(object_stream(objects, first=value))
        yield f"extends-{name}", holding(object_stream(objects, f"/Extends {value}"))
        yield f"offset-{name}", holding(lying_head(objects, value))
    yield "extends-itself", holding(object_stream(objects, f"/Extends {FREE} 0 R"))
    yield "no-type", holding(object_stream(objects).replace(b"/Type/ObjStm", b""))
    yield "length-inside", holding(object_stream(objects + [(9, b"9")]).replace(
        b"/Length ", b"/Length 9 0 R/L "))
    yield "holds-itself", holding(object_stream(objects + [(FREE, b"<<>>")]))
    yield "holds-streams", holding(object_stream([(n, b + b" stream\nx\nendstream") for n, b in objects]))
    yield "holds-keywords", holding(object_stream([(n, b"obj " + b + b" endobj") for n, b in objects]))
    yield "wrong-numbers", holding(object_stream([(n + 100, b) for n, b in objects]))
    yield "same-numbers", holding(object_stream([(ROOT, b) for _, b in objects]))
    yield "unending", holding(object_stream([(n, b[:-2]) for n, b in objects]))
    for depth in [600, 100_000]:
        yield f"nested-{depth}", holding(object_stream(
            objects[:2] + [(PAGE, b"[" * depth + b"]" * depth)]))
    for size in [10**6, 2 * 10**7]:
        yield f"spaces-{size}", holding(object_stream(objects[:2] + [(PAGE, b" " * size)]))
        yield f"text-{size}", holding(object_stream(
            objects + [(9, b"(" + b"x" * size + b")")]))
    yield "many", holding(object_stream(objects + [(n, b"0") for n in range(10, 200_010)]))


def lying_head(objects, offset):
    body = b"".join(to_bytes(body) for _, body in objects)
    head = b"".join(b"%d %b " % (n, to_bytes(offset)) for n, _ in objects)
    return packed(head + body, f"/Type/ObjStm/N {len(objects)}/First {len(head)}")


@family
def many_objects():
    """A million objects, and other things in great number."""
    yield "million", document(extra=["0"] * 1_000_000).with_table()
    yield "no-table", document(extra=["0"] * 100_000).body()[0] + b"trailer<</Root 1 0 R>>"
    row = b"0000000000 00000 f \n"
    body, offsets = document().body()
    yield "free", document().with_table(table=xref_table(offsets).replace(
        b"0 5", b"0 200000") + row * 199_995)
    yield "kids", document().set(
        PAGES, f"<</Type/Pages/Count 2000/Kids[{'9 0 R ' * 2000}]>>").with_table()
    yield "same-number", body + b"7 0 obj null endobj\n" * 100_000 + b"trailer<</Root 1 0 R>>"
    yield "arrays", write(catalog="/K [" + "[] " * 100_000 + "]")
    yield "entries", write(catalog="/K<<" + "".join(f"/K{n} 0" for n in range(50_000)) + ">>")
    yield "pages", document().set(PAGES, f"<</Type/Pages/Count 200/Kids[{f'{PAGE} 0 R ' * 200}]>>"
                                  ).with_table()
    yield "pages-and-endless", endless_page(20)


def endless_page(before):
    """Pages in order, and a last one that draws a form of ten that draw ten others, and so on."""
    depth = 30
    pdf = document(extra=[form("/X Do " * 10, A + n + 1) for n in range(depth)] + [stream("f", FORM)])
    last = pdf.size()
    pdf.set(PAGES, f"<</Type/Pages/Count {before + 1}/Kids[{f'{PAGE} 0 R ' * before}{last} 0 R]>>")
    pdf.set(last, f"<</Type/Page/Parent {PAGES} 0 R/MediaBox[0 0 200 200]/Contents {last + 1} 0 R"
                  f"/Resources<</XObject<</X {A} 0 R>>>>>>")
    return pdf.set(last + 1, stream("/X Do")).with_table()


@family
def page_counts():
    for name, value in numbered(NUMBERS + ODD_VALUES):
        yield name, document().set(PAGES, f"<</Type/Pages/Kids[{PAGE} 0 R]/Count {value}>>").with_table()
        yield f"kid-{name}", document().set(
            PAGES, f"<</Type/Pages/Kids[{value} {PAGE} 0 R]/Count 2>>").with_table()
        yield f"kids-{name}", document().set(PAGES, f"<</Type/Pages/Kids {value}/Count 1>>").with_table()

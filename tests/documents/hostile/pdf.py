"""Writes PDFs, sound ones and ones that are wrong in a way the caller chooses."""

import re
import zlib

ROOT, PAGES, PAGE, CONTENT, FREE = 1, 2, 3, 4, 5  # the objects of `document`; FREE is the next one

TEXT = "BT /F 18 Tf 20 150 Td (Hostile) Tj ET 0 0 1 rg 20 20 60 60 re f"
FONT = "/Font<</F<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>>>"


def to_bytes(text):
    return text if isinstance(text, bytes) else text.encode("latin-1")


def stream(data, entries="", length=None):
    """A stream; `length` is what its dictionary says, None for the truth."""
    data = to_bytes(data)
    said = len(data) if length is None else length
    return b"<<%b/Length %b>>\nstream\n%b\nendstream" % (
        to_bytes(entries), to_bytes(str(said)), data)


def packed(data, entries=""):
    return stream(zlib.compress(to_bytes(data), 9), "/Filter/FlateDecode" + entries)


_STREAM = re.compile(rb"(.*?)/Length \d+>>\nstream\n(.*)\nendstream", re.DOTALL)


def sealed(body, number, seal):
    """An object whose data, if it is a stream, has gone through `seal`."""
    match = _STREAM.fullmatch(body)
    return stream(seal(match[2], number), match[1][2:]) if match else body


class Pdf:
    """Objects by number, and the trailer's further entries."""

    def __init__(self, version="1.7"):
        self.version = version
        self.objects = {}
        self.trailer = ""
        self.seal = lambda data, number: data  # encrypts a stream's data

    def set(self, number, body):
        self.objects[number] = to_bytes(body)
        return self

    def body(self):
        """The header and the objects, and where each begins."""
        parts = [b"%%PDF-%b\n%%\xe2\xe3\xcf\xd3\n" % to_bytes(self.version)]
        offset = len(parts[0])
        offsets = {}
        for number, body in sorted(self.objects.items()):
            offsets[number] = offset
            parts.append(b"%d 0 obj\n%b\nendobj\n" % (number, body))
            offset += len(parts[-1])
        return b"".join(parts), offsets

    def size(self):
        return max(self.objects) + 1

    def trailer_entries(self):
        return f"/Size {self.size()}/Root {ROOT} 0 R{self.trailer}"

    def with_table(self, table=None, trailer=None, start=None):
        """The file with a cross-reference table; each argument replaces a true part by a lie."""
        body, offsets = self.body()
        table = xref_table(offsets) if table is None else table
        trailer = f"<<{self.trailer_entries()}>>" if trailer is None else trailer
        start = len(body) if start is None else start
        return b"%b%btrailer\n%b\nstartxref\n%b\n%%%%EOF\n" % (
            body, to_bytes(table), to_bytes(trailer), to_bytes(str(start)))

    def with_stream(self, compressed=(), entries=None, rows=None, widths="1 4 2", index=None):
        """The file with a cross-reference stream, and objects `compressed` in an object stream."""
        plain = Pdf(self.version)
        plain.objects = {n: o for n, o in self.objects.items() if n not in compressed}
        holder = self.size()
        if compressed:
            held = object_stream([(n, self.objects[n]) for n in compressed])
            plain.set(holder, sealed(held, holder, self.seal))
        body, offsets = plain.body()
        table = holder + 1
        offsets[table] = len(body)
        if rows is None:
            rows = xref_rows(table + 1, offsets, holder, list(compressed))
        if entries is None:
            entries = f"/Root {ROOT} 0 R/Size {table + 1}" + self.trailer
        index = "" if index is None else f"/Index[{index}]"
        return b"%b%d 0 obj\n%b\nendobj\nstartxref\n%d\n%%%%EOF\n" % (
            body, table, packed(rows, f"/Type/XRef/W[{widths}]{index}{entries}"), len(body))


def xref_table(offsets):
    rows = [b"0000000000 65535 f \n"]
    for number in range(1, max(offsets) + 1):
        rows.append(b"%010d 00000 n \n" % offsets[number] if number in offsets
                    else b"0000000000 00000 f \n")
    return b"xref\n0 %d\n" % len(rows) + b"".join(rows)


def xref_row(kind, second, third):
    return bytes([kind]) + second.to_bytes(4, "big") + third.to_bytes(2, "big")


def xref_rows(size, offsets, holder, compressed):
    def row(number):
        if number in compressed:
            return xref_row(2, holder, compressed.index(number))
        return xref_row(1, offsets[number], 0) if number in offsets else xref_row(0, 0, 0)
    return b"".join(row(number) for number in range(size))


def object_stream(objects, entries="", count=None, first=None):
    """An object stream; `count` and `first` are what its dictionary says, None for the truth."""
    bodies = [to_bytes(body) + b" " for _, body in objects]
    offset, head = 0, []
    for (number, _), body in zip(objects, bodies):
        head.append(b"%d %d " % (number, offset))
        offset += len(body)
    head = b"".join(head)
    count = len(objects) if count is None else count
    first = len(head) if first is None else first
    return packed(head + b"".join(bodies), f"/Type/ObjStm/N {count}/First {first}{entries}")


def document(content=TEXT, resources=FONT, page="", pages="", catalog="", extra=(), box="0 0 200 200"):
    """A document of one page. `extra` are the bodies of further objects, from number FREE on."""
    pdf = Pdf()
    pdf.set(ROOT, f"<</Type/Catalog/Pages {PAGES} 0 R{catalog}>>")
    pdf.set(PAGES, f"<</Type/Pages/Kids[{PAGE} 0 R]/Count 1{pages}>>")
    media = f"/MediaBox[{box}]" if box is not None else ""
    pdf.set(PAGE, f"<</Type/Page/Parent {PAGES} 0 R{media}/Contents {CONTENT} 0 R"
                  f"/Resources<<{resources}>>{page}>>")
    pdf.set(CONTENT, content if is_object(content) else stream(content))
    for number, body in enumerate(extra, FREE):
        pdf.set(number, body)
    return pdf


def is_object(content):
    """Whether it is an object as it stands rather than a stream's data."""
    return re.match(rb"<<|\d+ 0 R$|\[", to_bytes(content)[:16]) is not None


def write(*arguments, **options):
    """The bytes of a `document`."""
    return document(*arguments, **options).with_table()

"""Families of pictures that are damaged or claim sizes beyond all measure."""

import random
import struct
import zlib

from family import NUMBERS, ODD_VALUES, family, numbered
from filters import PIECE, zlib_of
from pdf import FREE, stream, write

DRAW = "160 0 0 160 20 20 cm /X Do"
SIZES = ["0", "-1", "1", "20000", "2147483647", "2147483648", "4294967295", "1e9", "/W", "null", "2.5"]


def image(data, width=8, height=8, bits=8, space="/DeviceGray", more="", *extra):
    entries = (f"/Type/XObject/Subtype/Image/Width {width}/Height {height}/BitsPerComponent {bits}"
               f"/ColorSpace{space}{more}")
    return write(DRAW, f"/XObject<</X {FREE} 0 R>>", extra=[stream(data, entries), *extra])


@family
def picture_sizes():
    for bits in [1, 8, 16]:
        for space in ["/DeviceGray", "/DeviceCMYK"][bits == 1:]:
            for name, data, more in [("plain", bytes(500), ""),
                                     ("flate", zlib_of(b"\0", 64 * PIECE), "/Filter/FlateDecode")]:
                yield f"large-{bits}{space[1:]}-{name}".replace("/", ""), image(
                    data, 100_000, 100_000, bits, space, more)
    yield "large-1", image(bytes(500), 100_000, 100_000, 1)
    for name, value in numbered(SIZES):
        yield f"width-{name}", image(bytes(64), width=value)
        yield f"height-{name}", image(bytes(64), height=value)
        yield f"both-{name}", image(bytes(64), value, value)
        yield f"mask-{name}", image(bytes(64), value, value, 1, " null", "/ImageMask true")
        yield f"bits-{name}", image(bytes(64), bits=value)
        yield f"inline-{name}", write(f"{DRAW[:-5]} BI/W {value}/H {value}/BPC 8/CS/G ID abcdefgh EI")
        for kind in ["SMask", "Mask"]:
            yield f"{kind}-{name}", image(
                bytes(64), 8, 8, 8, "/DeviceGray", f"/{kind} {FREE + 1} 0 R",
                stream(bytes(64), f"/Subtype/Image/Width {value}/Height {value}/BitsPerComponent 8"
                                  f"/ColorSpace/DeviceGray"))


@family
def colour_spaces():
    function = "<</FunctionType 2/Domain[0 1]/N 1/C0[0]/C1[1]>>"
    spaces = [f"[/Indexed/DeviceRGB {high}(abc)]" for high in NUMBERS]
    spaces += [f"[/DeviceN[{'/A' * count}]/DeviceRGB{function}]" for count in [0, 1, 32, 33, 5000]]
    spaces += ["[/Indexed/Pattern 1(ab)]", "[/Indexed[/Indexed/DeviceRGB 1(abcdef)]1(ab)]", "/Pattern",
               "[/Separation/A/Pattern" + function + "]", "[/Separation/A/DeviceRGB null]", "[]",
               "[/CalRGB<</WhitePoint[0 0 0]/Gamma[0 0 0]/Matrix[9e99 0 0 0 0 0 0 0 0]>>]",
               "[/CalGray<</WhitePoint[-1 1 1]/Gamma 1e99>>]", "[/Lab<</WhitePoint[1 1]>>]",
               "[/Lab<</WhitePoint[1 1 1]/Range[9 -9 9 -9]>>]", "[/ICCBased null]", "/Unknown"]
    for name, value in numbered(spaces + [f" {value}" for value in ODD_VALUES]):
        yield f"image-{name}", image(bytes(range(64)), space=value)
        yield f"fill-{name}", write("/X cs 1 sc 0 0 99 99 re f", f"/ColorSpace<</X {value}>>")
    for name, value in numbered(NUMBERS + ODD_VALUES):
        yield f"components-{name}", image(bytes(64), 8, 8, 8, f"[/ICCBased {FREE + 1} 0 R]", "",
                                          stream(bytes(200), f"/N {value}"))
        yield f"decode-{name}", image(bytes(64), more=f"/Decode[{value} {value}]")
        yield f"matte-{name}", image(bytes(64), 8, 8, 8, "/DeviceGray", f"/SMask {FREE + 1} 0 R", stream(
            bytes(64), f"/Subtype/Image/Width 8/Height 8/BitsPerComponent 8/ColorSpace/DeviceGray"
                       f"/Matte[{value}]"))
        yield f"key-mask-{name}", image(bytes(64), more=f"/Mask[{value} {value}]")


def segment(marker, data):
    return struct.pack(">BBH", 0xFF, marker, len(data) + 2) + data


def jpeg(width=8, height=8, start=0xC0, scans=1):
    """A gray square, by tables of one code each."""
    table = bytes(15 * [0])
    head = (b"\xff\xd8" + segment(0xDB, b"\0" + b"\1" * 64)
            + segment(start, struct.pack(">BHHB", 8, height, width, 1) + b"\1\x11\0")
            + segment(0xC4, b"\0\1" + table + b"\0") + segment(0xC4, b"\x10\1" + table + b"\0"))
    scan = segment(0xDA, b"\1\1\0\0\0\0" if start == 0xC2 else b"\1\1\0\0\x3f\0") + b"\x3f"
    return head + scan * scans + b"\xff\xd9"


def box(kind, data):
    return struct.pack(">I", len(data) + 8) + kind + data


def codestream(width=8, height=8, tile=8, parts=1, components=1, levels=0):
    size = struct.pack(">HIIIIIIIIH", 0, width, height, 0, 0, tile, tile, 0, 0, components)
    size += b"\7\1\1" * components
    coding = bytes([0, 0, 0, 1, 0, levels, 4, 4, 0, 1])
    tiles = b"".join(segment(0x90, struct.pack(">HIBB", n % 65535, 15, 0, 1)) + b"\xff\x93\0"
                     for n in range(parts))
    return (b"\xff\x4f" + segment(0x51, size) + segment(0x52, coding)
            + segment(0x5C, b"\x40" + b"\x40" * (3 * levels + 1)) + tiles + b"\xff\xd9")


def jpx(**options):
    head = struct.pack(">IIHBBBB", options.get("height", 8), options.get("width", 8), 1, 7, 7, 0, 0)
    return (box(b"jP  ", b"\r\n\x87\n") + box(b"ftyp", b"jp2 \0\0\0\0jp2 ")
            + box(b"jp2h", box(b"ihdr", head) + box(b"colr", b"\1\0\0" + struct.pack(">I", 17)))
            + box(b"jp2c", codestream(**options)))


def jbig2_part(number, kind, data, length=None):
    return struct.pack(">IBBBI", number, kind, 0, 1, len(data) if length is None else length) + data


def jbig2(width=8, height=8, region=None, kind=38):
    region = (width, height) if region is None else region
    page = struct.pack(">IIIIBH", width, height, 0, 0, 0, 0)
    area = struct.pack(">IIIIB", *region, 0, 0, 0) + b"\0\3\xff\xfd\xff\2\xfe\xfe\xfe"
    return jbig2_part(0, 48, page) + jbig2_part(1, kind, area + bytes(range(40)))


PICTURES = {"dct": ("DCTDecode", jpeg()), "dct-progressive": ("DCTDecode", jpeg(start=0xC2)),
            "jpx": ("JPXDecode", jpx()), "jbig2": ("JBIG2Decode", jbig2()),
            "ccitt": ("CCITTFaxDecode", b"\x26\xa1\x35\x00\x10\x01" * 20)}


@family
def damaged_pictures():
    chance = random.Random("pictures")
    for name, (kind, data) in PICTURES.items():
        more = f"/Filter/{kind}"
        yield f"{name}-whole", image(data, more=more)
        for cut in range(0, len(data), max(1, len(data) // 12)):
            yield f"{name}-cut-{cut:03}", image(data[:cut], more=more)
        for number in range(15):
            yield f"{name}-flip-{number:02}", image(flipped(chance, data, 1 + number % 4), more=more)
        for number in range(5):
            yield f"{name}-noise-{number}", image(chance.randbytes(3000), more=more)
        yield f"{name}-large", image(data, 100_000, 100_000, more=more)
        yield f"{name}-in-flate", image(zlib.compress(data), more=f"/Filter[/FlateDecode/{kind}]")


def flipped(chance, data, count):
    """With `count` bytes replaced by others."""
    result = bytearray(data)
    for _ in range(count):
        result[chance.randrange(len(result))] ^= chance.randrange(1, 256)
    return bytes(result)


@family
def picture_claims():
    """Sizes and counts inside the pictures' own headers."""
    for name, (width, height) in numbered([(65535, 65535), (0, 8), (8, 0), (65535, 1), (1, 65535)]):
        for start in [0xC0, 0xC1, 0xC2, 0xC9]:
            yield f"jpeg-{start:x}-{name}", image(jpeg(width, height, start), width, height,
                                                  more="/Filter/DCTDecode")
    yield "jpeg-scans", image(jpeg(4000, 4000, 0xC2, 100), 4000, 4000, more="/Filter/DCTDecode")
    for name, (width, height) in numbered([(2**31 - 1, 2**31 - 1), (2**32 - 1, 1), (0, 0), (1, 2**31),
                                           (100_000, 100_000), (30_000, 30_000)]):
        yield f"jpx-{name}", image(jpx(width=width, height=height), more="/Filter/JPXDecode")
        yield f"jpx-tile-{name}", image(jpx(width=width, height=height, tile=2**31),
                                        more="/Filter/JPXDecode")
        yield f"jbig2-{name}", image(jbig2(width, height), 8, 8, 1, more="/Filter/JBIG2Decode")
        yield f"jbig2-region-{name}", image(jbig2(8, 8, (width, height)), 8, 8, 1,
                                            more="/Filter/JBIG2Decode")
    for name, options in numbered([dict(tile=1), dict(tile=0), dict(parts=5000), dict(components=0),
                                   dict(components=16384), dict(levels=32), dict(levels=33)]):
        yield f"jpx-options-{name}", image(jpx(**options), more="/Filter/JPXDecode")
    for kind in [0, 4, 6, 7, 16, 20, 22, 23, 36, 38, 39, 40, 42, 43, 48, 50, 51, 52, 53, 62, 255]:
        yield f"jbig2-kind-{kind}", image(jbig2(kind=kind), 8, 8, 1, more="/Filter/JBIG2Decode")
    for name, value in numbered(NUMBERS):
        for key in ["K", "Columns", "Rows", "DamagedRowsBeforeError", "BlackIs1", "EndOfBlock"]:
            yield f"ccitt-{key}-{name}", image(
                PICTURES["ccitt"][1], 100, 100, 1,
                more=f"/Filter/CCITTFaxDecode/DecodeParms<</{key} {value}>>")

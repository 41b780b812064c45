"""Pictures of every kind and compression, and how they are placed, masked and coloured."""

import io
import struct
import zlib

from drawings import drawn
from PIL import Image, ImageDraw
from pdf import FREE, stream, write
from pictures import jbig2_part

SIDE = 64


def photograph(mode="RGB"):
    """Smooth, with an edge, and like no mirrored one."""
    image = Image.new("RGB", (SIDE, SIDE))
    image.putdata([(4 * x, 4 * y, 255 - 2 * x - 2 * y) for y in range(SIDE) for x in range(SIDE)])
    draw = ImageDraw.Draw(image)
    draw.rectangle((6, 6, 26, 18), fill=(255, 255, 255))
    draw.polygon([(40, 60), (60, 60), (60, 30)], fill=(20, 20, 20))
    if mode == "CMYK":  # pale, as there are many opinions about what strong inks look like
        return image.convert(mode).point(lambda ink: ink // 2)
    return image.convert(mode)


def drawing():
    image = Image.new("1", (SIDE, SIDE), 1)
    draw = ImageDraw.Draw(image)
    draw.rectangle((4, 4, 40, 16), fill=0)
    draw.polygon([(10, 60), (60, 60), (60, 20)], fill=0)
    draw.ellipse((8, 22, 32, 46), outline=0, width=4)
    return image


def saved(image, kind, **options):
    data = io.BytesIO()
    image.save(data, kind, **options)
    return data.getvalue()


def group4():
    """Of `drawing`, without the file around it."""
    with Image.open(io.BytesIO(saved(drawing(), "TIFF", compression="group4"))) as tiff:
        (place,), (size,) = tiff.tag_v2[273], tiff.tag_v2[279]
        tiff.fp.seek(place)
        return tiff.fp.read(size)


def xobject(data, filters="", bits=8, space="/DeviceRGB", more="", size=(SIDE, SIDE)):
    colours = f"/ColorSpace{space}" if space else ""
    return stream(data, f"/Type/XObject/Subtype/Image/Width {size[0]}/Height {size[1]}/BitsPerComponent {bits}"
                        f"{colours}{filters}{more}")


def placed(image, *extra, ground="0.9 0.9 0.6 rg 0 0 200 200 re f", resources=""):
    return write(f"{ground} 160 0 0 140 20 30 cm /X Do", f"/XObject<</X {FREE} 0 R>>{resources}", extra=[image, *extra])


def of_photograph(mode, space, more=""):
    return placed(xobject(photograph(mode).tobytes(), "", 8, space, more))


def jpeg(mode, **options):
    return saved(photograph(mode), "JPEG", quality=90, **options)


def jbig2(flags, data):
    """A page with one generic region."""
    page = struct.pack(">IIIIBH", SIDE, SIDE, 0, 0, 0, 0)
    region = struct.pack(">IIIIBB", SIDE, SIDE, 0, 0, 0, flags)
    return placed(xobject(jbig2_part(0, 48, page) + jbig2_part(1, 38, region + data), "/Filter/JBIG2Decode", 1, GRAY))


DCT, GRAY, INVERTED = "/Filter/DCTDecode", "/DeviceGray", "/Decode[1 0 1 0 1 0 1 0]"
STAIRS = "\x01\x03\x07\x0f\x1f\x3f\x7f\x80"
BITS = drawing().tobytes()
FAX = f"/Filter/CCITTFaxDecode/DecodeParms<</K -1/Columns {SIDE}/Rows {SIDE}/BlackIs1 "

for name, make in {
    "picture-rgb": lambda: of_photograph("RGB", "/DeviceRGB"),
    "picture-gray": lambda: of_photograph("L", GRAY),
    "picture-cmyk": lambda: of_photograph("CMYK", "/DeviceCMYK"),
    "picture-decoded": lambda: of_photograph("RGB", "/DeviceRGB", "/Decode[1 0 0 .5 0 1]"),
    "picture-interpolated": lambda: of_photograph("RGB", "/DeviceRGB", "/Interpolate true"),
    "picture-indexed": lambda: placed(xobject(
        bytes(range(16)) * 2, "", 4, "[/Indexed/DeviceRGB 15<" + "".join(
            f"{17 * n:02x}{255 - 17 * n:02x}{n % 4 * 80:02x}" for n in range(16)) + ">]", size=(8, 8))),
    "picture-16-bits": lambda: placed(xobject(
        b"".join(bytes([value, 0]) for value in photograph().tobytes()), "", 16)),
    "picture-predicted": lambda: placed(xobject(
        zlib.compress(b"".join(b"\1" + bytes((row[i] - (row[i - 3] if i >= 3 else 0)) & 255 for i in range(len(row)))
                               for row in (photograph().tobytes()[n:n + 192] for n in range(0, 12288, 192)))),
        "/Filter/FlateDecode/DecodeParms<</Predictor 15/Colors 3/Columns 64>>")),
    "jpeg-rgb": lambda: placed(xobject(jpeg("RGB"), DCT)),
    "jpeg-progressive": lambda: placed(xobject(jpeg("RGB", progressive=True), DCT)),
    "jpeg-gray": lambda: placed(xobject(jpeg("L"), DCT, 8, GRAY)),
    "jpeg-cmyk-inverted": lambda: placed(xobject(jpeg("CMYK"), DCT, 8, "/DeviceCMYK", INVERTED)),
    "jpeg-2000": lambda: placed(xobject(saved(photograph(), "JPEG2000"), "/Filter/JPXDecode", 8, "")),
    "jpeg-2000-gray": lambda: placed(xobject(saved(photograph("L"), "JPEG2000"), "/Filter/JPXDecode", 8, GRAY)),
    # Whatever bytes it reads, an arithmetic decoder makes one picture of them.
    "jbig2": lambda: jbig2(0, b"\3\xff\xfd\xff\2\xfe\xfe\xfe" + bytes(range(3, 255, 4)) * 12 + b"\xff\xac"),
    "jbig2-packed-as-fax": lambda: jbig2(1, group4()),
    "fax": lambda: placed(xobject(group4(), FAX + "false>>", 1, GRAY)),
    "fax-black-is-1": lambda: placed(xobject(group4(), FAX + "true>>", 1, GRAY)),
    "bits": lambda: placed(xobject(BITS, "", 1, GRAY)),
    "bits-decoded": lambda: placed(xobject(BITS, "", 1, GRAY, "/Decode[1 0]")),
    "bits-indexed": lambda: placed(xobject(BITS, "", 1, "[/Indexed/DeviceRGB 1<ff00000000ff>]")),
    "stencil": lambda: placed(xobject(BITS, "", 1, "", "/ImageMask true"), ground="0 0.4 0.8 rg"),
    "stencil-decoded": lambda: placed(xobject(BITS, "", 1, "", "/ImageMask true/Decode[1 0]"), ground="0 0.4 0.8 rg"),
    "mask": lambda: placed(xobject(photograph().tobytes(), more=f"/Mask {FREE + 1} 0 R"),
                           xobject(BITS, "", 1, "", "/ImageMask true")),
    "mask-by-colour": lambda: placed(xobject(photograph().tobytes(), more="/Mask[250 255 250 255 250 255]")),
    "soft-mask": lambda: placed(xobject(photograph().tobytes(), more=f"/SMask {FREE + 1} 0 R"),
                                xobject(photograph("L").tobytes(), "", 8, GRAY)),
    "soft-mask-of-other-size": lambda: placed(
        xobject(photograph().tobytes(), more=f"/SMask {FREE + 1} 0 R"),
        xobject(bytes(range(0, 256, 16)), "", 8, GRAY, size=(4, 4))),
}.items():
    drawn(name)(make)


@drawn("placed-pictures")
def placed_pictures():
    """Mirrored, turned, slanted, tiny and cut."""
    return write("q -80 0 0 80 90 110 cm /X Do Q q 0 80 -80 0 190 110 cm /X Do Q q 60 0 30 60 10 20 cm /X Do Q"
                 " q 110 20 50 50 re W n 50 50 -50 50 140 0 cm /X Do Q q 8 0 0 8 185 10 cm /X Do Q",
                 f"/XObject<</X {FREE} 0 R>>", extra=[xobject(photograph().tobytes())])


@drawn("few-pixels")
def few_pixels():
    """Made much larger, with edges between the pixels or without them."""
    return write("q 80 0 0 80 10 60 cm /X Do Q q 80 0 0 80 110 60 cm /Y Do Q",
                 f"/XObject<</X {FREE} 0 R/Y {FREE + 1} 0 R>>",
                 extra=[xobject(bytes([255, 0, 0, 0, 0, 255, 0, 160, 0, 255, 255, 0]), more=more, size=(2, 2))
                        for more in ["", "/Interpolate true"]])


@drawn("inline-pictures")
def inline_pictures():
    return write("q 80 0 0 80 10 110 cm BI/W 2/H 2/BPC 8/CS/RGB/F/AHx ID FF0000 00FF00 0000FF FFFF00> EI Q"
                 " q 80 0 0 80 110 110 cm BI/W 8/H 8/BPC 1/CS/G ID " + STAIRS + " EI Q"
                 " q 0 .5 0 rg 80 0 0 80 10 10 cm BI/W 8/H 8/IM true/D[1 0] ID " + STAIRS + " EI Q"
                 " q 80 0 0 80 110 10 cm BI/W 2/H 2/BPC 8/CS[/I/RGB 1<FF00FF00FFFF>]/F/AHx ID 00010100> EI Q")

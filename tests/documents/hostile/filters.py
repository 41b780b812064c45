"""Families of streams that are packed wrongly, or far too well."""

import random
import zlib

from family import ODD_VALUES, family, numbered
from pdf import FONT, FREE, TEXT, stream, to_bytes, write

PIECE = 1 << 20
ADLER_BASE = 65521


def zlib_of(byte, size):
    """What zlib makes of a byte `size` times, a multiple of PIECE, without doing all the work."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    packer.compress(byte * PIECE)
    packer.flush(zlib.Z_FULL_FLUSH)
    repeated = packer.compress(byte * PIECE) + packer.flush(zlib.Z_FULL_FLUSH)
    low = (1 + byte[0] * size) % ADLER_BASE
    high = (size + byte[0] * size * (size + 1) // 2) % ADLER_BASE
    return (b"\x78\xda" + repeated * (size // PIECE) + b"\x03\x00"
            + (high << 16 | low).to_bytes(4, "big"))


def lzw_of_zeros(codes):
    """Each code stands for one zero more than the one before, until the table is full."""
    bits, value, used, next_code = 9, 0, 0, 258
    out = bytearray()
    def put(code):
        nonlocal value, used
        value, used = value << bits | code, used + bits
        while used >= 8:
            used -= 8
            out.append(value >> used & 255)
        value &= (1 << used) - 1
    for number in range(codes):
        if number % 3700 == 0:
            put(256)
            bits, next_code = 9, 258
            put(0)
        else:
            put(next_code)
            next_code += 1
            bits = 9 + (next_code >= 511) + (next_code >= 1023) + (next_code >= 2047)
    put(257)
    out.append(value << (8 - used) & 255)
    return bytes(out)


def run_length_of(byte, size):
    return (b"\x81" + byte) * (size // 128) + b"\x80"


IMAGE = "/Type/XObject/Subtype/Image/ColorSpace/DeviceGray/BitsPerComponent 8"
USES = {  # what a document does with a stream of the given entries and data
    "content": lambda entries, data: write(stream(data, entries), FONT),
    "image": lambda entries, data: write("90 0 0 90 9 9 cm /X Do", f"/XObject<</X {FREE} 0 R>>", extra=[
        stream(data, f"{IMAGE}/Width 100/Height 100{entries}")]),
    "font": lambda entries, data: write(TEXT, f"/Font<</F<</Type/Font/Subtype/TrueType/BaseFont/F"
                                        f"/FontDescriptor<</FontName/F/Flags 4/FontFile2 {FREE} 0 R>>>>>>",
                                        extra=[stream(data, entries)]),
    "to-unicode": lambda entries, data: write(
        TEXT, f"/Font<</F<</Type/Font/Subtype/Type1/BaseFont/Helvetica/ToUnicode {FREE} 0 R>>>>",
        extra=[stream(data, entries)]),
    "profile": lambda entries, data: write("/X cs 1 0 0 sc 0 0 9 9 re f",
                                           f"/ColorSpace<</X[/ICCBased {FREE} 0 R]>>",
                                           extra=[stream(data, f"/N 3{entries}")]),
    "metadata": lambda entries, data: write(catalog=f"/Metadata {FREE} 0 R", extra=[
        stream(data, f"/Type/Metadata/Subtype/XML{entries}")])}


@family
def bombs():
    for use, make in USES.items():
        for megabytes in [10, 40]:
            for name, byte in [("zeros", b"\0"), ("spaces", b" ")]:
                yield (f"{use}-flate-{megabytes}-{name}",
                       make("/Filter/FlateDecode", zlib_of(byte, megabytes * PIECE)))
        once = zlib_of(b" ", 64 * PIECE)
        twice = zlib.compress(once, 9)
        thrice = zlib.compress(twice, 9)
        yield f"{use}-flate-twice", make("/Filter[/FlateDecode/FlateDecode]", twice)
        yield f"{use}-flate-thrice", make("/Filter[/FlateDecode/FlateDecode/FlateDecode]", thrice)
        yield f"{use}-lzw", make("/Filter/LZWDecode", lzw_of_zeros(7_400))
        yield f"{use}-lzw-in-flate", make("/Filter[/FlateDecode/LZWDecode]",
                                          zlib.compress(lzw_of_zeros(7_400), 9))
        runs = run_length_of(b" ", 50 * PIECE)
        yield f"{use}-runs", make("/Filter/RunLengthDecode", runs[:300_000])
        yield f"{use}-runs-in-flate", make("/Filter[/FlateDecode/RunLengthDecode]",
                                           zlib.compress(runs, 9))
        hexadecimal = zlib.compress(b"20" * 10 * PIECE + b">", 9)
        yield f"{use}-hexadecimal", make("/Filter[/FlateDecode/ASCIIHexDecode]", hexadecimal)
        yield f"{use}-letters", make("/Filter[/FlateDecode/ASCII85Decode]",
                                     zlib.compress(b"z" * 10 * PIECE + b"~>", 9))


def hexadecimal_chain(depth):
    data = to_bytes(TEXT)
    for _ in range(depth):
        data = data.hex().encode() + b">"
    return data


@family
def filter_chains():
    for depth in [2, 8, 14]:
        yield f"hexadecimal-{depth}", USES["content"](
            f"/Filter[{'/ASCIIHexDecode' * depth}]", hexadecimal_chain(depth))
    for name in ["FlateDecode", "LZWDecode", "RunLengthDecode", "ASCIIHexDecode", "ASCII85Decode",
                 "DCTDecode", "JPXDecode", "JBIG2Decode", "CCITTFaxDecode", "Crypt", "None", "Fl"]:
        for use, make in USES.items():
            yield f"{use}-{name}-text", make(f"/Filter/{name}", TEXT)
            yield f"{use}-{name}-empty", make(f"/Filter/{name}", b"")
            yield f"{use}-{name}-many", make(f"/Filter[{f'/{name}' * 1000}]", TEXT)
    for name, value in numbered(ODD_VALUES + ["[[/FlateDecode]]", "[null]", "[/FlateDecode null]"]):
        for use in ["content", "image"]:
            yield f"{use}-filter-{name}", USES[use](f"/Filter {value}", zlib.compress(to_bytes(TEXT)))
            yield f"{use}-parameters-{name}", USES[use](
                f"/Filter/FlateDecode/DecodeParms {value}", zlib.compress(to_bytes(TEXT)))
    packed = zlib.compress(to_bytes(TEXT) * 40)
    for cut in range(0, len(packed), 4):
        yield f"flate-cut-{cut}", USES["content"]("/Filter/FlateDecode", packed[:cut])


PREDICTOR_VALUES = {
    "Predictor": ["0", "1", "2", "3", "10", "12", "15", "16", "-1", "99", "2147483647", "/P", "1.5"],
    "Columns": ["0", "-1", "1", "7", "2147483647", "2147483648", "1000000000", "536870912", "/C"],
    "Colors": ["0", "-1", "1", "3", "32", "33", "2147483647", "65536", "268435456"],
    "BitsPerComponent": ["0", "-1", "1", "3", "8", "16", "17", "64", "2147483647"]}


@family
def predictors():
    chance = random.Random("predictors")
    packed = zlib.compress(bytes(chance.randrange(6) for _ in range(2000)))
    for name in range(150):
        parameters = "".join(f"/{key} {chance.choice(values)}"
                             for key, values in PREDICTOR_VALUES.items())
        use = ["content", "image"][name % 2]
        kind = ["FlateDecode", "LZWDecode"][name % 5 == 0]
        yield f"{name:03}", USES[use](f"/Filter/{kind}/DecodeParms<<{parameters}>>", packed)

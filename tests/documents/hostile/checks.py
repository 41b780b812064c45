"""What has to be true of every result, whatever it was made from."""

import re
import struct
import zlib

DECODED_ONE_OF = 8  # to decode them all would take longer than to make them


class Broken(Exception):
    """A promise that was not kept."""


def require(condition, *what):
    if not condition:
        raise Broken(" ".join(str(part) for part in what))


def check_picture(content, number):
    require(content[:8] == b"\x89PNG\r\n\x1a\n", "no PNG")
    place, data, kind = 8, [], b""
    while place < len(content):
        size, kind = struct.unpack_from(">I4s", content, place)
        chunk = content[place + 4:place + 8 + size]
        require(len(chunk) == size + 4, "a PNG that is cut off")
        require(content[place + 8 + size:place + 12 + size] == struct.pack(">I", zlib.crc32(chunk)),
                "a PNG whose checksum is wrong")
        data += [chunk[4:]] if kind == b"IDAT" else []
        place += size + 12
    require(kind == b"IEND", "a PNG without an end")
    if number % DECODED_ONE_OF == 0:
        check_pixels(struct.unpack_from(">IIBB", content, 16), b"".join(data))


def check_pixels(header, data):
    width, height, depth, colour = header
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
    row = (width * channels * depth + 7) // 8 + 1
    require(len(zlib.decompress(data)) == row * height, "a PNG of fewer pixels than it says")


def check_text(content, _):
    require(content.endswith(b"\f"), "a text whose last page has no end")
    content.decode("utf-8")


def check_pdf(content, _):
    require(content.startswith(b"%PDF-"), "no PDF")
    require(re.search(rb"startxref\s+\d+\s+%%EOF\s*$", content), "a PDF without an end")


CHECKS = {"png": check_picture, "txt": check_text, "pdf": check_pdf}


def check_file(path, number):
    with open(path, "rb") as file:
        content = file.read()
    require(content, path, "has no bytes")
    try:
        CHECKS[path.rsplit(".", 1)[1]](content, number)
    except (Broken, UnicodeDecodeError, zlib.error) as error:
        raise Broken(f"{path}: {error}") from error

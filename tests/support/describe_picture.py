"""Prints what a reader of its own says of a picture: pages, and of each size, mode and packing."""

import sys

from PIL import Image, ImageSequence

with Image.open(sys.argv[1]) as picture:
    pages = []
    for page in ImageSequence.Iterator(picture):
        page.load()
        packed = page.info.get("compression")
        dots = page.info.get("dpi")
        pages.append(
            f"{page.width}x{page.height} {page.mode}"
            + (f" {packed}" if packed else "")
            + (f" at {float(dots[0]):.0f} dpi" if dots else "")
        )
print(f"{len(pages)} page{'s' if len(pages) > 1 else ''}: {', '.join(pages)}")

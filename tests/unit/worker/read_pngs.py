"""Writes the pixels of each PNG named beside it, as red, green and blue."""

import sys

from PIL import Image

for path in sys.argv[1:]:
    with Image.open(path) as picture, open(path + ".rgb", "wb") as pixels:
        pixels.write(picture.convert("RGB").tobytes())

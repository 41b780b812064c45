"""Whether two pictures show the same, whatever the engines that have drawn them."""

import numpy
from PIL import Image

BLOCK = 8  # pixels
NEARBY = (-1, 0, 1)  # pixels that an edge may lie aside
TOLERANCE = 32  # of 255, of a block's mean colour
FEW = 1  # block


def load(path):
    with Image.open(path) as picture:
        return numpy.asarray(picture.convert("RGB"), dtype=float)


def agree(one, other):
    return has_size_of(one, other) and (differences(one, other) > TOLERANCE).sum() <= FEW


def has_size_of(one, other):
    """Sizes are rounded in other ways."""
    return all(abs(a - b) <= 1 for a, b in zip(one.shape, other.shape))


def differences(one, other):
    """Of each block, from what is nearest to it in the other picture."""
    one, other = cropped(one, other)
    own = blocks(one)
    others = [blocks(moved(other, down, right)) for down in NEARBY for right in NEARBY]
    return numpy.min([numpy.abs(own - near).max(axis=2) for near in others], axis=0)


def cropped(one, other):
    height, width = (min(sides) for sides in zip(one.shape[:2], other.shape[:2]))
    return one[:height, :width], other[:height, :width]


def blocks(picture):
    """The mean colour of each; those at the right and lower edges are what is left for them."""
    height, width = picture.shape[:2]
    picture = numpy.pad(picture, ((0, -height % BLOCK), (0, -width % BLOCK), (0, 0)), "edge")
    rows, columns = (side // BLOCK for side in picture.shape[:2])
    return picture.reshape(rows, BLOCK, columns, BLOCK, 3).mean(axis=(1, 3))


def moved(picture, down, right):
    around = numpy.pad(picture, ((1, 1), (1, 1), (0, 0)), "edge")
    return numpy.roll(around, (down, right), (0, 1))[1:-1, 1:-1]


def difference_picture(one, other):
    """Black where both are the same."""
    one, other = cropped(one, other)
    return Image.fromarray(numpy.abs(one - other).astype(numpy.uint8))

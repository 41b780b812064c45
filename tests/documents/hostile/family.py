"""The register of the corpus's families: each a function that yields names and files' bytes."""

FAMILIES = {}

# Whole numbers that a reader may take for a size, a place or a count.
NUMBERS = ["0", "-1", "1", "32767", "65536", "-2147483648", "2147483647", "2147483648",
           "4294967295", "4294967297", "9223372036854775807", "9223372036854775808",
           "-9223372036854775809", "9" * 40]

# What stands where a number should.
ODD_VALUES = ["3.7", "/Name", "(text)", "null", "true", "[1]", "<</A 1>>", "999 0 R", "1 0 R", ""]


def family(function):
    FAMILIES[function.__name__.replace("_", "-")] = function
    return function


def numbered(variants):
    """Names for variants that need none to tell them apart."""
    return ((f"{number:03}", variant) for number, variant in enumerate(variants))

"""Makes documents that are damaged, lie, loop or explode: FOLDER [FAMILY...]

They are the same each time. Each file's name begins with that of its family; those of the family
"sound" are in order, so that a test that converts nothing is noticed.
"""

import os
import sys

import ciphers  # noqa: F401: each module registers its families
import content  # noqa: F401
import damage  # noqa: F401
import filters  # noqa: F401
import fonts  # noqa: F401
import names  # noqa: F401
import pictures  # noqa: F401
import structure  # noqa: F401
from family import FAMILIES


def write_family(folder, name):
    count = 0
    for file, content in FAMILIES[name]():
        path = os.path.join(os.fsencode(folder), os.fsencode(name + "-") + os.fsencode(file) + b".pdf")
        with open(path, "xb") as output:
            output.write(content)
        count += 1
    return count


def main():
    folder, *families = sys.argv[1:] or sys.exit(__doc__)
    os.makedirs(folder, exist_ok=True)
    count = sum(write_family(folder, name) for name in families or FAMILIES)
    print(f"{count} documents in {folder}")


if __name__ == "__main__":
    main()

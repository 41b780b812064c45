"""Documents that others made, out of packages of Debian, fixed by their checksums."""

import dataclasses
import hashlib
import pathlib

from measure.packages import plain, unpack

LIST = pathlib.Path(__file__).with_name("real-documents.txt")
# Of these no choice of ours was made by what they take.
KEPT_OUT = {"asymptote-doc", "simh", "smlnj-doc", "therion-doc"}


@dataclasses.dataclass(frozen=True)
class Document:
    package: str
    path: pathlib.Path

    @property
    def is_kept_out(self):
        return self.package in KEPT_OUT


def checked(package, name, checksum, folder):
    """The document's bytes; None where it is not there as it was chosen."""
    root = unpack(package, folder)
    try:
        content = plain(root / name) if root else b""
    except OSError:
        return None
    return content if hashlib.sha256(content).hexdigest() == checksum else None


def documents(folder):
    """Those that can be had as they are listed, put into the folder."""
    folder.mkdir(parents=True, exist_ok=True)
    for line in LIST.read_text().splitlines():
        checksum, package, name = line.split()
        content = checked(package, name, checksum, folder)
        if content is None:
            print(f"  left out: {name} of {package}, which is not there as it was chosen")
            continue
        path = folder / f"{package}-{pathlib.Path(name).name}"
        path.write_bytes(content)
        yield Document(package, path)

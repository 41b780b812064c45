"""Files of packages of Debian, which are downloaded and not installed."""

import gzip
import subprocess


def unpack(package, folder):
    """The folder of the package's files; None where the archive does not have it."""
    root = folder / package
    if not root.exists():
        subprocess.run(["apt-get", "download", "-qq", package], cwd=folder, check=False,
                       stderr=subprocess.DEVNULL)
        found = sorted(folder.glob(f"{package}_*.deb"))
        if not found:
            return None
        subprocess.run(["dpkg-deb", "-x", found[0], root], check=True)
    return root


def plain(path):
    """The file, or what its compressed form holds."""
    packed = path.with_name(path.name + ".gz")
    return gzip.decompress(packed.read_bytes()) if packed.exists() else path.read_bytes()

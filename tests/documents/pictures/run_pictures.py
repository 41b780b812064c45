"""Compares pdfconvert's pictures with those of two other renderers: PDFCONVERT KEPT [DOCUMENT...]

Each document is made here and is one page. Its picture has to agree with that of pdftoppm or of
mutool; where the engine is known not to, it has to differ still. Of those that break this, the three
pictures and one of the differences are left in the folder KEPT, beside the document.
"""

import concurrent.futures
import math
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import boxes  # noqa: F401: each module registers its documents
import colours  # noqa: F401
import graphics  # noqa: F401
import images  # noqa: F401
import interaction  # noqa: F401
import texts
from comparison import agree, difference_picture, load
from drawings import DOCUMENTS
from known import KNOWN_DIFFERENCES

RESOLUTION = 100
PEERS = {"pdftoppm": ["pdftoppm", "-cropbox", "-r", str(RESOLUTION), "-png", "-singlefile", "{pdf}", "{stem}"],
         "mutool": ["mutool", "draw", "-q", "-r", str(RESOLUTION), "-o", "{stem}.png", "{pdf}"]}
TIMEOUT = 60  # seconds, for what takes a tenth of one
THREE_MILLIMETRES = round(3 / 25.4 * RESOLUTION)


def run(arguments):
    done = subprocess.run(arguments, stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{arguments[0]} ends with {done.returncode}: {done.stderr.decode(errors='replace')}")


def draw(program, name, content, folder):
    """The document's picture by each renderer, by the renderer's name."""
    pdf = folder / f"{name}.pdf"
    pdf.write_bytes(content)
    commands = {"pdfconvert": [program, "-f", "png", "-r", str(RESOLUTION), "-o", "{stem}.png", "{pdf}"], **PEERS}
    pictures = {}
    for renderer, command in commands.items():
        stem = folder / f"{name}-{renderer}"
        run([part.format(pdf=pdf, stem=stem) for part in command])
        pictures[renderer] = load(f"{stem}.png")
    return pictures


def judge(name, pictures):
    """What is wrong, or None."""
    ours = pictures["pdfconvert"]
    same = [peer for peer in PEERS if agree(ours, pictures[peer])]
    if name in KNOWN_DIFFERENCES:
        return f"agrees with {' and '.join(same)}, so it is not true that {KNOWN_DIFFERENCES[name]}" if same else None
    if same:
        return None
    peers = "as they do with" if agree(*(pictures[peer] for peer in PEERS)) else "though neither do they with"
    return f"agrees with neither {' nor '.join(PEERS)}, {peers} each other"


def check(program, name, kept):
    """What is wrong about a document, or None; only then are its pictures kept."""
    with tempfile.TemporaryDirectory(prefix="pictures-") as folder:
        folder = pathlib.Path(folder)
        try:
            pictures = draw(program, name, DOCUMENTS[name](), folder)
            wrong = judge(name, pictures)
        except (RuntimeError, subprocess.TimeoutExpired) as error:
            pictures, wrong = {}, str(error)
        if wrong is None:
            return None
        for peer in PEERS if pictures else []:
            difference_picture(pictures["pdfconvert"], pictures[peer]).save(folder / f"{name}-not-{peer}.png")
        shutil.copytree(folder, kept, dirs_exist_ok=True)
    return f"{name}: {wrong}; see {kept}/{name}-*.png"


def check_size(program):
    """Of the picture itself, which comparisons tolerate to be a pixel off."""
    with tempfile.TemporaryDirectory(prefix="pictures-") as folder:
        ours = draw(program, "fractions", DOCUMENTS["media-box-of-fractions"](), pathlib.Path(folder))["pdfconvert"]
    width, height = (math.ceil(points * RESOLUTION / 72) for points in boxes.FRACTIONS)
    return None if ours.shape[:2] == (height, width) else f"the picture's size is {ours.shape[:2]}"


def overlooked(program):
    """Changes that the comparison would not notice, which must be none."""
    with tempfile.TemporaryDirectory(prefix="pictures-") as folder:
        whole = draw(program, "whole", texts.truetype_page(), pathlib.Path(folder))
        lacking = draw(program, "lacking", texts.truetype_page(lazy="laz "), pathlib.Path(folder))
        coloured = draw(program, "coloured", DOCUMENTS["crop-box"](), pathlib.Path(folder))
    text, colour = whole["pdfconvert"], coloured["pdfconvert"]
    changed = {"a missing letter": (lacking["pdfconvert"], whole)}
    for name, picture, peers in [("text", text, whole), ("drawing", colour, coloured)]:
        changed[f"a shifted {name}"] = (shifted(picture), peers)
        changed[f"a mirrored {name}"] = (picture[:, ::-1], peers)
        changed[f"a negative {name}"] = (255 - picture, peers)
        changed[f"a smaller {name}"] = (picture[:-2], peers)
    changed["exchanged colours"] = (colour[:, :, ::-1], coloured)
    return [change for change, (picture, peers) in changed.items()
            if any(agree(picture, peers[peer]) for peer in PEERS)]


def shifted(picture):
    result = picture.copy()
    result[:, THREE_MILLIMETRES:] = picture[:, :-THREE_MILLIMETRES]
    return result


def main():
    program, kept, *names = sys.argv[1:] if len(sys.argv) > 2 else sys.exit(__doc__)
    shutil.rmtree(kept, ignore_errors=True)
    names = names or list(DOCUMENTS)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = list(pool.map(lambda name: check(program, name, pathlib.Path(kept)), names))
    found += [f"{change} is not noticed" for change in overlooked(program)] + [check_size(program)]
    found += [f"{name} is a known difference, but no document" for name in KNOWN_DIFFERENCES if name not in DOCUMENTS]
    wrong = [what for what in found if what is not None]
    print(f"{len(names)} documents, {len(KNOWN_DIFFERENCES)} of them known to differ; {len(wrong)} wrong")
    sys.exit("\n".join(wrong) if wrong else None)


if __name__ == "__main__":
    main()

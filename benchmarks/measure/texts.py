"""Texts of documents that others made, beside the texts that their authors made of the same sources."""

import hashlib
import pathlib
import re
import statistics
import subprocess
import time
import unicodedata

from measure.packages import plain, unpack

DOC = "usr/share/doc"
GUIDE = "cs de en fr it ja ko pt ru sv vi zh_CN".split()
HISTORY = "de en es fr it ja lt pt ru".split()
FURTHER = "ca da es id nl ro".split()
XORG = ("License README ReleaseNotes Versions Xserver/XACE-Spec Xserver/analysis Xserver/appgroup Xserver/secint "
        "ctext/ctext fonts/fonts graphics/dps icccm/icccm input/XKB-Config input/XKB-Enhancing xext/lbxalg "
        "xlfd/xlfd").split()
# Documents that no threshold of ours was chosen by.
KEPT_OUT = ([f"install.{language}" for language in FURTHER] +
            [f"maint-guide.{language}" for language in ("de", "fr", "ja")] +
            [f"debian-faq.{language}" for language in ("de", "fr", "it")] +
            ["project-history.es", "project-history.lt", "developers-reference"] +
            sorted({document.rpartition("/")[2] for document in XORG} - {"License", "appgroup"}))
ENCODINGS = {"ru": "koi8-r", "ja": "euc-jp", "zh_CN": "gb2312", "ko": "euc-kr", "cs": "iso8859-2",
             "ro": "iso8859-16", "lt": "iso8859-13"}
# A word of its own each: no spaces are between them.
IDEOGRAPH = re.compile("([\u2e80-\u9fff\uf900-\ufaff\uff00-\uffef])")


def sources():
    """Package, PDF and text of each document, without the suffixes."""
    yield from (("installation-guide-amd64", f"installation-guide-amd64/{language}/install.{language}")
                for language in GUIDE + FURTHER)
    yield from (("debian-history", f"debian-history/docs/project-history.{language}") for language in HISTORY)
    yield "maint-guide", "maint-guide/maint-guide.en"
    yield "debian-faq", "debian/FAQ/debian-faq.en"
    yield from ((f"maint-guide-{language}", f"maint-guide-{language}/maint-guide.{language}")
                for language in ("de", "fr", "ja"))
    yield from ((f"debian-faq-{language}", f"debian/FAQ/debian-faq.{language}") for language in ("de", "fr", "it"))
    yield from (("xorg-docs", f"xorg-docs/{document}") for document in XORG)
    yield "developers-reference", "../developers-reference/developers-reference"


def decoded(raw, language):
    for encoding in ["utf-8", ENCODINGS.get(language), "iso8859-15"]:
        try:
            if encoding:
                return raw.decode(encoding)
        except UnicodeDecodeError:
            continue
    raise ValueError(f"no encoding fits a text in {language}")


def documents(folder):
    """Name, PDF and the author's text of each document that can be had."""
    for package, stem in sources():
        root = unpack(package, folder)
        if root is None:
            print(f"  left out: {stem}, as {package} cannot be downloaded")
            continue
        source = root / DOC / stem
        pdf = folder / (source.name + ".pdf")
        pdf.write_bytes(plain(source.with_name(source.name + ".pdf")))
        text = plain(source.with_name(source.name + ".txt"))
        yield source.name, pdf, decoded(text, source.name.rsplit(".", 1)[-1])


def words(text):
    return IDEOGRAPH.sub(r" \1 ", unicodedata.normalize("NFKC", text)).split()


def distance(one, other):
    """Words to put in, take out and replace, by Myers' bit vectors in the form of Hyyrö (2003)."""
    if not one or not other:
        return max(len(one), len(other))
    places = {}
    for place, word in enumerate(one):
        places[word] = places.get(word, 0) | 1 << place
    mask = (1 << len(one)) - 1
    last = 1 << (len(one) - 1)
    up, down, score = mask, 0, len(one)
    for word in other:
        equal = places.get(word, 0)
        vertical = equal | down
        horizontal = (((equal & up) + up) ^ up) | equal
        right = down | (~(horizontal | up) & mask)
        left = up & horizontal
        score += (right & last > 0) - (left & last > 0)
        right = ((right << 1) | 1) & mask
        left = (left << 1) & mask
        up = left | (~(vertical | right) & mask)
        down = right & vertical
    return score


def score(text, author):
    """1 where all words are the author's in his order, 0 where none is."""
    ours, theirs = words(text), words(author)
    return 1 - distance(ours, theirs) / max(len(ours), len(theirs), 1)


def programs(pdfconvert):
    return {"pdfconvert": lambda pdf: [pdfconvert, "-q", "-j", "2", "-f", "txt", "-o", "-", pdf],
            "pdftotext": lambda pdf: ["pdftotext", pdf, "-"],
            "pdftotext -layout": lambda pdf: ["pdftotext", "-layout", pdf, "-"],
            "mutool": lambda pdf: ["mutool", "draw", "-q", "-F", "text", "-o", "-", pdf]}


def measure_one(pdf, author, commands, rounds):
    """Score and seconds by program; rounds go in turns, and the median counts."""
    seconds = {name: [] for name in commands}
    scores = {}
    for _ in range(rounds):
        for name, command in commands.items():
            begin = time.perf_counter()
            done = subprocess.run(command(pdf), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                  check=False)
            seconds[name].append(time.perf_counter() - begin)
            if name not in scores:
                scores[name] = score(done.stdout.decode("utf-8", "replace"), author)
    return {name: {"score": scores[name], "seconds": statistics.median(seconds[name])}
            for name in commands}


def print_one(name, figures):
    best = max(figure["score"] for figure in figures.values())
    behind = best - figures["pdfconvert"]["score"]
    verdict = "best" if behind <= 0 else "within 1 %" if behind <= 0.01 else "WORSE"
    cells = "  ".join(f"{figure['score']:.4f} {figure['seconds']:6.2f} s" for figure in figures.values())
    print(f"  {name:22}{cells}  {verdict}{', kept out of tuning' if name in KEPT_OUT else ''}", flush=True)


def print_together(title, all_figures):
    if not all_figures:
        return
    ours = [figures["pdfconvert"] for figures in all_figures]
    best = sum(figures["pdfconvert"]["score"] >= max(one["score"] for one in figures.values())
               for figures in all_figures)
    print(f"{title}: best of all in {best} of {len(ours)}")
    for peer in list(all_figures[0])[1:]:
        ratios = [figures[peer]["seconds"] / figures["pdfconvert"]["seconds"] for figures in all_figures]
        print(f"  {statistics.geometric_mean(ratios):.2f} times as quick as {peer}, from {min(ratios):.2f}")


def measure(pdfconvert, folder, rounds, wanted=()):
    """Prints and answers scores and seconds of all documents, or of those that are named."""
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    commands = programs(pdfconvert)
    print("Texts beside their authors' own: score and seconds of " + ", ".join(commands))
    kept = {}
    for name, pdf, author in documents(folder):
        if wanted and name not in wanted:
            continue
        kept[name] = measure_one(pdf, author, commands, rounds)
        kept[name]["pdfconvert"]["sha256"] = hashlib.sha256(pdf.read_bytes()).hexdigest()
        print_one(name, kept[name])
    print_together("Those that were looked at", [kept[name] for name in kept if name not in KEPT_OUT])
    print_together("Those kept out of tuning", [kept[name] for name in kept if name in KEPT_OUT])
    return kept

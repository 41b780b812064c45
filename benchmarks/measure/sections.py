"""What is measured: each section answers its goals, and what is kept of its figures."""

import base64
import dataclasses
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile

from measure import documents
from measure.documents import PASSWORD
from measure.programs import Command, median, peaks, take_turns
from measure.report import Goal


@dataclasses.dataclass(frozen=True)
class Bench:
    programs: pathlib.Path  # where pdfconvert and the benchmarks were built
    folder: pathlib.Path  # in memory
    rounds: int

    @property
    def page_of_text(self):
        return self.folder / "corpus/text-1.pdf"

    def pdfconvert(self, *arguments, password=True):
        secret = ["--password-file", self.folder / "password"] if password else []
        # Documents that others made may be damaged, which is a warning.
        return Command([self.programs / "bin/pdfconvert", "-q", "--warning-exit-0", *secret,
                        *arguments])


def page_count(document):
    lines = subprocess.run(["pdfinfo", "-upw", PASSWORD, document], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Pages:"))


# Pages as PNG

TWO, ONE, QT, POPPLER, MUPDF, TWO_MUPDF = ("pdfconvert -j 2", "pdfconvert -j 1", "-j 2, by Qt PDF",
                                           "pdftoppm", "mutool draw", "2 x mutool draw")


def split_ranges(pages):
    middle = (pages + 1) // 2
    return [f"1-{middle}"] + ([f"{middle + 1}-{pages}"] if pages > middle else [])


def converters(bench, document, pages):
    """What makes the pages as PNG at 150 dots per inch: name -> commands that run side by side."""
    ours = [document, "-o", "p-%d.png", "-j"]
    poppler = ["pdftoppm", "-cropbox", "-png", "-r", "150", "-upw", PASSWORD, document, "p"]
    mutool = ["mutool", "draw", "-q", "-r", "150", "-p", PASSWORD, "-o", "p-%d.png", document]
    return {TWO: [bench.pdfconvert(*ours, "2")], ONE: [bench.pdfconvert(*ours, "1")],
            QT: [bench.pdfconvert(*ours, "2", "--engine", "qt")],
            POPPLER: [Command(poppler)], MUPDF: [Command(mutool)],
            TWO_MUPDF: [Command(mutool + [half]) for half in split_ranges(pages)]}


def measure_document(bench, document):
    pages = page_count(document)
    # Long ones vary little, and those before them were warm-up enough for one that takes minutes.
    is_long = pages >= 100
    runs = take_turns(converters(bench, document, pages), 1 if is_long else bench.rounds,
                      bench.folder, not is_long)
    for name, of_name in runs.items():
        if any(one.files != pages for one in of_name):
            raise RuntimeError(f"{name} did not make {pages} files of {document.name}")
    return {"document": document.name, "pages": pages,
            "bytes": {name: of_name[0].size for name, of_name in runs.items()},
            "seconds": {name: median(of_name, "seconds") for name, of_name in runs.items()},
            "processor": {name: median(of_name, "processor") for name, of_name in runs.items()}}


def ratios(rows, peer, ours, what="seconds"):
    return [row[what][peer] / row[what][ours] for row in rows]


def mean_ratio(rows, peer, ours, what="seconds"):
    return statistics.geometric_mean(ratios(rows, peer, ours, what))


def print_pages(rows):
    print(f"\n{'Pages as PNG, 150 dpi':22}{'pages':>6} " +
          "".join(f"{name:>17}" for name in rows[0]["seconds"]))
    for row in rows:
        print(f"{row['document']:22}{row['pages']:>6} " +
              "".join(f"{seconds * 1000:>14.0f} ms" for seconds in row["seconds"].values()))


def page_goals(rows):
    def mean(what, ours, peer, goal, beyond=None):
        return Goal(what, mean_ratio(rows, peer, ours), goal, beyond,
                    processor=mean_ratio(rows, peer, ours, "processor"))
    long_text = [row for row in rows if row["pages"] >= 14 and "text" in row["document"]]
    goals = [mean("2 workers than pdftoppm, geometric mean", TWO, POPPLER, 15, 20),
             Goal("2 workers than pdftoppm, the least of all documents",
                  min(ratios(rows, POPPLER, TWO)), 4),
             mean("2 workers than mutool draw, geometric mean", TWO, MUPDF, 3.5),
             mean("2 workers than 2 mutool draw, geometric mean", TWO, TWO_MUPDF, None, 2.3),
             mean("1 worker than pdftoppm, geometric mean", ONE, POPPLER, 10),
             mean("1 worker than mutool draw, geometric mean", ONE, MUPDF, 2)]
    if long_text:
        goals.append(Goal("2 workers than 1, the least of long texts",
                          min(ratios(long_text, ONE, TWO)), 1.7))
    return goals + [Goal("bytes, of pdftoppm's, geometric mean",
                         1 / mean_ratio(rows, POPPLER, TWO, "bytes"), 1, at_most=True),
                    Goal("bytes, of pdftoppm's, the most of all documents",
                         max(ratios(rows, TWO, POPPLER, "bytes")))]


def real_goals(rows):
    """Of documents that others made."""
    def mean(what, ours, peer, goal):
        return Goal(what, mean_ratio(rows, peer, ours), goal,
                    processor=mean_ratio(rows, peer, ours, "processor"))

    def least(what, some, peer, ours, goal):
        return [Goal(what, min(ratios(some, peer, ours)), goal)] if some else []
    sizes = ratios(rows, TWO, POPPLER, "bytes")
    return [mean("2 workers than pdftoppm, geometric mean", TWO, POPPLER, 25),
            mean("2 workers than mutool draw, geometric mean", TWO, MUPDF, 5),
            mean("2 workers than 2 mutool draw, geometric mean", TWO, TWO_MUPDF, 2.6),
            mean("1 worker than pdftoppm, geometric mean", ONE, POPPLER, 16),
            mean("2 workers with Qt PDF than pdftoppm, geometric mean", QT, POPPLER, 20),
            mean("2 workers with Qt PDF than mutool draw, geometric mean", QT, MUPDF, 4),
            mean("2 workers with Qt PDF than 2 mutool draw, geometric mean", QT, TWO_MUPDF, 2.2),
            *least("2 workers than 2 mutool draw, the least from 2 pages on",
                   [row for row in rows if row["pages"] >= 2], TWO_MUPDF, TWO, 1.2),
            *least("2 workers than 1, the least from 10 pages on",
                   [row for row in rows if row["pages"] >= 10], ONE, TWO, 1.8),
            Goal("bytes, of pdftoppm's, geometric mean", statistics.geometric_mean(sizes), 1,
                 at_most=True),
            Goal("bytes, of pdftoppm's, the most of all documents", max(sizes), 1.3, at_most=True)]


def measure_real(bench, corpus):
    """Pages of documents out of packages, those kept out of all choices by themselves."""
    rows = [dict(measure_document(bench, document.path), kept=document.is_kept_out)
            for document in corpus]
    print_pages(rows)
    return [(title, real_goals(some), some) for title, some in
            (("Documents that others made", [row for row in rows if not row["kept"]]),
             ("Those of packages kept out of all choices", [row for row in rows if row["kept"]]))
            if some]


# Many small documents

def first_pages(bench, corpus, count):
    """A page each of the documents that others made, again and again; a list of the files."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="small-", dir=bench.folder))
    pages = []
    for number, document in enumerate(corpus):
        page = folder / f"page-{number}"
        done = subprocess.run(["qpdf", "--warning-exit-0", document.path, "--pages", ".", "1", "--",
                               page], check=False, stderr=subprocess.DEVNULL)
        pages += [page] if done.returncode == 0 else []
    names = [folder / f"{number}.pdf" for number in range(count)]
    for number, name in enumerate(names):
        shutil.copy(pages[number % len(pages)], name)
    listed = bench.folder / "small"
    listed.write_bytes(b"".join(os.fsencode(name) + b"\0" for name in names))
    return folder, listed


def measure_small(bench, corpus, count=500):
    folder, names = first_pages(bench, corpus, count)
    ours = ["--from-list", names, "-0", "-d", ".", "-j", "2", "-f"]
    kinds = {"PNG": ("mutool draw", 4, {
                COMMAND: [bench.pdfconvert(*ours, "png", "-o", "%s.png", password=False)],
                "mutool draw": one_by_one(names, 'exec mutool draw -q -r 150 -o "${1##*/}.png" "$1"')}),
             "text": ("pdftotext", 1.5, {
                COMMAND: [bench.pdfconvert(*ours, "txt", password=False)],
                "pdftotext": one_by_one(names, 'exec pdftotext "$1" "${1##*/}.txt"')})}
    goals, kept = [], {}
    for kind, (peer, goal, programs) in kinds.items():
        runs = take_turns(programs, min(bench.rounds, 3), bench.folder)
        if any(one.files != count for of_name in runs.values() for one in of_name):
            raise RuntimeError(f"not every program made {count} files of {kind}")
        kept[kind] = {name: {what: median(of_name, what) for what in ("seconds", "processor")}
                      for name, of_name in runs.items()}
        of_kind = {what: kept[kind][peer][what] / kept[kind][COMMAND][what]
                   for what in ("seconds", "processor")}
        goals.append(Goal(f"{kind}, than {peer} two at a time", of_kind["seconds"], goal,
                          processor=of_kind["processor"]))
        goals.append(Goal(f"{kind}, processor time of a document",
                          kept[kind][COMMAND]["processor"] / count * 1000, unit="ms"))
    shutil.rmtree(folder)
    return goals, kept


def measure_pages(bench, corpus):
    rows = [measure_document(bench, document.resolve()) for document in corpus]
    print_pages(rows)
    return page_goals(rows), rows


# Memory

def measure_memory(bench, corpus):
    huge = bench.folder / "huge.pdf"
    documents.write(huge, 1, documents.ruled_page(), documents.A1)

    def peak(document):
        command = bench.pdfconvert(document.resolve(), "-o", "p-%d.png", "-j", "2")
        return peaks(command, bench.folder).largest
    of_documents = {document.name: peak(document) for document in corpus}
    largest = max(of_documents, key=of_documents.get)
    goals = [Goal(f"a worker at most ({largest})", of_documents[largest], 80, unit="MB",
                  at_most=True),
             Goal("a worker that draws one page of A1", peak(huge), 150, unit="MB", at_most=True)]
    return goals, of_documents


# Copies without encryption

COMMAND, WORKER, QPDF = "pdfconvert", "worker", "qpdf --decrypt"


def worker_requests(bench, document):
    """What makes the worker save a copy, in the folder where it runs."""
    target = bench.folder / "copy.pdf"
    target.unlink(missing_ok=True)
    password = base64.b64encode(PASSWORD.encode()).decode()
    requests = bench.folder / "requests"
    requests.write_text("".join(json.dumps(request) + "\n" for request in (
        {"id": 1, "op": "open", "document": 1, "file": str(document), "password": password},
        {"id": 2, "op": "save", "document": 1, "file": str(target)})))
    return requests


def copiers(bench, document):
    """The worker is told where its copy goes before a run has its folder, so that it is moved there."""
    worker = Command(["sh", "-c", 'python3 "$4" "$1" --folder "$2" < "$3" && mv "$2/copy.pdf" .', "sh",
                      bench.programs / "bin/pdfconvert-worker", bench.folder,
                      worker_requests(bench, document),
                      pathlib.Path(__file__).with_name("ask_worker.py")])
    return {COMMAND: [bench.pdfconvert(document, "-o", "copy.pdf")], WORKER: [worker],
            QPDF: [Command(["qpdf", f"--password={PASSWORD}", "--decrypt", document, "copy.pdf"])]}


def measure_copies(bench):
    sources = {"60,000 objects": (20000, 7800, 1.35, None), "big streams": (50, 3950000, 1, 2.3)}
    goals, times = [], {}
    for kind, (pages, size, goal, beyond) in sources.items():
        plain, encrypted = bench.folder / "plain.pdf", bench.folder / "encrypted.pdf"
        documents.write(plain, pages, documents.deflated(size))
        for encryption in (None, *documents.ENCRYPTIONS):
            if encryption:
                documents.encrypt(plain, encrypted, encryption)
            document = encrypted if encryption else plain
            runs = take_turns(copiers(bench, document), min(bench.rounds, 2), bench.folder)
            if any(one.files != 1 for of_name in runs.values() for one in of_name):
                raise RuntimeError(f"not every program made one copy of {kind}")
            what = f"{kind}, {encryption or 'not encrypted'}, {document.stat().st_size >> 20} MB"
            times[what] = {name: {kept: median(of_name, kept) for kept in ("seconds", "processor")}
                           for name, of_name in runs.items()}
            for name in (WORKER, COMMAND):
                of_name = {kept: times[what][QPDF][kept] / times[what][name][kept]
                           for kept in ("seconds", "processor")}
                goals.append(Goal(f"{name}, {what}", of_name["seconds"],
                                  goal if name == WORKER else None,
                                  beyond if name == WORKER and encryption == "AES-256" else None,
                                  processor=of_name["processor"]))
        plain.unlink()
        encrypted.unlink()
    return goals, times


# Start-up

def measure_start(bench):
    runs = take_turns(converters(bench, bench.page_of_text, 1), max(20, bench.rounds), bench.folder)
    times = {name: median(of_name, "seconds") * 1000 for name, of_name in runs.items()}
    return [Goal("one page of text, the whole command", times[TWO], 30, 25, "ms", at_most=True,
                 processor=median(runs[TWO], "processor") * 1000)] + \
           [Goal(f"the same by {name}", times[name], unit="ms") for name in (POPPLER, MUPDF)], times


# Many documents

def make_batch(bench, count, encrypted_count):
    """So many documents of a page each, in a folder; answers it, and a list of its files."""
    secret = bench.folder / "secret.pdf"
    documents.encrypt(bench.page_of_text, secret, "AES-256")
    folder = pathlib.Path(tempfile.mkdtemp(prefix="batch-", dir=bench.folder))
    for number in range(count):
        shutil.copy(secret if number < encrypted_count else bench.page_of_text,
                    folder / f"{number}.pdf")
    names = bench.folder / "names"
    names.write_bytes(b"".join(os.fsencode(file) + b"\0" for file in folder.iterdir()))
    return folder, names


def one_by_one(names, program):
    return [Command(["xargs", "-0", "-P", "2", "-n", "1", "sh", "-c", program, "sh"], names)]


def measure_batch(bench, count=400):
    folder, names = make_batch(bench, count, count // 2)
    programs = {
        COMMAND: [bench.pdfconvert("--from-list", names, "-0", "-d", ".", "-j", "2")],
        POPPLER: one_by_one(names, f'exec pdftoppm -cropbox -png -r 150 -upw {PASSWORD} "$1" '
                                   '"${1##*/}"'),
        MUPDF: one_by_one(names, f'exec mutool draw -q -r 150 -p {PASSWORD} -o "${{1##*/}}.png" '
                                 '"$1"')}
    # So many documents are their own warm-up.
    runs = take_turns(programs, 1, bench.folder, warm_up=False)
    shutil.rmtree(folder)
    for name, of_name in runs.items():
        if any(one.files != count for one in of_name):
            raise RuntimeError(f"{name} did not make {count} files")
    rates = {name: count / median(of_name, "seconds") for name, of_name in runs.items()}
    return [Goal(f"{name}, documents a second", rate, unit="/s") for name, rate in rates.items()], \
        rates


# Growth

def grown(title, bench, sizes, command_for):
    """How much more a unit takes in the largest run than in the smallest, and the command itself."""
    of_sizes = {}
    for size in sizes:
        command = command_for(size)
        runs = [peaks(command, bench.folder, 0.05) for _ in range(3 if size < 1000 else 1)]
        of_sizes[size] = {"milliseconds": median(runs, "seconds") / size * 1000,
                          "megabytes": max(one.command for one in runs)}
    least, most = of_sizes[sizes[0]], of_sizes[sizes[-1]]
    goals = [Goal(f"{title}: time for each of {size:,}", of_size["milliseconds"], unit="ms")
             for size, of_size in of_sizes.items()]
    goals.append(Goal(f"{title}: of {sizes[-1]:,} than of {sizes[0]:,}",
                      most["milliseconds"] / least["milliseconds"], 1.3, at_most=True))
    goals.append(Goal(f"{title}: the command's memory, of {sizes[-1]:,} than of {sizes[0]:,}",
                      most["megabytes"] / least["megabytes"], 1.3, at_most=True))
    return goals, of_sizes


def measure_growth(bench, sizes):
    def pages_command(pages):
        document = bench.folder / "long.pdf"
        documents.write(document, pages, documents.ruled_page())
        return bench.pdfconvert(document, "-o", "p-%d.png", "-j", "2", password=False)

    def batch_command(count):
        folder, names = make_batch(bench, count, 0)
        batches.append(folder)
        return bench.pdfconvert("--from-list", names, "-0", "-d", ".", "-j", "2", password=False)
    batches = []
    pages, of_pages = grown("pages of a document", bench, sizes, pages_command)
    batch, of_batch = grown("documents of a batch", bench, sizes, batch_command)
    for folder in batches:
        shutil.rmtree(folder)
    return pages + batch, {"pages": of_pages, "documents": of_batch}


# Parts

def measure_parts(bench):
    """
    Each part beside its peer, by Google Benchmark: name -> nanoseconds of processor time, or by the
    clock where the work is done by other processes.
    """
    nanoseconds = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    times = {}
    for program in ("RelayBenchmark", "FilesBenchmark", "PictureBenchmark", "ChainBenchmark"):
        output = subprocess.run([bench.programs / "benchmarks" / program,
                                 "--benchmark_format=json"],
                                check=True, capture_output=True, text=True,
                                env=dict(os.environ, XDG_RUNTIME_DIR=str(bench.folder))).stdout
        for result in json.loads(output)["benchmarks"]:
            kind = "real_time" if result["name"].endswith("/real_time") else "cpu_time"
            times[result["name"]] = (1e9 / result["items_per_second"] if "items_per_second" in result
                                     else result[kind] * nanoseconds[result["time_unit"]])
    return goals_of_parts(times), times


def goals_of_parts(times):
    def at_most(what, part, peer, *bounds):
        return Goal(what, times[part] / times[peer], *bounds, at_most=True)

    def as_quick(what, part, peer, *bounds):
        return Goal(what, times[peer] / times[part], *bounds)

    def beyond(what, part, peer, bound):
        return Goal(what, times[part] - times[peer], bound, unit="ns", at_most=True)

    among, alone = "Progress/UnencryptDocWrapper/100000", "Progress/UnencryptDocWrapper/1"
    search = times["FindInMap/100000"] - times["FindInMap/1"]
    return [
        Goal("PNG of a text page of 2.1 megapixels", times["Encoded/Gray"] / 1e6, 6, unit="ms",
             at_most=True),
        at_most("the same, memory copies of it", "Encoded/Gray", "CopyOfMemory", 13, 10),
        at_most("Move in memory, of a bare rename", "MoveWithin/MemoryOurs",
                "MoveWithin/MemoryBareRename", 1.2),
        at_most("Move on a disk, of a bare rename", "MoveWithin/DiskOurs",
                "MoveWithin/DiskBareRename", 1.2),
        as_quick("Move to a disk, 256 MB, as quick as sendfile",
                 "MoveAcross/ToDiskOurs/256/real_time", "MoveAcross/ToDiskSendfile/256/real_time",
                 0.95),
        as_quick("Move to memory, 256 MB, as quick as sendfile",
                 "MoveAcross/ToMemoryOurs/256/real_time",
                 "MoveAcross/ToMemorySendfile/256/real_time", 0.95),
        as_quick("Move to memory, 256 MB, as quick as QFile::rename",
                 "MoveAcross/ToMemoryOurs/256/real_time", "MoveAcross/ToMemoryQt/256/real_time", 1.3),
        at_most("a free number among 100,000, of reading the folder", "FreeNumber/100000/2",
                "ReadFolder/100000", 2, 1.3),
        beyond("progress, TempFileWrapper, beyond no wrapper", "Progress/TempFileWrapper/1",
               "Progress/Bare/0", 35),
        beyond("progress, UnencryptDocWrapper, beyond no wrapper", alone, "Progress/Bare/0", 35),
        beyond("progress, a connection of Qt alone, beyond none", "Progress/PlainRelay/0",
               "Progress/Bare/0", None),
        Goal("a task among 100,000, of the map's own search", (times[among] - times[alone]) / search,
             1.1, at_most=True),
        beyond("Finished, TempFileWrapper, beyond no wrapper", "Finished/TempFileWrapper",
               "FinishedUnknown/Bare", 60),
        beyond("Finished, UnencryptDocWrapper, beyond no wrapper", "Finished/UnencryptDocWrapper",
               "FinishedUnknown/Bare", 60),
        at_most("a chain of wrappers, of the bare converter", "PagesThroughTheChain/real_time",
                "PagesByTheBareConverter/real_time", 1.02)]

"""What pdfconvert costs on many machines: sections measure, print, and answer their figures."""

import collections
import contextlib
import ctypes
import dataclasses
import json
import os
import pathlib
import re
import statistics
import subprocess
import tempfile
import time

from measure.programs import Command, median, take_turns

SHARES = 1000


@dataclasses.dataclass(frozen=True)
class Scale:
    programs: pathlib.Path  # where pdfconvert and the helpers were built
    folder: pathlib.Path  # on the disk that is to be measured
    rounds: int
    lines: int
    files: int

    def pdfconvert(self, *arguments):
        return Command([self.programs / "bin/pdfconvert", "-q", "--progress", "none", *arguments])

    def report(self, *journals):
        return Command([self.programs / "bin/pdfconvert", "report", *journals])

    def helper(self, name, *arguments):
        return Command([self.programs / "benchmarks" / name, *map(str, arguments)])


def table(title, head, rows):
    print(f"\n{title}\n")
    print("|", " | ".join(head), "|")
    print("|", " | ".join("---" for _ in head), "|")
    for row in rows:
        print("|", " | ".join(row), "|", flush=True)


def thousands(value):
    return f"{value:,.0f}"


def megabytes(value):
    return f"{value / 1e6:,.1f} MB"


@dataclasses.dataclass(frozen=True)
class Use:
    """Seconds, those of processors, and the megabytes of the largest process."""
    seconds: float
    processor: float
    megabytes: float

    def cells(self):
        return [f"{self.seconds:.2f} s", f"{self.processor:.2f} s", f"{self.megabytes:.0f} MB"]


def use_of(scale, command, codes=(0,)):
    begin = time.perf_counter()
    process = subprocess.Popen(command.arguments, cwd=scale.folder,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in codes:
        raise RuntimeError(f"{command.arguments} ended with {process.returncode}")
    return Use(time.perf_counter() - begin, usage.ru_utime + usage.ru_stime,
               usage.ru_maxrss / 1024)


# Documents and pages

BATCHES = {1: 200, 10: 30, 100: 3}  # pages of a document -> documents


def make_batch(scale, pages, documents):
    """A list of as many documents, which are links to one, so that the disk is read once."""
    folder = scale.folder / f"batch-{pages}"
    folder.mkdir()
    one = folder / "one.pdf"
    whole = scale.folder / "corpus/text-100.pdf"
    subprocess.run(["qpdf", whole, "--pages", ".", f"1-{pages}", "--", one], check=True)
    paths = [folder / f"document-{number}.pdf" for number in range(documents)]
    for path in paths:
        path.hardlink_to(one)
    batch = folder / "list"
    batch.write_text("".join(f"{path}\n" for path in paths))
    return batch


def ways(scale, batch):
    """name -> arguments; the results of all lie in the folder of the run."""
    def program(*arguments):
        return [scale.pdfconvert("--from-list", batch, "-d", "out", *arguments)]
    return {"planned only": program("--dry-run"),
            "text": program("-f", "txt", "-j", "1"),
            "text, 2 jobs": program("-f", "txt", "-j", "2"),
            "PNG": program("-j", "1"),
            "PNG, 2 jobs": program("-j", "2")}


def row_of(pages, documents, name, runs):
    seconds, processor = (median(runs, what) for what in ("seconds", "processor"))
    def per(count):
        return [f"{1000 * value / count:.1f} ms" for value in (seconds, processor)]
    return [str(pages), str(documents), name, *per(documents), *per(documents * pages),
            f"{runs[0].size / documents / 1024:,.0f} kB"]


def fit(costs, name):
    """What a document costs, and what a page more does, by the shortest and the longest ones."""
    short, long = min(BATCHES), max(BATCHES)
    of = {pages: costs[pages][name] / BATCHES[pages] for pages in (short, long)}
    page = (of[long] - of[short]) / (long - short)
    return {"document": of[short] - short * page, "page": page}


def measure_documents(scale):
    rows, costs = [], {what: collections.defaultdict(dict) for what in ("seconds", "processor")}
    for pages, documents in BATCHES.items():
        batch = make_batch(scale, pages, documents)
        for name, runs in take_turns(ways(scale, batch), scale.rounds, scale.folder).items():
            rows.append(row_of(pages, documents, name, runs))
            for what, of_what in costs.items():
                of_what[pages][name] = median(runs, what)
    table("Documents and pages", ["pages", "documents", "", "a document", "processor", "a page",
                                  "processor", "results of a document"], rows)
    fitted = {name: {what: fit(costs[what], name) for what in costs}
              for name in costs["seconds"][1]}
    table("A document's own cost, and that of each of its pages",
          ["", "a document", "processor", "a page", "processor"],
          [[name] + [f"{1000 * of[what][part]:.1f} ms" for part in ("document", "page")
                     for what in costs] for name, of in fitted.items()])
    return {"runs": costs, "fitted": fitted}


# The list

def line(number):
    """As of an archive: 1,000 documents to a folder."""
    return f"/archive/part-{number // 1000:05}/document-{number:08}.pdf\n"


def write_list(path, lines):
    begin = time.perf_counter()
    with open(path, "w", encoding="ascii") as file:
        for first in range(0, lines, 100_000):
            file.write("".join(map(line, range(first, min(first + 100_000, lines)))))
    return time.perf_counter() - begin


def share_sizes(path):
    """Of each of the shares, counted as the command does."""
    digest = ctypes.CDLL("libxxhash.so.0").XXH3_64bits
    digest.argtypes, digest.restype = [ctypes.c_char_p, ctypes.c_size_t], ctypes.c_uint64
    sizes = [0] * SHARES
    with open(path, "rb") as file:
        for text in file:
            sizes[digest(text, len(text) - 1) % SHARES] += 1
    return sizes


def of_share(scale, path, share):
    """Which files the command takes from the list; none of them is there."""
    command = [*scale.pdfconvert("--json", "--dry-run", "-d", "out", "--shard", share,
                                 "--from-list", path).arguments]
    answer = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            cwd=scale.folder, check=False)
    return [document["file"] for document in json.loads(answer.stdout)["documents"]]


def measure_list(scale):
    path = scale.folder / "list"
    written = write_list(path, scale.lines)
    size = path.stat().st_size
    sizes = share_sizes(path)
    taken = of_share(scale, path, f"1/{SHARES}")
    if len(taken) != sizes[0]:
        raise RuntimeError(f"the command takes {len(taken)} files, and {sizes[0]} were counted")
    shares = {"without a file": (f"1/{2**32 - 1}", 0),
              f"1/{SHARES}, no file is there": (f"1/{SHARES}", 4)}
    reading = {name: use_of(scale, scale.pdfconvert("--dry-run", "-d", "out", "--from-list", path,
                                                    "--shard", share), [code])
               for name, (share, code) in shares.items()}
    path.unlink()
    table(f"A list of {scale.lines:,} lines, {megabytes(size)}, written in {written:.1f} s",
          ["share", "time", "processor", "the largest process"],
          [[name, *use.cells()] for name, use in reading.items()])
    mean = statistics.mean(sizes)
    table(f"Files of each of {SHARES:,} shares", ["least", "mean", "most", "most beside mean"],
          [[thousands(min(sizes)), thousands(mean), thousands(max(sizes)),
            f"{max(sizes) / mean:.3f}"]])
    return {"bytes": size, "written": written,
            "reading": {name: vars(use) for name, use in reading.items()},
            "shares": {"least": min(sizes), "mean": mean, "most": max(sizes)}}


# The file system

MANY = 1_000_000


@contextlib.contextmanager
def volume(scale, files):
    """
    A new ext4 in a file of its own. A used one would tell of its past: inodes that were freed in
    the last minutes are not given to new files, and looking for others takes ten times as long as
    all else.
    """
    image, mounted = scale.folder / "image", scale.folder / "mounted"
    mounted.mkdir(exist_ok=True)
    with open(image, "wb") as file:
        file.truncate((4 << 30) + files * 1024)
    subprocess.run(["mkfs.ext4", "-q", "-F", "-N", str(files + files // 8 + 10_000),
                    "-E", "lazy_itable_init=0,lazy_journal_init=0", image], check=True)
    subprocess.run(["mount", "-o", "loop", image, mounted], check=True)
    try:
        yield mounted
    finally:
        subprocess.run(["umount", mounted], check=True)
        image.unlink()


def place(scale, sessions, files, per_folder, *options):
    """What place-files prints, and how long it takes to remove what it has made, if not much."""
    with volume(scale, files) as mounted:
        folder = mounted / "results"
        folder.mkdir()
        command = scale.helper("place-files", sessions or mounted, folder, files, per_folder,
                               *options)
        lines = subprocess.run(command.arguments, check=True, stdout=subprocess.PIPE,
                               text=True).stdout.splitlines()
        begin = time.perf_counter()
        if files <= MANY:
            subprocess.run(["rm", "-r", folder], check=True)
        return [json.loads(one) for one in lines], time.perf_counter() - begin


def measure_files(scale):
    if os.geteuid() != 0:
        print("\nThe part 'files' mounts a file system of its own, which only root can.")
        return None
    kinds = {"one folder": (None, scale.files, 0),
             "1,000 to a folder": (None, scale.files, 1000),
             "10,000 to a folder": (None, scale.files, 10000),
             "one folder, linked": (None, min(scale.files, MANY), 0, "--without-rename"),
             "one folder, from another volume": ("/dev/shm", min(scale.files, 10_000), 0)}
    kept = {}
    print("\nEmpty files, made in a session folder and moved to their names", flush=True)
    for name, of_kind in kinds.items():
        found, removed = place(scale, *of_kind)
        kept[name] = {"entries": found, "removed": removed if of_kind[1] <= MANY else None}
        table(name + (f"; removed in {removed:.1f} s" if of_kind[1] <= MANY else ""),
              ["entries", "placed a second", "found a second", "missed a second"],
              [[thousands(value) for value in row.values()] for row in found])
    return kept


# The journal

def flushes_a_second(folder):
    """Lines, of the size of a journal's, each written and flushed by itself."""
    count = 2000
    with tempfile.NamedTemporaryFile(dir=folder) as file:
        begin = time.perf_counter()
        for _ in range(count):
            os.write(file.fileno(), b"x" * 150 + b"\n")
            os.fdatasync(file.fileno())
        return count / (time.perf_counter() - begin)


def measure_flushing(scale):
    """What a journal costs: the same batches with one and without, on the disk."""
    rows, kept = [], {}
    for pages in (1, 10):
        batch = scale.folder / f"batch-{pages}/list"
        documents = BATCHES[pages]
        for kind in ("txt", "png"):
            plain = ["--from-list", batch, "-d", "out", "-f", kind]
            runs = take_turns({"without": [scale.pdfconvert(*plain)],
                               "with": [scale.pdfconvert(*plain, "--journal", "journal")]},
                              scale.rounds, scale.folder)
            of = {what: [median(runs[name], what) for name in runs]
                  for what in ("seconds", "processor")}
            rows.append([str(pages), kind] +
                        [f"{1000 * value / documents:.1f} ms" for value in of["seconds"]] +
                        [f"{after / before:.3f}" for before, after in of.values()])
            kept[f"{pages}, {kind}"] = of
    table("Documents without and with a journal", ["pages", "", "a document without", "with",
                                                   "ratio", "of processor time"], rows)
    return kept


def journal_of(scale, pages):
    """What a run over a batch writes down; the last of its documents is document-N."""
    batch = scale.folder / f"batch-{pages}/list"
    journal = scale.folder / f"journal-{pages}"
    use_of(scale, scale.pdfconvert("--from-list", batch, "-d", "out", "--journal", journal))
    return journal.read_text().splitlines(keepends=True)


def lengths(scale):
    def row(pages):
        lines = journal_of(scale, pages)
        return [str(pages), f"{len(lines) / BATCHES[pages]:.1f}",
                thousands(sum(map(len, lines)) / BATCHES[pages])]
    rows = [row(pages) for pages in (1, 10)]
    table("What a journal holds of a document", ["pages", "lines", "bytes"], rows)
    return rows


def signed(line, number):
    """A line of a journal as a run would have written it as the one of this number."""
    from xxhash import xxh3_64_hexdigest  # not before benchmarks/scale has installed it
    text = re.sub(r'"line":\d+$', f'"line":{number}', line[:line.rindex(',"sum":"')])
    return f'{text},"sum":"{xxh3_64_hexdigest(text.encode())}"}}\n'


def long_journal(scale, documents):
    """As of a run over so many documents of a page, and the list of these."""
    lines = journal_of(scale, 1)
    last = f"document-{BATCHES[1] - 1}"
    of_one = [line for line in lines if last in line]
    journal, whole_list = scale.folder / "long-journal", scale.folder / "long-list"
    with open(journal, "w", encoding="utf-8") as file:
        file.write(lines[0])
        copies = (line.replace(last, f"copy-{number:08}")
                  for line in of_one for number in range(documents))
        for number, line in enumerate(copies, 2):
            file.write(signed(line, number))
    original = scale.folder / f"batch-1/{last}.pdf"
    whole_list.write_text("".join(f"{original}\n".replace(last, f"copy-{number:08}")
                                  for number in range(documents)))
    return journal, whole_list


def measure_going_on(scale, documents=100_000):
    journal, whole_list = long_journal(scale, documents)
    size = journal.stat().st_size
    commands = {"a report": scale.report(journal),
                "going on": scale.pdfconvert("--from-list", whole_list, "-d", "out",
                                             "--journal", journal)}
    uses = {name: use_of(scale, command) for name, command in commands.items()}
    table(f"A journal of {documents:,} documents of a page, {megabytes(size)}",
          ["", "time", "processor", "the largest process"],
          [[name, *use.cells()] for name, use in uses.items()])
    return {name: vars(use) for name, use in uses.items()}


def measure_journal(scale):
    flushes = flushes_a_second(scale.folder)
    table("Flushing", ["lines written and flushed a second"], [[thousands(flushes)]])
    for pages in (1, 10):
        make_batch(scale, pages, BATCHES[pages])
    return {"flushes": flushes, "batches": measure_flushing(scale), "lengths": lengths(scale),
            "long": measure_going_on(scale)}


# Slow flushes

def measure_latency(scale):
    """As if the disk of results and journal took longer to flush, as servers do."""
    batch, pages = make_batch(scale, 10, BATCHES[10]), 10 * BATCHES[10]

    def seconds(delay, jobs):
        with tempfile.TemporaryDirectory(dir=scale.folder) as folder:
            program = scale.pdfconvert("--from-list", batch, "-d", "out", "--journal", "journal",
                                       "--temp-dir", "/dev/shm", "-j", str(jobs)).arguments
            begin = time.perf_counter()
            subprocess.run(["strace", "-f", "-qq", "--seccomp-bpf", "-o", "/dev/null",
                            "-e", "trace=fsync,fdatasync", "-e",
                            f"inject=fsync,fdatasync:delay_exit={delay}", *program],
                           check=True, cwd=folder, stdout=subprocess.DEVNULL)
            return time.perf_counter() - begin
    delays = (0, 1, 5, 20)
    kept = {delay: [seconds(1000 * delay, jobs) / pages for jobs in (1, 2)] for delay in delays}
    table("Pages as PNG, where each flush takes longer by so much", ["", "a page, 1 job", "2 jobs"],
          [[f"{delay} ms"] + [f"{1000 * of:.1f} ms" for of in row] for delay, row in kept.items()])
    return kept


# Many machines

@dataclasses.dataclass(frozen=True)
class Cluster:
    nodes: int
    processors: int = 16  # of a node
    jobs: int = 2  # of a run

    @property
    def runs(self):
        return self.nodes * self.processors // self.jobs


def of_document(costs, pages):
    """Seconds of a processor."""
    return costs["processor"]["document"] + pages * costs["processor"]["page"]


def predicted(kept, kind, cluster, documents, pages, shares):
    """Seconds of all shares, where nothing but processors is short."""
    fitted = kept["documents"]["figures"]["fitted"]
    start = kept["list"]["figures"]["reading"]["without a file"]["processor"]
    planned = of_document(fitted["planned only"], pages)
    converted = of_document(fitted[kind], pages) - planned
    share = start + documents / shares * (planned + converted / cluster.jobs)
    return -(-shares // cluster.runs) * share


def predict(kept, documents=10_000_000, pages=10):
    """From what the parts documents and list have measured."""
    rows = []
    for nodes in (10, 100, 1000):
        cluster = Cluster(nodes)
        shares = 10 * cluster.runs
        cells = [thousands(nodes), thousands(cluster.runs), thousands(shares)]
        for kind in ("PNG", "text"):
            seconds = predicted(kept, kind, cluster, documents, pages, shares)
            cells += [f"{seconds / 60:,.0f} min", thousands(documents / seconds)]
        rows.append(cells)
    table(f"{documents:,} documents of {pages} pages, predicted",
          ["nodes of 16", "runs at once", "shares", "PNG", "documents a second", "text",
           "documents a second"], rows)


SECTIONS = {"documents": measure_documents, "list": measure_list, "files": measure_files,
            "journal": measure_journal, "latency": measure_latency}

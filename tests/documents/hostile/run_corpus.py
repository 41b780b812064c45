"""Runs pdfconvert over hostile documents: PDFCONVERT SCHEMA CORPUS MODE ENGINE FIRST STEP

MODE is png, txt, pdf, inspect, or arguments for what the command line itself has to refuse. Takes
every STEP-th document from number FIRST on; where HOSTILE_FIFTH is set, to a number below 5, of the
documents every fifth from that one on alone. Checks that each comes to exactly one end within its
time, a whole result or a failure that names it; that memory stays within its limit; and that nothing
else is left, neither files nor processes. Says at the end what became of them. Exits with 77 where
there is no such ENGINE.
"""

import collections
import json
import os
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from checks import Broken, check_file, require

TIMEOUT = 5  # seconds for a document to open, and again to convert
GRACE = 60  # for what is no document's fault: a machine that is busy
STEPS = 4  # opened, opened again, saved and converted, each within TIMEOUT
MEMORY_LIMIT = 1024  # MiB of a worker
COMMAND_LIMIT = 256  # MiB of the command itself
BATCH = 200

CODES = {"empty": {4}, "not-a-pdf": {4}, "not-a-name": {4}, "damaged": {4, 7},
         "unsupported-encryption": {7}, "no-password": {8}, "cannot-render": {7}, "out-of-memory": {7},
         "worker-failed": {7}, "too-large": {7}, "timed-out": {124}, "cannot-write": {5}}
PARTLY, WARNED, USAGE, DONE = 10, 3, 2, 0
SKIPPED = 77

LONGEST_NAME = 255
LOG_LINE = re.compile(rb"[IWE]\d{8} ")
DEATH = re.compile(rb"the worker ended with code (-?\d+)")


def is_text(name):
    try:
        return "\0" not in name.decode("utf-8")
    except UnicodeDecodeError:
        return False


def shown(path):
    """As the command calls an input."""
    if is_text(path):
        return path.decode("utf-8")
    return "".join(chr(byte) if 0x20 <= byte < 0x7F else f"\\x{byte:02x}" for byte in path)


def stem(path):
    return os.path.basename(path)[:-len(b".pdf")]


def has_longest_name(path):
    return len(stem(path)) + len(b"-1.png") > LONGEST_NAME


class Command:
    """One run over a batch of documents, each of its promises checked."""

    def __init__(self, program, mode, engine, paths, folder):
        self.mode, self.paths = mode, paths
        self.output, self.temp = os.path.join(folder, "out"), os.path.join(folder, "temp")
        self.standard_output = os.path.join(folder, "stdout")
        os.mkdir(self.temp)
        self.arguments = [program, "-j", "2", "--timeout", str(TIMEOUT), "--memory-limit",
                          str(MEMORY_LIMIT), "--engine", engine, "--temp-dir", self.temp, "--progress",
                          "json"]
        self.arguments += ["--inspect"] if mode == "inspect" else ["-f", mode, "-d", self.output]
        self.arguments += ["-r", "72"] if mode == "png" else []
        # Everything but the text runs with a log between the events, which tells of dead workers.
        self.arguments += [] if mode == "txt" else ["-v", "1"]
        self.arguments += [] if mode == "png" else ["--json"]
        self.events, self.deaths = [], collections.Counter()
        self.silence = self.memory = self.own_memory = 0

    def run(self, folder):
        names = os.path.join(folder, "list")
        with open(names, "wb") as file:
            file.write(b"\0".join(self.paths))
        arguments = self.arguments + ["--from-list", names, "-0"]
        with open(self.standard_output, "wb") as output:
            process = subprocess.Popen(arguments, stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.PIPE, start_new_session=True,
                                       env={**os.environ, "TMPDIR": self.temp})
        try:
            self.listen(process)
        except BaseException:
            os.kill(process.pid, signal.SIGKILL)
            raise
        finally:
            process.stderr.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        self.exit_code, self.memory = process.returncode, usage.ru_maxrss // 1024
        require(not processes_of_session(process.pid), "processes are left")

    def listen(self, process):
        """Takes its lines until it closes them, as it does at its end."""
        pipe, rest, last = process.stderr.fileno(), b"", time.monotonic()
        while True:
            ready = select.select([pipe], [], [], 0.2)[0]
            self.own_memory = max(self.own_memory, peak_memory(process.pid))
            self.silence = max(self.silence, time.monotonic() - last)
            require(self.silence <= STEPS * TIMEOUT + GRACE, "hangs after", self.events[-1:])
            if not ready:
                continue
            block = os.read(pipe, 1 << 16)
            if not block:
                break
            *lines, rest = (rest + block).split(b"\n")
            for line in lines:
                self.take(line)
            last = time.monotonic()
        require(rest == b"", "an unfinished line", rest)

    def take(self, line):
        if self.mode != "txt" and LOG_LINE.match(line):
            self.deaths.update(int(code) for code in DEATH.findall(line))
            return
        require(line.startswith(b"{"), "no event:", line)
        self.events.append(json.loads(line))

    def check(self, reasons):
        ends = self.ends()
        if self.mode == "png":
            self.check_paths(ends)
        else:
            self.check_closing(ends)
        for path in self.paths:
            check_end(path, ends[shown(path)], reasons)
        self.check_exit_code(ends)
        self.check_folders(ends)
        require(self.own_memory <= COMMAND_LIMIT, "the command took", self.own_memory, "MiB")
        require(self.memory <= MEMORY_LIMIT, "a worker took", self.memory, "MiB")
        return ends

    def ends(self):
        """The one end of each document, by the document's name."""
        ends = {}
        for event in self.events + self.inspected():
            if event["event"] in ("finished", "failed"):
                require(event["file"] not in ends, "two ends of", event["file"])
                ends[event["file"]] = event
        require(ends.keys() == {shown(path) for path in self.paths}, "no end, or too many:",
                ends.keys() ^ {shown(path) for path in self.paths})
        return ends

    def inspected(self):
        """Documents that were only looked at are on standard output alone."""
        if self.mode != "inspect":
            return []
        return [{**document, "event": "finished", "results": []}
                for document in self.closing()["documents"] if document["ok"]]

    def closing(self):
        with open(self.standard_output, "rb") as file:
            return json.load(file)

    def check_closing(self, ends):
        closing = self.closing()
        require(closing["exitCode"] == self.exit_code, "ends with", self.exit_code)
        require(len(closing["documents"]) == len(ends), "not each document once")
        for document in closing["documents"]:
            end = ends[document["file"]]
            require(document["ok"] == (end["event"] == "finished"), "two opinions of", document)
            same = ["reason", "message"] if not document["ok"] else ["results"][:self.mode != "inspect"]
            require(all(document[key] == end[key] for key in same), document, "is not", end)

    def check_paths(self, ends):
        """Standard output has the paths of the results, in the order of the events."""
        expected = [result["path"] for end in ends.values() for result in end.get("results", [])]
        with open(self.standard_output, "rb") as file:
            require(file.read() == "".join(path + "\n" for path in expected).encode(),
                    "standard output is not the results' paths")

    def check_exit_code(self, ends):
        reasons = [end["reason"] for end in ends.values() if end["event"] == "failed"]
        if not reasons:
            expected = {WARNED if any(e["event"] == "warning" for e in self.events) else DONE}
        elif len(reasons) < len(ends):
            expected = {PARTLY}
        else:
            expected = set.intersection(*(CODES[reason] for reason in reasons)) or {PARTLY}
        require(self.exit_code in expected, "ends with", self.exit_code, "and not", expected)

    def check_folders(self, ends):
        require(not os.listdir(self.temp), "left in the temporary folder:", os.listdir(self.temp))
        there = set(os.listdir(os.fsencode(self.output))) if os.path.isdir(self.output) else set()
        for number, name in enumerate(sorted(there)):
            check_file(os.path.join(self.output, os.fsdecode(name)), number)
        for end in ends.values():
            for result in end.get("results", []):
                name = os.path.basename(result["path"]).encode()
                require(name in there, result["path"], "is not there")
                size = os.path.getsize(os.path.join(os.fsencode(self.output), name))
                require(size == result["bytes"], result["path"], "has", size, "bytes")
                there.remove(name)
        unfinished = [re.escape(stem(path)) for path in self.paths if ends[shown(path)]["event"] == "failed"]
        page = re.compile(b"(?:" + b"|".join(unfinished) + rb")-\d+\.png")
        others = [name for name in there if self.mode != "png" or not page.fullmatch(name)]
        require(not others, "no finished page of any document:", others)


def check_end(path, end, reasons):
    family = os.path.basename(path)
    if end["event"] == "failed":
        require(end["reason"] in reasons, "unknown reason", end)
        require(end["reason"] in CODES, "misleading reason", end)
        require(end["message"].startswith(end["file"] + ": "), "does not name the document:", end)
        expected = "not-a-name" if not is_text(path) else "cannot-write"
        require(not family.startswith((b"sound-", b"odd-file-names-")) or end["reason"] == expected
                and (not is_text(path) or has_longest_name(path)), "is in order:", end)
    else:
        require(is_text(path), "its name is none", end)
        require(end["results"] or "pages" in end, "no result of", end)


def peak_memory(process):
    """In MiB; 0 when it has ended."""
    try:
        with open(f"/proc/{process}/status", encoding="utf-8") as status:
            found = re.search(r"VmHWM:\s+(\d+) kB", status.read())
        return int(found[1]) // 1024 if found else 0
    except (FileNotFoundError, ProcessLookupError):
        return 0


def processes_of_session(session):
    """Those that still run; a dead one may wait for its parent yet."""
    found = []
    for entry in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{entry}/stat", "rb") as stat:
                state, _, _, of = stat.read().rsplit(b")", 1)[1].split()[:4]
        except (FileNotFoundError, ProcessLookupError):
            continue
        if int(of) == session and state not in b"ZX":
            found.append(int(entry))
    return found


def snapshot(corpus):
    return {entry.name: (entry.stat().st_size, entry.stat().st_mtime_ns) for entry in os.scandir(corpus)}


def run_batch(program, mode, engine, paths, reasons, total):
    folder = tempfile.mkdtemp(prefix="hostile-")
    try:
        command = Command(program, mode, engine, paths, folder)
        command.run(folder)
        total.add(command, command.check(reasons))
    finally:
        shutil.rmtree(folder)


class Total:
    """What became of all documents."""

    def __init__(self):
        self.reasons, self.deaths = collections.Counter(), collections.Counter()
        self.results = self.warned = self.own_memory = self.memory = self.silence = 0
        self.slow = []

    def add(self, command, ends):
        self.deaths.update(command.deaths)
        self.warned += sum(event["event"] == "warning" for event in command.events)
        for name, end in ends.items():
            self.reasons[end.get("reason", "none")] += 1
            self.results += len(end.get("results", []))
            self.slow += [os.path.basename(name)] if end.get("reason") == "timed-out" else []
        for key in ["own_memory", "memory", "silence"]:
            setattr(self, key, max(getattr(self, key), getattr(command, key)))

    def describe(self, mode):
        converted = self.reasons.pop("none", 0)
        failed = ", ".join(f"{reason} {count}" for reason, count in self.reasons.most_common())
        deaths = ", ".join(f"{count} with {code}" for code, count in sorted(self.deaths.items()))
        return (f"{mode}: {converted + sum(self.reasons.values())} documents, {converted} done with"
                f" {self.results} results and {self.warned} warnings; failed: {failed}; workers that"
                f" died: {sum(self.deaths.values())} ({deaths}); at most {self.silence:.1f} s without a"
                f" word, {self.own_memory} MiB for the command, {self.memory} MiB for a worker;"
                f" timed out: {', '.join(self.slow) or 'none'}")


def run_all(program, schema, mode, engine, paths):
    """What is broken."""
    with open(schema, encoding="utf-8") as file:
        reasons = set(json.load(file)["definitions"]["reason"]["enum"])
    total, broken = Total(), []
    for start in range(0, len(paths), BATCH):
        try:
            run_batch(program, mode, engine, paths[start:start + BATCH], reasons, total)
        except Broken as error:
            broken.append(f"{shown(paths[start])} and others: {error}")
    print(f"{engine}, {total.describe(mode)}")
    return broken


def run_arguments(program, paths):
    """What is broken about names that are no text, as arguments: usage, before anything is done."""
    broken, refused = [], [path for path in paths if not is_text(path)]
    for path in refused:
        run = subprocess.run([program, path, "-d", "/nowhere"], stdin=subprocess.DEVNULL,
                             capture_output=True, timeout=GRACE, check=False)
        expected = f"pdfconvert: the argument '{shown(path)}' is not valid UTF-8; rename the file\n"
        if (run.returncode, run.stdout) != (USAGE, b"") or not run.stderr.startswith(expected.encode()):
            broken.append(f"{shown(path)}: {run.returncode} {run.stderr}")
    print(f"arguments: {len(refused)} names refused")
    return broken if refused else ["there is no such name"]


def has_pdfium(program):
    version = subprocess.run([program, "--version"], capture_output=True, check=True)
    return b"\nengine: PDFium" in version.stdout


def main():
    if len(sys.argv) != 8:
        sys.exit(__doc__)
    program, schema, corpus, mode, engine, first, step = sys.argv[1:]
    if engine == "pdfium" and not has_pdfium(program):
        print("skipped: there is no PDFium")
        sys.exit(SKIPPED)
    if engine in ("pdfium", "qt") and engine != os.environ.get("HOSTILE_ENGINE", engine):
        print("skipped: it is the other engine's turn")
        sys.exit(SKIPPED)
    before = snapshot(os.fsencode(corpus))
    paths = [os.path.join(os.fsencode(corpus), name) for name in sorted(before)]
    fifth = os.environ.get("HOSTILE_FIFTH")
    chosen = (paths[int(fifth)::5] if fifth else paths)[int(first)::int(step)]
    broken = (run_arguments(program, paths) if mode == "arguments"
              else run_all(program, schema, mode, engine, chosen))
    if snapshot(os.fsencode(corpus)) != before:
        broken.append("the documents themselves were changed")
    sys.exit("\n".join(broken) if broken else None)


if __name__ == "__main__":
    main()

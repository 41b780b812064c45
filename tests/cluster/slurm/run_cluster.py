"""Converts documents on a cluster whose nodes are killed meanwhile: PROGRAMS SCRIPTS FOLDER [COUNT]

PROGRAMS is the folder of pdfconvert, SCRIPTS that of the scripts for Slurm, FOLDER an empty one.
COUNT is how many; with fewer than 1,000, shares may end before it is the turn of their node. A
single run without shares converts the same list first. Afterwards nobody must be able to tell from
the results which of both was disturbed.
"""

import collections
import hashlib
import itertools
import json
import os
import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "documents/hostile"))

import list_documents  # noqa: E402
from checks import require  # noqa: E402
from cluster import Cluster, Node, wait_until  # noqa: E402

SHARES = 8
FINAL = ("done", "failed", "skipped")
OPTIONS = ["-r", "36", "--progress", "none", "--warning-exit-0"]
PARTLY = 10

begin = time.monotonic()


def say(*words):
    print(f"{time.monotonic() - begin:6.1f} s ", *words, flush=True)


def read_journal(path):
    """The whole lines of a journal."""
    text = path.read_text() if path.exists() else ""
    return [json.loads(line) for line in text.split("\n")[:-1]]


def files_below(folder):
    return {str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest()
            for path in pathlib.Path(folder).rglob("*") if path.is_file()}


class Share:
    """What a task of the array has to do, and what its journal tells."""

    def __init__(self, folder, number):
        self.number = number
        self.journal = folder / f"share-{number}-of-{SHARES}.jsonl"

    def events(self):
        return read_journal(self.journal)

    def ended(self):
        return sum(event["event"] in FINAL for event in self.events())

    def is_at_work(self):
        """Whether it has ended documents, and is in the middle of another one."""
        events = self.events()
        return bool(events) and events[-1]["event"] == "placing" and self.ended() > 0

    def is_over(self):
        return self.events()[-1]["event"] == "ended"


class Trial:
    def __init__(self, programs, scripts, folder, count):
        self.scripts, self.folder = pathlib.Path(scripts), pathlib.Path(folder)
        os.environ["PATH"] = f"{programs}:{os.environ['PATH']}"
        self.documents = list_documents.make_all(self.folder / "in", count)
        self.list, self.passwords = self.folder / "all.txt", self.folder / "passwords"
        list_documents.write_lists(self.documents, self.list, self.passwords)
        self.options = [*OPTIONS, "--password-map", str(self.passwords)]
        self.reference, self.output = self.folder / "reference", self.folder / "pages"
        self.shares = [Share(self.folder / "pages.journals", number)
                       for number in range(1, SHARES + 1)]
        self.cluster = Cluster(self.folder / "cluster", nodes=2)
        say(len(self.documents), "documents are made")

    # The reference

    def convert_alone(self):
        run = subprocess.run(["pdfconvert", "--from-list", self.list, "-d", self.reference, "--json",
                              *self.options], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        require(run.returncode == PARTLY, "the run alone ended with", run.returncode)
        self.ends = {end["file"]: end for end in json.loads(run.stdout)["documents"]}
        for document in self.documents:
            reason = self.ends[document.path].get("reason")
            require(reason == list_documents.REASONS[document.kind], document, "came to", reason)
        say("one run alone has converted them")

    # The array

    def submit(self, script, *arguments, options=()):
        return self.cluster.run("sbatch", "--parsable", f"--output={self.folder}/%x-%A_%a.log",
                                f"--chdir={self.folder}", *options, self.scripts / script,
                                *arguments).strip()

    def log_of(self, share):
        (log,) = self.folder.glob(f"pdfconvert-*_{share}.log")
        return log.read_text()

    def submit_array(self, *options, output=None):
        return self.submit("pdfconvert-array.sbatch", self.list, output or self.output,
                           *self.options, options=options)

    def tasks(self, *options):
        """The tasks there are: number of the share -> what Slurm calls its task."""
        lines = self.cluster.run("squeue", "--noheader", "--array", "--name=pdfconvert",
                                 "--format=%K %F_%K", *options).splitlines()
        return {int(share): task for share, task in map(str.split, lines)}

    def at_work(self, node=None):
        """The shares that are in the middle of a document, on that node or any."""
        options = ["--states=RUNNING"] + ([f"--nodelist={node.name}"] if node else [])
        running = (self.shares[number - 1] for number in self.tasks(*options))
        return [share for share in running if share.is_at_work()]

    def take_one_at_work(self):
        """The one of the shares that has the longest way to go, and its task."""
        share = min(wait_until(self.at_work, "a share is at work"), key=Share.ended)
        return share, self.tasks()[share.number]

    def wait_for_ends(self, count):
        wait_until(lambda: sum(share.ended() for share in self.shares) >= count,
                   f"{count} documents have ended", 120)

    def strike(self, nodes, blow):
        """Deals a blow to nodes that are in mid-work, and tells which tasks it has met."""
        wait_until(lambda: all(self.at_work(node) for node in nodes), "the nodes are at work")
        names = [node.name for node in nodes]
        tasks = self.tasks("--states=RUNNING", "--nodelist=" + ",".join(names))
        for node in nodes:
            blow(node)
        tasks = {task for task in tasks if not self.shares[task - 1].is_over()}
        say(blow.__name__, *names, "with shares", *tasks)
        wait_until(lambda: all(node.is_down() for node in nodes), "the nodes are given up")
        kept = self.tasks().keys()
        require(kept >= tasks, "not requeued:", tasks - kept)
        return tasks

    def kill(self, *nodes):
        self.strike(nodes, Node.kill)
        for node in nodes:
            node.start()
        say("their tasks are requeued, and they are back")

    def freeze(self, node):
        """Stops a node for so long that its tasks are begun elsewhere, and lets it go on then."""
        tasks = self.strike([node], Node.freeze)
        refused = wait_until(lambda: [task for task in tasks if "ended with 5" in self.log_of(task)],
                             "another node is refused a share")
        node.thaw()
        say("it goes on, after another node has been refused shares", *refused)

    def requeue_one(self):
        """Takes a task from its node as for one that matters more."""
        share, task = self.take_one_at_work()
        self.cluster.run("scontrol", "requeue", task)
        say(f"share {share.number} is sent away by SIGTERM")

    def end_time_of_one(self):
        share, task = self.take_one_at_work()
        self.cluster.run("scancel", "--batch", "--signal=USR1", task)
        wait_until(lambda: "ended with 143" in self.log_of(share.number), "it is to go on")
        say(f"share {share.number} has stopped, as its time is up, and is to go on")

    def wait_for_jobs(self):
        wait_until(lambda: not self.cluster.run("squeue", "--noheader"), "every job has ended", 600)

    def exit_codes(self, job):
        """Of the tasks of an array, by their shares."""
        tasks = [dict(pair.split("=", 1) for pair in line.split() if "=" in pair)
                 for line in self.cluster.run("scontrol", "-o", "show", "job", job).splitlines()]
        return {int(task["ArrayTaskId"]): int(task["ExitCode"].split(":")[0]) for task in tasks}

    def convert_disturbed(self):
        count = len(self.documents)
        job = self.submit_array(f"--array=1-{SHARES}")
        self.submit("pdfconvert-report.sbatch", self.output, "--json",
                    options=[f"--dependency=afterany:{job}", f"--output={self.folder}/report.json"])
        nodes = self.cluster.nodes
        self.wait_for_ends(count // 20)
        self.kill(*nodes)
        self.requeue_one()
        self.end_time_of_one()
        self.kill(nodes[1])
        self.freeze(nodes[0])
        self.wait_for_jobs()
        codes = self.exit_codes(job)
        require(codes == {share.number: PARTLY for share in self.shares}, "exit codes:", codes)
        say("every share has ended")

    # What there is afterwards

    def check_results(self):
        expected, found = files_below(self.reference), files_below(self.output)
        require(found.keys() == expected.keys(), "missing:", sorted(expected.keys() - found.keys()),
                "too many:", sorted(found.keys() - expected.keys()))
        different = [name for name in expected if found[name] != expected[name]]
        require(not different, "other bytes:", different)
        say(len(found), "files are those of the run alone, byte by byte")

    def check_temporary_folders(self):
        for node in self.cluster.nodes:
            require(not os.listdir(node.temp), node.name, "has left", os.listdir(node.temp))

    def check_journals(self):
        events = list(itertools.chain.from_iterable(share.events() for share in self.shares))
        ends = [event for event in events if event["event"] in FINAL]
        often = collections.Counter(end["file"] for end in ends)
        require(often == {document.path: 1 for document in self.documents},
                "not each document once:", {path: n for path, n in often.items() if n != 1})
        for end in ends:
            self.check_end(end)
        named = {result["path"] for end in ends for result in end.get("results", [])}
        there = {str(self.output / name) for name in files_below(self.output)}
        require(named == there, "only in journals or on the disk:", sorted(named ^ there))
        again = self.count_again(events)
        require(again > 0, "no document was in work when a run was killed")
        say(len(ends), "documents have one end each;", again, "of them were converted again")

    def check_end(self, end):
        alone = self.ends[end["file"]]
        require((end["event"] == "done") == alone["ok"], end, "but alone", alone)
        require(end.get("reason") == alone.get("reason"), end, "but alone", alone)
        for result in end.get("results", []):
            size = os.path.getsize(result["path"])
            require(size == result["bytes"], result, "has", size, "bytes")

    @staticmethod
    def count_again(events):
        """Documents of which a result was put in place by a run that did not come to their end."""
        document_of, placed, again = {}, set(), set()
        for event in events:
            if event["event"] == "planned":
                document_of.update((result["path"], event["file"]) for result in event["results"])
            elif event["event"] == "placing":
                placed.add(document_of[event["path"]])
            elif event["event"] == "begun":
                again |= placed
            elif event["event"] in FINAL:
                placed.discard(event["file"])
        return len(again)

    def check_report(self):
        """What the job that waited for all shares has added up."""
        report = json.loads((self.folder / "report.json").read_text())
        sizes = [path.stat().st_size for path in self.reference.iterdir()]
        reasons = collections.Counter(list_documents.REASONS[document.kind] for document in self.documents)
        done = reasons.pop(None)
        expected = {"journals": SHARES, "documents": len(self.documents), "done": done,
                    "failed": reasons.total(), "pending": 0, "files": len(sizes), "bytes": sum(sizes)}
        found = {name: report[name] for name in expected}
        require(found == expected, "reported", found, "and not", expected)
        failures = {failure["reason"]: failure["documents"] for failure in report["failures"]}
        require(failures == reasons, "reported failures", failures, "and not", reasons)
        require(report["runsWithoutEnd"] > 0, "reported no run that was killed")
        say("the report says so, too, of", report["runs"], "runs,", report["runsWithoutEnd"], "killed")

    def marks(self):
        """What changes when a file is written again or replaced."""
        return {path: (path.stat().st_ino, path.stat().st_mtime_ns) for path in self.output.iterdir()}

    def check_again(self):
        """Submitting the shares again, one of them on each node, changes nothing."""
        before = self.marks()
        ends = [share.ended() for share in self.shares]
        for node, numbers in zip(self.cluster.nodes, ("1-4", "5,8")):
            job = self.submit_array(f"--array={numbers}", f"--nodelist={node.name}")
            self.wait_for_jobs()
            require(set(self.exit_codes(job).values()) == {PARTLY}, self.exit_codes(job))
        require(before == self.marks(), "files have changed")
        require(ends == [share.ended() for share in self.shares], "documents were ended again")
        say("submitted again, the shares have nothing to do")

    def check_refusals(self):
        part = self.submit_array("--array=3,7", output=self.folder / "part")
        wrong, blocked = (self.folder / "shut.journals" / f"share-{share}-of-2.jsonl"
                          for share in (1, 2))
        blocked.mkdir(parents=True)
        wrong.write_text("no journal\n")
        shut = self.submit_array("--array=1-2", "--export=ALL,PDFCONVERT_RESTARTS=2",
                                 output=self.folder / "shut")
        self.wait_for_jobs()
        require(self.exit_codes(part) == {3: 2, 7: 2}, "part of an array:", self.exit_codes(part))
        require(self.exit_codes(shut) == {1: 4, 2: 5}, "no journals:", self.exit_codes(shut))
        runs = [(self.folder / f"pdfconvert-{shut}_{share}.log").read_text().count("pdfconvert: ")
                for share in (1, 2)]
        require(runs == [1, 3], "the two shares were begun so often:", runs)
        say("what cannot succeed is refused, or given up")


def print_logs(folder):
    for log in sorted(folder.rglob("*.log")):
        print(f"== {log.name}", "".join(log.open(errors="replace").readlines()[-20:]), sep="\n")


def main(programs, scripts, folder, count="1000"):
    trial = Trial(programs, scripts, folder, int(count))
    try:
        run(trial)
    except BaseException:
        print_logs(trial.folder)
        raise


def run(trial):
    trial.convert_alone()
    trial.cluster.start()
    say("the cluster is up")
    trial.convert_disturbed()
    trial.check_results()
    trial.check_journals()
    trial.check_report()
    trial.check_again()
    trial.check_refusals()
    trial.check_temporary_folders()


if __name__ == "__main__":
    main(*sys.argv[1:])

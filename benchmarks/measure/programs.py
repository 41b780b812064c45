"""Runs programs in turns, and measures each."""

import dataclasses
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile
import time


@dataclasses.dataclass(frozen=True)
class Command:
    arguments: list
    stdin: pathlib.Path = pathlib.Path("/dev/null")


@dataclasses.dataclass(frozen=True)
class Run:
    seconds: float
    processor: float  # seconds of it, of all processes
    files: int
    size: int


@dataclasses.dataclass(frozen=True)
class Peaks:
    """Megabytes of the command itself, and of the largest of all its processes."""
    command: float
    largest: float
    seconds: float


def start(command, folder):
    with open(command.stdin, "rb") as stdin:
        return subprocess.Popen(command.arguments, cwd=folder, stdin=stdin,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                env=dict(os.environ, TMPDIR=str(folder)))


def ended(process, command, options=0):
    """What the process used, with those that it waited for; None while it runs, under WNOHANG."""
    pid, status, usage = os.wait4(process.pid, options)
    if pid == 0:
        return None
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise RuntimeError(f"{command.arguments} ended with {process.returncode}")
    return usage


def run(commands, folder):
    """Runs commands side by side in a folder of their own, which is where their files go."""
    with tempfile.TemporaryDirectory(dir=folder) as name:
        begin = time.perf_counter()
        processes = [start(command, name) for command in commands]
        usages = [ended(*one) for one in zip(processes, commands)]
        seconds = time.perf_counter() - begin
        files = [file for file in pathlib.Path(name).rglob("*") if file.is_file()]
        return Run(seconds, sum(usage.ru_utime + usage.ru_stime for usage in usages), len(files),
                   sum(file.stat().st_size for file in files))


def take_turns(programs, rounds, folder, warm_up=True):
    """name -> commands that run side by side; answers name -> runs that count."""
    runs = {name: [] for name in programs}
    for turn in range(-1 if warm_up else 0, rounds):
        for name, commands in programs.items():
            result = run(commands, folder)
            if turn >= 0:
                runs[name].append(result)
    return runs


def median(runs, what):
    return statistics.median(getattr(one, what) for one in runs)


def descendants(pid):
    try:
        children = [int(child) for task in pathlib.Path(f"/proc/{pid}/task").iterdir()
                    for child in (task / "children").read_text().split()]
    except OSError:  # it has ended
        return []
    return children + [later for child in children for later in descendants(child)]


def peak_of(pid):
    """Kilobytes that the process has had at most, 0 when it has ended."""
    try:
        lines = pathlib.Path(f"/proc/{pid}/status").read_text().splitlines()
    except OSError:
        return 0
    return next((int(line.split()[1]) for line in lines if line.startswith("VmHWM:")), 0)


def peaks(command, folder, interval=0.002):
    """
    Looks at all processes again and again. What a worker takes between the last look and its end is
    in the system's own count of the largest process, which knows those that were waited for.
    """
    with tempfile.TemporaryDirectory(dir=folder) as name:
        begin = time.perf_counter()
        process = start(command, name)
        own = largest = 0
        while not (usage := ended(process, command, os.WNOHANG)):
            own = max(own, peak_of(process.pid))
            largest = max([largest] + [peak_of(pid) for pid in descendants(process.pid)])
            time.sleep(interval)
        seconds = time.perf_counter() - begin
    return Peaks(own / 1024, max(own, largest, usage.ru_maxrss) / 1024, seconds)


def folder_in_memory(room):
    """One with room for so many bytes, None where there is none."""
    for candidate in filter(os.path.isdir, ("/dev/shm", os.environ.get("XDG_RUNTIME_DIR", ""))):
        kind = subprocess.run(["stat", "-f", "-c", "%T", candidate], check=True,
                              capture_output=True, text=True).stdout.strip()
        if kind == "tmpfs" and os.access(candidate, os.W_OK) and \
                shutil.disk_usage(candidate).free >= room:
            return candidate
    return None

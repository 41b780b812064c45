"""One run of the command: its arguments, its events, its end."""

from __future__ import annotations

import contextlib
import json
import os
import subprocess
import types
import weakref
from collections.abc import Iterator
from typing import IO, Any

from .errors import InstallationError, PdfConvertError, UsageError, error

_COMMAND = "pdfconvert"
_EXIT_USAGE = 2
_PATIENCE = (0.1, 5.0)  # seconds after each of the two signals that end a run

Event = dict[str, Any]


def operand(path: str | os.PathLike[str]) -> str:
    """A path that the command takes for no option and not for standard input."""
    name = os.fspath(path)
    return f"./{name}" if name.startswith("-") else name


class Run:
    """The command at work over one document. `arguments` ends with the document's path.

    What it prints goes to memory, and its events are read as they come. `stop` ends it, as does
    the end of the interpreter.
    """

    def __init__(self, arguments: list[str], password: str | None = None) -> None:
        self.warnings: list[Event] = []
        self.results: list[Event] = []
        self._failure: PdfConvertError | None = None
        self._other_lines: list[str] = []
        self._output = os.fdopen(os.memfd_create("pdfconvert"), "w+b")
        self._process = _start(arguments, password, self._output)
        self.stop = weakref.finalize(self, _stop, self._process, self._output, os.getpid())

    def __enter__(self) -> Run:
        return self

    def __exit__(self, kind: type[BaseException] | None, value: BaseException | None,
                 trace: types.TracebackType | None) -> None:
        self.stop()

    def has_ended(self) -> bool:
        """Whether all has happened, which is known then. Does not wait."""
        if self._process.poll() is None:
            return False
        self.read_to_the_end()
        return True

    def wait_for_event(self) -> bool:
        """Waits until something has happened. False at the end of the run."""
        assert self._process.stderr
        line = self._process.stderr.readline()
        if line:
            self._take(line)
        else:
            self._process.wait()
        return bool(line)

    def read_to_the_end(self) -> None:
        """Waits for the end of the run."""
        while self.wait_for_event():
            pass

    def finish(self) -> bytes:
        """Waits for the end, and answers with what was printed; raises if the document failed."""
        self.read_to_the_end()
        failure = self.failure()
        if failure:
            raise failure
        self._output.seek(0)
        return self._output.read()

    def failure(self) -> PdfConvertError | None:
        """Why the document failed, of a run that has ended."""
        if self._failure is None and self._other_lines:
            return self._unforeseen()
        if self._failure is None and self._process.returncode < 0:
            return error(f"{_COMMAND} was ended by signal {-self._process.returncode}", "interrupted")
        return self._failure

    def _take(self, line: str) -> None:
        try:
            event = json.loads(line)
        except ValueError:
            self._other_lines.append(line.strip())
            return
        if event["event"] == "failed":
            self._failure = error(_message(event), event["reason"], event.get("page"))
        elif event["event"] == "warning":
            self.warnings.append(event)
        elif event["event"] == "finished":
            self.results = event.get("results", [])

    def _unforeseen(self) -> PdfConvertError | None:
        lines = [line for line in self._other_lines if not line.startswith("Try '")]
        message = " ".join(lines).removeprefix(f"{_COMMAND}: ")
        if self._process.returncode == _EXIT_USAGE:
            return UsageError(message, "usage")
        return error(message, "internal") if self._process.returncode else None


def _message(event: Event) -> str:
    if event["reason"] == "no-password":  # for which the command's own words name its options
        return f"{event['file']}: is encrypted, and no password was given"
    return str(event["message"])


def _start(arguments: list[str], password: str | None, output: IO[bytes]) -> subprocess.Popen[str]:
    with _first_line(password) as descriptor:
        try:
            return subprocess.Popen(
                [_COMMAND, "--no-input", "--progress", "json",
                 *([] if password is None else ["--password-fd", str(descriptor)]), *arguments],
                pass_fds=[descriptor], stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.PIPE,
                text=True, encoding="utf-8", errors="surrogateescape")
        except (FileNotFoundError, PermissionError):
            reason: PdfConvertError = InstallationError(f"{_COMMAND} is not installed, or its folder is not in PATH",
                                                        "broken-installation")
        except ValueError as wrong:  # such as a path with a NUL
            reason = UsageError(str(wrong), "usage")
    output.close()
    raise reason


@contextlib.contextmanager
def _first_line(password: str | None) -> Iterator[int]:
    """A descriptor that has the password, so that it is in no argument and no variable."""
    if password is not None and ("\n" in password or "\0" in password):
        raise UsageError("a password cannot hold a line feed or a NUL", "usage")
    with os.fdopen(os.memfd_create("password"), "w+b") as file:
        file.write((password or "").encode(errors="surrogateescape") + b"\n")
        file.seek(0)
        yield file.fileno()


def _stop(process: subprocess.Popen[str], output: IO[bytes], owner: int) -> None:
    if os.getpid() != owner:
        return
    for patience in _PATIENCE:
        if process.poll() is not None:
            break
        process.terminate()
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(patience)
    else:
        process.kill()
    process.wait()
    assert process.stderr
    process.stderr.close()
    output.close()

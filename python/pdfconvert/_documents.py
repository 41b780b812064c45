"""Pages, text and facts of a document, and files made of it."""

from __future__ import annotations

import dataclasses
import json
import os
import pathlib
from collections.abc import Iterator
from typing import Literal

from PIL import Image

from ._folder import PrivateFolder
from ._run import Event, Run, operand
from .errors import ConversionError, InputError, UsageError, error

Path = str | os.PathLike[str]

_PAGES_OF_THE_FIRST_RUN = 8
_MOST_PAGES_OF_A_RUN = 32  # enough that starting the command counts little
_BYTES_OF_A_RUN = 32 << 20  # of pictures as they are packed; two runs are there at most


@dataclasses.dataclass(frozen=True)
class Encryption:
    """How a document is encrypted: `method` is "RC4", "AES" or "other", `opened_with` "empty", "user",
    "owner" or "both", and `permissions` says by name, such as "print", what it permits."""

    method: str
    bits: int
    opened_with: str
    permissions: dict[str, bool]


@dataclasses.dataclass(frozen=True)
class PageSize:
    """Of the pages from `first` to `last`: width and height in points as they are shown, which is turned
    clockwise by `rotation` degrees."""

    first: int
    last: int
    width: float
    height: float
    rotation: int


@dataclasses.dataclass(frozen=True)
class Info:
    """What a document is. `properties` holds its title and the like, as they stand in it;
    `repaired` says that it was damaged and could be read all the same. `page_sizes` has an entry for
    each row of pages that are alike, of 5,000 rows at most."""

    pages: int
    pdf_version: str
    repaired: bool
    properties: dict[str, str]
    encryption: Encryption | None
    page_sizes: list[PageSize]


def pages(path: Path, *, dpi: float = 150, first: int = 1, last: int | None = None,
          password: str | None = None, gray: bool = False, transparent: bool = False,
          size: tuple[int, int] | None = None, jobs: int | None = None,
          timeout: int | None = None) -> Iterator[Image.Image]:
    """Yields the pages from `first` to `last` (or the last there is) as pictures, each once it is done.

    They are of mode RGB, L with `gray` or RGBA with `transparent`, at `dpi` dots per inch, or as large as fits into `size`.
    `jobs` pages are drawn at once (as many as there are processors); a few of them wait, packed, in
    memory, whatever number the document has. `timeout` is in seconds, for up to 32 pages.

    A page that cannot be converted raises ConversionError with its number; pages(first=number + 1)
    goes on behind it. Closing the generator ends the command and removes its files.
    """
    if first < 1 or (last is not None and last < first):
        raise UsageError(f"pages from {first} to {last}: there are none", "usage")
    options = _option("--resolution", dpi) if size is None else _option("--size", "{}x{}".format(*size))
    options += _colors(gray, transparent) + _option("--jobs", jobs) + _option("--timeout", timeout)
    mode = "L" if gray else "RGBA" if transparent else "RGB"
    return _Pages(path, options, mode, password).between(first, last)


def text(path: Path, *, first: int = 1, last: int | None = None, password: str | None = None) -> str:
    """The text of the pages, each ended by a form feed."""
    arguments = ["--output", "-", "--format", "txt", *_range(first, last), operand(path)]
    with Run(arguments, password) as run:
        printed = run.finish().decode()
        _raise_for_a_page(run.warnings)
    return printed


def info(path: Path, *, password: str | None = None, timeout: int | None = None) -> Info:
    """What the document is. None of its pages is drawn. `timeout` is in seconds."""
    with Run(["--inspect", "--json", *_option("--timeout", timeout), operand(path)], password) as run:
        [document] = json.loads(run.finish())["documents"]
    encryption = document["encryption"]
    return Info(document["pages"], document["pdfVersion"], document["repaired"], document["properties"],
                encryption and Encryption(encryption["method"], encryption["bits"], encryption["openedWith"],
                                          encryption["permissions"]),
                [PageSize(**size) for size in document["pageSizes"]])


def save(path: Path, output: Path, *, dpi: float | None = None, first: int = 1, last: int | None = None,
         password: str | None = None, gray: bool = False, transparent: bool = False,
         size: tuple[int, int] | None = None, quality: int | None = None, jobs: int | None = None, timeout: int | None = None,
         on_exists: Literal["number", "fail", "skip", "overwrite"] = "number") -> list[pathlib.Path]:
    """Converts into files, and answers with their paths, in the order of the pages.

    The suffix of `output` gives the format: png, jpg, tif, bmp, webp, txt, or pdf, which is a copy
    without encryption. It is a template as of the command: %d stands for the page, %% for a percent
    sign. `dpi`, `gray` and `size` are for pictures, `transparent` for png, tif and webp, `quality` for jpg
    and webp.
    """
    measures = "{}x{}".format(*size) if size else None
    arguments = (["--output", operand(output), "--on-exists", on_exists] + _range(first, last)
                 + _option("--resolution", dpi) + _option("--size", measures) + _colors(gray, transparent)
                 + _option("--quality", quality) + _option("--jobs", jobs) + _option("--timeout", timeout))
    with Run([*arguments, operand(path)], password) as run:
        run.finish()
        _raise_for_a_page(run.warnings)
        return [pathlib.Path(result["path"]) for result in run.results]


class _Pages:
    """The pages of one document, drawn by runs of the command over a few of them each. While the
    caller looks at those of one run, the next is at work."""

    def __init__(self, path: Path, options: list[str], mode: str, password: str | None) -> None:
        self._path = path
        self._options = options
        self._mode = mode
        self._password = password

    def between(self, first: int, last: int | None) -> Iterator[Image.Image]:
        with PrivateFolder() as folder:
            state = self._state()
            run: _PageRun | None = self._start(folder, first, _PAGES_OF_THE_FIRST_RUN, last)
            following: _PageRun | None = None
            try:
                while run:
                    for page in run.numbers:
                        picture = run.wait_for(page)
                        if not following and run.has_ended() and run.goes_on():
                            following = self._start_behind(run, state, folder, last)
                        if not picture:
                            break
                        yield self._load(picture, page)
                    run.check()
                    if not following and run.goes_on():
                        following = self._start_behind(run, state, folder, last)
                    run.remove_pictures()
                    run.stop()
                    run, following = following, None
            finally:
                for unfinished in filter(None, (run, following)):
                    unfinished.stop()

    def _state(self) -> tuple[int, ...] | None:
        try:
            status = os.stat(self._path)
        except (OSError, ValueError):
            return None  # The command says why.
        return status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns

    def _start_behind(self, before: _PageRun, state: tuple[int, ...] | None, folder: PrivateFolder,
                      last: int | None) -> _PageRun | None:
        first = before.numbers.stop
        if last is not None and first > last:
            return None
        if self._state() != state:
            raise InputError(f"{os.fspath(self._path)}: somebody changed it while its pages were read", "changed")
        run = self._start(folder, first, before.pages_of_the_next(), last)
        run.may_be_behind_the_end = True
        return run

    def _start(self, folder: PrivateFolder, first: int, count: int, last: int | None) -> _PageRun:
        stop = first + count
        numbers = range(first, stop if last is None else min(stop, last + 1))
        return _PageRun(folder.path, numbers, [*self._options, operand(self._path)], self._password)

    def _load(self, picture: pathlib.Path, page: int) -> Image.Image:
        try:
            with Image.open(picture) as file:
                return file.convert(self._mode)
        except Image.DecompressionBombError as too_large:
            raise ConversionError(f"{os.fspath(self._path)}: page {page}: {too_large}", "too-large", page) from None


class _PageRun(Run):
    """A run over a few pages, whose pictures lie in a folder until they are taken."""

    def __init__(self, folder: pathlib.Path, numbers: range, arguments: list[str], password: str | None) -> None:
        self.numbers = numbers
        self.may_be_behind_the_end = False
        self._folder = folder
        escaped = str(folder).replace("%", "%%")
        super().__init__(["--output", f"{escaped}/%d.png", "--temp-dir", str(folder),
                          "--pages", f"{numbers.start}-{numbers.stop - 1}", *arguments], password)

    def wait_for(self, page: int) -> pathlib.Path | None:
        """The picture of a page, whole; None behind the end of the document."""
        picture = self._picture(page)
        while not picture.exists():
            if not self.wait_for_event():
                break
        if picture.exists():
            return picture
        self._raise_for(page)
        return None

    def goes_on(self) -> bool:
        """Whether the document has each of these pages, and may have more. Waits for the end."""
        self.read_to_the_end()
        return not self.failure() and len(self.results) + len(_pages_of(self.warnings)) == len(self.numbers)

    def pages_of_the_next(self) -> int:
        """How many pages the next run may have if their pictures are as large as these."""
        largest = max((result["bytes"] for result in self.results), default=_BYTES_OF_A_RUN)
        return max(1, min(_MOST_PAGES_OF_A_RUN, _BYTES_OF_A_RUN // largest))

    def check(self) -> None:
        """Waits for the end, and raises if that is no success."""
        self.read_to_the_end()
        failure = self.failure()
        if failure and not (failure.reason == "no-such-page" and self.may_be_behind_the_end):
            raise failure

    def remove_pictures(self) -> None:
        """Of a run that has ended: before, it wants to look at them."""
        for page in self.numbers:
            self._picture(page).unlink(missing_ok=True)

    def _picture(self, page: int) -> pathlib.Path:
        return self._folder / f"{page}.png"

    def _raise_for(self, page: int) -> None:
        failure = self.failure()
        if isinstance(failure, ConversionError) and failure.reason != "timed-out":
            failure.page = page  # None of these pages could be converted.
        self.check()
        _raise_for_a_page([warning for warning in self.warnings if warning.get("page") == page])


def _option(name: str, value: float | str | None) -> list[str]:
    return [] if value is None else [name, str(value)]


def _colors(gray: bool, transparent: bool) -> list[str]:
    return ["--gray"] * gray + ["--transparent"] * transparent


def _range(first: int, last: int | None) -> list[str]:
    whole = first == 1 and last is None
    return [] if whole else ["--pages", f"{first}-{last or ''}"]


def _pages_of(warnings: list[Event]) -> list[Event]:
    return [warning for warning in warnings if "page" in warning]


def _raise_for_a_page(warnings: list[Event]) -> None:
    for warning in _pages_of(warnings):
        raise error(f"{warning['file']}: {warning['message']}", warning["reason"], warning["page"])

"""The functions of the library pdf2image, by pdfconvert: change the import, and nothing else.

    from pdfconvert.pdf2image import convert_from_path

Arguments that cannot be honoured are refused by name, as UsageError: docs/python.md lists them.
"""

from __future__ import annotations

import contextlib
import datetime
import math
import os
import pathlib
import re
import uuid
from collections.abc import Callable, Iterator
from typing import Any, TypeVar

from PIL import Image

from .. import _documents
from .._folder import PrivateFolder
from ..errors import InstallationError, OutputError, PasswordError, PdfConvertError, UsageError
from .exceptions import (PDFInfoNotInstalledError, PDFPageCountError, PDFPopplerTimeoutError,
                         PDFSyntaxError)

__all__ = ["convert_from_bytes", "convert_from_path", "pdfinfo_from_bytes", "pdfinfo_from_path"]

Path = str | os.PathLike[str]
Size = int | tuple[int | None, int | None] | tuple[int] | None
Answer = TypeVar("Answer")

_SUFFIXES = {"ppm": "ppm", "jpeg": "jpg", "jpg": "jpg", "png": "png", "tiff": "tif", "tif": "tif"}
_TRANSPARENT = ("png", "tif")
_FORMATS = {"ppm": "PPM", "jpg": "JPEG", "png": "PNG", "tif": "TIFF"}
_LONGEST_SIDE = 65000  # of a picture, in pixels
_JPEG_QUALITY = 75  # as of pdftoppm
_PAPERS = [("letter", 612.0, 792.0), *((f"A{n}", 72 / 0.0254 * 2 ** (-n / 2 - 0.25),
                                        72 / 0.0254 * 2 ** (-n / 2 + 0.25)) for n in range(7))]
_PERMISSIONS = {"print": "print", "copy": "copy", "modify": "change", "annotate": "addNotes"}
_PDF_DATE = re.compile(r"(?:D:)?(\d{4})(\d\d)?(\d\d)?(\d\d)?(\d\d)?(\d\d)?(?:Z|([+-])(\d\d)'?(\d\d)?)?")


def convert_from_path(
        pdf_path: Path, dpi: float = 200, output_folder: Path | None = None, first_page: int | None = None,
        last_page: int | None = None, fmt: str = "ppm", jpegopt: dict[str, Any] | None = None,
        thread_count: int = 1, userpw: str | None = None, ownerpw: str | None = None, use_cropbox: bool = False,
        strict: bool = False, transparent: bool = False, single_file: bool = False,
        output_file: Any = None, poppler_path: Path | None = None, grayscale: bool = False, size: Size = None,
        paths_only: bool = False, use_pdftocairo: bool = False, timeout: float | None = None,
        hide_annotations: bool = False) -> list[Any]:
    """The pages as a list of pictures or, with `paths_only`, of the paths of their files."""
    suffix = _suffix(fmt)
    transparent = transparent and suffix in _TRANSPARENT
    _refuse(transparent=transparent and grayscale, poppler_path=poppler_path, use_pdftocairo=use_pdftocairo,
            hide_annotations=hide_annotations, paths_only=paths_only and output_folder is None)
    quality = _quality(jpegopt)
    with _exceptions(PDFPageCountError):
        password, info = _opened(pdf_path, userpw, ownerpw, timeout)
    if strict and info.repaired:
        raise PDFSyntaxError(f"{os.fspath(pdf_path)}: it is damaged", "damaged")
    first = max(first_page or 1, 1)
    last = min(last_page or info.pages, info.pages)
    if first > last:
        return []
    drawing = _Drawing(pdf_path, suffix, quality, size, {
        "first": first, "last": first if single_file else last, "password": password, "dpi": dpi,
        "gray": grayscale, "transparent": transparent, "jobs": thread_count, "timeout": _seconds(timeout)})
    with _exceptions(PDFSyntaxError):
        if output_folder is None:
            return drawing.in_memory()
        name = pathlib.Path(output_folder, _name(output_file, single_file))
        paths = drawing.in_files(name, 0 if single_file else len(str(info.pages)))
        return [str(path) for path in paths] if paths_only else [drawing.opened(path) for path in paths]


def convert_from_bytes(pdf_file: bytes, *arguments: Any, **options: Any) -> list[Any]:
    """As convert_from_path, which has the other arguments, for a document that is in memory."""
    return _with_file(pdf_file, lambda path: convert_from_path(path, *arguments, **options))


def pdfinfo_from_path(
        pdf_path: Path, userpw: str | None = None, ownerpw: str | None = None, poppler_path: Path | None = None,
        rawdates: bool = False, timeout: float | None = None, first_page: int | None = None,
        last_page: int | None = None) -> dict[str, Any]:
    """What the document is, under the names that pdfinfo has for it; "Pages" is a number."""
    _refuse(poppler_path=poppler_path)
    with _exceptions(PDFPageCountError):
        _, info = _opened(pdf_path, userpw, ownerpw, timeout)
    names = ("Title", "Subject", "Keywords", "Author", "Creator", "Producer", "CreationDate", "ModDate")
    facts: dict[str, Any] = {name: info.properties[name].strip() for name in names if name in info.properties}
    if not rawdates:
        facts.update({name: _date(facts[name]) for name in ("CreationDate", "ModDate") if name in facts})
    return facts | _sizes(info, first_page, last_page) | {
        "Pages": info.pages, "Encrypted": _encrypted(info.encryption),
        "File size": f"{os.stat(pdf_path).st_size} bytes", "PDF version": info.pdf_version}


def pdfinfo_from_bytes(pdf_bytes: bytes, *arguments: Any, **options: Any) -> dict[str, Any]:
    """As pdfinfo_from_path, which has the other arguments, for a document that is in memory."""
    return _with_file(pdf_bytes, lambda path: pdfinfo_from_path(path, *arguments, **options))


class _Drawing:
    """Pages that are drawn as asked for, and what becomes of their pictures."""

    def __init__(self, path: Path, suffix: str, quality: int, size: Size, options: dict[str, Any]) -> None:
        self._path = path
        self._suffix = suffix
        self._quality: dict[str, Any] = {"quality": quality} if suffix == "jpg" else {}
        self._mode = "L" if options["gray"] else "RGBA" if options["transparent"] else "RGB"
        box, self._exact = _box(size)
        self._options = options if box is None else options | {"size": box}

    def in_memory(self) -> list[Image.Image]:
        if self._suffix == "ppm":
            return [self._labelled(page) for page in self._pages()]
        with PrivateFolder() as folder:
            pictures = [self.opened(path) for path in self.in_files(folder.path / "page", 1)]
            for picture in pictures:
                picture.load()
            return pictures

    def in_files(self, name: pathlib.Path, digits: int) -> list[pathlib.Path]:
        """Files of that name, each with the page's number in so many digits behind it, or none with 0."""
        suffix = "pgm" if self._suffix == "ppm" and self._mode == "L" else self._suffix
        if self._suffix == "ppm" or self._exact:
            return [self._written(page, f"{name}-{number:0{digits}}.{suffix}" if digits else f"{name}.{suffix}")
                    for number, page in enumerate(self._pages(), self._options["first"])]
        escaped = str(name).replace("%", "%%")
        options = {key: value for key, value in self._options.items()
                   if not (key == "dpi" and "size" in self._options)}
        return _documents.save(self._path, f"{escaped}-%0{digits}d.{suffix}" if digits else f"{escaped}.{suffix}",
                               on_exists="overwrite", **options, **self._quality)

    def opened(self, path: pathlib.Path) -> Image.Image:
        """The picture in a file; PNGs of few colours have a palette, which pdftoppm's have not."""
        picture = Image.open(path)
        if picture.mode == self._mode:
            return picture
        with picture:
            return self._labelled(picture.convert(self._mode), str(path))

    def _pages(self) -> Iterator[Image.Image]:
        for page in _documents.pages(self._path, **self._options):
            fits = self._exact is None or page.size == self._exact
            yield page if fits else page.resize(self._exact, Image.Resampling.LANCZOS)

    def _written(self, page: Image.Image, name: str) -> pathlib.Path:
        path = pathlib.Path(name)
        unfinished = path.with_name(f".{path.name}.{uuid.uuid4()}")
        try:
            page.save(unfinished, _FORMATS[self._suffix], **self._quality)
            unfinished.replace(path)
        except OSError as wrong:
            raise OutputError(f"{name}: {wrong.strerror or wrong}", "cannot-write") from wrong
        finally:
            unfinished.unlink(missing_ok=True)
        return path

    def _labelled(self, picture: Image.Image, path: str = "") -> Image.Image:
        picture.format = _FORMATS[self._suffix]
        picture.filename = path
        return picture


def _box(size: Size) -> tuple[tuple[int, int] | None, tuple[int, int] | None]:
    """What pages are to fit into, and the size that they are to have exactly."""
    if isinstance(size, int):
        return (size, size), None
    if size is None or size == (None, None):
        return None, None
    width, height = size[0], size[-1]
    box = (width or _LONGEST_SIDE, height or _LONGEST_SIDE)
    return box, box if width and height and len(size) == 2 else None


def _refuse(**arguments: Any) -> None:
    reasons = {
        "transparent": "gray pages are drawn on white",
        "poppler_path": "nothing of poppler is used; pdfconvert is found by PATH",
        "use_pdftocairo": "nothing of poppler is used",
        "hide_annotations": "annotations are drawn",
        "paths_only": "it needs output_folder",
    }
    for name, value in arguments.items():
        if value:
            raise UsageError(f"{name} cannot be honoured: {reasons[name]}; leave it away", "usage")


def _suffix(fmt: str) -> str:
    suffix = _SUFFIXES.get(fmt.lower().removeprefix("."))
    if suffix is None:
        raise UsageError(f"fmt cannot be honoured: {fmt!r} is not ppm, png, jpeg or tiff", "usage")
    return suffix


def _quality(jpegopt: dict[str, Any] | None) -> int:
    for name, value in (jpegopt or {}).items():
        if name != "quality" and value not in (False, None, "n"):
            raise UsageError(f"jpegopt[{name!r}] cannot be honoured; leave it away", "usage")
    return int((jpegopt or {}).get("quality", _JPEG_QUALITY))


def _name(output_file: Any, single_file: bool) -> str:
    if output_file is None:
        return str(uuid.uuid4())
    if isinstance(output_file, str):
        return output_file if single_file else f"{output_file}0001"
    return str(next(output_file))


def _opened(path: Path, userpw: str | None, ownerpw: str | None,
            timeout: float | None = None) -> tuple[str | None, _documents.Info]:
    """The password that opens the document, and what it is."""
    if userpw is not None and ownerpw is not None:
        with contextlib.suppress(PasswordError):
            return userpw, _documents.info(path, password=userpw, timeout=_seconds(timeout))
    password = userpw if ownerpw is None else ownerpw
    return password, _documents.info(path, password=password, timeout=_seconds(timeout))


def _seconds(timeout: float | None) -> int | None:
    return None if timeout is None else math.ceil(timeout)


@contextlib.contextmanager
def _exceptions(otherwise: type[PdfConvertError]) -> Iterator[None]:
    """Raises what that library raises; wrong usage and results that cannot be written stay what they are."""
    try:
        yield
    except (UsageError, OutputError):
        raise
    except InstallationError as error:
        raise PDFInfoNotInstalledError(str(error), error.reason) from error
    except PdfConvertError as error:
        if error.reason == "timed-out":
            otherwise = PDFPopplerTimeoutError
        raise otherwise(str(error), error.reason, error.page) from error


def _with_file(content: bytes, function: Callable[[Path], Answer]) -> Answer:
    with PrivateFolder(len(content)) as folder:
        path = folder.path / "bytes.pdf"
        try:
            path.write_bytes(content)
        except OSError as wrong:
            raise OutputError(f"the document in memory cannot be stored in {folder.path.parent}: {wrong.strerror}; "
                              "free some space, or name another folder by TMPDIR", "no-temporary-space") from wrong
        try:
            return function(path)
        except PdfConvertError as error:
            error.args = (str(error).replace(str(path), "the document in memory"),)
            raise


def _sizes(info: _documents.Info, first_page: int | None, last_page: int | None) -> dict[str, str]:
    """The size of the first page or, where pages are named, of each of those, as pdfinfo words it."""
    are_named = bool(first_page or last_page)
    first = max(first_page or 1, 1)
    last = min(last_page or first, info.pages) if are_named else 1
    facts: dict[str, str] = {}
    for size in info.page_sizes:
        for page in range(max(first, size.first), min(last, size.last) + 1):
            name = f"Page {page:4} " if are_named else "Page "
            facts[f"{name}size"] = _size(size)
            facts[f"{name}rot"] = str(size.rotation)
    return facts


def _size(size: _documents.PageSize) -> str:
    width, height = (size.width, size.height) if size.rotation % 180 == 0 else (size.height, size.width)
    words = f"{width:g} x {height:g} pts"
    for name, short, long in _PAPERS:
        if abs(min(width, height) - short) < 1 and abs(max(width, height) - long) < 1:
            return f"{words} ({name})"
    return words


def _encrypted(encryption: _documents.Encryption | None) -> str:
    if encryption is None:
        return "no"
    permitted = " ".join(f"{name}:{'yes' if encryption.permissions[permission] else 'no'}"
                         for permission, name in _PERMISSIONS.items())
    method = encryption.method if encryption.method == "RC4" else f"{encryption.method}-{encryption.bits}"
    return f"yes ({permitted} algorithm:{method})"


def _date(raw: str) -> str:
    """As pdfinfo words a date, in the local time; what is none stays as it is."""
    match = _PDF_DATE.match(raw)
    if not match:
        return raw
    year, month, day, hour, minute, second = (
        int(part or default) for part, default in zip(match.groups(), (0, 1, 1, 0, 0, 0)))
    sign, hours, minutes = match.groups()[6:]
    offset = datetime.timedelta(hours=int(hours or 0), minutes=int(minutes or 0)) * (-1 if sign == "-" else 1)
    try:
        moment = datetime.datetime(year, month, day, hour, minute, second,
                                   tzinfo=datetime.timezone(offset)).astimezone()
    except (ValueError, OverflowError):
        return raw
    return moment.strftime("%a %b %e %H:%M:%S %Y %Z")

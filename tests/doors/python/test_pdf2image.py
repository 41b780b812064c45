"""The functions of the library pdf2image, beside what poppler's programs make of the same document."""

import inspect
import itertools
import os
import resource
import subprocess
import tempfile
import types

import pytest
from PIL import Image, ImageChops, ImageStat

import pdfconvert
from conftest import encrypt, folders, make_pdf
from pdfconvert.pdf2image import (convert_from_bytes, convert_from_path, exceptions, pdfinfo_from_bytes,
                                  pdfinfo_from_path)

ARGUMENTS = ["pdf_path", "dpi", "output_folder", "first_page", "last_page", "fmt", "jpegopt", "thread_count", "userpw",
             "ownerpw", "use_cropbox", "strict", "transparent", "single_file", "output_file", "poppler_path",
             "grayscale", "size", "paths_only", "use_pdftocairo", "timeout", "hide_annotations"]
INFO_ARGUMENTS = ["pdf_path", "userpw", "ownerpw", "poppler_path", "rawdates", "timeout", "first_page", "last_page"]


def pdftoppm(path, root, *options):
    subprocess.run(["pdftoppm", *options, path, root], check=True)
    return sorted(root.parent.iterdir())


def pdfinfo(path, *options):
    lines = subprocess.run(["pdfinfo", *options, path], check=True, capture_output=True, text=True).stdout
    return {name: value.strip() for name, _, value in (line.partition(":") for line in lines.splitlines())}


@pytest.fixture
def twelve(tmp_path):
    return make_pdf(tmp_path / "twelve.pdf", range(201, 213),
                    information="/Title( Minutes )/Author(A. N. Other)/CreationDate(D:20240229134501+02'00')")


def test_arguments_are_those_of_that_library_in_their_order():
    assert list(inspect.signature(convert_from_path).parameters) == ARGUMENTS
    assert list(inspect.signature(pdfinfo_from_path).parameters) == INFO_ARGUMENTS


def test_pages_are_pictures_like_those_of_pdftoppm(twelve, tmp_path):
    (tmp_path / "theirs").mkdir()
    theirs = pdftoppm(twelve, tmp_path / "theirs" / "page", "-r", "200")
    ours = convert_from_path(twelve)
    assert len(ours) == len(theirs) == 12
    for our, path in zip(ours, theirs):
        with Image.open(path) as their:
            assert (our.mode, our.format, our.size) == (their.mode, their.format, their.size)
            assert max(ImageStat.Stat(ImageChops.difference(our, their)).mean) < 4


@pytest.mark.parametrize("fmt, gray, option", [
    ("ppm", False, None), ("ppm", True, None), ("png", False, "-png"), ("jpeg", False, "-jpeg"), ("JPG", False, "-jpeg"),
    (".tiff", False, "-tiff")])
def test_files_are_called_and_look_as_those_of_pdftoppm(twelve, tmp_path, fmt, gray, option):
    for folder in ("ours", "theirs"):
        (tmp_path / folder).mkdir()
    theirs = pdftoppm(twelve, tmp_path / "theirs" / "page", *([option] if option else []), *["-gray"] * gray)
    ours = convert_from_path(twelve, output_folder=tmp_path / "ours", fmt=fmt, grayscale=gray,
                             output_file=iter(["page"]))
    assert [picture.filename for picture in ours] == [str(tmp_path / "ours" / path.name) for path in theirs]
    for picture, path in zip(ours, theirs):
        with Image.open(path) as their:
            assert (picture.mode, picture.format) == (their.mode, their.format)
    assert sorted(path.name for path in (tmp_path / "ours").iterdir()) == [path.name for path in theirs]


@pytest.mark.parametrize("fmt", ["ppm", "png", "jpeg", "tiff"])
@pytest.mark.parametrize("in_files", [False, True])
def test_gray_pages_are_gray_in_every_format(twelve, tmp_path, fmt, in_files):
    folder = tmp_path if in_files else None
    pictures = convert_from_path(twelve, fmt=fmt, grayscale=True, last_page=2, output_folder=folder)
    assert [picture.mode for picture in pictures] == ["L", "L"]


@pytest.mark.parametrize("size, options", [
    (300, ["-scale-to", "300"]), ((300,), ["-scale-to", "300"]),
    ((300, None), ["-scale-to-x", "300", "-scale-to-y", "-1"]),
    ((None, 300), ["-scale-to-x", "-1", "-scale-to-y", "300"]),
    ((300, 300), ["-scale-to-x", "300", "-scale-to-y", "300"])])
@pytest.mark.parametrize("fmt", ["ppm", "png"])
def test_sizes_are_those_of_pdftoppm(twelve, tmp_path, size, options, fmt):
    (tmp_path / "theirs").mkdir()
    theirs = pdftoppm(twelve, tmp_path / "theirs" / "page", *options)
    for our, path in zip(convert_from_path(twelve, size=size, fmt=fmt), theirs):
        with Image.open(path) as their:
            assert max(abs(our.width - their.width), abs(our.height - their.height)) <= 1
            assert 300 in our.size


@pytest.mark.parametrize("first, last, expected", [
    (None, None, range(1, 13)), (11, None, [11, 12]), (None, 2, [1, 2]), (0, 2, [1, 2]), (12, 99, [12]), (13, 20, []),
    (3, 2, [])])
def test_ranges_are_cut_to_the_document(twelve, first, last, expected):
    pictures = convert_from_path(twelve, 72, first_page=first, last_page=last)
    assert [picture.width - 200 for picture in pictures] == list(expected)


def test_paths_alone_can_be_had(twelve, tmp_path):
    paths = convert_from_path(twelve, output_folder=str(tmp_path), output_file="50%d", paths_only=True, last_page=2,
                              fmt="png")
    assert paths == [f"{tmp_path}/50%d0001-01.png", f"{tmp_path}/50%d0001-02.png"]
    paths = convert_from_path(twelve, output_folder=str(tmp_path), output_file="cover", paths_only=True,
                              single_file=True, first_page=3)
    assert paths == [f"{tmp_path}/cover.ppm"]
    names = itertools.count()
    assert convert_from_path(twelve, output_folder=tmp_path, output_file=(str(n) for n in names), paths_only=True,
                             single_file=True) == [f"{tmp_path}/0.ppm"]


@pytest.mark.parametrize("fmt", ["ppm", "png"])
def test_files_of_an_earlier_call_are_replaced(twelve, tmp_path, fmt):
    for width in (100, 50):
        [picture] = convert_from_path(twelve, output_folder=tmp_path, output_file="cover", single_file=True, fmt=fmt,
                                      size=(width, None))
        assert picture.width == width
    assert len(list(tmp_path.glob("cover*"))) == 1


def test_a_folder_that_is_not_there_is_an_error_of_the_output(twelve, tmp_path):
    with pytest.raises(pdfconvert.OutputError, match="nowhere"):
        convert_from_path(twelve, output_folder=tmp_path / "nowhere")


def test_the_quality_of_jpegs_is_honoured(twelve, tmp_path):
    sizes = []
    for quality in (10, 75, "95", None):
        [path] = convert_from_path(twelve, output_folder=tmp_path, fmt="jpeg", single_file=True, paths_only=True,
                                   jpegopt=quality and {"quality": quality, "progressive": False})
        with open(path, "rb") as file:
            sizes.append(len(file.read()))
    assert sizes[0] < sizes[1] == sizes[3] < sizes[2]


@pytest.mark.parametrize("arguments", [
    {"transparent": True, "grayscale": True, "fmt": "png"}, {"poppler_path": "/opt/poppler"}, {"use_pdftocairo": True}, {"hide_annotations": True},
    {"paths_only": True}, {"fmt": "gif"}, {"jpegopt": {"progressive": True}}, {"jpegopt": {"optimize": "y"}}])
def test_what_cannot_be_honoured_is_refused_by_name(twelve, arguments):
    with pytest.raises(pdfconvert.UsageError, match=next(iter(arguments))):
        convert_from_path(twelve, **arguments)


def test_what_information_cannot_honour_is_refused_by_name(twelve):
    with pytest.raises(pdfconvert.UsageError, match="poppler_path"):
        pdfinfo_from_path(twelve, poppler_path="/opt")


@pytest.mark.parametrize("first, last", [(None, None), (2, 4), (None, 2), (11, 99), (12, 12)])
def test_sizes_of_pages_are_those_of_pdfinfo(twelve, first, last):
    options = [*(["-f", str(first)] if first else []), *(["-l", str(last)] if last else [])]
    theirs = pdfinfo(twelve, *options)
    ours = pdfinfo_from_path(twelve, first_page=first, last_page=last)
    assert {name: value for name, value in ours.items() if name.startswith("Page ")} == {
        name: value for name, value in theirs.items() if name.startswith("Page ")}


def test_a_first_page_alone_is_the_one_whose_size_is_told(twelve):
    sizes = {name: value for name, value in pdfinfo_from_path(twelve, first_page=3).items() if name.startswith("Page ")}
    assert sizes == {"Page    3 size": "203 x 120 pts", "Page    3 rot": "0"}


@pytest.mark.parametrize("box", ["0 0 595 842", "0 0 842 595", "0 0 612 792", "0 0 595.276 841.89", "0 0 2384 3370",
                                 "10 20 110.5 220.25", "0 0 298 420", "0 0 297 210", "0 0 300 421.4"])
@pytest.mark.parametrize("rotation", [0, 90, 270])
def test_papers_are_called_as_by_pdfinfo(tmp_path, box, rotation):
    path = make_pdf(tmp_path / "paper.pdf", [100])
    path.write_text(path.read_text().replace("[0 0 100 120]", f"[{box}]/Rotate {rotation}"))
    theirs = pdfinfo(path)
    ours = pdfinfo_from_path(path)
    for name in ("Page size", "Page rot"):
        assert ours[name] == theirs[name]


@pytest.mark.parametrize("fmt, option", [("png", "-png"), ("tiff", "-tiff")])
@pytest.mark.parametrize("size", [None, (300, 300)])
def test_transparent_pages_are_on_nothing_as_those_of_pdftocairo(twelve, tmp_path, fmt, option, size):
    (tmp_path / "theirs").mkdir()
    options = ["-scale-to-x", "300", "-scale-to-y", "300"] if size else ["-r", "200"]
    subprocess.run(["pdftocairo", "-transp", option, "-l", "1", *options, twelve, tmp_path / "theirs" / "page"],
                   check=True)
    [path] = (tmp_path / "theirs").iterdir()
    for folder in (None, tmp_path):
        [our] = convert_from_path(twelve, 200, fmt=fmt, transparent=True, last_page=1, size=size, output_folder=folder)
        with Image.open(path) as their:
            assert (our.mode, our.size) == ("RGBA", their.size)
            assert our.getpixel((0, 0))[3] == their.convert("RGBA").getpixel((0, 0))[3] == 0
            assert our.getchannel("A").getextrema() == (0, 255)


@pytest.mark.parametrize("fmt, mode", [("ppm", "RGB"), ("jpeg", "RGB")])
def test_formats_that_know_no_transparency_are_on_white_as_in_that_library(twelve, fmt, mode):
    [picture] = convert_from_path(twelve, 72, fmt=fmt, transparent=True, last_page=1)
    assert (picture.mode, picture.getpixel((0, 0))) == (mode, (255, 255, 255))


def test_the_number_of_threads_is_that_of_pages_drawn_at_once(twelve, tmp_path, command):
    command(f'echo "$@" >> "{tmp_path}/seen"; exec "$real" "$@"')
    assert len(convert_from_path(twelve, thread_count=3)) == 12
    assert "--jobs 3" in (tmp_path / "seen").read_text()


@pytest.mark.parametrize("rawdates", [False, True])
def test_information_is_that_of_pdfinfo(twelve, tmp_path, rawdates, monkeypatch):
    monkeypatch.setenv("TZ", "Europe/Berlin")
    __import__("time").tzset()
    locked = encrypt(twelve, tmp_path / "locked.pdf", "", "stable")
    for path in (twelve, locked):
        theirs = pdfinfo(path, *["-rawdates"] * rawdates)
        ours = pdfinfo_from_path(path, rawdates=rawdates)
        assert ours["Pages"] == 12
        assert {name: str(value) for name, value in ours.items()} == {name: theirs[name] for name in ours}
        assert {"Title", "Author", "CreationDate", "Encrypted", "File size", "PDF version"} < set(ours)
        assert pdfinfo_from_bytes(path.read_bytes(), rawdates=rawdates) == ours


def test_either_password_opens_a_document(twelve, tmp_path):
    path = encrypt(twelve, tmp_path / "secret.pdf", "horse", "stable")
    for passwords in (("horse", None), (None, "stable"), ("horse", "wrong"), ("wrong", "stable")):
        assert len(convert_from_path(path, 20, userpw=passwords[0], ownerpw=passwords[1])) == 12
        assert pdfinfo_from_path(path, *passwords)["Pages"] == 12
    for passwords in ({}, {"userpw": "wrong"}):
        with pytest.raises(exceptions.PDFPageCountError) as caught:
            convert_from_path(path, **passwords)
        assert caught.value.reason == ("wrong-password" if passwords else "no-password")


@pytest.mark.parametrize("content", [b"", b"GIF89a"])
def test_what_is_no_document_has_no_pages_to_count(tmp_path, content):
    before = folders()
    (tmp_path / "wrong.pdf").write_bytes(content)
    with pytest.raises(exceptions.PDFPageCountError, match="wrong.pdf"):
        convert_from_path(tmp_path / "wrong.pdf")
    with pytest.raises(exceptions.PDFPageCountError, match="the document in memory"):
        convert_from_bytes(content)
    with pytest.raises(exceptions.PDFPageCountError, match="missing.pdf"):
        pdfinfo_from_path(tmp_path / "missing.pdf")
    assert folders() <= before


def test_bytes_are_converted_like_a_file(twelve):
    before = folders()
    pictures = convert_from_bytes(twelve.read_bytes(), 72, fmt="png", first_page=2)
    assert [picture.width - 200 for picture in pictures] == list(range(2, 13))
    assert {(picture.mode, picture.format) for picture in pictures} == {("RGB", "PNG")}
    assert folders() <= before


def test_bytes_lie_on_the_disk_where_memory_has_no_room_for_them(twelve, tmp_path, monkeypatch):
    content = twelve.read_bytes()
    free = os.statvfs("/dev/shm")
    monkeypatch.setattr(os, "statvfs", lambda path: types.SimpleNamespace(
        f_bavail=((256 << 20) + len(content) - 1) // free.f_frsize, f_frsize=free.f_frsize))
    monkeypatch.setattr(tempfile, "tempdir", str(tmp_path))
    seen = []
    monkeypatch.setattr("pdfconvert.pdf2image.convert_from_path", seen.append)
    convert_from_bytes(content)
    assert seen[0].parent.parent == tmp_path
    assert not seen[0].parent.exists()


def test_bytes_that_nothing_has_room_for_are_an_error_that_says_what_to_do(twelve):
    before = folders()
    limit = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, limit[1]))
    try:
        with pytest.raises(pdfconvert.OutputError, match="the document in memory cannot be stored.*TMPDIR") as caught:
            pdfinfo_from_bytes(twelve.read_bytes())
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limit)
    assert caught.value.reason == "no-temporary-space"
    assert folders() <= before


def test_a_folder_for_temporary_files_that_is_not_there_is_named(twelve, monkeypatch):
    monkeypatch.setattr(os, "access", lambda *arguments: False)
    monkeypatch.setattr(tempfile, "tempdir", "/nowhere")
    with pytest.raises(pdfconvert.OutputError, match="/nowhere.*TMPDIR") as caught:
        pdfinfo_from_bytes(twelve.read_bytes())
    assert caught.value.reason == "no-temporary-folder"


def test_a_damaged_document_is_an_error_when_strict(tmp_path):
    path = make_pdf(tmp_path / "damaged.pdf", (101, 102), damaged=True)
    assert len(convert_from_path(path)) == 2
    with pytest.raises(exceptions.PDFSyntaxError) as caught:
        convert_from_path(path, strict=True)
    assert caught.value.reason == "damaged"


@pytest.mark.parametrize("fmt", ["ppm", "png"])
def test_a_page_that_cannot_be_drawn_is_an_error_with_its_number(tmp_path, fmt):
    path = make_pdf(tmp_path / "three.pdf", (101, 102, 103), outside=[2])
    with pytest.raises(exceptions.PDFSyntaxError) as caught:
        convert_from_path(path, fmt=fmt)
    assert caught.value.page == 2


def test_a_document_that_takes_too_long_is_an_error(twelve, command):
    command('echo \'{"version":1,"event":"failed","file":"a","reason":"timed-out","message":"took too long"}\' >&2; '
            'echo "$@" | grep -qe "--timeout 2" && exit 124')
    with pytest.raises(exceptions.PDFPopplerTimeoutError, match="took too long"):
        convert_from_path(twelve, timeout=1.5)


def test_without_the_command_the_error_says_so(twelve, monkeypatch):
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(exceptions.PDFInfoNotInstalledError, match="pdfconvert"):
        pdfinfo_from_path(twelve)


def test_all_exceptions_have_one_base():
    for name in ("PopplerNotInstalledError", "PDFInfoNotInstalledError", "PDFPageCountError", "PDFSyntaxError",
                 "PDFPopplerTimeoutError"):
        assert issubclass(getattr(exceptions, name), pdfconvert.PdfConvertError)

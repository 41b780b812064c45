"""Pages as pictures: which, how they look, and what is left of making them."""

import gc
import itertools
import os
import pathlib
import pickle
import signal
import stat
import subprocess
import sys

import pytest
from PIL import Image, ImageChops

import pdfconvert
from conftest import MARK, encrypt, folders, make_pdf, marked_processes


def numbers(pictures):
    return [picture.width - 100 for picture in pictures]


def new_folder(before):
    [folder] = folders() - before
    return folder


def test_all_pages_come_in_their_order(twenty):
    assert numbers(pdfconvert.pages(twenty, dpi=72)) == list(range(1, 21))


@pytest.mark.parametrize("count", [1, 7, 8, 9, 40, 41])
def test_a_document_ends_wherever_a_run_ends(tmp_path, count):
    path = make_pdf(tmp_path / "some.pdf", range(101, 101 + count))
    assert numbers(pdfconvert.pages(path, dpi=72)) == list(range(1, count + 1))


@pytest.mark.parametrize("first, last, expected", [
    (20, None, [20]), (3, 3, [3]), (2, 12, range(2, 13)), (5, 12, range(5, 13)), (17, 99, range(17, 21))])
def test_a_range_is_cut_to_the_document(twenty, first, last, expected):
    assert numbers(pdfconvert.pages(twenty, dpi=72, first=first, last=last)) == list(expected)


@pytest.mark.parametrize("first, last, reason", [(21, None, "no-such-page"), (0, None, "usage"), (3, 2, "usage")])
def test_a_range_without_pages_is_refused(twenty, first, last, reason):
    with pytest.raises(pdfconvert.UsageError) as caught:
        list(pdfconvert.pages(twenty, first=first, last=last))
    assert caught.value.reason == reason


def test_pictures_show_the_page(twenty, tmp_path):
    [page] = pdfconvert.pages(twenty, dpi=72, last=1)
    [path] = pdfconvert.save(twenty, tmp_path / "page.png", dpi=72, last=1)
    with Image.open(path) as saved:
        assert page.mode == "RGB"
        assert ImageChops.difference(page, saved.convert("RGB")).getbbox() is None
    assert page.getpixel((20, 100)) == (255, 0, 0)


def test_gray_pages_and_pages_of_a_size(twenty):
    assert {page.mode for page in pdfconvert.pages(twenty, gray=True)} == {"L"}
    assert [page.height for page in pdfconvert.pages(twenty, size=(1000, 240))] == [240] * 20
    assert numbers(pdfconvert.pages(twenty, dpi=72.0, jobs=1, timeout=60)) == list(range(1, 21))


def test_encrypted_pages_want_their_password(secret):
    assert numbers(pdfconvert.pages(secret, dpi=72, password="horse")) == list(range(1, 21))
    for password, reason in ((None, "no-password"), ("donkey", "wrong-password")):
        with pytest.raises(pdfconvert.PasswordError, match="secret.pdf") as caught:
            next(pdfconvert.pages(secret, password=password))
        assert caught.value.reason == reason
        assert "--" not in str(caught.value), "options of the command are nothing that a caller can give"


@pytest.mark.parametrize("password", ["Zürich ", "%d '$x'", "\t€", ""])
def test_passwords_are_taken_as_they_are(twenty, tmp_path, password):
    path = encrypt(twenty, tmp_path / "odd.pdf", password, "another")
    assert pdfconvert.info(path, password=password).pages == 20


def test_a_password_of_two_lines_is_refused(secret):
    with pytest.raises(pdfconvert.UsageError, match="line feed"):
        pdfconvert.info(secret, password="horse\n")


def test_a_password_is_in_no_argument_and_no_variable(secret, tmp_path, command):
    command(f'tr "\\0" "\\n" < /proc/$$/cmdline >> "{tmp_path}/seen"; env >> "{tmp_path}/seen"; exec "$real" "$@"')
    assert len(list(pdfconvert.pages(secret, password="horse"))) == 20
    pdfconvert.info(secret, password="horse")
    seen = (tmp_path / "seen").read_text()
    assert "--password-fd" in seen
    assert "horse" not in seen


def test_a_page_that_cannot_be_drawn_is_named_and_the_others_can_be_had(tmp_path):
    path = make_pdf(tmp_path / "three.pdf", (101, 102, 103), outside=[2])
    made = []
    with pytest.raises(pdfconvert.ConversionError, match="three.pdf: page 2") as caught:
        made.extend(numbers([page]) for page in pdfconvert.pages(path, dpi=72))
    assert (caught.value.page, caught.value.reason) == (2, "cannot-render")
    assert made == [[1]]
    assert numbers(pdfconvert.pages(path, dpi=72, first=3)) == [3]


def test_a_page_behind_a_whole_run_that_cannot_be_drawn_is_named(tmp_path):
    path = make_pdf(tmp_path / "ten.pdf", range(101, 111), outside=[9, 10])
    pages = pdfconvert.pages(path, dpi=72)
    assert numbers(itertools.islice(pages, 8)) == list(range(1, 9))
    with pytest.raises(pdfconvert.ConversionError) as caught:
        next(pages)
    assert caught.value.page == 9


def test_a_picture_too_large_for_pillow_is_told(twenty, monkeypatch):
    monkeypatch.setattr(Image, "MAX_IMAGE_PIXELS", 50)
    with pytest.raises(pdfconvert.ConversionError) as caught:
        list(pdfconvert.pages(twenty, first=2))
    assert (caught.value.page, caught.value.reason) == (2, "too-large")


def test_a_damaged_document_is_read_as_far_as_it_goes(tmp_path):
    path = make_pdf(tmp_path / "damaged.pdf", (101, 102), damaged=True)
    assert numbers(pdfconvert.pages(path, dpi=72)) == [1, 2]
    assert pdfconvert.info(path).repaired


@pytest.mark.parametrize("content, reason", [(b"", "empty"), (b"GIF89a", "not-a-pdf"), (None, "not-found")])
@pytest.mark.parametrize("function", [lambda path: list(pdfconvert.pages(path)), pdfconvert.text, pdfconvert.info])
def test_what_is_no_document_is_an_error_that_names_it(tmp_path, content, reason, function):
    path = tmp_path / "wrong.pdf"
    if content is not None:
        path.write_bytes(content)
    with pytest.raises(pdfconvert.InputError, match="wrong.pdf") as caught:
        function(path)
    assert (caught.value.reason, caught.value.page) == (reason, None)


def test_a_document_that_changes_between_pages_is_an_error(twenty):
    pages = pdfconvert.pages(twenty)
    next(pages)
    make_pdf(twenty, (150,) * 20)
    with pytest.raises(pdfconvert.InputError) as caught:
        list(pages)
    assert caught.value.reason == "changed"


@pytest.mark.parametrize("name", ["-o.pdf", "report", "50%d.pdf", "Ωμέγα.pdf", "-"])
def test_any_name_is_a_document(twenty, tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    twenty.rename(name)
    assert numbers(pdfconvert.pages(name, dpi=72)) == list(range(1, 21))
    assert pdfconvert.info(name).pages == 20


@pytest.mark.parametrize("name", ["a\0b", b"\xff.pdf".decode(errors="surrogateescape")])
def test_a_name_that_the_command_cannot_be_given_is_refused(name):
    with pytest.raises(pdfconvert.UsageError):
        list(pdfconvert.pages(name))


def test_without_the_command_the_error_says_so(twenty, monkeypatch):
    monkeypatch.setenv("PATH", "/nowhere")
    with pytest.raises(pdfconvert.InstallationError, match="not installed"):
        list(pdfconvert.pages(twenty))


def test_a_command_that_is_killed_is_an_error(twenty, command):
    command("kill -9 $$")
    with pytest.raises(pdfconvert.PdfConvertError, match="signal 9"):
        list(pdfconvert.pages(twenty))


def test_pictures_wait_in_a_folder_that_nobody_else_can_read(twenty):
    before = folders()
    pages = pdfconvert.pages(twenty)
    next(pages)
    assert stat.S_IMODE(new_folder(before).stat().st_mode) == 0o700
    pages.close()
    assert folders() <= before


def test_however_long_a_document_is_few_pictures_wait(tmp_path):
    path = make_pdf(tmp_path / "long.pdf", (100,) * 150)
    before = folders()
    waiting = [len(list(new_folder(before).glob("*.png"))) for _ in pdfconvert.pages(path)]
    assert len(waiting) == 150
    assert 8 < max(waiting) <= 64
    assert folders() <= before


def test_few_pictures_wait_when_they_are_large(twenty, monkeypatch):
    [page] = pdfconvert.save(twenty, twenty.with_suffix(".png"), last=1)
    monkeypatch.setattr("pdfconvert._documents._BYTES_OF_A_RUN", 2 * page.stat().st_size)
    before = folders()
    waiting = [len(list(new_folder(before).glob("*.png"))) for _ in pdfconvert.pages(twenty)]
    assert len(waiting) == 20
    assert max(waiting[8:]) <= 4


@pytest.mark.parametrize("taken", [0, 1, 8, 9, 20])
def test_closing_early_leaves_no_process_and_no_file(twenty, taken):
    before = folders()
    pages = pdfconvert.pages(twenty, dpi=300)
    assert len(list(itertools.islice(pages, taken))) == taken
    pages.close()
    assert marked_processes(os.environ[MARK]) == []
    assert folders() <= before


def test_forgetting_the_generator_is_closing_it(twenty):
    before = folders()
    next(pdfconvert.pages(twenty))
    gc.collect()
    assert marked_processes(os.environ[MARK]) == []
    assert folders() <= before


def test_an_error_of_the_caller_leaves_nothing(twenty):
    before = folders()
    with pytest.raises(ZeroDivisionError):
        for page in pdfconvert.pages(twenty):
            page.width / 0
    assert marked_processes(os.environ[MARK]) == []
    assert folders() <= before


def script(text, *arguments):
    return subprocess.Popen([sys.executable, "-c", text, *arguments], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, text=True)


OPEN = "import os, sys, pdfconvert; pages = pdfconvert.pages(sys.argv[1], dpi=300); next(pages);"


def test_an_interpreter_that_ends_in_between_leaves_nothing(twenty):
    before = folders()
    with script(OPEN + "print('begun'); sys.exit(3)", twenty) as process:
        assert process.stdout.read() == "begun\n"
    assert process.returncode == 3
    assert folders() <= before


def test_what_a_killed_interpreter_left_is_removed_by_the_next(twenty):
    before = folders()
    with script(OPEN + "print('begun', flush=True); sys.stdin.read()", twenty) as process:
        assert process.stdout.readline() == "begun\n"
        left = new_folder(before)
        os.utime(left, (0, 0))
        next(pdfconvert.pages(twenty))
        assert left.exists(), "a folder that is in use was removed"
        process.send_signal(signal.SIGKILL)
    while marked_processes(os.environ[MARK]):
        pass  # The command that it had started comes to its end.
    os.utime(left, (0, 0))
    next(pdfconvert.pages(twenty))
    assert not left.exists()


def test_a_forked_process_that_ends_removes_nothing(twenty):
    with script(OPEN + "\nif os.fork():\n    os.wait()\n    print(len(list(pages)))", twenty) as process:
        assert process.stdout.read() == "19\n"


def test_where_shared_memory_is_small_the_disk_is_taken(twenty, tmp_path, monkeypatch):
    small = os.statvfs_result((4096, 4096, 100, 100, 100, 100, 100, 100, 0, 255))
    monkeypatch.setattr(os, "statvfs", lambda path: small)
    monkeypatch.setattr("tempfile.tempdir", str(tmp_path))
    pages = pdfconvert.pages(twenty)
    next(pages)
    assert len(list(tmp_path.glob("pdfconvert-python-*"))) == 1
    pages.close()
    assert list(tmp_path.glob("pdfconvert-python-*")) == []


def test_text_ends_each_page_with_a_form_feed(twenty, secret):
    pages = pdfconvert.text(twenty).split("\f")
    assert [page.strip() for page in pages] == [f"Page {number}" for number in range(1, 21)] + [""]
    assert pdfconvert.text(secret, first=2, last=2, password="horse").strip() == "Page 2"


def test_info_tells_what_a_document_is(tmp_path):
    path = make_pdf(tmp_path / "titled.pdf", (100,), information="/Title(Minutes)")
    assert pdfconvert.info(path) == pdfconvert.Info(1, "1.4", False, {"Title": "Minutes"}, None,
                                                    [pdfconvert.PageSize(1, 1, 100, 120, 0)])
    encryption = pdfconvert.info(encrypt(path, tmp_path / "locked.pdf", "", "stable")).encryption
    assert (encryption.method, encryption.bits, encryption.opened_with) == ("AES", 256, "empty")
    assert encryption.permissions["print"]


def test_transparent_pages_are_on_nothing(twenty, tmp_path):
    [page] = pdfconvert.pages(twenty, dpi=72, last=1, transparent=True)
    assert (page.mode, page.getpixel((0, 0)), page.getpixel((20, 100))) == ("RGBA", (0, 0, 0, 0), (255, 0, 0, 255))
    [path] = pdfconvert.save(twenty, tmp_path / "page.webp", dpi=72, last=1, transparent=True)
    with Image.open(path) as picture:
        assert picture.convert("RGBA").getpixel((0, 0))[3] == 0


def test_save_numbers_what_is_there_unless_told_otherwise(twenty, tmp_path):
    output = tmp_path / "%d.jpg"
    assert pdfconvert.save(twenty, output, last=2) == [tmp_path / "1.jpg", tmp_path / "2.jpg"]
    assert pdfconvert.save(twenty, output, last=1) == [tmp_path / "1(2).jpg"]
    assert pdfconvert.save(twenty, output, last=1, quality=10, on_exists="overwrite") == [tmp_path / "1.jpg"]
    with pytest.raises(pdfconvert.OutputError) as caught:
        pdfconvert.save(twenty, output, last=1, on_exists="fail")
    assert caught.value.reason == "exists"


def test_save_makes_copies_without_encryption(secret, tmp_path):
    [path] = pdfconvert.save(secret, tmp_path / "open.pdf", password="horse")
    assert (pdfconvert.info(path).pages, pdfconvert.info(path).encryption) == (20, None)
    [part] = pdfconvert.save(secret, tmp_path / "part.pdf", first=2, last=4, password="horse")
    assert (pdfconvert.info(part).pages, pdfconvert.info(part).encryption) == (3, None)


def test_save_names_wrong_usage_in_the_words_of_the_command(twenty, tmp_path):
    with pytest.raises(pdfconvert.UsageError, match="--resolution changes nothing of txt"):
        pdfconvert.save(twenty, tmp_path / "text.txt", dpi=100)


def test_save_names_a_page_that_could_not_be_converted(tmp_path):
    path = make_pdf(tmp_path / "two.pdf", (100, 100), outside=[1])
    with pytest.raises(pdfconvert.ConversionError) as caught:
        pdfconvert.save(path, tmp_path / "%d.png")
    assert caught.value.page == 1
    assert (tmp_path / "2.png").exists()


def test_errors_go_from_process_to_process():
    error = pickle.loads(pickle.dumps(pdfconvert.ConversionError("a page", "cannot-render", 7)))
    assert (type(error), str(error), error.reason, error.page) == (
        pdfconvert.ConversionError, "a page", "cannot-render", 7)


def test_every_reason_of_the_command_has_a_class():
    page = (pathlib.Path(__file__).resolve().parents[3] / "docs/command.md").read_text()
    reasons = page.partition("| reason | meaning |")[2].replace("`", "")
    for reason in ("not-found", "no-password", "exists", "cannot-render", "timed-out", "unconfined"):
        assert reason in reasons
        assert type(pdfconvert.errors.error("", reason)) is not pdfconvert.PdfConvertError

"""Documents that the tests make, and what a test may not leave behind."""

import os
import pathlib
import shutil
import subprocess
import sys
import uuid

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[3]
MARK = "PDFCONVERT_TEST_MARK"

sys.path.insert(0, str(ROOT / "python"))
sys.dont_write_bytecode = True
os.environ["PYTHONPATH"] = str(ROOT / "python")
os.environ["PYTHONDONTWRITEBYTECODE"] = "1"
if "PDFCONVERT" in os.environ:
    os.environ["PATH"] = os.pathsep.join([os.path.dirname(os.environ["PDFCONVERT"]), os.environ["PATH"]])
os.environ.pop("PDFCONVERT_PASSWORD", None)


def make_pdf(path, widths, outside=(), information="", damaged=False):
    """A PDF with a page for each width, all 120 points high. Those `outside` cannot be drawn; of a
    damaged one the table is wrong."""
    first = 5
    kids = " ".join(f"{first + 2 * index} 0 R" for index in range(len(widths)))
    objects = ["<</Type/Catalog/Pages 2 0 R>>", f"<</Type/Pages/Kids[{kids}]/Count {len(widths)}>>",
               "<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>", f"<<{information}>>"]
    for number, width in enumerate(widths, 1):
        crop = "/CropBox[900 900 950 950]" if number in outside else ""
        content = f"1 0 0 rg 10 10 30 30 re f 0 g BT /F 20 Tf 10 60 Td (Page {number}) Tj ET"
        objects.append(f"<</Type/Page/Parent 2 0 R/MediaBox[0 0 {width} 120]{crop}"
                       f"/Contents {first + 2 * number - 1} 0 R/Resources<</Font<</F 3 0 R>>>>>>")
        objects.append(f"<</Length {len(content)}>>\nstream\n{content}\nendstream")
    written = "%PDF-1.4\n"
    table = "0000000000 65535 f \n"
    for number, body in enumerate(objects, 1):
        table += f"{len(written) + (17 if damaged else 0):010} 00000 n \n"
        written += f"{number} 0 obj\n{body}\nendobj\n"
    path.write_text(f"{written}xref\n0 {len(objects) + 1}\n{table}trailer<</Size {len(objects) + 1}/Root 1 0 R"
                    f"/Info 4 0 R>>\nstartxref\n{len(written)}\n%%EOF\n")
    return path


def encrypt(path, encrypted, user, owner):
    subprocess.run(["qpdf", "--encrypt", user, owner, "256", "--", path, encrypted], check=True)
    return encrypted


@pytest.fixture
def twenty(tmp_path):
    """A document whose page n is 100 + n points wide, which tells pages apart."""
    return make_pdf(tmp_path / "twenty.pdf", range(101, 121))


@pytest.fixture
def secret(twenty, tmp_path):
    return encrypt(twenty, tmp_path / "secret.pdf", "horse", "stable")


@pytest.fixture
def command(tmp_path, monkeypatch):
    """Puts a script into the place of the command; "$real" in it is the command itself."""
    def put(script):
        real = shutil.which("pdfconvert")
        folder = tmp_path / "programs"
        folder.mkdir()
        (folder / "pdfconvert").write_text(f"#!/bin/bash\nreal='{real}'\n{script}\n")
        (folder / "pdfconvert").chmod(0o755)
        monkeypatch.setenv("PATH", f"{folder}:{os.environ['PATH']}")
    return put


def folders():
    """Private folders for pictures, of whatever process."""
    parents = {"/dev/shm", os.environ.get("TMPDIR", "/tmp")}
    return {folder for parent in parents for folder in pathlib.Path(parent).glob("pdfconvert-python-*")}


@pytest.fixture(autouse=True)
def nothing_is_left(monkeypatch):
    """Fails the test after which a process of it still runs."""
    mark = uuid.uuid4().hex
    monkeypatch.setenv(MARK, mark)
    yield
    assert marked_processes(mark) == []


def marked_processes(mark):
    """The processes, but this one, that a test has started."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            variables = (process / "environ").read_bytes()
            line = (process / "cmdline").read_bytes()
        except OSError:
            continue  # It has ended, or is somebody else's.
        if f"{MARK}={mark}".encode() in variables and int(process.name) != os.getpid():
            found.append(line.replace(b"\0", b" ").decode())
    return found

"""What docs/python.md shows, run as it stands there, and its example."""

import re
import subprocess
import sys

import pytest
from PIL import Image

from conftest import ROOT, encrypt, make_pdf


def test_the_code_of_the_page_does_what_the_page_says(twenty, secret, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    twenty.rename("report.pdf")
    blocks = re.findall(r"^```py\n(.*?)^```$", (ROOT / "docs/python.md").read_text(), re.M | re.S)
    assert len(blocks) == 3
    names = {}
    for block in blocks:
        exec(compile(block, "docs/python.md", "exec"), names)
    assert len(list(tmp_path.glob("page-*.jpg"))) == len(list(tmp_path.glob("pages/*.png"))) == 20
    assert (tmp_path / "open.pdf").exists()
    odd = make_pdf(tmp_path / "odd.pdf", range(101, 113), outside=[2, 9, 12])
    assert len(list(names["drawable"](odd))) == 9


@pytest.fixture
def example(tmp_path):
    def run(*arguments):
        program = ROOT / "examples/python/contact_sheet.py"
        return subprocess.run([sys.executable, program, *arguments], capture_output=True, text=True, check=False)
    return run


def test_the_example_makes_a_sheet_of_all_pages(twenty, secret, tmp_path, example):
    assert example(twenty, tmp_path / "sheet.png").returncode == 0
    with Image.open(tmp_path / "sheet.png") as sheet:
        assert sheet.size == (800, 1000)
        assert sheet.getpixel((100, 100)) != sheet.getpixel((1, 1)) != sheet.getpixel((700, 900))
    (tmp_path / "password").write_text("horse\n")
    assert example(secret, tmp_path / "secret.png", tmp_path / "password").returncode == 0


def test_the_example_tells_its_errors(tmp_path, example):
    path = encrypt(make_pdf(tmp_path / "a.pdf", [100]), tmp_path / "locked.pdf", "horse", "stable")
    outcome = example(path, tmp_path / "sheet.png")
    assert (outcome.returncode, outcome.stdout) == (2, "")
    assert "locked.pdf" in outcome.stderr and "name a file with its password" in outcome.stderr
    assert "not-found" in example(tmp_path / "none.pdf", tmp_path / "sheet.png").stderr

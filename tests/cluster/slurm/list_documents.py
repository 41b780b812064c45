"""Makes the documents that the cluster converts: sound, encrypted and broken ones, no two alike."""

import collections
import concurrent.futures
import pathlib
import subprocess

from pdf import Pdf, packed

ROOT, PAGES, FONT, FIRST_PAGE = 1, 2, 3, 4
PASSWORD, OTHER_PASSWORD = "pass word", "another"

# What becomes of a document of each kind: a reason of failures, or None where it is converted.
REASONS = {
    "plain": None, "locked": None, "owned": None, "mended": None,
    "wrong": "wrong-password", "secret": "no-password",
    "cut": "damaged", "text": "not-a-pdf", "empty": "empty", "missing": "not-found",
}
# As often as they are named.
KINDS = ["plain"] * 10 + ["locked"] * 4 + ["owned", "mended", "wrong", "secret", "cut"]
RARE_KINDS = ["text", "empty", "missing"]

# Bytes: without the place of its table a document can be mended, without its trailer not.
ENDS_LOST = {"mended": 12, "cut": 40}

ENCRYPTIONS = [["256"], ["128", "--use-aes=y"], ["128", "--use-aes=n"], ["40"]]

Document = collections.namedtuple("Document", "path kind password")


def kind_of(number):
    kinds = KINDS + [RARE_KINDS[number // 20 % 3]]
    return kinds[number % 20]


def pages_of(number):
    return 1 + number * 4 % 9


def pdf_of(number):
    """A document whose pages say its number and their own."""
    pages = pages_of(number)
    pdf = Pdf()
    kids = " ".join(f"{FIRST_PAGE + 2 * page} 0 R" for page in range(pages))
    pdf.set(ROOT, f"<</Type/Catalog/Pages {PAGES} 0 R>>")
    pdf.set(PAGES, f"<</Type/Pages/Kids[{kids}]/Count {pages}/MediaBox[0 0 200 200]"
                   f"/Resources<</Font<</F {FONT} 0 R>>>>>>")
    pdf.set(FONT, "<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>")
    for page in range(pages):
        own = FIRST_PAGE + 2 * page
        pdf.set(own, f"<</Type/Page/Parent {PAGES} 0 R/Contents {own + 1} 0 R>>")
        pdf.set(own + 1, packed(f"BT /F 24 Tf 20 150 Td (No. {number}) Tj 0 -40 Td (Page {page + 1}) Tj"
                                f" ET 0 0 1 rg 20 20 {number % 160} {10 + page * 5} re f"))
    return pdf.with_table()


def encrypt(path, number, user):
    plain = path.with_suffix(".plain")
    path.rename(plain)
    weak = ["--allow-weak-crypto"]
    subprocess.run(["qpdf", *weak, "--encrypt", user, "owner", *ENCRYPTIONS[number // 20 % 4], "--",
                    plain, path], check=True)
    plain.unlink()


def make(folder, number):
    kind = kind_of(number)
    path = folder / f"{number % 7}" / f"{kind} {number:04} ä.pdf"
    if kind == "empty":
        path.touch()
    elif kind == "text":
        path.write_text(f"The text {number}\n")
    elif kind != "missing":
        path.write_bytes(pdf_of(number))
    if kind in ENDS_LOST:
        path.write_bytes(path.read_bytes()[:-ENDS_LOST[kind]])
    if kind in ("locked", "wrong", "secret"):
        encrypt(path, number, PASSWORD)
    if kind == "owned":
        encrypt(path, number, "")
    password = {"locked": PASSWORD, "wrong": OTHER_PASSWORD}.get(kind)
    return Document(str(path), kind, password)


def make_all(folder, count):
    folder = pathlib.Path(folder)
    for below in range(7):
        (folder / f"{below}").mkdir(parents=True)
    with concurrent.futures.ThreadPoolExecutor() as pool:
        return list(pool.map(lambda number: make(folder, number), range(count)))


def write_lists(documents, list_file, password_map):
    list_file.write_text("".join(f"{document.path}\n" for document in documents))
    password_map.write_text("".join(f"{document.path}\t{document.password}\n"
                                    for document in documents if document.password))

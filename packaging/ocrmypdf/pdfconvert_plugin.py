"""Has pdfconvert draw the pages for OCRmyPDF: ocrmypdf --plugin pdfconvert_plugin.py IN OUT"""

import io
import os
import re
import subprocess

import pikepdf
from ocrmypdf import hookimpl
from ocrmypdf.exceptions import BadArgsError, MissingDependencyError, SubprocessOutputError
from PIL import Image

# What Ghostscript calls the kinds of pictures: the option of pdfconvert, and what Pillow makes of that.
DEVICES = {
    "pngmono": (["--gray"], lambda image: image.convert("L").convert("1", dither=Image.Dither.NONE)),
    "pnggray": (["--gray"], lambda image: image.convert("L")),
    "png256": ([], lambda image: image.convert("RGB").convert("P", palette=Image.Palette.ADAPTIVE)),
    "png16m": ([], lambda image: image.convert("RGB")),
    "jpeggray": (["--gray"], lambda image: image.convert("L")),
    "jpeg": ([], lambda image: image.convert("RGB")),
}


@hookimpl
def check_options(options):
    if options.remove_vectors:
        raise BadArgsError("pdfconvert draws all of a page: leave out --remove-vectors, or the plugin")
    try:
        version = subprocess.run(["pdfconvert", "--version"], capture_output=True, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        raise MissingDependencyError(f"pdfconvert cannot be run: {error}; install the package pdfconvert") from error
    if not re.match(r"pdfconvert \d", version):
        raise MissingDependencyError("There is another program that is called pdfconvert")


def as_media_box(document, page):
    """The document with the page as large as its media box, or nothing if it already is.

    OCRmyPDF lays the text over the media box, and pdfconvert draws the crop box. What that hides stays hidden.
    """
    if list(page.cropbox) == list(page.mediabox):
        return b""
    left, bottom, right, top = (float(edge) for edge in page.cropbox)
    page.contents_add(f"{left:f} {bottom:f} {right - left:f} {top - bottom:f} re W n\n".encode(), prepend=True)
    page.cropbox = page.mediabox
    changed = io.BytesIO()
    document.save(changed)
    return changed.getvalue()


def draw(input_file, pageno, dpi, options):
    with pikepdf.open(input_file) as document:
        page = document.pages[pageno - 1]
        # pdfconvert does not heed the unit, which OCRmyPDF leaves to who draws.
        dpi *= float(page.obj.get("/UserUnit", 1))
        changed = as_media_box(document, page)
    source = "-" if changed else os.fspath(input_file)
    command = ["pdfconvert", source, "-o", "-", "-f", "png", "--pages", str(pageno), "-r", f"{dpi:.4f}",
               "--require-sandbox", "--strict", "--no-input", "--quiet", "--jobs", "1", *options]
    done = subprocess.run(command, input=changed, capture_output=True, check=False)
    if done.returncode != 0:
        message = done.stderr.decode(errors="replace").strip()
        raise SubprocessOutputError(f"Page {pageno} cannot be drawn. {message}")
    return Image.open(io.BytesIO(done.stdout))


@hookimpl
def rasterize_pdf_page(input_file, output_file, raster_device, raster_dpi, pageno, page_dpi, rotation, filter_vector):
    if raster_device not in DEVICES:
        raise SubprocessOutputError(f"pdfconvert draws no '{raster_device}', only {', '.join(DEVICES)}")
    if filter_vector:
        raise SubprocessOutputError("pdfconvert draws all of a page, vectors too")
    if not raster_dpi.is_square:
        raise SubprocessOutputError(f"pdfconvert draws at one resolution, not at {raster_dpi}")
    options, convert = DEVICES[raster_device]
    dpi = page_dpi or raster_dpi
    rotation = rotation or 0
    if rotation % 180 == 90:
        dpi = dpi.flip_axis()
    with draw(input_file, pageno, raster_dpi.x, options) as page:
        # Pillow turns against the clock, which takes back a rotation that is given with it.
        convert(page).rotate(rotation, expand=True).save(output_file, dpi=(float(dpi.x), float(dpi.y)))
    return output_file

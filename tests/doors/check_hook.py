#!/usr/bin/python3
"""Whether the plugin for OCRmyPDF draws what OCRmyPDF's own way with Ghostscript does:
check_hook.py PLUGIN DOCUMENT, in a folder for the pictures.
"""

import importlib.util
import pathlib
import sys

import pikepdf
from ocrmypdf.builtin_plugins import ghostscript
from ocrmypdf.exceptions import SubprocessOutputError
from ocrmypdf.helpers import Resolution
from PIL import Image, ImageChops, ImageStat

spec = importlib.util.spec_from_file_location("plugin", sys.argv[1])
plugin = importlib.util.module_from_spec(spec)
spec.loader.exec_module(plugin)


def arguments(document, device="png16m", rotation=0, page_dpi=None, **others):
    return {"input_file": document, "raster_device": device, "raster_dpi": Resolution(75.0, 75.0), "pageno": 2,
            "page_dpi": page_dpi, "rotation": rotation, "filter_vector": False} | others


def picture(hook, name, request):
    place = pathlib.Path(name + (".jpg" if "jpeg" in request["raster_device"] else ".png"))
    assert hook.rasterize_pdf_page(output_file=place, **request) == place
    with Image.open(place) as image:
        image.load()
    return image


def compare(what, request):
    ours, theirs = picture(plugin, "ours", request), picture(ghostscript, "theirs", request)
    assert ours.format == theirs.format and ours.mode == theirs.mode, f"{what}: {ours} beside {theirs}"
    for side in (0, 1):
        assert abs(ours.size[side] - theirs.size[side]) <= 1, f"{what}: {ours.size} beside {theirs.size}"
        assert abs(ours.info["dpi"][side] - theirs.info["dpi"][side]) < 1, f"{what}: {ours.info['dpi']}"
    small = [image.convert("L").resize((60, 60)) for image in (ours, theirs)]
    difference = ImageStat.Stat(ImageChops.difference(*small)).mean[0]
    upside_down = ImageStat.Stat(ImageChops.difference(small[0].rotate(180), small[1])).mean[0]
    assert difference < upside_down / 3, f"{what}: {difference} apart, {upside_down} turned"


def changed(document, **entries):
    """A copy whose second page has these entries."""
    place = pathlib.Path("changed.pdf")
    with pikepdf.open(document) as pdf:
        for name, value in entries.items():
            pdf.pages[1].obj[f"/{name}"] = value
        pdf.save(place)
    return place


def refuses(what, request):
    try:
        picture(plugin, "refused", request)
    except SubprocessOutputError as error:
        assert what in str(error), f"{error} does not say {what}"
        return
    sys.exit(f"{what} was not refused")


def main():
    document = pathlib.Path(sys.argv[2])
    for device in plugin.DEVICES:
        compare(device, arguments(document, device))
    for rotation in (None, 0, 90, 180, 270):
        compare(f"turned by {rotation}", arguments(document, rotation=rotation, page_dpi=Resolution(150.0, 100.0)))
    compare("cropped", arguments(changed(document, CropBox=[100, 200, 400, 500], Rotate=90)))
    compare("in larger units", arguments(changed(document, UserUnit=2)))
    refuses("tiffg4", arguments(document, "tiffg4"))
    refuses("vectors", arguments(document, filter_vector=True))
    refuses("75.000000x90.000000", arguments(document, raster_dpi=Resolution(75.0, 90.0)))


main()

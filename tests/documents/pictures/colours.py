"""Colour spaces of fills."""

from drawings import drawn
from PIL import ImageCms
from pdf import FREE, stream, write


def swatches(space, colours, resources="", extra=()):
    """A square of each colour."""
    content = space + "".join(f" {colour} {5 + n % 4 * 49} {150 - n // 4 * 49} 43 43 re f"
                              for n, colour in enumerate(colours))
    return write(content, resources, extra=extra)


def profile():
    """One of sRGB, without the time at which it was made."""
    data = bytearray(ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
    data[24:36] = bytes(12)
    return bytes(data)


RGB = ["1 0 0", "0 1 0", "0 0 1", "0 0 0", "1 1 0", "0 1 1", "1 0 1", "1 1 1", ".5 .5 .5", ".8 .4 .2", ".2 .4 .8",
       ".1 .3 .1", ".9 .8 .7", ".4 0 .4", "0 .4 .4", ".6 .6 0"]
CMYK = ["1 0 0 0", "0 1 0 0", "0 0 1 0", "0 0 0 1", "1 1 0 0", "0 1 1 0", "1 0 1 0", "0 0 0 0", "0 0 0 .5",
        ".2 .4 .6 0", ".6 .4 .2 .2", "1 1 1 1", ".1 .1 .1 0", ".5 0 0 .2", "0 .5 0 .2", "0 0 .5 .2"]
INK = "<</FunctionType 2/Domain[0 1]/N 1/C0[0 0 0 0]/C1[0 .8 1 0]>>"

for name, make in {
    "colours-rgb": lambda: swatches("", [f"{colour} rg" for colour in RGB]),
    "colours-gray": lambda: swatches("", [f"{n / 15:.3f} g" for n in range(16)]),
    "colours-cmyk": lambda: swatches("", [f"{colour} k" for colour in CMYK]),
    "colours-of-profile": lambda: swatches(
        "/C cs", [f"{colour} sc" for colour in RGB], f"/ColorSpace<</C[/ICCBased {FREE} 0 R]>>",
        [stream(profile(), "/N 3/Alternate/DeviceRGB")]),
    "colours-calibrated": lambda: swatches(
        "/C cs", [f"{colour} sc" for colour in RGB], "/ColorSpace<</C[/CalRGB<</WhitePoint[.9505 1 1.089]"
        "/Gamma[2.2 2.2 2.2]/Matrix[.4124 .2126 .0193 .3576 .7152 .1192 .1805 .0722 .9505]>>]>>"),
    "colours-calibrated-gray": lambda: swatches(
        "/C cs", [f"{n / 15:.3f} sc" for n in range(16)],
        "/ColorSpace<</C[/CalGray<</WhitePoint[.9505 1 1.089]/Gamma 2.2>>]>>"),
    "colours-lab": lambda: swatches(
        "/C cs", [f"{10 + 6 * n} {-70 + 10 * n} {60 - 9 * n} sc" for n in range(16)],
        "/ColorSpace<</C[/Lab<</WhitePoint[.9642 1 .8249]/Range[-100 100 -100 100]>>]>>"),
    "colours-of-ink": lambda: swatches("/C cs", [f"{n / 15:.3f} scn" for n in range(16)],
                                       f"/ColorSpace<</C[/Separation/Orange/DeviceCMYK{INK}]>>"),
    "colours-of-inks": lambda: swatches(
        "/C cs", [f"{n % 4 / 3:.3f} {n // 4 / 3:.3f} scn" for n in range(16)],
        f"/ColorSpace<</C[/DeviceN[/A/B]/DeviceRGB {FREE} 0 R]>>",
        [stream("{ 2 copy add 2 div 1 exch sub 3 1 roll }", "/FunctionType 4/Domain[0 1 0 1]/Range[0 1 0 1 0 1]")]),
}.items():
    drawn(name)(make)

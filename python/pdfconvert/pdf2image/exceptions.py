"""The exceptions of the library pdf2image, here with reason and page as all of pdfconvert."""

from ..errors import PdfConvertError


class PopplerNotInstalledError(PdfConvertError):
    """The program that does the work is not installed; here that is pdfconvert."""


class PDFInfoNotInstalledError(PopplerNotInstalledError):
    """The program that does the work is not installed; here that is pdfconvert."""


class PDFPageCountError(PdfConvertError):
    """The document cannot be opened: it is missing, damaged, or wants another password."""


class PDFSyntaxError(PdfConvertError):
    """A page cannot be drawn or, with `strict`, the document is damaged."""


class PDFPopplerTimeoutError(PdfConvertError):
    """The document took longer than `timeout`."""

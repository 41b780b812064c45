"""Pages of PDFs as pictures, their text, and what they are, by the command `pdfconvert`.

    import pdfconvert

    for number, page in enumerate(pdfconvert.pages("report.pdf", dpi=150), 1):
        page.save(f"page-{number}.png")

Each document is opened in a sandboxed process of its own. Every error is a PdfConvertError.
"""

from ._documents import Encryption, Info, PageSize, info, pages, save, text
from .errors import (ConversionError, InputError, InstallationError, OutputError, PasswordError, PdfConvertError,
                     TimedOutError, UsageError)

__all__ = ["ConversionError", "Encryption", "Info", "InputError", "InstallationError", "OutputError",
           "PageSize", "PasswordError", "PdfConvertError", "TimedOutError", "UsageError", "info", "pages", "save", "text"]

"""What can go wrong, each with the reason that the command `pdfconvert` gives."""

from __future__ import annotations


class PdfConvertError(Exception):
    """The base of all errors.

    `reason` is one of the words in the list of reasons in docs/command.md, such as "not-a-pdf".
    `page` is the number of the page that could not be converted, from 1, or None where it is no
    single page's matter. The text names the document.
    """

    def __init__(self, message: str, reason: str, page: int | None = None) -> None:
        super().__init__(message)
        self.reason = reason
        self.page = page

    def __reduce__(self) -> tuple[type[PdfConvertError], tuple[str, str, int | None]]:
        return type(self), (str(self), self.reason, self.page)


class UsageError(PdfConvertError, ValueError):
    """What was asked for cannot be done, such as a page that the document has not."""


class InputError(PdfConvertError):
    """The document is missing, unreadable, damaged, or something else."""


class PasswordError(PdfConvertError):
    """The document is encrypted, and the password is missing or wrong."""


class OutputError(PdfConvertError):
    """A result could not be written, or one of its name is there."""


class ConversionError(PdfConvertError):
    """A page, or all of them, could not be converted."""


class TimedOutError(ConversionError, TimeoutError):
    """The document took longer than it was given."""


class InstallationError(PdfConvertError):
    """The command is not there, or its machine has no room for it. No document is to blame."""


_CLASSES: dict[str, type[PdfConvertError]] = {
    **dict.fromkeys(("usage", "no-such-page"), UsageError),
    **dict.fromkeys(("not-found", "unreadable", "not-a-file", "not-a-name", "empty", "not-a-pdf", "damaged",
                     "unsupported-encryption", "changed"), InputError),
    **dict.fromkeys(("no-password", "wrong-password", "password-not-given"), PasswordError),
    **dict.fromkeys(("exists", "cannot-write", "standard-output", "no-temporary-folder", "no-temporary-space"),
                    OutputError),
    **dict.fromkeys(("cannot-render", "out-of-memory", "too-large", "worker-failed", "failed"), ConversionError),
    "timed-out": TimedOutError,
    **dict.fromkeys(("broken-installation", "cannot-start", "unconfined"), InstallationError),
}


def error(message: str, reason: str, page: int | None = None) -> PdfConvertError:
    """The error of the class that the reason belongs to."""
    return _CLASSES.get(reason, PdfConvertError)(message, reason, page)

"""Folders for pictures on their way, which nobody else can read and which do not stay behind."""

from __future__ import annotations

import contextlib
import fcntl
import os
import pathlib
import shutil
import stat
import tempfile
import time
import types
import weakref

from .errors import OutputError

_PREFIX = "pdfconvert-python-"
_SHARED_MEMORY = "/dev/shm"
_LEAST_FREE = 256 << 20  # bytes; containers often have 64 MB, which large pictures would fill
_STILL_BEING_MADE = 60  # seconds in which a folder may lack its lock


class PrivateFolder:
    """A folder of mode 0700, in memory where there is room for so many bytes and some more, removed at the
    end of the block.

    It is also removed when the interpreter ends in between. One whose interpreter was killed is
    removed by the next to be made: it is known by that nobody has it locked.
    """

    def __init__(self, room: int = 0) -> None:
        parent = _parent(room)
        _remove_forgotten(parent)
        try:
            self.path = pathlib.Path(tempfile.mkdtemp(prefix=_PREFIX, dir=parent))
        except OSError as wrong:
            raise OutputError(f"no folder for temporary files can be made in {parent}: {wrong.strerror}; name "
                              "another one by TMPDIR", "no-temporary-folder") from wrong
        lock = os.open(self.path, os.O_RDONLY | os.O_DIRECTORY)
        fcntl.flock(lock, fcntl.LOCK_EX)
        self._remove = weakref.finalize(self, _remove, self.path, lock, os.getpid())

    def __enter__(self) -> PrivateFolder:
        return self

    def __exit__(self, kind: type[BaseException] | None, value: BaseException | None,
                 trace: types.TracebackType | None) -> None:
        self._remove()


def _parent(room: int) -> str:
    with contextlib.suppress(OSError):
        memory = os.statvfs(_SHARED_MEMORY)
        if memory.f_bavail * memory.f_frsize >= _LEAST_FREE + room and os.access(_SHARED_MEMORY, os.W_OK | os.X_OK):
            return _SHARED_MEMORY
    return tempfile.gettempdir()


def _remove(path: pathlib.Path, lock: int, owner: int) -> None:
    if os.getpid() == owner:  # and no process that was forked from it
        shutil.rmtree(path, ignore_errors=True)
    os.close(lock)


def _remove_forgotten(parent: str) -> None:
    for folder in pathlib.Path(parent).glob(_PREFIX + "*"):
        with contextlib.suppress(OSError):
            status = folder.lstat()
            if (stat.S_ISDIR(status.st_mode) and status.st_uid == os.geteuid()
                    and status.st_mtime < time.time() - _STILL_BEING_MADE):
                _remove_unless_locked(folder)


def _remove_unless_locked(folder: pathlib.Path) -> None:
    lock = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        shutil.rmtree(folder, ignore_errors=True)
    finally:
        os.close(lock)

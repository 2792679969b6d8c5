"""What goes wrong, as exceptions."""

from __future__ import annotations

import errno
import os


class ScanError(Exception):
    """A file is damaged, or is no scan at all.

    file     its path
    block    of the scan, or None; blocks and tiles count from 0
    offset   bytes from the start of the file, or None
    reason   what is wrong
    advice   what can be done about it; may be empty
    """

    def __init__(self, text: str, file: str = "", block: int | None = None,
                 offset: int | None = None, reason: str = "", advice: str = "") -> None:
        super().__init__(text, file, block, offset, reason, advice)
        self.file = file
        self.block = block
        self.offset = offset
        self.reason = reason or text
        self.advice = advice

    def __str__(self) -> str:
        return str(self.args[0])


class Cancelled(Exception):
    """A progress function answered False. Nothing of the output is left."""


# What an output can fail of, by the words that the system or the library has for it.
_SYSTEM = {os.strerror(number): number for number in (
    errno.ENOENT, errno.EACCES, errno.EPERM, errno.EROFS, errno.ENOTDIR, errno.EISDIR, errno.ENOSPC,
    errno.EDQUOT, errno.EFBIG, errno.EIO, errno.EMFILE, errno.ENFILE, errno.ENAMETOOLONG,
    errno.ELOOP, errno.EINVAL, errno.ENOMEM)}
_LIBRARY = {
    "is there already": errno.EEXIST,
    "there is a folder of that name": errno.EISDIR,
    "it is not a file": errno.EINVAL,
    "does not exist": errno.ENOENT,
}


def _number_of(reason: str) -> int | None:
    for text, number in (*_SYSTEM.items(), *_LIBRARY.items()):
        if reason.endswith(text):
            return number
    return None


def exception_for(kind: str, file: str, block: int | None, offset: int | None, reason: str,
                  advice: str, text: str) -> Exception:
    """The exception for an error of the library."""
    if not file:
        # Some texts of the library name the file themselves: "scan.cl3: the file ends ...".
        named, _, rest = reason.partition(": ")
        if rest and os.path.exists(named):
            file, reason = named, rest
    if kind == "cancelled":
        return Cancelled(text)
    if kind == "request":
        return ValueError(text)
    number = _number_of(reason)
    if kind == "not written" or number is not None:
        return OSError(errno.EIO if number is None else number, reason, file or None)
    return ScanError(text, file, block, offset, reason, advice)

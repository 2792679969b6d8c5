"""Paths as the library takes them."""

from __future__ import annotations

import os


def output_path(path: str | os.PathLike[str]) -> str:
    """Raises ValueError for a path that is not text of Unicode: the library takes UTF-8 alone."""
    text = os.fspath(path)
    text.encode()
    return text


def input_path(path: str | os.PathLike[str]) -> str:
    """The same of a file that must be there: else its error is the system's, whatever its name."""
    text = output_path(path)
    os.stat(text)
    return text

"""Scans that are written."""

from __future__ import annotations

import os
from types import TracebackType
from typing import Any, Mapping

import numpy as np
import numpy.typing as npt

from . import _brisko
from .paths import output_path
from .points import Batch, Frame
from .progress import ProgressArgument, reporter
from .scan import Scan


def create(path: str | os.PathLike[str], like: Scan | None = None, *, columns: int | None = None,
           rows: int | None = None, matrix: npt.ArrayLike | None = None,
           header: Mapping[str, Any] | None = None, colour: bool | None = None,
           frame: Frame | None = None, any_order: bool = False, overwrite: bool = False,
           plain: bool = False) -> Writer:
    """Starts an output, in the format of its extension. It appears when the with block ends without
    an exception, or with commit(); otherwise nothing of it remains.

    like           an open scan: grid, header, matrix and order of the points are as its own; what is
                   given besides takes their place
    columns, rows  of the grid, for formats that need one; points may then come in any order
    matrix         4 x 4, from the scanner's frame to the aligned one
    header         fields by name, as of Scan.header
    colour         whether points have a place for colours
    frame          of points that are given as arrays: that of like, or "scanner". Points of an
                   aligned frame are taken back through the matrix
    any_order      points do not come in the order of `like`; they are sorted on the way
    overwrite      an output that is there already
    plain          .cl3 without an index
    """
    return Writer(path, like, columns, rows, matrix, header, colour, frame, any_order, overwrite,
                  plain)


class Writer:
    """A scan that is being written."""

    def __init__(self, path: str | os.PathLike[str], like: Scan | None, columns: int | None,
                 rows: int | None, matrix: npt.ArrayLike | None, header: Mapping[str, Any] | None,
                 colour: bool | None, frame: Frame | None, any_order: bool, overwrite: bool,
                 plain: bool) -> None:
        if frame not in (None, "scanner", "aligned"):
            raise ValueError(f'frame is "scanner" or "aligned", not {frame!r}')
        if like is not None:
            like._core.require_open()
        pose = like.matrix if matrix is None and like is not None else matrix
        self._to_scanner = None if pose is None else np.linalg.inv(np.asarray(pose, np.float64))
        self._frame: Frame = frame or (like.frame if like is not None else "scanner")
        self.path = output_path(path)
        self._core = _brisko.Writer(self.path, None if like is None else like._core, columns,
                                    rows, matrix, dict(header or {}), colour, any_order, overwrite,
                                    plain)
        self.points: int | None = None  # stored; known when the output is in place
        self._is_given_up = False

    def write(self, batch: Batch | None = None, *, xyz: npt.ArrayLike | None = None,
              intensity: npt.ArrayLike | None = None, colour: npt.ArrayLike | None = None,
              column: npt.ArrayLike | None = None, row: npt.ArrayLike | None = None) -> None:
        """Adds a batch, or points as arrays of one length; xyz must be there.

        Raises ValueError for points that are not finite and for cells outside of the grid, and
        OSError when they cannot be written. The output is then given up.
        """
        if batch is not None:
            if any(values is not None for values in (xyz, intensity, colour, column, row)):
                raise ValueError("write() takes a batch, or arrays by keyword, not both")
            self._write(batch.frame, batch.xyz, batch.intensity, batch.colour, batch.column,
                        batch.row)
            return
        if xyz is None:
            raise ValueError("write() takes a batch, or arrays by keyword with xyz among them")
        self._write(self._frame, xyz, intensity, colour, column, row)

    def _write(self, frame: Frame, xyz: Any, intensity: Any, colour: Any, column: Any,
               row: Any) -> None:
        matrix = self._to_scanner if frame == "aligned" else None
        self._core.write(np.asarray(xyz, np.float64), intensity, _bytes(colour),
                         _counts(column, "column"), _counts(row, "row"), matrix)

    @property
    def closed(self) -> bool:
        return not self._core.is_open

    def commit(self, progress: ProgressArgument = None) -> int:
        """Completes the output, reads it back and puts it in place. Returns the number of points."""
        self.points = self._core.commit(reporter(progress))
        return self.points

    def discard(self) -> None:
        """Leaves nothing of an output that is not in place. May be called again."""
        self._is_given_up = True
        self._core.discard()

    close = discard

    def __enter__(self) -> Writer:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        try:
            if kind is None and self.points is None and not self._is_given_up:
                self.commit()
        finally:
            self.discard()

    def __repr__(self) -> str:
        return f"<brisko.Writer {self.path!r}{', closed' if self.closed else ''}>"


def _whole(values: Any, name: str, high: int) -> Any:
    """Refuses what a conversion would change: numbers that are not whole, or too large."""
    array = np.asarray(values)
    if array.dtype.kind not in "iu":
        raise ValueError(f"{name} takes whole numbers, not {array.dtype}")
    if array.size and (array.min() < 0 or array.max() > high):
        raise ValueError(f"{name} takes 0 to {high}")
    return array


def _bytes(values: Any) -> Any:
    if values is None or getattr(values, "dtype", None) == np.uint8:
        return values
    return _whole(values, "colour", 255).astype(np.uint8)


def _counts(values: Any, name: str) -> Any:
    if values is None or getattr(values, "dtype", None) == np.uint32:
        return values
    return _whole(values, name, 2**32 - 1).astype(np.uint32)

"""Points as arrays."""

from __future__ import annotations

from typing import Any, Literal

import numpy as np
import numpy.typing as npt

from . import _brisko
from .optional import optional

Frame = Literal["scanner", "aligned"]

DTYPE = np.dtype([("xyz", np.float64, 3), ("intensity", np.float32), ("colour", np.uint8, 3),
                  ("column", np.uint32), ("row", np.uint32)])


def ranges_of(xyz: npt.NDArray[np.float64]) -> npt.NDArray[np.float32]:
    """Distances from the origin."""
    x, y, z = xyz[..., 0], xyz[..., 1], xyz[..., 2]
    squares = x * x
    squares += y * y
    squares += z * z
    return np.sqrt(squares, out=squares).astype(np.float32)


class Batch:
    """Points of a scan, an array for each of their values.

    xyz        (n, 3) float64, metres
    intensity  (n,) float32, 0 to 2200
    colour     (n, 3) uint8, red, green, blue; 0 where the scan has no colour
    column     (n,) uint32, azimuth steps; 0 where the scan has no grid
    row        (n,) uint32, zenith steps
    frame      "scanner" or "aligned": what xyz refers to

    np.asarray(batch) is one structured array (a copy), batch[mask] another batch with some of the
    points (a copy, or, for a slice, the same memory).
    """

    __slots__ = ("colour", "column", "frame", "intensity", "row", "xyz")

    def __init__(self, xyz: npt.NDArray[np.float64], intensity: npt.NDArray[np.float32],
                 colour: npt.NDArray[np.uint8], column: npt.NDArray[np.uint32],
                 row: npt.NDArray[np.uint32], frame: Frame = "scanner") -> None:
        self.xyz = xyz
        self.intensity = intensity
        self.colour = colour
        self.column = column
        self.row = row
        self.frame = frame

    def __len__(self) -> int:
        return len(self.xyz)

    def __getitem__(self, chosen: Any) -> Batch:
        if not isinstance(chosen, slice):
            return self._chosen(np.asarray(chosen))
        return Batch(self.xyz[chosen], self.intensity[chosen], self.colour[chosen],
                     self.column[chosen], self.row[chosen], self.frame)

    def _chosen(self, chosen: npt.NDArray[Any]) -> Batch:
        if chosen.ndim != 1:
            raise IndexError("a batch takes a slice, a mask or an array of numbers")
        if chosen.dtype == bool:
            if len(chosen) != len(self):
                raise IndexError(f"a mask of {len(chosen)} for {len(self)} points")
            try:
                return Batch(*_brisko.marked(self.xyz, self.intensity, self.colour, self.column, self.row,
                                             np.ascontiguousarray(chosen)), self.frame)
            except TypeError:  # arrays of the caller's own
                chosen = np.flatnonzero(chosen)
        elif chosen.size == 0:
            chosen = chosen.astype(np.intp)
        # Faster than an index, most of all for rows of three.
        return Batch(self.xyz.take(chosen, axis=0), self.intensity.take(chosen),
                     self.colour.take(chosen, axis=0), self.column.take(chosen),
                     self.row.take(chosen), self.frame)

    def __array__(self, dtype: Any = None) -> npt.NDArray[Any]:
        points = np.empty(len(self), DTYPE)
        for name in DTYPE.names or ():
            points[name] = getattr(self, name)
        return points if dtype is None else points.astype(dtype)

    def to_open3d(self) -> Any:
        """An open3d.geometry.PointCloud of the points and their colours."""
        open3d = optional("open3d", "open3d", "to_open3d()")
        cloud = open3d.geometry.PointCloud()
        cloud.points = open3d.utility.Vector3dVector(self.xyz)
        cloud.colors = open3d.utility.Vector3dVector(self.colour / 255)
        return cloud

    def __repr__(self) -> str:
        return f"<brisko.Batch of {len(self)} points, {self.frame} frame>"


class Window:
    """Cells of a scan's grid, rows by columns.

    xyz        (rows, columns, 3) float64, metres; NaN where nothing returned
    intensity  (rows, columns) float32, 0 to 2200
    colour     (rows, columns, 3) uint8
    valid      (rows, columns) bool: where there is a point
    frame      "scanner" or "aligned": what xyz refers to
    """

    __slots__ = ("colour", "frame", "intensity", "valid", "xyz")

    def __init__(self, xyz: npt.NDArray[np.float64], intensity: npt.NDArray[np.float32],
                 colour: npt.NDArray[np.uint8], valid: npt.NDArray[np.bool_],
                 frame: Frame = "scanner") -> None:
        self.xyz = xyz
        self.intensity = intensity
        self.colour = colour
        self.valid = valid
        self.frame = frame

    @property
    def shape(self) -> tuple[int, ...]:
        return self.valid.shape

    def __repr__(self) -> str:
        return f"<brisko.Window {self.shape}, {int(self.valid.sum())} points, {self.frame} frame>"

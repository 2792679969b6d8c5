"""Grids that are read when they are needed, as Dask and xarray know them."""

from __future__ import annotations

import os
import pickle
from functools import lru_cache
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from .optional import optional

if TYPE_CHECKING:
    from .scan import Scan

TILE = 256  # rows and columns that lie together in an indexed scan
Chunks = Union[int, "tuple[int, int]"]

# What a grid can hold: the type of its values, and how many a cell has.
GRIDS: dict[str, tuple[Any, int]] = {
    "xyz": (np.float64, 3),
    "intensity": (np.float32, 1),
    "colour": (np.uint8, 3),
    "valid": (np.bool_, 1),
    "range": (np.float32, 1),
}


def require_grid(scan: Scan, what: str) -> tuple[int, int]:
    if what not in GRIDS:
        raise ValueError(f"a grid is one of {', '.join(GRIDS)}, not {what!r}")
    if scan.shape is None:
        raise ValueError(f"{scan.path}: the scan has no grid, so the cells of its points are not known")
    return scan.shape


@lru_cache(maxsize=16)
def _opened(pickled: bytes, version: tuple[int, int]) -> Scan:
    """The scan of a task: opened once in each process, and again when its file is another one."""
    scan: Scan = pickle.loads(pickled)
    return scan


def _version(path: str) -> tuple[int, int]:
    found = os.stat(path)
    return found.st_size, found.st_mtime_ns


class LazyGrid:
    """One of the arrays of a scan's grid, read window by window. It outlives the scan that it is made
    of, and opens the file by its path in every process."""

    def __init__(self, scan: Scan, what: str) -> None:
        self.dtype = np.dtype(GRIDS[what][0])
        values = GRIDS[what][1]
        self.shape = require_grid(scan, what) + ((values,) if values > 1 else ())
        self.ndim = len(self.shape)
        self._what = what
        self._path = scan.path
        self._scan = pickle.dumps(scan)
        self._version = _version(scan.path)

    def __getitem__(self, cells: Any) -> npt.NDArray[Any]:
        chosen = cells if isinstance(cells, tuple) else (cells,)
        if _version(self._path) != self._version:
            raise ValueError(f"{self._path}: the file is not the one that the array was made of")
        scan = _opened(self._scan, self._version)
        part: npt.NDArray[Any] = scan.window(chosen[:2], self._what)[(..., *chosen[2:])]
        return part

    def __dask_tokenize__(self) -> Any:
        return self._what, self._scan, self._version


def _sides(shape: tuple[int, int], chunks: Chunks) -> tuple[int, int]:
    sides = chunks if isinstance(chunks, tuple) else (chunks, chunks)
    for side in sides:
        if side < TILE or side % TILE:
            raise ValueError(f"chunks are whole tiles: a multiple of {TILE}, not {side}")
    return min(sides[0], max(shape[0], 1)), min(sides[1], max(shape[1], 1))


def to_dask(scan: Scan, what: str, chunks: Chunks) -> Any:
    """The grid as a dask.array."""
    array = optional("dask.array", "python3-dask", "to_dask()")
    rows, columns = _sides(require_grid(scan, what), chunks)
    grid = LazyGrid(scan, what)
    return array.from_array(grid, chunks=(rows, columns, *grid.shape[2:]), asarray=False, fancy=False,
                            lock=False)


def _angles(header: Any, side: str, count: int) -> npt.NDArray[np.float64] | None:
    """Of columns or rows, degrees; None where the header has none."""
    start, stop = header.get(f"start_{side}"), header.get(f"stop_{side}")
    if start is None or stop is None or start == stop:
        return None
    # The stop angle is where a column after the last one would be.
    return float(start) + float(stop - start) * (np.arange(count) / count)


def to_xarray(scan: Scan, chunks: Chunks | None) -> Any:
    """The grid as an xarray.Dataset."""
    xarray = optional("xarray", "python3-xarray", "to_xarray()")
    rows, columns = require_grid(scan, "xyz")
    names = [name for name in GRIDS if name != "colour" or scan.has_colour]
    if chunks is None:
        cells = scan[:, :]
        arrays = {name: scan.grid("range") if name == "range" else getattr(cells, name) for name in names}
    else:
        arrays = {name: to_dask(scan, name, chunks) for name in names}
    last = {"xyz": ("axis",), "colour": ("channel",)}
    coordinates: dict[str, Any] = {"axis": ["x", "y", "z"]}
    if "colour" in names:
        coordinates["channel"] = ["red", "green", "blue"]
    for side, dimension, count in (("azimuth", "column", columns), ("zenith", "row", rows)):
        angles = _angles(scan.header, side, count)
        if angles is not None:
            coordinates[side] = (dimension, angles, {"units": "degrees"})
    units = {"xyz": {"units": "m"}, "range": {"units": "m"}}
    return xarray.Dataset(
        {name: (("row", "column", *last.get(name, ())), arrays[name], units.get(name, {}))
         for name in names},
        coordinates,
        {**scan.header, "path": scan.path, "name": scan.name, "format": scan.format,
         "frame": scan.frame, "matrix": scan.matrix})

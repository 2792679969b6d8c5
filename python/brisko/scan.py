"""Scans that are read."""

from __future__ import annotations

import io
import os
from tempfile import TemporaryDirectory
from types import MappingProxyType
from typing import Any, Iterator, Literal, Mapping, Sequence

import numpy as np
import numpy.typing as npt

from . import _brisko
from .jobs import convert
from .lazy import Chunks, require_grid, to_dask, to_xarray
from .paths import input_path
from .photos import Photo, photos_of
from .points import Batch, Frame, Window, ranges_of
from .progress import ProgressArgument

Colours = Literal["stored", "photos"]

_WINDOW = ("xyz", "intensity", "colour", "valid")
_MOST_DRAWN = 50_000_000  # records of a scan that a notebook draws unasked


def open(path: str | os.PathLike[str], scan: int | str | None = None, frame: Frame = "scanner",
         colours: Colours = "stored",
         intensity_range: tuple[float, float] | None = None) -> Scan:
    """Opens a scan of any format that is read.

    scan             one scan of a file with several: its number, from 1, or its name
    frame            "scanner": points as measured, the scanner at the origin; "aligned": taken
                     through the scan's matrix
    colours          "stored", or "photos": from the photos beside a native scan
    intensity_range  the file's intensities that become 0 and 2200, of formats without a scale

    Raises OSError when the file cannot be read, ScanError when it is damaged, ValueError when it
    is no scan or not this one.
    """
    return Scan(path, scan, frame, colours, intensity_range)


class Scan:
    """An open scan. Use it in a with statement, or close() it.

    Batches and windows can be read side by side, from any number of threads.
    """

    def __init__(self, path: str | os.PathLike[str], scan: int | str | None = None,
                 frame: Frame = "scanner", colours: Colours = "stored",
                 intensity_range: tuple[float, float] | None = None,
                 tiles: bytes | None = None) -> None:
        if frame not in ("scanner", "aligned"):
            raise ValueError(f'frame is "scanner" or "aligned", not {frame!r}')
        if colours not in ("stored", "photos"):
            raise ValueError(f'colours is "stored" or "photos", not {colours!r}')
        self._core = _brisko.Scan(input_path(path), "" if scan is None else str(scan), frame == "aligned",
                                  colours == "photos", intensity_range, tiles)
        self._facts = self._core.facts()
        self._choices = (scan, frame, colours, intensity_range)
        self._points: int | None = None
        self._tiles = tiles

    # What is known before any point is read; it stays after close().

    @property
    def path(self) -> str:
        """Absolute."""
        return self._facts["path"]

    @property
    def name(self) -> str:
        """Of the station; empty where the format has none."""
        return self._facts["name"]

    @property
    def format(self) -> str:
        """"CL3", "E57" and so on."""
        return self._facts["format"]

    @property
    def shape(self) -> tuple[int, int] | None:
        """Rows and columns of the grid; None where the scan has none."""
        return (self._facts["rows"], self._facts["columns"]) if self._facts["has_grid"] else None

    @property
    def has_colour(self) -> bool:
        """Whether points have a place for colours, even if they are all black."""
        return self._facts["has_colour"]

    @property
    def header(self) -> Mapping[str, Any]:
        """Texts, readings and angles (degrees); empty where the format has none."""
        return MappingProxyType(self._facts["header"])

    @property
    def matrix(self) -> npt.NDArray[np.float64]:
        """4 x 4, from the scanner's frame to the aligned one, for points as columns."""
        return self._facts["matrix"].copy()

    @property
    def frame(self) -> Frame:
        """Of the points: "scanner" or "aligned"."""
        return self._choices[1]

    @property
    def closed(self) -> bool:
        return self._core.closed

    def __len__(self) -> int:
        """The number of points. Takes a pass over the scan where its format does not have it."""
        if self._points is None:
            known = self._facts["records_are_points"] and self._facts["records"]
            self._points = self._facts["records"] if known else self._core.count()
        return self._points

    def __bool__(self) -> bool:
        return True

    # Points.

    def batches(self, size: int = 65_536) -> Iterator[Batch]:
        """All points, so many at a time. Each batch has arrays of its own."""
        if size < 1:
            raise ValueError(f"a batch has 1 point or more, not {size}")
        self._core.require_open()
        return self._batches(size)

    def __iter__(self) -> Iterator[Batch]:
        return self.batches()

    def _batches(self, size: int) -> Iterator[Batch]:
        points = _brisko.Pass(self._core)
        frame = self.frame
        while True:
            batch = Batch(*points.next(size), frame)
            if not len(batch):
                return
            yield batch

    def read(self) -> Batch:
        """All points at once."""
        return Batch(*self._core.read(), self.frame)

    def __getitem__(self, cells: Any) -> Window:
        """A window of the grid: scan[rows, columns], each a slice or a number, as of an array.

        A window of an indexed CL3 scan is read by seeking. Of other formats it takes a pass over
        the scan. Of slices with a step the cells in between are read, too.
        """
        return Window(**self._cells(cells, _WINDOW), frame=self.frame)

    def window(self, cells: Any, what: str) -> npt.NDArray[Any]:
        """One array of a window alone: scan.window(np.s_[:256, 512:], "xyz"). what: as of grid()."""
        require_grid(self, what)
        if what != "range":
            return self._cells(cells, (what,))[what]
        if self.frame != "scanner":
            with self.reopened("scanner") as measured:
                return measured.window(cells, what)
        return ranges_of(self._cells(cells, ("xyz",))["xyz"])

    def _cells(self, cells: Any, wanted: Sequence[str]) -> dict[str, npt.NDArray[Any]]:
        self._core.require_open()
        shape = require_grid(self, "xyz")
        chosen = cells if isinstance(cells, tuple) else (cells,)
        if len(chosen) > 2:
            raise IndexError(f"a scan has rows and columns: 2 indexes, not {len(chosen)}")
        chosen += (slice(None),) * (2 - len(chosen))
        rows, columns = _Side(chosen[0], shape[0]), _Side(chosen[1], shape[1])
        arrays = self._core.window(rows.first, rows.end, columns.first, columns.end, wanted)
        part = rows.within, columns.within
        return {name: array[part] for name, array in arrays.items()}

    def grid(self, what: str) -> npt.NDArray[Any]:
        """The whole grid as one array (rows, columns) or (rows, columns, 3).

        what  "xyz", "intensity", "colour", "valid", or "range": metres from the scanner, float32,
              NaN where nothing returned
        """
        self._core.require_open()
        shape = require_grid(self, what)
        if what != "range":
            return self.window((), what)
        if self.frame == "scanner":
            return self._ranges(shape)
        with self.reopened("scanner") as measured:
            return measured._ranges(shape)

    def _ranges(self, shape: tuple[int, int]) -> npt.NDArray[np.float32]:
        # By batches, so that memory is taken for the ranges alone.
        ranges = np.full(shape, np.nan, np.float32)
        for batch in self.batches():
            # The padding of the last tiles may hold points, too.
            inside = (batch.row < shape[0]) & (batch.column < shape[1])
            if not inside.all():
                batch = batch[inside]
            ranges[batch.row, batch.column] = ranges_of(batch.xyz)
        return ranges

    def colours(self, size: int = 65_536) -> Iterator[npt.NDArray[np.uint8]]:
        """The colours that the photos beside a native scan give to its points: (n, 3) for each batch of
        batches(size). The scan itself may have others, or none.

        Raises ValueError where there is no photo that can be used.
        """
        self._core.require_open()
        if not any(photo.state == "used" for photo in self.photos):
            raise ValueError(f"{self.path}: there is no photo beside the scan that can be used")
        return self._colours(Scan(self.path, self._choices[0], self.frame, "photos"), size)

    def _colours(self, coloured: Scan, size: int) -> Iterator[npt.NDArray[np.uint8]]:
        with coloured:
            for batch in coloured.batches(size):
                self._core.require_open()
                yield batch.colour

    @property
    def photos(self) -> list[Photo]:
        """The photos beside a native scan, and the pictures inside a file of another format."""
        return photos_of(self.path)

    # For other libraries.

    def to_dask(self, what: str = "xyz", chunks: Chunks = 1024) -> Any:
        """One array of the grid, as grid() has it, as a lazy dask.array. It opens the file by its path,
        in every process that works on it, and stays of use when the scan is closed.

        chunks  rows and columns, or both in one number: whole tiles, multiples of 256

        Formats without an index take a pass over the scan for every chunk: convert such a scan to .cl3.
        """
        self._core.require_open()
        return to_dask(self, what, chunks)

    def to_xarray(self, chunks: Chunks | None = 1024) -> Any:
        """The grid as an xarray.Dataset: xyz, intensity, colour, valid and range over row, column, axis and
        channel, with the coordinates azimuth and zenith (degrees) where the header has them.

        chunks  as of to_dask(); None reads everything at once
        """
        self._core.require_open()
        return to_xarray(self, chunks)

    def to_open3d(self) -> Any:
        """All points as an open3d.geometry.PointCloud."""
        return self.read().to_open3d()

    def to_ply(self, path: str | os.PathLike[str], *, overwrite: bool = False,
               progress: ProgressArgument = None) -> int:
        """Writes all points as a .ply file, in the frame of this scan. Returns how many they are."""
        self._core.require_open()
        if not os.fspath(path).lower().endswith(".ply"):
            raise ValueError(f"{os.fspath(path)}: to_ply() takes a name that ends in .ply")
        scan, frame, colours, intensity_range = self._choices
        # .ply has no place for a matrix: the points are taken through it, unless there is none.
        matrix = np.eye(4) if frame == "scanner" else None
        return convert(self.path, path, colours=colours, progress=progress, overwrite=overwrite,
                       scan=scan, intensity_range=intensity_range, aligned=True, matrix=matrix).points

    def _repr_png_(self) -> bytes | None:
        """A small panorama for notebooks, of scans that are drawn in no time."""
        try:
            if self.closed or self.shape is None or self._facts["records"] > _MOST_DRAWN:
                return None
            with TemporaryDirectory() as folder:
                picture = os.path.join(folder, "scan.png")
                _brisko.draw(self.path, picture, min(600, self.shape[1]))
                with io.open(picture, "rb") as file:
                    return file.read()
        except Exception:
            return None

    # Its life.

    def close(self) -> None:
        """May be called again. What was read stays."""
        self._core.close()

    def __enter__(self) -> Scan:
        self._core.require_open()
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def reopened(self, frame: Frame) -> Scan:
        """The same scan in one of the frames."""
        return Scan(self.path, self._choices[0], frame, *self._choices[2:])

    def __reduce__(self) -> tuple[Any, ...]:
        """A copy in another process opens the scan again, by its path, and knows its tiles."""
        indexed = self.format == "CL3" and self.shape is not None
        return Scan, (self.path, *self._choices, self.tiles() if indexed else None)

    def tiles(self) -> bytes:
        """Where the tiles of an indexed CL3 scan lie: 4 bytes each and a few more, to be saved or handed
        on. Scan(path, tiles=...) then opens the scan without a look at its tiles, and raises ValueError
        where size or time of its files have changed since.
        """
        if self._tiles is None:
            self._tiles = _brisko.tiles_of(self.path)
        return self._tiles

    def __repr__(self) -> str:
        shape = self.shape
        cells = f", {shape[0]} rows x {shape[1]} columns" if shape else ""
        return f"<brisko.Scan {self.path!r}, {self.format}{cells}{', closed' if self.closed else ''}>"


class _Side:
    """Rows or columns of a window: what to read, and what to take of that."""

    def __init__(self, index: Any, length: int) -> None:
        if isinstance(index, slice):
            chosen = range(*index.indices(length))
            self.first, self.end = 0, 0
            if chosen:
                low, high = min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1])
                self.first, self.end = low, high + 1
            self.within: Any = slice(None, None, index.step)
            return
        try:
            number = index.__index__()
        except AttributeError:
            raise TypeError("a scan takes slices and whole numbers; "
                            f"read the window first for {type(index).__name__}") from None
        if not -length <= number < length:
            raise IndexError(f"index {number} is outside of {length} rows or columns")
        self.first = number % length
        self.end = self.first + 1
        self.within = 0

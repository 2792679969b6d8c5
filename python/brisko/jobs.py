"""Whole jobs over files."""

from __future__ import annotations

import os
import warnings
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Iterable, Literal, NamedTuple

import numpy as np
import numpy.typing as npt

from . import _brisko
from .paths import input_path, output_path
from .progress import ProgressArgument, reporter

if TYPE_CHECKING:
    from .scan import Scan

Mode = Literal["shaded", "range", "intensity", "colour", "normals", "height", "incidence"]


class LeftOut(NamedTuple):
    """Points that could not be stored, by reason."""

    outside_grid: int  # in the padding of the last tiles
    not_finite: int
    at_scanner: int  # would read as an empty cell


class ConvertResult(NamedTuple):
    """What came of a conversion."""

    points: int
    coloured: int  # other than black; 0 where the output has no colours
    columns: int  # 0 x 0 where the output has no grid
    rows: int
    bytes: int  # of the output
    left_out: LeftOut


class Finding(NamedTuple):
    """Something that is not as it should be, and where."""

    kind: str  # "block", "entry", "coordinate" and so on
    file: str
    block: int | None  # blocks and tiles count from 0
    offset: int | None  # bytes from the start of the file
    text: str


@dataclass(frozen=True)
class Check:
    """What reading a scan to its last byte has shown."""

    path: str
    format: str
    blocks: int
    records: int
    points: int
    columns: int
    rows: int
    findings: list[Finding]  # the first ones of each kind
    total: int  # findings, also those that are not kept
    notes: list[str]  # what is no damage

    @property
    def ok(self) -> bool:
        """Whether nothing was found."""
        return self.total == 0


class Band(NamedTuple):
    """A part of a scan that one job works on: whole tiles of 256 columns."""

    columns: slice
    output: str  # what the job is to write, an indexed .cl3
    done: bool  # whether that is there, sound and younger than the scan


class JoinResult(NamedTuple):
    """What came of bands that were put together."""

    points: int
    columns: int
    rows: int
    bytes: int  # of the output


class ViewResult(NamedTuple):
    """What came of a page."""

    path: str
    points: int  # in the page, of all scans
    photos: int
    bytes: int


def convert(input: str | os.PathLike[str], output: str | os.PathLike[str], *,
            colours: str = "stored", progress: ProgressArgument = None,
            **options: Any) -> ConvertResult:
    """Converts a scan into the format of the output's extension. The output appears when it is
    complete and was read back, or not at all.

    colours   "stored", or "photos": from the photos beside a native scan
    progress  a function, called with a Progress; False cancels. True: a bar of tqdm
    options   overwrite, plain, scan, intensity_range, precision, las_version, aligned, photos,
              occlusion, valid, min_distance, max_distance, intensity, box, columns, rows, grid_step,
              every, voxel, matrix, export_matrix; docs/python.md describes them

    What a user should know although the conversion goes on is a warning (UserWarning).
    """
    if colours not in ("stored", "photos"):
        raise ValueError(f'colours is "stored" or "photos", not {colours!r}')
    if options.get("occlusion") and colours != "photos":
        raise ValueError('occlusion=True asks for colours="photos"')
    result, remarks = _brisko.convert(input_path(input), output_path(output), options,
                                      colours == "photos", reporter(progress))
    for remark in remarks:
        warnings.warn(remark, stacklevel=2)
    result["left_out"] = LeftOut(**result["left_out"])
    return ConvertResult(**result)


def check(path: str | os.PathLike[str], most: int = 20,
          progress: ProgressArgument = None) -> Check:
    """Reads a scan with its companions and photos to the last byte. Keeps `most` findings of a kind."""
    found = _brisko.check(input_path(path), most, reporter(progress))
    found["findings"] = [Finding(**finding) for finding in found["findings"]]
    return Check(**found)


def split(path: str | os.PathLike[str], bands: int,
          folder: str | os.PathLike[str] | None = None) -> list[Band]:
    """Divides a raw or indexed scan into jobs, which can run side by side and on several machines:

        convert(path, band.output, columns=band.columns, overwrite=True)  # with colours, too

    bands   never more than columns of tiles
    folder  of the outputs; None: that of the scan
    """
    if bands < 1:
        raise ValueError(f"a scan has 1 band or more, not {bands}")
    found = _brisko.split(input_path(path), bands, "" if folder is None else output_path(folder))
    return [Band(slice(first, end), output, done) for first, end, output, done in found]


def join(bands: Iterable[Band | str | os.PathLike[str]], output: str | os.PathLike[str], *,
         overwrite: bool = False, progress: ProgressArgument = None) -> JoinResult:
    """Puts the bands of a scan together, in the order of their columns, into the bytes that one run
    over the whole scan makes. The output appears when it is complete and was read back.
    """
    paths = [input_path(band.output if isinstance(band, Band) else band) for band in bands]
    return JoinResult(*_brisko.join(paths, output_path(output), overwrite, reporter(progress)))


def info(path: str | os.PathLike[str], count: bool = False, scan: int | str | None = None,
         progress: ProgressArgument = None) -> dict[str, Any]:
    """What a file says about itself. With count, all points are read for a "summary", too."""
    report = _brisko.describe(input_path(path))
    if count:
        report["summary"] = _brisko.summarize(input_path(path), "" if scan is None else str(scan),
                                              reporter(progress))
    return report


def panorama(path: str | os.PathLike[str], mode: Mode = "shaded", width: int | None = None,
             height: int | None = None, progress: ProgressArgument = None) -> npt.NDArray[np.uint8]:
    """A scan as a picture, upright and as seen from the scanner: (height, width, 3), red, green, blue.

    mode    "shaded" (the form of surfaces), "range", "intensity", "colour", "normals", "height" or "incidence"
    width   pixels; None: by the grid. height: None: by the angles of the scan
    """
    return _brisko.panorama(input_path(path), mode, width or 0, height or 0, reporter(progress))


def view(scans: Scan | str | os.PathLike[str] | Iterable[Scan | str | os.PathLike[str]],
         output: str | os.PathLike[str], *, points: int = 2_000_000, full: bool = False,
         photos: bool = True, title: str | None = None, overwrite: bool = False,
         progress: ProgressArgument = None) -> ViewResult:
    """Writes a page (.html) that shows scans in a browser, without a network: docs/viewer.md.

    scans   an open scan, a file or a folder, or several of them; of a file all of its scans are shown
    points  in the page at most, of all scans together: 1,000 to 10,000,000
    full    the page offers to open the files of indexed CL3 scans, for all of their points
    photos  show the photos of the stations at their place

    What a user should know although the page is written is a warning (UserWarning).
    """
    from .scan import Scan  # which needs this module

    some = [scans] if isinstance(scans, (str, os.PathLike, Scan)) else scans
    inputs = [input_path(scan.path if isinstance(scan, Scan) else scan) for scan in some]
    result, remarks = _brisko.view(inputs, output_path(output), points, full, photos, title or "",
                                   overwrite, reporter(progress))
    for remark in remarks:
        warnings.warn(remark, stacklevel=2)
    return ViewResult(output_path(output), *result)


def simulate(output: str | os.PathLike[str], columns: int = 2000, rows: int = 800, *,
             scene: str = "courtyard", alignment: bool = True, colour: bool = True,
             plain: bool = False, azimuth: tuple[float, float] = (360, 0),
             zenith: tuple[float, float] = (20, 150), noise: float = 0.0015, seed: int = 1,
             place: tuple[float, float] | None = None, photos: str | None = None,
             photo_scale: int = 1, overwrite: bool = False,
             progress: ProgressArgument = None) -> str:
    """Scans a made-up scene, so that there is something to work on. Returns the path.

    output     .cl3 (with an index, unless plain) or .clr
    scene      "courtyard" or "room"
    alignment  write the scanner's place in the world beside the scan
    azimuth    from, to: degrees counter-clockwise from +x; zenith: degrees from straight up
    noise      of the ranges, metres
    place      where the scanner stands in the scene: x, y, metres; the yard is 24 x 18 around (0, 0)
    photos     take photos all around, too: "classic", "newer", "W30", "W60", "T30", "T60", "offset" or
               "own". The scan and they then lie in a folder of its name: "yard/yard.cl3"
    photo_scale  1, 2, 4 or 8: the pixels of a camera's rows and columns are divided by it
    """
    return _brisko.simulate(output_path(output), columns, rows, scene, alignment, colour, plain,
                            azimuth, zenith, noise, seed, place, photos or "", photo_scale, overwrite,
                            reporter(progress))

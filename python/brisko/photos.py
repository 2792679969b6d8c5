"""The pictures of a scan."""

from __future__ import annotations

from typing import NamedTuple

import numpy as np
import numpy.typing as npt

from . import _brisko
from .paths import input_path


class Camera(NamedTuple):
    """The pinhole camera that comes closest to that of a photo."""

    # 4 x 4, from the camera's frame to the scanner's. The camera looks along -z, y is up.
    matrix: npt.NDArray[np.float64]
    focal: tuple[float, float]  # pixels, along a row and along a column of the photo
    principal: tuple[float, float]  # pixels from the middle of the upper left one, to the right and down
    worst_error: float  # pixels: how far from their true places it shows things, at most


class Photo(NamedTuple):
    """A photo beside a native scan, or a picture inside a file."""

    name: str
    path: str | None  # None inside a file; `brisko images` writes such pictures out
    kind: str  # "photo"; of pictures inside a file "pinhole", "spherical" and so on
    state: str  # "used", or why not: "withoutAngles", "brokenPhoto" and so on; "inside" a file
    width: int  # pixels as stored; 0 where they are not looked at
    height: int
    camera: Camera | None  # where it is known


def photos_of(path: str) -> list[Photo]:
    """The photos beside a native scan, and the pictures inside a file of another format."""
    photos = [Photo(**photo) for photo in _brisko.photos(input_path(path))]
    return [photo._replace(camera=photo.camera and Camera(*photo.camera)) for photo in photos]

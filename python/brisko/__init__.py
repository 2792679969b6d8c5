"""Scans of terrestrial laser scanners as NumPy arrays.

    import brisko

    with brisko.open("yard_index.cl3") as scan:
        top = max(batch.xyz[:, 2].max() for batch in scan.batches())
        door = scan[880:1136, 1000:1256]  # a window of the grid: rows, columns
"""

from ._brisko import __version__
from .errors import Cancelled, ScanError
from .jobs import (Band, Check, ConvertResult, Finding, JoinResult, LeftOut, ViewResult, check, convert,
                   info, join, panorama, simulate, split, view)
from .photos import Camera, Photo
from .points import Batch, Window
from .progress import Progress
from .scan import Scan, open
from .writer import Writer, create

__all__ = [
    "Band", "Batch", "Camera", "Cancelled", "Check", "ConvertResult", "Finding", "JoinResult", "LeftOut",
    "Photo", "Progress", "Scan", "ScanError", "ViewResult", "Window", "Writer", "__version__", "check", "convert",
    "create", "info", "join", "open", "panorama", "simulate", "split", "view",
]

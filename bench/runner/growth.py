"""How the cost of a point changes with the size of the scan."""

import contextlib
import os
import shutil
import statistics
import subprocess
from dataclasses import dataclass, replace

import instructions
from rows import GROWTH, GROWTH_TOLERANCE, ROWS
from runs import run_pair

SMALLEST = 1_000_000
LARGE = 100_000_000  # a few pairs are enough
HUGE = 500_000_000  # one pair, from and to the disk
STEP = 100_000_000  # of the largest size that the disk allows
FREE_TO_STAY = 4_000_000_000


def generate(setting, mode, *options):
    os.makedirs(setting.data, exist_ok=True)
    subprocess.run([os.path.join(setting.programs, "limits"), mode, "--data", setting.data,
                    "--columns", str(setting.columns), "--rows", str(setting.rows),
                    "--image-width", str(setting.image_width), *options],
                   check=True, stdout=subprocess.DEVNULL)


@dataclass(frozen=True)
class Measured:
    points: int
    nanoseconds: float
    ratio: float  # to the reference
    mib: float  # above the loaded library

    def __str__(self):
        return f"{self.nanoseconds:.1f} ns, {self.ratio:.2f}, {self.mib:.1f} MiB"


def _points_that_fit(folder, growing, points):
    """As many as asked for, or the most that the disk has room for."""
    room = (shutil.disk_usage(folder).free - FREE_TO_STAY) // growing.bytes_a_point
    return points if points <= room else room // STEP * STEP


@contextlib.contextmanager
def _scan_on_disk(setting, growing):
    """It is there for this long and no longer."""
    os.makedirs(setting.output, exist_ok=True)
    try:
        if growing.file:
            generate(setting, "gen", "--file", growing.file)
        yield
    finally:
        shutil.rmtree(setting.data)


def _measure(setting, growing, row):
    points = setting.columns * setting.rows
    count = 1 if points >= HUGE else 5 if points >= LARGE else 9
    with _scan_on_disk(setting, growing):
        pairs = [run_pair(setting, row) for _ in range(count)]
    jobs = [pair.job for pair in pairs]
    return Measured(points, statistics.median(job.cpu / job.points for job in jobs) * 1e9,
                    statistics.median(pair.ratio(row) for pair in pairs),
                    max(job.peak_mib for job in jobs))


def _spread(values):
    spread = max(values) / min(values) - 1
    return f"{'within' if spread <= GROWTH_TOLERANCE else 'NOT within'} 15 % ({spread:.0%})"


def _sizes(largest):
    sizes = [SMALLEST]
    while sizes[-1] * 10 <= largest:
        sizes.append(sizes[-1] * 10)
    return sizes


def _head(sizes, *verdicts):
    yield f"| job | {' | '.join([f'{size:.0e} points' for size in sizes] + list(verdicts))} |"
    yield "| --- |" + " --- |" * (len(sizes) + len(verdicts))


def _chosen(names):
    return [growing for growing in GROWTH if not names or growing.row in names]


def _grown(setting, points):
    os.makedirs(setting.data, exist_ok=True)
    folder = os.path.join(setting.data, "growth")
    return replace(setting, data=folder, output=os.path.join(folder, "out"),
                   columns=points // setting.rows)


def measure(setting, largest, names):
    """Yields the lines of a table. The verdicts leave out what the machine's memory cannot hold: it
    comes from the disk, which is a cost of its own."""
    sizes = _sizes(largest)
    yield from _head(sizes, "time a point", "ratio")
    rows = {row.name: row for row in ROWS}
    for growing in _chosen(names):
        found, cells = [], []
        for size in sizes:
            if size >= HUGE and not growing.huge:
                cells.append("-")
                continue
            points = _points_that_fit(setting.data, growing, size)
            grown = replace(_grown(setting, points), warm_up=points < HUGE)
            found.append(_measure(grown, growing, rows[growing.row]))
            cells.append(str(found[-1]) + ("" if points == size else f" ({points:.0e} points)"))
            print(f"{growing.row}, {points:.0e} points: {found[-1]}", flush=True)
        cached = [one for one in found if one.points < HUGE]
        yield (f"| {growing.row} | {' | '.join(cells)} | {_spread([one.nanoseconds for one in cached])}"
               f" | {_spread([one.ratio for one in cached])} |")


def count_instructions(setting, largest, names):
    """Yields the lines of a table."""
    sizes = _sizes(largest)
    yield from _head(sizes, "growth")
    rows = {row.name: row for row in ROWS}
    for growing in _chosen(names):
        found = []
        for points in sizes:
            grown = _grown(setting, points)
            with _scan_on_disk(grown, growing):
                found.append(instructions.of_job(grown, rows[growing.row].job) / points)
            print(f"{growing.row}, {points:.0e} points: {found[-1]:.1f}", flush=True)
        yield f"| {growing.row} | {' | '.join(f'{one:.1f}' for one in found)} | {_spread(found)} |"

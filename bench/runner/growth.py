"""How the cost of a point changes with the size of the scan."""

import os
import shutil
import statistics
import subprocess
from dataclasses import replace

from rows import GROWTH, GROWTH_TOLERANCE
from runs import run_side

SMALLEST = 1_000_000
LARGE = 100_000_000  # a few runs are enough
BYTES_A_POINT = 80  # input and output of one job


def generate(setting, mode, *options):
    os.makedirs(setting.data, exist_ok=True)
    subprocess.run([os.path.join(setting.programs, "limits"), mode, "--data", setting.data,
                    "--columns", str(setting.columns), "--rows", str(setting.rows),
                    "--image-width", str(setting.image_width), *options],
                   check=True, stdout=subprocess.DEVNULL)


def _sizes(folder, largest):
    points = SMALLEST
    while points <= largest:
        free = shutil.disk_usage(folder).free
        if free < points * BYTES_A_POINT:
            print(f"{points:.0e} points need {points * BYTES_A_POINT / 1e9:.0f} GB of disk, "
                  f"{free / 1e9:.0f} are free")
            return
        yield points
        points *= 10


def _measure_job(setting, job, file):
    """Nanoseconds a point and MiB. The scan is on the disk for this long and no longer."""
    os.makedirs(setting.output, exist_ok=True)
    try:
        if file:
            generate(setting, "gen", "--file", file)
        # The first run fills caches.
        count = 3 if setting.columns * setting.rows >= LARGE else 9
        runs = [run_side(setting, job) for _ in range(count + 1)][1:]
    finally:
        shutil.rmtree(setting.data)
    nanoseconds = statistics.median(run.cpu / run.points for run in runs) * 1e9
    return nanoseconds, max(run.peak_mib for run in runs)


def measure(setting, largest):
    """Yields the lines of a table."""
    os.makedirs(setting.data, exist_ok=True)
    folder = os.path.join(setting.data, "growth")
    sizes = list(_sizes(setting.data, largest))
    head = " | ".join(f"{size:.0e} points" for size in sizes)
    yield f"| job: ns a point, peak MiB above the loaded library | {head} | |"
    yield "| --- |" + " --- |" * (len(sizes) + 1)
    for job, file in GROWTH:
        found = []
        for size in sizes:
            grown = replace(setting, data=folder, output=os.path.join(folder, "out"),
                            columns=size // setting.rows)
            found.append(_measure_job(grown, job, file))
            print(f"{job.name}, {size:.0e} points: {found[-1][0]:.2f} ns a point, "
                  f"{found[-1][1]:.1f} MiB", flush=True)
        cells = " | ".join(f"{ns:.2f}, {mib:.1f}" for ns, mib in found)
        slowest, quickest = max(ns for ns, _ in found), min(ns for ns, _ in found)
        within = slowest <= quickest * (1 + GROWTH_TOLERANCE)
        yield f"| {job.name} | {cells} | {'within' if within else 'NOT within'} 15 % |"

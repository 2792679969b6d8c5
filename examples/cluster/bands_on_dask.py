#!/usr/bin/python3
"""One large scan on the workers of Dask: each colours and indexes a band, then the bands are put together.

    bands_on_dask.py RAW.clr OUT.cl3 --bands 16 --scheduler tcp://head:8786

Without a scheduler it starts workers on this machine. All workers have to see the files by the same names. It may
be run again after a failure: bands that are there are not made twice.
"""

import argparse
import os
import signal
import sys
import threading
import time
from pathlib import Path

import brisko


def make(path: str, output: str, first: int, end: int, colours: str) -> tuple[int, int]:
    """A band, wherever this runs. Returns its points, and the process that made it."""
    Path(output + ".running").write_text(str(os.getpid()))
    result = brisko.convert(path, output, colours=colours, columns=slice(first, end), overwrite=True)
    os.remove(output + ".running")
    return result.points, os.getpid()


def kill_one(bands: list, killed: list) -> None:
    """Ends the worker that is first seen to make the second band or a later one."""
    while True:
        for band in bands[1:]:
            mark = Path(band.output + ".running")
            try:
                worker = int(mark.read_text())
            except (OSError, ValueError):
                continue
            os.kill(worker, signal.SIGKILL)
            killed.append(worker)
            return
        time.sleep(0.005)


def main() -> int:
    line = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    line.add_argument("scan", help="raw or indexed scan")
    line.add_argument("output", help=".cl3")
    line.add_argument("--bands", type=int, default=8)
    line.add_argument("--folder", help="where the bands go; else beside the scan")
    line.add_argument("--colours", choices=["stored", "photos"], default="photos")
    line.add_argument("--scheduler", help="of a cluster that runs already")
    line.add_argument("--workers", type=int, default=2, help="that are started without one")
    line.add_argument("--kill-a-worker", action="store_true", help="to see that it changes nothing")
    options = line.parse_args()
    scan = os.path.abspath(options.scan)
    folder = os.path.abspath(options.folder or os.path.dirname(scan))

    from dask.distributed import Client, LocalCluster, as_completed

    start = time.monotonic()
    killed: list[int] = []
    cluster = options.scheduler or LocalCluster(
        n_workers=options.workers, threads_per_worker=1, dashboard_address=None)
    with Client(cluster) as client:
        bands = brisko.split(scan, options.bands, folder)
        missing = [band for band in bands if not band.done]
        print(f"{len(bands)} bands, {len(bands) - len(missing)} of them there already")
        jobs = {client.submit(make, scan, band.output, band.columns.start, band.columns.stop,
                              options.colours, pure=False, retries=3): band for band in missing}
        if options.kill_a_worker and missing:
            threading.Thread(target=kill_one, args=(missing, killed), daemon=True).start()
        for job in as_completed(jobs):
            points, process = job.result()
            print(f"  {os.path.basename(jobs[job].output)}: {points} points, by process {process}")
        if options.kill_a_worker:
            print(f"worker {killed[0]} was killed on the way" if killed else "no worker was killed")
    if not options.scheduler:
        cluster.close()
    result = brisko.join(bands, options.output, overwrite=True)
    print(f"{options.output}: {result.points} points, {result.columns} columns x {result.rows} rows, "
          f"{time.monotonic() - start:.1f} s")
    return 0 if killed or not options.kill_a_worker else 1


if __name__ == "__main__":
    sys.exit(main())

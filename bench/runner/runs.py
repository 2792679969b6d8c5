"""Runs of single processes, and pairs of them in turn."""

import json
import os
import re
import statistics
import subprocess
from dataclasses import dataclass

from rows import Reference


class BenchFailure(Exception):
    """A run failed, or the two sides of a pair do not agree."""


@dataclass(frozen=True)
class Setting:
    programs: str  # folder of the built programs
    data: str
    output: str
    columns: int
    rows: int
    image_width: int  # of the station's photos
    warm_up: bool = False  # each side runs twice in its process, and the second run counts


@dataclass(frozen=True)
class Run:
    cpu: float   # seconds, all threads, user and system mode
    wall: float  # seconds
    points: float
    check: float
    peak_mib: float  # above the program's own
    total_mib: float


def _finish(command, log, **more):
    with open(log, "w") as out:
        code = subprocess.run(command, stdout=out, stderr=subprocess.STDOUT, **more).returncode
    if code != 0:
        with open(log, errors="replace") as lines:
            tail = "".join(lines.readlines()[-5:])
        raise BenchFailure(f"{' '.join(command)} ended with {code}:\n{tail}")


def _run_reference(setting, reference):
    log = os.path.join(setting.output, "reference.log")
    _finish([os.path.join(setting.programs, "limits"), reference.mode, "--data", setting.data,
             "--output", setting.output, "--runs", "1" if setting.warm_up else "0", "--columns", str(setting.columns),
             "--rows", str(setting.rows),
             "--image-width", str(setting.image_width), *reference.options], log)
    with open(log) as lines:
        values = dict(re.findall(r"(\S+)=(\S+)", lines.read()))
    return Run(float(values["cpu"]), float(values["wall"]), float(values["points"]),
               float(values["check"]), 0, float(values["peakMiB"]))


def job_environment(setting, job):
    environment = dict(os.environ, BRISKO_BENCH_DATA=setting.data,
                       BRISKO_BENCH_OUTPUT=setting.output,
                       BRISKO_BENCH_COLUMNS=str(setting.columns),
                       BRISKO_BENCH_ROWS=str(setting.rows))
    if setting.warm_up:
        environment["BRISKO_BENCH_WARM_UP"] = "1"
    for name, value in job.environment:
        # What is loaded before the job lies beside it.
        environment[name] = os.path.join(setting.programs, value) if name == "LD_PRELOAD" else value
    return environment


def _run_job(setting, job):
    result = os.path.join(setting.output, "library.json")
    # What the processing library tells on standard output goes into a file.
    _finish([os.path.join(setting.programs, job.program), f"--benchmark_filter=^{job.name}/",
             f"--benchmark_out={result}", "--benchmark_out_format=json"],
            os.path.join(setting.output, "library.log"), env=job_environment(setting, job))
    with open(result) as text:
        found = [run for run in json.load(text)["benchmarks"] if run["run_type"] == "iteration"]
    if not found:
        raise BenchFailure(f"{job.program} has no job {job.name}")
    run = found[-1]
    if run.get("error_occurred"):
        raise BenchFailure(f"{job.name}: {run['error_message']}")
    return Run(run["cpu_time"] / 1e3, run["real_time"] / 1e3, run["points"], run["check"],
               run["peak_mib"] - run["base_mib"], run["peak_mib"])


def run_side(setting, side):
    return (_run_reference if isinstance(side, Reference) else _run_job)(setting, side)


@dataclass(frozen=True)
class Pair:
    job: Run
    references: tuple

    def ratio(self, row):
        of = {"cpu": lambda run: run.cpu, "wall": lambda run: run.wall,
              "throughput": lambda run: run.wall}[row.figure]
        scale = (lambda run: run.points) if row.per_point else (lambda run: 1)
        mine = of(self.job) / scale(self.job)
        theirs = sum(of(run) / scale(run) for run in self.references)
        return theirs / mine if row.higher_is_better else mine / theirs


def _require_agreement(row, pair):
    mine, theirs = pair.job.check, pair.references[-1].check
    of_library = all(not isinstance(side, Reference) for side in row.references)
    if of_library and pair.job.points != pair.references[-1].points:
        raise BenchFailure(f"{row.name}: two runs of the library count points differently")
    # Matrices come from text files, so sums of coordinates may differ in their last digits.
    if row.same_check and abs(mine - theirs) > 1e-9 * abs(theirs):
        raise BenchFailure(f"{row.name}: the library found {mine:.12g}, "
                           f"the reference {theirs:.12g}")


@dataclass(frozen=True)
class Result:
    row: object
    pairs: tuple

    @property
    def ratio(self):
        return statistics.median(pair.ratio(self.row) for pair in self.pairs)

    @property
    def spread(self):
        ratios = [pair.ratio(self.row) for pair in self.pairs]
        return min(ratios), max(ratios)

    @property
    def nanoseconds(self):
        """CPU time of the library and of the reference for each of the library's points."""
        def median(values):
            return statistics.median(values) * 1e9
        theirs = [sum(r.cpu / (r.points if self.row.per_point else p.job.points)
                      for r in p.references) for p in self.pairs]
        return median([p.job.cpu / p.job.points for p in self.pairs]), median(theirs)

    @property
    def peak_mib(self):
        return max(pair.job.peak_mib for pair in self.pairs)

    @property
    def total_mib(self):
        return max(pair.job.total_mib for pair in self.pairs)

    def meets(self, limit):
        if limit is None:
            return None
        return self.ratio >= limit if self.row.higher_is_better else self.ratio <= limit


def run_pair(setting, row):
    pair = Pair(run_side(setting, row.job),
                tuple(run_side(setting, side) for side in row.references))
    _require_agreement(row, pair)
    return pair


def run_pairs(setting, row, count, drop_first):
    """Runs both sides in turn. The first pair fills caches and is dropped."""
    pairs = [run_pair(setting, row) for _ in range(count + (1 if drop_first else 0))]
    return Result(row, tuple(pairs[1:] if drop_first else pairs))


def run_load(setting):
    """Loads the library in a fresh process. Returns milliseconds and the number of shared objects."""
    log = os.path.join(setting.output, "load.log")
    _finish([os.path.join(setting.programs, "load_bench")], log)
    with open(log) as lines:
        values = dict(re.findall(r"(\S+)=(\S+)", lines.read()))
    return float(values["ms"]), int(values["objects"])

"""The rows of the table: a job of the library, what it is held against, and how near it should come."""

from dataclasses import dataclass, field


@dataclass(frozen=True)
class Job:
    """A run of the library, in a process of its own."""
    program: str
    name: str
    environment: tuple = ()


@dataclass(frozen=True)
class Reference:
    """A run of a mode of the references."""
    mode: str
    options: tuple = ()


@dataclass(frozen=True)
class Row:
    name: str
    title: str
    job: Job
    references: tuple  # their times are added up
    must: float | None = None
    target: float | None = None
    stretch: float | None = None
    # "cpu" and "wall": time of the job by time of the references, lower is better.
    # "throughput": points a second the other way round, higher is better.
    figure: str = "cpu"
    per_point: bool = False  # the two sides handle different numbers of points
    same_check: bool = True  # both sides print the same check value
    needs: str | None = None  # besides the scans: station or ptx

    @property
    def higher_is_better(self):
        return self.figure == "throughput"

    @property
    def reference_text(self):
        return " + ".join(getattr(r, "mode", None) or r.name for r in self.references)


def _cpu(name, title, job, reference, must=None, target=None, stretch=None, **more):
    references = reference if isinstance(reference, tuple) else (reference,)
    references = tuple(Reference(r) if isinstance(r, str) else r for r in references)
    return Row(name, title, job, references, must, target, stretch, **more)


def _on(threads, program, job):
    """A job on some threads; it does not wait for the disk, whose share no thread can take."""
    return Job(program, job, (("BRISKO_BENCH_THREADS", threads), ("LD_PRELOAD", "libno_sync.so")))


def _on_two_threads(name, title, program, job=None, needs=None, target=1.8):
    """A row that compares a job on two threads with the same on one, by the clock."""
    return Row(f"{name}-two", f"{title}, two threads against one", _on("2", program, job or name),
               (_on("1", program, job or name),), target=target, figure="throughput",
               same_check=False, needs=needs)


def _against_loop(name, title, program, job, mode, **more):
    """The same against a loop by hand on two threads, by the clock."""
    return Row(f"{name}-loop", f"{title}, two threads", _on("2", program, job),
               (Reference(mode, ("--threads", "2")),), target=1.2, figure="wall", **more)


ROWS = (
    _cpu("cl3-read", "CL3 read, `ReadNextPoint`", Job("read_bench", "cl3-read"), "cl3-virtual",
         2.0, 1.4, 1.15),
    _cpu("cl3-batch", "CL3 read, batches", Job("read_bench", "cl3-batch"), "cl3-inline",
         1.8, 1.3, 1.1),
    _cpu("grid-read", "CL3 grid read, `ReadNextGridPoint`", Job("read_bench", "grid-read"),
         "grid-virtual", 2.0, 1.35, 1.15),
    _cpu("grid-batch", "CL3 grid read, batches", Job("read_bench", "grid-batch"), "grid-inline",
         target=1.1),
    _cpu("skip-batch", "CL3 grid read through a skip codec that keeps half, batches",
         Job("read_bench", "skip-batch"), "near-inline", target=1.3),
    _cpu("clr1-read", "CLR read, one block", Job("read_bench", "clr1-read"), "clr1-virtual",
         2.0, 1.35, 1.15),
    _cpu("clr5-read", "CLR read, five blocks", Job("read_bench", "clr5-read"), "clr5-virtual",
         1.8, 1.3, 1.1),
    _cpu("clrc-read", "CLR read, compressed", Job("read_bench", "clrc-read"), "clrc-virtual",
         1.8, 1.3, 1.1),
    _cpu("clr1-batch", "CLR read, one block, batches", Job("read_bench", "clr1-batch"),
         "clr1-inline"),
    _cpu("cl3-write", "CL3 write", Job("write_bench", "cl3-write"), "w-cl3-virtual",
         2.0, 1.3, 1.1),
    _cpu("grid-write", "CL3 grid write with index and ALG", Job("write_bench", "grid-write"),
         "w-grid-virtual", 2.0, 1.35, 1.15),
    _cpu("clr-write", "CLR write", Job("write_bench", "clr-write"), "w-clr-virtual",
         2.0, 1.3, 1.1),
    _cpu("conv-clr1", "CLR to indexed CL3, one block", Job("convert_bench", "conv-clr1"),
         "conv-clr1", 2.2, 1.4, 1.2),
    _cpu("conv-clr5", "CLR to indexed CL3, five blocks", Job("convert_bench", "conv-clr5"),
         "conv-clr5", 2.2, 1.4, 1.2),
    _cpu("conv-clrc", "CLR to indexed CL3, compressed", Job("convert_bench", "conv-clrc"),
         "conv-clrc", 2.2, 1.4, 1.2),
    _cpu("conv-through", "CLR to CL3 to indexed CL3", Job("convert_bench", "conv-through"),
         ("clr1-virtual", "w-cl3-virtual", "cl3-virtual", "clr1-virtual", "w-grid-virtual"),
         2.0, 1.3, 1.15, same_check=False),
    _cpu("reindex", "Re-indexing an indexed CL3", Job("convert_bench", "reindex"), "conv-grid",
         2.2, 1.5, 1.2),
    _cpu("sort-plain", "Line sort, plain", Job("sort_bench", "sort-plain"), "sort-rise",
         2.0, 1.35, 1.15),
    _cpu("sort-compressed", "Line sort, compressed", Job("sort_bench", "sort-compressed"),
         "sort-clrc", 2.0, 1.35, 1.15),
    _cpu("colour-one", "Colour, one point at a time, one core", Job("colour_bench", "colour-one"),
         Reference("colour", ("--ahead", "1")), 2.0, 1.3, 1.0,
         per_point=True, same_check=False, needs="station"),
    _cpu("colour-worker", "Colour, read-ahead codec, CPU time of all its threads",
         Job("colour_bench", "colour-ahead"), Reference("colour", ("--ahead", "64")),
         2.2, 1.5, 1.2, per_point=True, same_check=False, needs="station"),
    Row("colour-ahead", "Colour, read-ahead codec, points a second",
        Job("colour_bench", "colour-ahead", (("BRISKO_BENCH_THREADS", "4"),)),
        (Reference("colour", ("--threads", "4", "--ahead", "64")),), 0.45, 0.75, 0.9,
        figure="throughput", per_point=True, same_check=False, needs="station"),
    _cpu("colour-open", "Opening a colouriser", Job("colour_bench", "colour-open"),
         Reference("open-station", ("--runs", "1")), 1.5, 1.15, 1.05,
         same_check=False, needs="station"),
    _cpu("point-count", "`GetPointCount`", Job("read_bench", "get-point-count"),
         Job("read_bench", "full-pass"), 1.25, 1.1, 1.0, same_check=False),
    _cpu("bounds", "`GetBounds`", Job("read_bench", "get-bounds"),
         Job("read_bench", "full-pass"), 1.25, 1.1, 1.0),
    _cpu("tracker", "A tracker attached to a conversion", Job("convert_bench", "conv-tracked"),
         Job("convert_bench", "conv-clr1"), 1.10, 1.03, 1.01),
    Row("sync", "Bringing a conversion's output to the disk (wall time)",
        Job("convert_bench", "conv-clr1"),
        (Job("convert_bench", "conv-clr1", (("LD_PRELOAD", "libno_sync.so"),)),), figure="wall"),
    _cpu("cell", "One cell of an indexed scan, warm", Job("cell_bench", "cells"), "cells",
         3.0, 1.5, 1.2),
    _cpu("window", "Windows of cells into arrays, against batches", Job("cell_bench", "windows"),
         Job("read_bench", "grid-batch"), 1.5, 1.1, 1.0),
    _cpu("ptx-import", "PTX import", Job("ptx_bench", "import"), "ptx-parse", 1.8, 1.3, 1.1,
         needs="ptx"),
    _cpu("ptx-export", "PTX export", Job("ptx_bench", "export"), "ptx-print", 1.8, 1.3, 1.1),
    # Against reading CL3 by hand, which takes some 11 ns a point.
    *(_cpu(f"{name}-in", f"{name.upper()} read, batches", Job("format_bench", f"{name}-in"),
           "cl3-inline", target=target, per_point=True, same_check=False)
      for name, target in (("e57", 25 / 11), ("las", 12 / 11), ("pcd", 12 / 11))),
    *(_cpu(f"{name}-out", f"{name.upper()} write", Job("format_bench", f"{name}-out"),
           "cl3-inline", target=target, per_point=True, same_check=False)
      for name, target in (("e57", 30 / 11), ("las", 15 / 11), ("pcd", None))),
    *(_cpu(name, title, Job("python_bench", name), "cl3-inline", target=target, per_point=True,
           same_check=False, figure="wall")
      for name, title, target in (("py-read", "Python: the whole scan into five arrays", 22 / 11),
                                  ("py-grid", "Python: the whole grid into arrays", 40 / 11))),
    _cpu("py-batches", "Python: batches with a sum by NumPy", Job("python_bench", "py-batches"),
         Job("format_bench", "scan-batch"), target=1 / 0.95, same_check=False, figure="wall"),
    _cpu("py-copy", "Python: a filtered copy, against the tool", Job("python_bench", "py-copy"),
         Job("python_bench", "tool-copy"), target=1 / 0.8, same_check=False, figure="wall"),
    _on_two_threads("conv-clr1", "CLR to indexed CL3, one block", "convert_bench"),
    _on_two_threads("conv-clr5", "CLR to indexed CL3, five blocks", "convert_bench"),
    _on_two_threads("conv-clrc", "CLR to indexed CL3, compressed", "convert_bench"),
    _on_two_threads("reindex", "Re-indexing an indexed CL3", "convert_bench"),
    _on_two_threads("colour-ahead", "Colour, read-ahead codec", "colour_bench", needs="station",
                    target=1.9),
    _on_two_threads("ptx-import", "PTX import", "ptx_bench", "import", "ptx"),
    _on_two_threads("ptx-export", "PTX export", "ptx_bench", "export"),
    *(_on_two_threads(f"{name}-in", f"{name.upper()} read, batches", "format_bench")
      for name in ("e57", "las", "pcd")),
    _on_two_threads("point-count", "`GetPointCount`", "read_bench", "get-point-count", target=1.7),
    _on_two_threads("bounds", "`GetBounds`", "read_bench", "get-bounds", target=1.7),
    _on_two_threads("check", "Check of an indexed CL3", "format_bench", target=1.7),
    _against_loop("conv-clr1", "CLR to indexed CL3, one block", "convert_bench", "conv-clr1",
                  "par-clr1"),
    _against_loop("conv-clrc", "CLR to indexed CL3, compressed", "convert_bench", "conv-clrc",
                  "par-clrc"),
    _against_loop("bounds", "`GetBounds`, against sums of all points", "read_bench", "get-bounds",
                  "par-grid", same_check=False, per_point=True),
    Row("py-grid-two", "Python: the whole grid on two threads, against one",
        Job("python_bench", "py-grid-two"), (Job("python_bench", "py-grid"),), target=1.7,
        figure="throughput", same_check=False),
)

MIB = 1 << 20


@dataclass(frozen=True)
class Budget:
    """Peak memory of a job, above what the loaded library takes before it; MiB."""
    title: str
    rows: tuple
    limit: object = field(repr=False)  # of (columns, rows of the grid)


def _band(rows):
    return 256 * ((rows + 255) // 256) * 256 * 32 / MIB


_PHOTOS = 60 * 2560 * 1920 * 3 / MIB

BUDGETS = (
    Budget("Reading", ("cl3-read", "cl3-batch", "grid-read", "clr1-read", "clr5-read",
                       "clrc-read"), lambda columns, rows: 8),
    Budget("CL3 write", ("cl3-write",), lambda columns, rows: 8),
    Budget("CL3 grid write", ("grid-write",), lambda columns, rows: _band(rows) + 10),
    Budget("CLR write", ("clr-write",), lambda columns, rows: 256 * rows * 20 / MIB + 8),
    Budget("Conversions", ("conv-clr1", "conv-clr5", "conv-clrc", "conv-through", "reindex"),
           lambda columns, rows: _band(rows) + 10 + 8),
    Budget("Line sorts", ("sort-plain", "sort-compressed"), lambda columns, rows: 8),
    Budget("Read-ahead colour codec", ("colour-ahead",),
           lambda columns, rows: 1.1 * _PHOTOS + 40e6 / MIB),
)

# Loading the library.
MOST_SHARED_OBJECTS = 12
LONGEST_LOAD_MS = 10.0

# Jobs whose cost a point must not grow with the scan, and the file each reads.
@dataclass(frozen=True)
class Growing:
    """A row that is measured at several sizes: the file it reads, and what it takes of the disk."""
    row: str
    file: str | None
    bytes_a_point: int
    huge: bool = False  # also beyond the machine's memory, which takes minutes


GROWTH = (
    Growing("cl3-read", "scan.cl3", 31, huge=True),
    Growing("grid-read", "grid.cl3", 36),
    Growing("clr1-read", "raw1.clr", 20),
    Growing("clrc-read", "rawc.clr", 20),
    Growing("cl3-write", None, 31),
    Growing("grid-write", None, 36, huge=True),
    Growing("clr-write", None, 20),
    Growing("conv-clr1", "raw1.clr", 56, huge=True),
    Growing("reindex", "grid.cl3", 72),
)
GROWTH_TOLERANCE = 0.15

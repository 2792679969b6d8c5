"""Instructions that the library executes for a point: a cost that no other work on the machine changes."""

import os
import re
import subprocess

from runs import BenchFailure, job_environment

_COST = re.compile(r"[+\-*\d]+ (\d+)$")


def _library_cost(profile, program):
    """What a profile counts in all objects but the program itself and the loader."""
    total, counted, inclusive = 0, False, False
    with open(profile) as lines:
        for line in lines:
            if line.startswith("ob="):
                name = os.path.basename(line[3:].strip())
                counted = name != program and not name.startswith("ld-")
            elif line.startswith("calls="):
                inclusive = True  # of the next line, which the callee has counted for itself
            elif found := _COST.match(line):
                if counted and not inclusive:
                    total += int(found[1])
                inclusive = False
    return total


def of_job(setting, job):
    """The job once, under Valgrind, which takes some fifty times as long. Instructions in all."""
    profile = os.path.join(setting.output, "callgrind.out")
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}",
               "--compress-strings=no", "--compress-pos=no",
               os.path.join(setting.programs, job.program), f"--benchmark_filter=^{job.name}/"]
    run = subprocess.run(command, env=job_environment(setting, job), capture_output=True, text=True)
    if run.returncode != 0 or "ERROR OCCURRED" in run.stdout:
        raise BenchFailure(f"{job.name} under Valgrind: {run.stdout[-500:]}{run.stderr[-500:]}")
    return _library_cost(profile, job.program)

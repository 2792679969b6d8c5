"""The tutorial runs, and its types and those of the module are sound."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

import brisko

DOCUMENT = pathlib.Path(__file__).parents[2] / "docs" / "python.md"


def tutorial():
    part = DOCUMENT.read_text().split("## Five minutes")[1].split("\n## ")[0]
    return "\n".join(re.findall(r"```python\n(.*?)```", part, re.DOTALL))


def test_the_tutorial_runs(tmp_path, monkeypatch):
    pytest.importorskip("PIL")
    monkeypatch.chdir(tmp_path)
    names = {}
    exec(compile(tutorial(), DOCUMENT.name, "exec"), names)
    # The scanner's noise is 1.5 mm; the wall stands across the x axis.
    assert len(names["residuals"]) > 4_900 and names["residuals"].std() < 0.002
    assert abs(names["normal"][0]) > 0.999 and names["same"].mean() > 0.8
    assert {"first.png", "near.cl3", "near.e57"} <= set(os.listdir())


def test_types_are_sound(tmp_path):
    pytest.importorskip("mypy")
    (tmp_path / "tutorial.py").write_text(tutorial())
    (tmp_path / "mypy.ini").write_text("[mypy]\nstrict = True\n[mypy-PIL.*]\nignore_missing_imports = True\n")
    done = subprocess.run([sys.executable, "-m", "mypy", pathlib.Path(brisko.__file__).parent, "tutorial.py"],
                          capture_output=True, text=True, cwd=tmp_path)
    assert done.returncode == 0, done.stdout

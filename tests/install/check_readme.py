#!/usr/bin/env python3
"""check_readme.py PROJECT_FOLDER: the C++ example in README.md is the file that is compiled."""

import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
blocks = re.findall(r"```cpp\n(.*?)```", (project / "README.md").read_text(), re.DOTALL)
example = (project / "examples/highest_point.cpp").read_text()
if example not in blocks:
    print("README.md does not show examples/highest_point.cpp as it stands")
    sys.exit(1)

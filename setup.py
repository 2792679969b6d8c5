"""The wheel of the Python module: `/usr/bin/python3 -m build --wheel --no-isolation`.

CMake builds the extension. The project's own libraries lie beside it in the wheel; those of the
distribution (scripts/packages.txt) have to be there where it is used.
"""

import os
import pathlib
import re
import shutil
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
COMPONENTS = "brisko_codec", "brisko_codec_fallback", "brisko_scan", "brisko_python"


class CMakeBuild(build_ext):
    def run(self):
        work, stage = pathlib.Path(self.build_temp).resolve(), pathlib.Path(self.build_temp, "stage").resolve()
        off = ["-DBRISKO_BUILD_TESTS=OFF", "-DBRISKO_BUILD_TOOL=OFF"]
        self.spawn(["cmake", "-S", str(ROOT), "-B", str(work), "-G", "Ninja",
                    "-DCMAKE_BUILD_TYPE=Release", f"-DBRISKO_PYTHON={sys.executable}",
                    "-DCMAKE_INSTALL_LIBDIR=brisko", "-DBRISKO_PYTHON_INSTALL_DIR=.", *off])
        self.spawn(["cmake", "--build", str(work)])
        for component in COMPONENTS:
            self.spawn(["cmake", "--install", str(work), "--strip", "--prefix", str(stage),
                        "--component", component])
        place = ROOT / "python" / "brisko" if self.inplace else pathlib.Path(self.build_lib, "brisko")
        place.mkdir(parents=True, exist_ok=True)
        for file in (stage / "brisko").glob("*.so*"):
            # A wheel has no links: each library lies in it under the name that is loaded.
            if not re.search(r"\.so\.\d+\.\d", file.name):
                shutil.copy(os.path.realpath(file), place / file.name)


def version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(brisko_codec VERSION ([\d.]+)", text).group(1)


setup(version=version(), ext_modules=[Extension("brisko._brisko", [])], cmdclass={"build_ext": CMakeBuild})

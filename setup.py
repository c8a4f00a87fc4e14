"""Has CMake build the extension and the libraries, and puts them into the wheel side by side."""

import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(nxbriochem VERSION ([\d.]+)", (SOURCE / "CMakeLists.txt").read_text())[1]


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        prefix = build / "prefix"
        # Libraries come to lie beside the extension, which finds them there.
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DNXBRIOCHEM_APPS=OFF", "-DNXBRIOCHEM_TESTS=OFF",
                   f"-DCMAKE_INSTALL_PREFIX={prefix}", "-DCMAKE_INSTALL_LIBDIR=python/nxbriochem",
                   "-DNXBRIOCHEM_PYTHON_DIR=python", f"-DPython3_EXECUTABLE={sys.executable}"]
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(["cmake", "-S", SOURCE, "-B", build / "cmake", *generator, *options], check=True)
        subprocess.run(["cmake", "--build", build / "cmake", "--parallel", "--target", "python_package"],
                       check=True)
        for component in ("python", "nxbriochem_runtime", "nxbriofiles_runtime", "nxbriodock_runtime"):
            subprocess.run(["cmake", "--install", build / "cmake", "--component", component], check=True)
        installed = prefix / "python/nxbriochem"
        if not list(installed.glob("_core*.so")):
            raise SystemExit("the extension was not built: pybind11, numpy or Python's headers are missing")
        package.mkdir(parents=True, exist_ok=True)
        # Libraries under the names that the loader asks for, since a wheel holds no links; and what is no module.
        for file in installed.rglob("*"):
            if file.is_file() and not file.is_symlink() and file.suffix not in (".py", ".pyi"):
                target = package / file.relative_to(installed)
                target.parent.mkdir(exist_ok=True)
                shutil.copy2(file, target.with_name(re.sub(r"(\.so\.\d+)[.\d]*$", r"\1", target.name)))


setup(version=VERSION, ext_modules=[Extension("nxbriochem._core", sources=[])], cmdclass={"build_ext": CMakeBuild})

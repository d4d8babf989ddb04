"""Builds pdm_core with its libraries: `pip install --no-build-isolation .` needs CMake, pybind11 and HDF5."""

import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

TOP = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    """The module and the libraries that it needs, side by side in the package."""

    def build_extension(self, ext):
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        build.mkdir(parents=True, exist_ok=True)
        options = [f"-DPDM_{part}=OFF" for part in ("TESTS", "TOOLS", "EXAMPLES")]
        subprocess.run(
            ["cmake", "-S", TOP, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DPDM_PYTHON=ON", *options,
             f"-DPDM_PYTHON_EXECUTABLE={sys.executable}", "-DPDM_PYTHON_DIR=.", "-DPDM_PYTHON_LIBS=ON",
             f"-DCMAKE_INSTALL_PREFIX={package.parent}", "-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON"], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "_pdm_core", "--parallel"], check=True)
        subprocess.run(["cmake", "--install", build, "--component", "python"], check=True)


version = re.search(r"VERSION ([\d.]+)", (TOP / "CMakeLists.txt").read_text())[1]
setup(
    name="pdm_core", version=version, description="Simulation files of finite-element analyses in Python",
    package_dir={"": "python"}, packages=["pdm_core"], package_data={"pdm_core": ["py.typed", "*.pyi"]},
    python_requires=">=3.11", install_requires=["numpy"], ext_modules=[Extension("pdm_core._pdm_core", [])],
    cmdclass={"build_ext": CMakeBuild}, license="Apache-2.0", zip_safe=False)

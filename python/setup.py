# SPDX-License-Identifier: MIT
"""The extension orvex._orvex for pip (see pyproject.toml): the same sources
CMake builds (python/CMakeLists.txt), its Orvex method bindings generated
from include/orvex.h by gen_bindings.py, linked to the installed
liborvex.so.1."""
import glob
import os
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


def sources():
    out = [os.path.join("src", "module.cpp"), os.path.join("src", "layer.cpp")]
    for pattern in ("sim/orvexsim/*.cpp", "src/ndef/forum/*.cpp", "tools/formats/*.cpp"):
        out += sorted(os.path.relpath(p, HERE) for p in glob.glob(os.path.join(ROOT, pattern)))
    return out


class BuildExt(build_ext):
    """Generates the method bindings and the type stub first."""

    def run(self):
        gen = os.path.join(self.build_temp, "generated")
        os.makedirs(gen, exist_ok=True)
        methods = os.path.join(gen, "methods.cpp")
        stub = os.path.join(gen, "_orvex.pyi")
        subprocess.run([sys.executable, os.path.join(HERE, "gen_bindings.py"), methods, stub], check=True)
        for ext in self.extensions:
            if methods not in ext.sources:
                ext.sources.append(methods)
        super().run()
        target = os.path.join(self.build_lib, "orvex")
        os.makedirs(target, exist_ok=True)
        self.copy_file(stub, os.path.join(target, "_orvex.pyi"))


def main():
    libdirs = [os.environ["ORVEX_LIBDIR"]] if os.environ.get("ORVEX_LIBDIR") else []
    setup(
        ext_modules=[Extension(
            "orvex._orvex",
            sources=sources(),
            include_dirs=[os.path.join(HERE, "src"), os.path.join(ROOT, "include"), os.path.join(ROOT, "src"),
                          os.path.join(ROOT, "sim"), os.path.join(ROOT, "tools", "formats")],
            library_dirs=libdirs,
            runtime_library_dirs=libdirs,
            libraries=["orvex", "png", "crypto", "pthread"],
            extra_compile_args=["-std=c++17", "-fvisibility=hidden", "-Wall", "-Wextra"],
            language="c++",
        )],
        cmdclass={"build_ext": BuildExt},
    )


if __name__ == "__main__":
    main()

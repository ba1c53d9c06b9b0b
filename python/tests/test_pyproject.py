# SPDX-License-Identifier: MIT
# python/pyproject.toml and setup.py build the module CMake builds: the same
# sources (every file of the libraries it compiles in), the same generator,
# and the pytest plugin as an entry point. (The build itself takes minutes:
# `pip install --no-build-isolation ./python` is run by hand.)
import importlib.machinery
import os
import types

SOURCE_DIR = os.environ.get("ORVEX_SOURCE_DIR",
                            os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
PY = os.path.join(SOURCE_DIR, "python")


def load_setup():
    loader = importlib.machinery.SourceFileLoader("orvex_setup", os.path.join(PY, "setup.py"))
    mod = types.ModuleType(loader.name)
    mod.__file__ = loader.path
    loader.exec_module(mod)  # not __main__: setup() does not run
    return mod


def test_setup_compiles_what_cmake_compiles():
    files = load_setup().sources()
    for f in files:
        assert os.path.isfile(os.path.join(PY, f)), f
    names = {os.path.relpath(os.path.normpath(os.path.join(PY, f)), SOURCE_DIR) for f in files}
    assert {"python/src/module.cpp", "python/src/layer.cpp"} <= names
    for folder in ("sim/orvexsim", "src/ndef/forum", "tools/formats"):
        for f in os.listdir(os.path.join(SOURCE_DIR, folder)):
            if f.endswith(".cpp"):
                assert f"{folder}/{f}" in names
    cmake = open(os.path.join(PY, "CMakeLists.txt"), encoding="utf-8").read()
    assert "src/module.cpp src/layer.cpp" in cmake


def test_pyproject_declares_the_pytest_plugin():
    text = open(os.path.join(PY, "pyproject.toml"), encoding="utf-8").read()
    assert '[project.entry-points.pytest11]\norvex = "orvex.pytest_plugin"' in text
    assert os.path.isfile(os.path.join(PY, "orvex", "pytest_plugin.py"))

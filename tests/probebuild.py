"""Builds the tests' probe modules (tests/probe/*.cpp): small extension modules compiled against
the installed package's core library and the binding headers of src, which run binding code
that no reader call reaches in the way a test needs."""

import importlib.util
import os
import shutil
import subprocess
import sysconfig
from pathlib import Path

import kelvara

ROOT = Path(__file__).resolve().parents[1]


def build_probe(module_name: str, source: str, build_dir: str):
    """Compiles tests/probe/<source> into the module <module_name> under build/<build_dir> when
    it is older than its inputs, and imports it."""
    compiler = shutil.which("g++") or shutil.which("c++")
    assert compiler, "a C++ compiler is needed to build the probe module"
    import pybind11

    package = Path(kelvara.__file__).parent
    build = ROOT / "build" / build_dir
    target = build / (module_name + sysconfig.get_config_var("EXT_SUFFIX"))
    build.mkdir(parents=True, exist_ok=True)
    code = ROOT / "tests" / "probe" / source
    command = [compiler, "-std=c++17", "-O0", "-shared", "-fPIC", "-Wall", "-Wextra", "-Werror",
               "-DPYBIND11_DETAILED_ERROR_MESSAGES",
               "-I" + sysconfig.get_paths()["include"], "-I" + pybind11.get_include(),
               "-I" + str(ROOT / "src"), str(code),
               "-o", str(target), "-L" + str(package), "-lostrel_core",
               "-Wl,-rpath," + str(package)]
    inputs = [code, package / "libostrel_core.so"]
    for folder in ("bindings", "builder", "core/pattern"):
        inputs += list((ROOT / "src" / folder).glob("*.h"))
    fresh = target.exists() and all(p.stat().st_mtime < target.stat().st_mtime for p in inputs)
    if not fresh:
        env = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}
        done = subprocess.run(command, capture_output=True, text=True, env=env)
        assert done.returncode == 0, done.stderr
    spec = importlib.util.spec_from_file_location(module_name, target)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module

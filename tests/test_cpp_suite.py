"""Builds the GoogleTest suite of the C++ core (with AddressSanitizer, UndefinedBehaviorSanitizer
and warnings as errors) and runs it through CTest. A missing GoogleTest fails here; it is never
skipped."""

import os
import shutil
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
BUILD = ROOT / "build" / "cpp-tests"


def run(args):
    # The suite must not inherit a preloaded sanitizer runtime meant for the Python process.
    env = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}
    done = subprocess.run(args, cwd=ROOT, env=env, capture_output=True, text=True)
    assert done.returncode == 0, f"{' '.join(map(str, args))}\n{done.stdout}\n{done.stderr}"
    return done.stdout


def test_cpp_suite_builds_clean_and_passes():
    assert shutil.which("cmake"), "cmake is needed to build the C++ test suite"
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    run(["cmake", "-S", ROOT, "-B", BUILD, *generator, "-DCMAKE_BUILD_TYPE=Debug",
         "-DKELVARA_BUILD_PYTHON=OFF", "-DKELVARA_BUILD_TESTS=ON", "-DKELVARA_WERROR=ON",
         "-DKELVARA_SANITIZE=ON"])
    run(["cmake", "--build", BUILD, "-j", str(os.cpu_count() or 2)])
    out = run(["ctest", "--test-dir", BUILD, "--output-on-failure"])
    assert "100% tests passed" in out

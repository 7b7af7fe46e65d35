"""The C++ sources keep the project's clang-format style."""

import shutil
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]


def test_cpp_sources_are_formatted():
    clang_format = shutil.which("clang-format")
    assert clang_format, "clang-format is needed (tools/install puts it in place)"
    files = sorted(p for d in ("src", "tests/cpp", "tests/probe") for p in (ROOT / d).rglob("*")
                   if p.suffix in {".h", ".cpp", ".inl"})
    assert files
    done = subprocess.run([clang_format, "--dry-run", "--Werror", *files], capture_output=True,
                          text=True)
    assert done.returncode == 0, done.stderr

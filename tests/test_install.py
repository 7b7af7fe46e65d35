"""The install path: where tools/install puts kelvara, and tools/test running in that Python."""

from __future__ import annotations

import importlib.util
import os
import shutil
import subprocess
import sys
import sysconfig
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[1]
spec = importlib.util.spec_from_file_location("python_env", ROOT / "tools" / "python_env.py")
python_env = importlib.util.module_from_spec(spec)
spec.loader.exec_module(python_env)


def test_a_virtual_environment_is_used_as_it_is(tmp_path):
    (tmp_path / "EXTERNALLY-MANAGED").write_text("[externally-managed]\n")
    assert python_env.decide("/v/env", "/usr", str(tmp_path), has_pip=False)[0] == "current"


def test_an_externally_managed_python_gets_a_virtual_environment(tmp_path):
    (tmp_path / "EXTERNALLY-MANAGED").write_text("[externally-managed]\n")
    mode, reason = python_env.decide("/usr", "/usr", str(tmp_path), has_pip=True)
    assert mode == "venv" and "externally managed" in reason


def test_a_python_without_pip_gets_a_virtual_environment(tmp_path):
    assert python_env.decide("/usr", "/usr", str(tmp_path), has_pip=False)[0] == "venv"


def test_a_python_that_pip_may_install_into_is_used(tmp_path):
    assert python_env.decide("/opt/py", "/opt/py", str(tmp_path), has_pip=True)[0] == "current"


def dry_run(python):
    done = subprocess.run([str(ROOT / "tools" / "install"), "--dry-run"], capture_output=True,
                          text=True, env={**os.environ, "PYTHON": str(python),
                                          "KELVARA_VENV": "/tmp/kelvara-venv"}, timeout=60)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_dry_run_for_this_python():
    out = dry_run(sys.executable)
    in_venv = sys.prefix != sys.base_prefix
    managed = os.path.isfile(os.path.join(sysconfig.get_path("stdlib"), "EXTERNALLY-MANAGED"))
    want = "current" if in_venv or not managed else "venv"
    assert f": {want} (" in out


SYSTEM = Path("/usr/bin/python3")


@pytest.mark.skipif(not (SYSTEM.exists() and subprocess.run(
    [str(SYSTEM), "-c", "import sysconfig, os, sys; sys.exit(not os.path.isfile(os.path.join("
     "sysconfig.get_path('stdlib'), 'EXTERNALLY-MANAGED')))"]).returncode == 0),
    reason="no externally managed system Python on this machine")
def test_dry_run_for_an_externally_managed_system_python():
    out = dry_run(SYSTEM)
    assert ": venv (externally managed" in out
    assert "virtual environment /tmp/kelvara-venv" in out


def test_tools_test_runs_pytest_with_the_installed_python(tmp_path):
    (tmp_path / "tools").mkdir()
    shutil.copy(ROOT / "tools" / "test", tmp_path / "tools" / "test")
    (tmp_path / "build").mkdir()
    (tmp_path / "build" / "kelvara-python").write_text(sys.executable + "\n")
    done = subprocess.run([str(tmp_path / "tools" / "test"), "--version"], capture_output=True,
                          text=True, env={**os.environ, "PYTHON": "/nonexistent/python"},
                          timeout=60)
    assert done.returncode == 0 and "pytest" in (done.stdout + done.stderr)


def test_ci_calls_the_readme_commands():
    ci = (ROOT / ".ci" / "run").read_text().splitlines()
    readme = (ROOT / "README.md").read_text()
    assert "tools/install" in ci and "tools/test" in ci
    assert any(line.startswith("PYTHON=$(cat build/kelvara-python) tools/sanitize")
               for line in ci)
    assert "tools/install" in readme and "tools/test" in readme

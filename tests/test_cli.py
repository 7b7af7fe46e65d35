"""The kelvara command, run as a console script in a subprocess; the progress bar in-process."""

from __future__ import annotations

import io
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

import kelvara
from kelvara import _cli
from eclwriter import EclFile
from gridwriter import GridFile


def script() -> str:
    beside = Path(sys.executable).with_name("kelvara")
    found = str(beside) if beside.exists() else shutil.which("kelvara")
    assert found, "the console script kelvara is not installed"
    return found


def run(*args):
    return subprocess.run([script(), *map(str, args)], capture_output=True, text=True,
                          timeout=120)


def restart():
    return (EclFile().add("SEQNUM", "INTE", [1]).add("PRESSURE", "REAL", [1.5, 2.25])
            .add("ZWEL", "CHAR", ["PROD", "  INJ"]).add("SEQNUM", "INTE", [2])
            .add("PRESSURE", "REAL", [3.5, 4.0, 0.1]).add("FLAGS", "LOGI", [0, 1, 1]))


@pytest.mark.parametrize("args", [["--help"], ["ls", "--help"], ["show", "--help"],
                                  ["grid", "--help"]])
def test_help(args):
    done = run(*args)
    assert done.returncode == 0 and done.stdout.startswith("usage: kelvara")
    assert done.stderr == ""


def test_usage_errors_exit_2():
    for args in ([], ["nope"], ["show", "F"], ["show", "F", "X", "--step", "1",
                                               "--occurrence", "1"], ["show", "F", "X", "-n", "x"]):
        done = run(*args)
        assert done.returncode == 2, args
        assert "usage:" in done.stderr and done.stdout == ""


def test_ls(write_ecl):
    content = restart()
    done = run("ls", write_ecl(content))
    assert done.returncode == 0 and done.stderr == ""
    lines = done.stdout.splitlines()
    assert lines[0].split() == ["index", "name", "type", "count", "position"]
    rows = [line.split() for line in lines[1:]]
    assert rows == [[str(i), k, t, str(n), str(p)] for i, (k, t, n, p) in enumerate(zip(
        ["SEQNUM", "PRESSURE", "ZWEL", "SEQNUM", "PRESSURE", "FLAGS"],
        ["INTE", "REAL", "CHAR", "INTE", "REAL", "LOGI"], [1, 2, 2, 1, 3, 3],
        content.positions))]


def test_show(write_ecl):
    path = write_ecl(restart())
    done = run("show", path, "PRESSURE")
    assert done.returncode == 0 and done.stderr == ""
    assert done.stdout.splitlines() == [
        "# PRESSURE REAL count=2 occurrence=0 position=36", "1.5", "2.25"]
    assert run("show", path, "PRESSURE", "--occurrence", "1").stdout.splitlines()[1:] == [
        "3.5", "4.0", "0.1"]
    assert run("show", path, "PRESSURE", "-n", "-1").stdout.splitlines()[1:] == [
        "3.5", "4.0", "0.1"]
    assert run("show", path, "PRESSURE", "--step", "2").stdout.splitlines()[1:] == [
        "3.5", "4.0", "0.1"]
    assert run("show", path, "ZWEL").stdout.splitlines()[1:] == ["PROD", "INJ"]
    assert run("show", path, "FLAGS").stdout.splitlines()[1:] == ["False", "True", "True"]


def test_show_stats(write_ecl):
    path = write_ecl(restart())
    stats = dict(line.split(None, 1) for line in
                 run("show", path, "PRESSURE", "-s", "2", "--stats").stdout.splitlines()[1:])
    assert stats["count"] == "3" and stats["min"] == "0.1" and stats["max"] == "4.0"
    assert float(stats["mean"]) == pytest.approx(2.5333333, rel=1e-6)
    flags = run("show", path, "FLAGS", "--stats").stdout
    assert "true   2" in flags and "false  1" in flags


@pytest.mark.parametrize("args, message", [
    (["show", "{path}", "NOPE"], "no section 'NOPE'"),
    (["show", "{path}", "PRESSURE", "-n", "5"], "no occurrence 5"),
    (["show", "{path}", "PRESSURE", "--step", "9"], "no report step 9"),
    (["ls", "{missing}"], "No such file or directory"),
    (["ls", "{dir}"], "Is a directory"),
    (["ls", "{bad}"], "not an ECLIPSE unformatted file"),
    (["grid", "{path}"], "not a grid file"),
])
def test_errors_exit_1(write_ecl, tmp_path, args, message):
    names = {"path": write_ecl(restart()), "missing": tmp_path / "missing",
             "dir": tmp_path, "bad": write_ecl(b"hello, world\n" * 4, "bad.txt")}
    done = run(*[a.format(**names) for a in args])
    assert done.returncode == 1
    assert done.stderr.startswith("kelvara: error: ") and message in done.stderr
    assert done.stderr.count("\n") == 1, "one line, no traceback"


def test_grid(write_ecl):
    g = GridFile().filehead().gridhead(2, 2, 1).geometry(2, 2, 1, actnum=[1, 0, 1, 1]).endgrid()
    g.lgr("LGR1").gridhead(1, 1, 2, 1).geometry(1, 1, 2).endgrid().endlgr()
    done = run("grid", write_ecl(g, "CASE.EGRID"))
    assert done.returncode == 0 and done.stderr == ""
    assert done.stdout.splitlines() == [
        "Main Grid: 2 x 2 x 1, 4 cells, 3 active",
        "1 local grid(s):",
        "  LGR1: 1 x 1 x 2, 2 cells, 2 active"]


def test_output_to_a_closed_pipe(write_ecl):
    path = write_ecl(EclFile().add("MANY", "INTE", list(range(200_000))))
    done = subprocess.run(f"'{script()}' show '{path}' MANY | head -n 2", shell=True,
                          capture_output=True, text=True, timeout=120)
    assert done.stdout.splitlines() == ["# MANY INTE count=200000 occurrence=0 position=0", "0"]
    assert done.stderr == ""


class Terminal(io.StringIO):
    def isatty(self):
        return True


def test_progress_bar_on_a_terminal_only(write_ecl, monkeypatch, capsys):
    path = write_ecl(restart())
    monkeypatch.setattr(_cli, "PROGRESS_MIN_BYTES", 0)
    terminal = Terminal()
    monkeypatch.setattr(sys, "stderr", terminal)
    assert _cli.main(["ls", str(path)]) == 0
    assert "f.bin:" in terminal.getvalue() and "%|" in terminal.getvalue()
    plain = io.StringIO()
    monkeypatch.setattr(sys, "stderr", plain)
    assert _cli.main(["ls", str(path)]) == 0
    assert plain.getvalue() == ""
    # Below the size threshold there is no bar on a terminal either.
    monkeypatch.setattr(_cli, "PROGRESS_MIN_BYTES", 1 << 40)
    terminal = Terminal()
    monkeypatch.setattr(sys, "stderr", terminal)
    assert _cli.main(["ls", str(path)]) == 0
    assert terminal.getvalue() == ""
    capsys.readouterr()


def test_python_dash_m(write_ecl):
    done = subprocess.run([sys.executable, "-m", "kelvara", "ls", write_ecl(restart())],
                          capture_output=True, text=True, timeout=120)
    assert done.returncode == 0 and len(done.stdout.splitlines()) == 7
    assert kelvara.__name__ == "kelvara"


def test_show_a_section_larger_than_a_print_slice(write_ecl):
    values = [i * 0.5 for i in range(150_000)]
    done = run("show", write_ecl(EclFile().add("BIG", "DOUB", values, block_items=1000)), "BIG")
    assert done.returncode == 0
    assert [float(v) for v in done.stdout.splitlines()[1:]] == values

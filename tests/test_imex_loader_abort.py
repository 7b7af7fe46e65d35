"""The checked-container failure path of the grid records and the loader: a grid index out of
range, a child grid beyond the list, a short connection list and a connection cursor run off
its list end the process with one line on standard error, before anything is read or written
out of bounds. Each case runs in a child process."""

import pickle
import signal
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

from imexmodel import Model
from loaderfixtures import small_model

TESTS = Path(__file__).resolve().parent

PRELUDE = f"""
import pickle, sys
sys.path.insert(0, {str(TESTS)!r})
import kelvara
from kelvara import imex
print("before", flush=True)
"""


def run_child(body, *args):
    return subprocess.run([sys.executable, "-c", PRELUDE + body, *map(str, args)],
                          capture_output=True, text=True, timeout=60)


def assert_aborted(result, what):
    assert result.returncode == -signal.SIGABRT, (result.returncode, result.stdout, result.stderr)
    assert result.stdout == "before\n"
    lines = result.stderr.splitlines()
    assert len(lines) == 1, result.stderr
    assert lines[0].startswith("Contract violation: " + what), lines[0]


def write_model(tmp_path, model):
    path = tmp_path / "m.bin"
    table, _ = model.write(path)
    table_path = tmp_path / "table.pickle"
    table_path.write_bytes(pickle.dumps({k: v.mrf_pos for k, v in table.items()}))
    return path, table_path


LOADER = """
class Rec:
    def __init__(self, pos):
        self.mrf_pos = pos
table = {k: Rec(v) for k, v in pickle.loads(open(sys.argv[2], "rb").read()).items()}
f = open(sys.argv[1], "rb")
loader = imex.Loader(imex.Section(f, 0, False), table)
"""


@pytest.mark.parametrize("grid", [3, -1, 1000])
def test_grid_info_out_of_range(tmp_path, grid):
    path, table = write_model(tmp_path, small_model())
    result = run_child(LOADER.replace('print("before", flush=True)', "") +
                       f"print('built', flush=True)\nloader.GridInfo({grid})\nprint('after')",
                       path, table)
    assert result.returncode == -signal.SIGABRT
    assert result.stdout == "before\nbuilt\n"
    assert result.stderr.startswith("Contract violation: grid index inside gridList")
    assert len(result.stderr.splitlines()) == 1


@pytest.mark.parametrize("call", ["loader.FeedActnum(7, kelvara.Array3DBuilderDouble(1, 1, 1))",
                                  "loader.HostCellIJK(3)"])
def test_feeds_of_a_grid_out_of_range(tmp_path, call):
    path, table = write_model(tmp_path, small_model())
    result = run_child(LOADER + call + "\nprint('after')", path, table)
    assert result.returncode == -signal.SIGABRT
    assert result.stdout == "before\n"
    assert result.stderr.startswith("Contract violation: grid index inside gridList")


def test_child_grid_beyond_the_list(tmp_path):
    model = small_model()
    model.icstcg[3] = 9
    path, table = write_model(tmp_path, model)
    assert_aborted(run_child(LOADER + "print('after')", path, table),
                   "grid index inside gridList")


def test_short_connection_list(tmp_path):
    model = small_model()
    model.connections = (np.array([1, 2, 3], np.int32), np.array([2, 3], np.int32))
    path, table = write_model(tmp_path, model)
    assert_aborted(run_child(LOADER + "loader.SetupConnections()\nprint('after')", path, table),
                   "ICTPS2 as long as ICTPS1")


def test_connection_to_a_packed_cell_beyond_the_list(tmp_path):
    model = small_model()
    model.connections = (np.array([1], np.int32), np.array([99], np.int32))
    path, table = write_model(tmp_path, model)
    assert_aborted(run_child(LOADER + "loader.SetupConnections()\nprint('after')", path, table),
                   "ICTPS2 cell inside IPSTCS")


def test_add_connection_without_a_record():
    body = """
a = kelvara.SGridInfoAssembly()
a.AddGrid(kelvara.SGridInfo())
a.AddConnection(0, 0, 1, 0)
print('after')
"""
    assert_aborted(run_child(body), "first grid inside connectionInfos")


# One grid of 2 x 2 x 2 with its connection record.
ONE_GRID = """
a = kelvara.SGridInfoAssembly()
g = kelvara.SGridInfo(); g.ni = g.nj = g.nk = 2
a.AddGrid(g)
a.CreateConnectionInfos()
"""


def test_connection_cursor_off_the_list():
    body = ONE_GRID + """
a.AddConnection(0, 0, 1, 0)
feeder = kelvara.SConnectionArrayFeeder(a, [[None]])
feeder.InsertNextValue(1.0)
print("inside", flush=True)
feeder.InsertNextValue(2.0)
print('after')
"""
    result = run_child(body)
    assert result.returncode == -signal.SIGABRT
    assert result.stdout == "before\ninside\n"
    assert result.stderr.startswith("Contract violation: connection cursor inside")


def test_connection_kind_beyond_the_table():
    body = ONE_GRID + """
a.AddConnection(0, 0, 7, 0)
feeder = kelvara.SConnectionArrayFeeder(a, [[None, None]])
feeder.InsertNextValue(1.0)
print('after')
"""
    assert_aborted(run_child(body), "connection kind inside the grid's targets")

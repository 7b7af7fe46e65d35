"""kelvara.example and `kelvara example DIR`: a small synthetic case that every reader and
command reads, and the README's quick start run command by command on it."""

import re
import shlex
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import kelvara

README = Path(__file__).resolve().parents[1] / "README.md"


@pytest.fixture(scope="module")
def case(tmp_path_factory):
    return kelvara.example(tmp_path_factory.mktemp("case") / "demo")


def test_every_file_is_there_and_the_same_each_time(case, tmp_path):
    assert sorted(case) == ["EGRID", "INIT", "SMSPEC", "UNRST", "UNSMRY"]
    again = kelvara.example(tmp_path)
    for ext, path in case.items():
        assert Path(path).name == f"CASE.{ext}"
        assert Path(path).read_bytes() == Path(again[ext]).read_bytes()


def test_the_grid(case):
    with kelvara.open(case["EGRID"]) as f:
        assert f.names == ["FILEHEAD", "MAPUNITS", "GRIDUNIT", "GRIDHEAD", "COORD", "ZCORN",
                           "ACTNUM", "ENDGRID"]
        zcorn = f.read("ZCORN").reshape(4, 2, 8, 2, 10, 2)
    grid = kelvara.open_grid(case["EGRID"])
    assert grid.dimensions == (10, 8, 4)
    assert 0 < grid.active_cells < 320
    assert grid.actnum[0, 7, 0] == 0 and grid.actnum[5, 5, 0] == 1
    # Faults: across i = 4 | 5 (0-based) and, west of it, across j = 3 | 4, the corners that
    # the two cells share on their pillar lie at different depths.
    east_face_of_4 = zcorn[:, :, :, :, 4, 1]
    west_face_of_5 = zcorn[:, :, :, :, 5, 0]
    throw = west_face_of_5 - east_face_of_4
    assert np.all(throw[:, :, :4] == 12) and np.all(throw[:, :, 4:] == 6)
    north_of_3 = zcorn[:, :, 3, 1, :4, :]
    south_of_4 = zcorn[:, :, 4, 0, :4, :]
    assert np.all(south_of_4 - north_of_3 == 6)
    # Elsewhere neighbours meet.
    assert np.array_equal(zcorn[:, :, :, :, 2, 1], zcorn[:, :, :, :, 3, 0])
    # Layers stack without gaps: the bottom of one is the top of the next.
    assert np.allclose(zcorn[:-1, 1], zcorn[1:, 0])


def test_init_and_restart_hold_active_cells(case):
    active = kelvara.open_grid(case["EGRID"]).active_cells
    with kelvara.open(case["INIT"]) as f:
        assert f.read("INTEHEAD")[8:12].tolist() == [10, 8, 4, active]
        assert f["PORV"][0].count == 320
        for name in ("PORO", "PERMX", "NTG", "DEPTH"):
            assert f[name][0].count == active
        poro = f.read("PORO")
        assert 0.05 <= poro.min() and poro.max() <= 0.35
    with kelvara.open(case["UNRST"]) as f:
        assert f.report_steps == [0, 1, 2, 3, 4, 5]
        pressure = [f.read("PRESSURE", step=s) for s in f.report_steps]
        swat = [f.read("SWAT", step=s) for s in f.report_steps]
        assert all(p.size == active for p in pressure)
        assert pressure[-1].mean() < pressure[0].mean()  # the reservoir is depleted
        assert swat[-1].mean() > swat[0].mean()           # water comes in
        assert f.read("DOUBHEAD", step=5)[0] == 152.0
        assert f.read("INTEHEAD", step=1)[64:67].tolist() == [1, 2, 2024]


def test_the_summary_files(case):
    with kelvara.open(case["SMSPEC"]) as spec:
        n, ni, nj, nk = spec.read("DIMENS")[:4]
        keywords = spec.read("KEYWORDS")
        assert (ni, nj, nk) == (10, 8, 4) and keywords.size == n
        assert spec.read("WGNAMES").size == spec.read("NUMS").size == spec.read("UNITS").size
        assert spec.read("STARTDAT").tolist() == [1, 1, 2024, 0, 0, 0]
    with kelvara.open(case["UNSMRY"]) as data:
        assert data.read("SEQHDR", occurrence=-1)[0] == 5
        assert [data.read("MINISTEP", occurrence=i)[0] for i in range(data.count("MINISTEP"))] \
            == list(range(10))
        params = np.array([k.read() for k in data["PARAMS"]])
        assert params.shape == (10, n)
        time = params[:, list(keywords).index("TIME")]
        fopt = params[:, list(keywords).index("FOPT")]
        assert np.all(np.diff(time) > 0) and time[-1] == 152.0
        assert np.all(np.diff(fopt) > 0)


def test_open_summary_reads_it(case):
    with kelvara.open_summary(case["SMSPEC"]) as s:
        assert "WOPR:PROD1" in s and "BPR:5,4,2" in s and "FOPT" in s
        assert len(s.times) == 10


def quick_start_commands():
    text = README.read_text()
    block = re.search(r"## Quick start\n.*?```sh\n(.*?)```", text, re.S).group(1)
    lines = [line.split("#")[0].strip() for line in block.splitlines()]
    return [shlex.split(line) for line in lines if line.startswith("kelvara ")]


def test_the_readme_quick_start(tmp_path):
    commands = quick_start_commands()
    assert [c[1] for c in commands] == ["example", "ls", "show", "show", "show", "grid",
                                        "summary", "summary", "grid", "grid"]
    outputs = []
    for command in commands:
        done = subprocess.run([sys.executable, "-m", "kelvara", *command[1:]], cwd=tmp_path,
                              capture_output=True, text=True)
        assert done.returncode == 0, (command, done.stderr)
        assert done.stderr == ""
        outputs.append(done.stdout)
    assert (tmp_path / "demo" / "CASE.UNSMRY").is_file()
    assert "PRESSURE" in outputs[1]
    assert outputs[2].startswith("# PRESSURE REAL count=299")
    assert "WOPR" in outputs[4]
    assert outputs[5] == "Main Grid: 10 x 8 x 4, 320 cells, 299 active\n"
    assert "WOPR:PROD1" in outputs[6] and "BPR:5,4,2" in outputs[6]
    table = outputs[7].splitlines()
    assert table[0].split() == ["DATE", "FOPR", "WOPR:PROD1"] and len(table) > 2
    assert (tmp_path / "demo" / "case.vtu").stat().st_size > 10000
    assert (tmp_path / "demo" / "poro.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"

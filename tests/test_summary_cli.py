"""The command kelvara summary."""

import csv
import struct

import pytest

from kelvara import _cli
from summarywriter import Case, Column, value

COLUMNS = [Column("TIME", unit="DAYS"), Column("FOPR", unit="SM3/DAY"),
           Column("WOPR", name="OP_1", unit="SM3/DAY"), Column("WOPR", name="OP_2")]
STEPS = [[1.0, 2.0], [3.0]]


@pytest.fixture
def case(tmp_path):
    Case("RUN", COLUMNS, STEPS, start=(1, 2, 2001)).write(tmp_path)
    return tmp_path / "RUN"


def test_keys_with_units(case, capsys):
    assert _cli.main(["summary", str(case) + ".SMSPEC"]) == 0
    lines = capsys.readouterr().out.splitlines()
    assert [line.split() for line in lines] == [["TIME", "DAYS"], ["FOPR", "SM3/DAY"],
                                                ["WOPR:OP_1", "SM3/DAY"], ["WOPR:OP_2"]]


def test_a_table_of_vectors(case, capsys):
    assert _cli.main(["summary", str(case), "FOPR", "WOPR:*"]) == 0
    rows = [line.split() for line in capsys.readouterr().out.splitlines()]
    assert rows[0] == ["DATE", "FOPR", "WOPR:OP_1", "WOPR:OP_2"]
    assert rows[1] == ["2001-02-02", str(value(0, 1)), str(value(0, 2)), str(value(0, 3))]
    assert [r[0] for r in rows[1:]] == ["2001-02-02", "2001-02-03", "2001-02-04"]
    assert _cli.main(["summary", str(case), "FOPR", "--report-only"]) == 0
    rows = [line.split() for line in capsys.readouterr().out.splitlines()]
    assert rows == [["DATE", "FOPR"], ["2001-02-03", str(value(1, 1))],
                    ["2001-02-04", str(value(2, 1))]]


def test_csv(case, tmp_path):
    out = tmp_path / "out.csv"
    assert _cli.main(["summary", str(case), "WOPR:OP_2", "TIME", "--csv", str(out)]) == 0
    with open(out, newline="") as f:
        rows = list(csv.reader(f))
    assert rows[0] == ["DATE", "WOPR:OP_2", "TIME"]
    assert rows[3] == ["2001-02-04", str(value(2, 3)), "3.0"]


def png_size(path):
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n" and data[12:16] == b"IHDR"
    return struct.unpack(">II", data[16:24])


def test_plot_draws_a_png_that_follows_the_data(case, tmp_path):
    pytest.importorskip("matplotlib")
    first = tmp_path / "a.png"
    assert _cli.main(["summary", str(case), "FOPR", "WOPR:OP_1", "--plot", str(first)]) == 0
    width, height = png_size(first)
    assert 400 <= width <= 2000 and 300 <= height <= 2000
    assert first.stat().st_size > 5000
    Case("RUN", COLUMNS, STEPS, start=(1, 2, 2001),
         values=lambda t, c: 50.0 * (t % 2) + c).write(tmp_path)
    second = tmp_path / "b.png"
    assert _cli.main(["summary", str(case), "FOPR", "WOPR:OP_1", "--plot", str(second)]) == 0
    assert png_size(second) == (width, height)
    assert second.read_bytes() != first.read_bytes()


def test_unknown_keys_and_missing_cases(case, tmp_path, capsys):
    assert _cli.main(["summary", str(case), "FOPX"]) == 1
    err = capsys.readouterr().err
    assert err.startswith("kelvara: error: 'FOPX': no such key") and "close keys: FOPR" in err
    assert _cli.main(["summary", str(case), "Q*"]) == 1
    assert "'Q*': no key matches" in capsys.readouterr().err
    assert _cli.main(["summary", str(tmp_path / "NONE")]) == 1
    assert "NONE.SMSPEC" in capsys.readouterr().err

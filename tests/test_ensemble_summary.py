"""Ensemble.summary: vectors of every realization as a long-form dask dataframe."""

import numpy as np
import pytest

import kelvara
from ensemblecases import SUMMARY_KEYS, write_summary

dd = pytest.importorskip("dask.dataframe")
pd = pytest.importorskip("pandas")

REALS = [0, 1, 2, 5, 11]


@pytest.fixture
def runs(tmp_path):
    for r in REALS:
        write_summary(tmp_path, r)
    return tmp_path


def loop_frame(paths, realizations, keys, report_only):
    """The plain loop over open_summary that the ensemble must agree with."""
    parts = []
    for r, path in zip(realizations, paths):
        with kelvara.open_summary(path) as s:
            frame = s.to_pandas(keys, report_only=report_only).reset_index()
        frame.insert(0, "REAL", np.int64(r))
        parts.append(frame)
    return pd.concat(parts, ignore_index=True)


@pytest.mark.parametrize("report_only", [True, False])
def test_summary_equals_the_plain_loop(runs, report_only):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    frame = ens.summary(SUMMARY_KEYS, report_only=report_only)
    assert isinstance(frame, dd.DataFrame)
    assert frame.npartitions == len(REALS)
    assert list(frame.columns) == ["REAL", "DATE", *SUMMARY_KEYS]
    got = frame.compute(scheduler="threads").reset_index(drop=True)
    assert list(got.dtypes) == list(frame.dtypes)
    assert got["REAL"].dtype == np.int64
    assert got["DATE"].dtype == np.dtype("datetime64[ms]")
    assert all(got[k].dtype == np.float32 for k in SUMMARY_KEYS)
    expected = loop_frame(ens.paths, ens.realizations, SUMMARY_KEYS, report_only)
    np.testing.assert_array_equal(got["REAL"], expected["REAL"])
    np.testing.assert_array_equal(got["DATE"].to_numpy(), expected["DATE"].to_numpy())
    np.testing.assert_array_equal(got[SUMMARY_KEYS].to_numpy(),
                                  expected[SUMMARY_KEYS].to_numpy())
    # the writer's values: realization r, time step t, column c -> r * 1000 + t * 10 + c + 0.5
    per_step = 1 if report_only else 2
    rows_of = {r: (2 + r % 3) * per_step for r in REALS}
    assert len(got) == sum(rows_of.values())
    first = got[got["REAL"] == 11]
    t = 1 if report_only else 0
    assert first["WOPR:OP_1"].iloc[0] == np.float32(11 * 1000 + t * 10 + 2 + 0.5)
    assert first["DATE"].iloc[0] == pd.Timestamp(2001, 2, 12) + pd.Timedelta(days=5 - 4 * (t == 0))


def test_partitions_are_realizations_in_order(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    frame = ens.summary("FOPR")
    for i, r in enumerate(ens.realizations):
        part = frame.get_partition(i).compute(scheduler="sync")
        assert set(part["REAL"]) == {r}
        assert len(part) == 2 + r % 3


def test_building_reads_only_the_first_header(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    for r in REALS[1:]:  # broken after opening: building must not notice, computing must
        for path in (runs / f"realization-{r}").iterdir():
            path.write_bytes(b"broken")
    frame = ens.summary(SUMMARY_KEYS)
    assert ens.failed == {}
    assert frame.npartitions == len(REALS)
    got = frame.compute(scheduler="threads")
    assert set(got["REAL"]) == {0}
    assert sorted(ens.failed) == REALS[1:]


def test_unknown_key_raises_while_building(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    with pytest.raises(KeyError, match="WOPR:OP_2.*close keys: WOPR:OP_1"):
        ens.summary(["FOPR", "WOPR:OP_2"])


def test_key_argument_errors(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    with pytest.raises(TypeError, match="keys must be a key or a non-empty list of keys"):
        ens.summary([])
    with pytest.raises(TypeError):
        ens.summary(["FOPR", 3])
    with pytest.raises(ValueError, match="'DATE' is a column of the ensemble frame, not a key"):
        ens.summary(["DATE"])
    with pytest.raises(ValueError, match="keys must not repeat"):
        ens.summary(["FOPR", "FOPR"])


@pytest.fixture
def damaged(runs):
    """Realization 1 lacks its SMSPEC, 2 has a PARAMS of the wrong length, 5 lacks GOPR:G1."""
    (runs / "realization-1" / "CASE.SMSPEC").unlink()
    write_summary(runs, 2, bad_count=(1, 3))
    from summarywriter import Case, Column
    Case("CASE", [Column("TIME", unit="DAYS"), Column("FOPR")], [[1.0], [2.0]]).write(
        runs / "realization-5")
    return runs


def test_failed_realizations_give_empty_partitions_and_are_recorded(damaged):
    ens = kelvara.open_ensemble(str(damaged / "realization-*" / "CASE"))
    frame = ens.summary(SUMMARY_KEYS, report_only=False)
    got = frame.compute(scheduler="threads")
    assert sorted(set(got["REAL"])) == [0, 11]
    assert list(got.dtypes) == list(frame.dtypes)
    assert frame.get_partition(1).compute(scheduler="sync").empty
    failed = ens.failed
    assert sorted(failed) == [1, 2, 5]
    assert failed[1].startswith("FileNotFoundError: ") and "realization-1" in failed[1]
    assert failed[2].startswith("FormatError: ") and "realization-2" in failed[2]
    assert failed[5] == (f"KeyError: \"'WOPR:OP_1': no such key in {ens.paths[3]}.SMSPEC\"")
    expected = loop_frame([ens.paths[0], ens.paths[4]], [0, 11], SUMMARY_KEYS, False)
    np.testing.assert_array_equal(got[SUMMARY_KEYS].to_numpy(), expected[SUMMARY_KEYS].to_numpy())


def test_on_error_raise(damaged):
    ens = kelvara.open_ensemble([damaged / "realization-0" / "CASE",
                                 damaged / "realization-2" / "CASE.SMSPEC"], on_error="raise")
    frame = ens.summary(SUMMARY_KEYS)
    with pytest.raises(kelvara.FormatError) as info:
        frame.compute(scheduler="threads")
    assert "realization-2" in info.value.path
    assert ens.failed == {}


def test_graph_tasks_carry_paths_only(runs):
    import pickle
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    frame = ens.summary(SUMMARY_KEYS)
    graph = dict(frame.__dask_graph__())
    blob = pickle.dumps(graph)  # the plain pickler: no open file, no lambda, no array of values
    for path in ens.paths:
        assert path.encode() in blob
    assert len(blob) < 8000

"""kelvara.open_ensemble: opening, and keywords of every realization as a dask array."""

import os
import pickle

import numpy as np
import pytest

import kelvara
from eclwriter import EclFile
from ensemblecases import (CELLS, actnum, flags, poro, pressure, region, sgas,
                           write_ensemble, write_realization)

da = pytest.importorskip("dask.array")
import dask  # noqa: E402


@pytest.fixture
def runs(tmp_path):
    write_ensemble(tmp_path, [3, 1, 7, 12])
    return tmp_path


def loop_read(paths, name, step=None, occurrence=0, ext="UNRST"):
    """The plain loop the ensemble must agree with."""
    rows = []
    for path in paths:
        with kelvara.open(f"{path}.{ext}") as f:
            rows.append(f.read(name, occurrence, step))
    return np.stack(rows)


# -- opening -----------------------------------------------------------------------------------

def test_glob_of_bare_cases_numbers_from_the_path(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    assert ens.realizations == [1, 3, 7, 12]
    assert ens.paths == [str(runs / f"realization-{r}" / "CASE") for r in (1, 3, 7, 12)]
    assert ens.failed == {}
    assert len(ens) == 4
    assert ens.on_error == "skip"


def test_glob_of_files_and_lists_keep_the_names_given(runs):
    ens = kelvara.open_ensemble(runs / "realization-*" / "CASE.UNRST")
    assert ens.realizations == [1, 3, 7, 12]
    assert ens.paths[0] == str(runs / "realization-1" / "CASE.UNRST")
    listed = kelvara.open_ensemble([runs / "realization-7" / "CASE",
                                    str(runs / "realization-3" / "CASE.INIT")])
    assert listed.realizations == [3, 7]
    assert listed.paths == [str(runs / "realization-3" / "CASE.INIT"),
                            str(runs / "realization-7" / "CASE")]


def test_place_in_sorted_list_when_a_path_has_no_number(tmp_path):
    for name in ("b", "a", "c"):
        (tmp_path / name).mkdir()
        EclFile().add("PORO", "REAL", [1.0]).write(tmp_path / name / "CASE.INIT")
    ens = kelvara.open_ensemble(str(tmp_path / "*" / "CASE"))
    assert ens.realizations == [0, 1, 2]
    assert [os.path.basename(os.path.dirname(p)) for p in ens.paths] == ["a", "b", "c"]
    custom = kelvara.open_ensemble(str(tmp_path / "*" / "CASE"), realization=r"/(b)/")
    assert custom.realizations == [0, 1, 2]  # only one path matches: places


def test_custom_pattern_and_no_pattern(runs):
    ens = kelvara.open_ensemble(str(runs / "*" / "CASE"), realization=r"on-(\d+)")
    assert ens.realizations == [1, 3, 7, 12]
    # realization-12 does not match a single digit before the separator: places for all
    some = kelvara.open_ensemble(str(runs / "*" / "CASE"), realization=r"-(\d)[/\\]")
    assert some.realizations == [0, 1, 2, 3]
    by_place = kelvara.open_ensemble(str(runs / "*" / "CASE"), realization=None)
    assert by_place.realizations == [0, 1, 2, 3]
    assert by_place.paths[1].endswith(f"realization-12{os.sep}CASE")


def test_opening_errors(runs, tmp_path):
    with pytest.raises(FileNotFoundError) as info:
        kelvara.open_ensemble(str(runs / "nothing-*" / "CASE"))
    assert info.value.filename == str(runs / "nothing-*" / "CASE")
    with pytest.raises(ValueError, match="at least one case"):
        kelvara.open_ensemble([])
    with pytest.raises(ValueError, match="on_error must be 'skip' or 'raise', not 'ignore'"):
        kelvara.open_ensemble(str(runs / "*" / "CASE"), on_error="ignore")
    with pytest.raises(ValueError, match="has no group"):
        kelvara.open_ensemble(str(runs / "*" / "CASE"), realization=r"realization-\d+")
    with pytest.raises(TypeError):
        kelvara.open_ensemble(str(runs / "*" / "CASE"), realization=3)
    twin = runs / "copy" / "realization-3"
    twin.mkdir(parents=True)
    (twin / "CASE.INIT").write_bytes((runs / "realization-3" / "CASE.INIT").read_bytes())
    with pytest.raises(ValueError, match="realization 3 is both"):
        kelvara.open_ensemble([runs / "realization-3" / "CASE", twin / "CASE"])


def test_a_case_without_files_is_recorded_or_raises(runs):
    cases = [runs / "realization-1" / "CASE", runs / "realization-5" / "CASE"]
    ens = kelvara.open_ensemble(cases)
    assert ens.realizations == [1, 5]
    assert list(ens.failed) == [5]
    assert ens.failed[5].startswith("FileNotFoundError: ")
    assert str(runs / "realization-5" / "CASE") in ens.failed[5]
    with pytest.raises(FileNotFoundError) as info:
        kelvara.open_ensemble(cases, on_error="raise")
    assert info.value.filename == str(runs / "realization-5" / "CASE")


# -- reading -----------------------------------------------------------------------------------

@pytest.mark.parametrize("name, dtype", [("PRESSURE", np.float32), ("SGAS", np.float64),
                                         ("FLAGS", np.bool_), ("REGION", np.int32)])
def test_read_equals_the_plain_loop(runs, name, dtype):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    arr = ens.read(name, step=1)
    assert isinstance(arr, da.Array)
    assert arr.dtype == dtype
    assert arr.shape == (4, CELLS)
    assert arr.chunks == ((1, 1, 1, 1), (CELLS,))
    got = arr.compute(scheduler="threads")
    assert isinstance(got, np.ma.MaskedArray)
    assert got.dtype == dtype
    assert not np.ma.is_masked(got)
    expected = loop_read(ens.paths, name, step=1)
    np.testing.assert_array_equal(got.data, expected)
    writer = {"PRESSURE": pressure, "SGAS": sgas, "FLAGS": flags, "REGION": region}[name]
    np.testing.assert_array_equal(
        got.data, np.array([writer(r, 1) for r in (1, 3, 7, 12)], dtype=dtype))


def test_read_picks_occurrence_step_and_source(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    reals = ens.realizations
    got = ens.read("REGION", step=2, occurrence=1).compute(scheduler="sync")
    np.testing.assert_array_equal(got, [region(r, 2, 1) for r in reals])
    np.testing.assert_array_equal(got, loop_read(ens.paths, "REGION", 2, 1))
    # without a step, occurrence counts over the whole file: the last REGION is step 2's second
    last = ens.read("REGION", occurrence=-1).compute(scheduler="threads")
    np.testing.assert_array_equal(last, [region(r, 2, 1) for r in reals])
    init = ens.read("PORO", source="INIT").compute(scheduler="threads")
    assert init.dtype == np.float32
    np.testing.assert_array_equal(init, np.array([poro(r) for r in reals], np.float32))
    egrid = ens.read("ACTNUM", source="egrid").compute(scheduler="threads")
    np.testing.assert_array_equal(egrid, [actnum(r) for r in reals])


def test_read_slices_and_reduces_like_any_dask_array(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    arr = ens.read("PRESSURE", step=0)
    mean = arr.mean(axis=0).compute(scheduler="threads")
    np.testing.assert_allclose(mean, np.mean([pressure(r, 0) for r in (1, 3, 7, 12)], axis=0),
                               rtol=1e-6)
    np.testing.assert_array_equal(arr[2].compute(scheduler="threads"), pressure(7, 0))


def test_read_argument_errors(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    with pytest.raises(ValueError, match="source must be one of UNRST, INIT, EGRID, not 'SMSPEC'"):
        ens.read("PRESSURE", source="SMSPEC")
    with pytest.raises(TypeError):
        ens.read(3)
    with pytest.raises(TypeError):
        ens.read("PRESSURE", step=1.5)


def test_building_the_graph_reads_headers_of_the_first_realization_only(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    # The other realizations are broken after opening: building must not notice, computing must.
    for r in (3, 7, 12):
        (runs / f"realization-{r}" / "CASE.UNRST").write_bytes(b"not a restart file")
    arr = ens.read("PRESSURE", step=1)
    assert ens.failed == {}
    assert arr.shape == (4, CELLS)
    arr.compute(scheduler="threads")
    assert sorted(ens.failed) == [3, 7, 12]


def test_graph_tasks_carry_paths_only(runs):
    ens = kelvara.open_ensemble(str(runs / "realization-*" / "CASE"))
    arr = ens.read("PRESSURE", step=1)
    graph = dict(arr.__dask_graph__())
    blob = pickle.dumps(graph)  # the plain pickler: no open file, no lambda, no array
    assert len(blob) < 4000
    for path in ens.paths:
        assert path.encode() in blob
    again = dask.compute(da.Array(pickle.loads(blob), arr.name, arr.chunks, meta=arr._meta),
                         scheduler="sync")[0]
    np.testing.assert_array_equal(again, loop_read(ens.paths, "PRESSURE", 1))


# -- failures ------------------------------------------------------------------------------------

@pytest.fixture
def damaged(runs):
    """Realization 3 lacks its restart file, 7 is cut short, 12 has fewer cells, 20 lacks
    step 1; 1 is whole."""
    (runs / "realization-3" / "CASE.UNRST").unlink()
    data = (runs / "realization-7" / "CASE.UNRST").read_bytes()
    (runs / "realization-7" / "CASE.UNRST").write_bytes(data[:len(data) - 30])
    write_realization(runs, 12, cells=CELLS - 2)
    case20 = write_realization(runs, 20)
    step0 = EclFile()
    step0.add("SEQNUM", "INTE", [0], order="<").add("PRESSURE", "REAL", pressure(20, 0),
                                                    order="<")
    step0.write(f"{case20}.UNRST")
    return runs


def check_damaged(ens, got):
    assert got.shape == (5, CELLS)
    assert ens.realizations == [1, 3, 7, 12, 20]
    assert not np.ma.is_masked(got[0])
    np.testing.assert_array_equal(got[0].data, pressure(1, 1))
    assert got.mask[1:].all()
    assert np.isnan(got.data[1:]).all()  # beneath the mask: NaN, never a plausible zero
    failed = ens.failed
    assert sorted(failed) == [3, 7, 12, 20]
    assert failed[3].startswith("FileNotFoundError: ") and "realization-3" in failed[3]
    assert failed[7].startswith("FormatError: ") and "realization-7" in failed[7]
    assert failed[12] == (f"ValueError: {ens.paths[3]}.UNRST: 'PRESSURE' has 10 items of type "
                          f"REAL, the ensemble's keyword 12 items of float32")
    assert failed[20].startswith("IndexError: ") and "no report step 1" in failed[20]


def test_failed_realizations_are_masked_and_recorded(damaged):
    ens = kelvara.open_ensemble(str(damaged / "realization-*" / "CASE"))
    got = ens.read("PRESSURE", step=1).compute(scheduler="threads")
    check_damaged(ens, got)


def test_failed_integer_rows_are_masked_with_the_fill_value(damaged):
    ens = kelvara.open_ensemble(str(damaged / "realization-*" / "CASE"))
    got = ens.read("REGION", step=0).compute(scheduler="threads")
    assert got.dtype == np.int32
    np.testing.assert_array_equal(got[0], region(1, 0))
    assert got.mask[1:].all()
    assert (got.data[1:] == np.ma.default_fill_value(np.int32(0))).all()
    assert sorted(ens.failed) == [3, 7, 12, 20]
    assert ens.failed[20] == "KeyError: 'REGION'"


def test_first_realization_failing_builds_from_the_next(damaged):
    ens = kelvara.open_ensemble([damaged / "realization-20" / "CASE",
                                 damaged / "realization-3" / "CASE"])
    arr = ens.read("PRESSURE", step=0)
    assert arr.dtype == np.float32 and arr.shape == (2, CELLS)
    assert list(ens.failed) == [3]  # known while building already
    got = arr.compute(scheduler="threads")
    assert got.mask[0].all()
    np.testing.assert_array_equal(got[1], pressure(20, 0))


def test_no_realization_readable_raises_the_first_error(damaged):
    ens = kelvara.open_ensemble([damaged / "realization-3" / "CASE",
                                 damaged / "realization-7" / "CASE"])
    with pytest.raises(FileNotFoundError):
        ens.read("PRESSURE", step=1)
    assert sorted(ens.failed) == [3, 7]


def test_on_error_raise(damaged):
    ens = kelvara.open_ensemble([damaged / "realization-1" / "CASE",
                                 damaged / "realization-7" / "CASE"], on_error="raise")
    arr = ens.read("PRESSURE", step=1)
    with pytest.raises(kelvara.FormatError) as info:
        arr.compute(scheduler="threads")
    assert info.value.path == str(damaged / "realization-7" / "CASE.UNRST")
    assert ens.failed == {}
    with pytest.raises(FileNotFoundError):
        kelvara.open_ensemble([damaged / "realization-3" / "CASE.UNRST"], on_error="raise")
    first_missing = kelvara.open_ensemble([damaged / "realization-3" / "CASE"],
                                          on_error="raise")
    with pytest.raises(FileNotFoundError):
        first_missing.read("PRESSURE")

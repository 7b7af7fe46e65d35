"""kelvara's exceptions across processes, and ensembles on a dask.distributed cluster of two
worker processes."""

import pickle

import numpy as np
import pytest

import kelvara
from ensemblecases import CELLS, SUMMARY_KEYS, pressure, write_ensemble, write_summary

distributed = pytest.importorskip("distributed")


def format_error():
    return kelvara.FormatError("/runs/realization-4/CASE.UNRST", "a block frame of 12 bytes "
                               "where the header says 16", 4096, "PRESSURE", 2048)


def native_error(name):
    """A native error as the core's translator makes it: text, then its four attributes."""
    error = getattr(kelvara, name)("Error: x is not positive.\n    p_value > 0\n    at f.inl:3")
    error.message = "Error: x is not positive."
    error.expression = None if name == "AvailabilityError" else "p_value > 0"
    error.file = "core/array/Array1D.inl"
    error.line = 3
    return error


def fields(error):
    return (type(error), str(error), error.args, {k: v for k, v in vars(error).items()})


ERRORS = {
    "FormatError": format_error,
    "FormatError before any section": lambda: kelvara.FormatError("/x/CASE.INIT", "empty", 0),
    "PreconditionError": lambda: native_error("PreconditionError"),
    "PostconditionError": lambda: native_error("PostconditionError"),
    "AvailabilityError": lambda: native_error("AvailabilityError"),
}


@pytest.mark.parametrize("which", sorted(ERRORS))
def test_errors_pickle_whole(which):
    error = ERRORS[which]()
    for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
        again = pickle.loads(pickle.dumps(error, protocol))
        assert fields(again) == fields(error)


def test_format_error_keeps_its_fields_after_pickling():
    again = pickle.loads(pickle.dumps(format_error()))
    assert (again.path, again.reason, again.position, again.section,
            again.section_position) == ("/runs/realization-4/CASE.UNRST",
                                        "a block frame of 12 bytes where the header says 16",
                                        4096, "PRESSURE", 2048)
    assert str(again) == ("/runs/realization-4/CASE.UNRST: section 'PRESSURE' (header at byte "
                          "2048): a block frame of 12 bytes where the header says 16, at byte "
                          "4096")


# -- on a cluster ------------------------------------------------------------------------------

@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=":0") as cluster:
        with distributed.Client(cluster) as c:
            yield c


def raise_error(which):
    raise ERRORS[which]()


def raise_core_precondition():
    kelvara.Array(np.ones(2, np.uint8)).negate()


@pytest.mark.parametrize("which", sorted(ERRORS))
def test_errors_reach_the_client_whole_from_a_worker_process(client, which):
    future = client.submit(raise_error, which, pure=False)
    with pytest.raises(type(ERRORS[which]())) as info:
        future.result()
    assert fields(info.value) == fields(ERRORS[which]())


def test_a_raised_core_error_reaches_the_client_whole(client):
    import os
    assert client.submit(os.getpid, pure=False).result() != os.getpid()
    with pytest.raises(kelvara.PreconditionError) as info:
        client.submit(raise_core_precondition, pure=False).result()
    error = info.value
    assert error.message == ("Error: trying to negate an unsigned array or an array that is not "
                             "scalar.")
    assert error.expression == "is_not_unsigned<T_>::value"
    assert error.file == "core/array/Array1D.inl"
    assert isinstance(error.line, int) and error.line > 0


def test_read_on_two_worker_processes_equals_the_plain_loop(client, tmp_path):
    write_ensemble(tmp_path, range(6))
    ens = kelvara.open_ensemble(str(tmp_path / "realization-*" / "CASE"))
    got = ens.read("PRESSURE", step=2).compute()
    expected = []
    for path in ens.paths:
        with kelvara.open(f"{path}.UNRST") as f:
            expected.append(f.read("PRESSURE", step=2))
    np.testing.assert_array_equal(got, np.stack(expected))
    assert not np.ma.is_masked(got)
    assert ens.failed == {}


def test_failures_on_worker_processes_reach_failed(client, tmp_path):
    write_ensemble(tmp_path, range(5))
    (tmp_path / "realization-2" / "CASE.UNRST").write_bytes(b"\0" * 7)
    (tmp_path / "realization-4" / "CASE.UNRST").unlink()
    ens = kelvara.open_ensemble(str(tmp_path / "realization-*" / "CASE"))
    got = ens.read("PRESSURE", step=1).compute()
    assert got.shape == (5, CELLS)
    assert got.mask[[2, 4]].all() and not np.ma.is_masked(got[[0, 1, 3]])
    np.testing.assert_array_equal(got[3], pressure(3, 1))
    failed = ens.failed
    assert sorted(failed) == [2, 4]
    assert failed[2].startswith("FormatError: " + str(tmp_path / "realization-2" / "CASE.UNRST"))
    assert failed[4].startswith("FileNotFoundError: ")


def test_on_error_raise_on_worker_processes_gives_the_format_error_whole(client, tmp_path):
    write_ensemble(tmp_path, range(3))
    broken = tmp_path / "realization-1" / "CASE.UNRST"
    data = broken.read_bytes()
    broken.write_bytes(data[:-5])
    ens = kelvara.open_ensemble(str(tmp_path / "realization-*" / "CASE"), on_error="raise")
    with pytest.raises(kelvara.FormatError) as info:
        ens.read("PRESSURE").compute()
    assert info.value.path == str(broken)
    assert isinstance(info.value.position, int)
    assert ens.failed == {}


def test_summary_on_two_worker_processes_equals_the_plain_loop(client, tmp_path):
    import pandas as pd
    for r in range(5):
        write_summary(tmp_path, r)
    (tmp_path / "realization-3" / "CASE.SMSPEC").write_bytes(b"broken")
    ens = kelvara.open_ensemble(str(tmp_path / "realization-*" / "CASE"))
    got = ens.summary(SUMMARY_KEYS, report_only=False).compute().reset_index(drop=True)
    parts = []
    for r, path in zip(ens.realizations, ens.paths):
        if r == 3:
            continue
        with kelvara.open_summary(path) as s:
            frame = s.to_pandas(SUMMARY_KEYS).reset_index()
        frame.insert(0, "REAL", np.int64(r))
        parts.append(frame)
    expected = pd.concat(parts, ignore_index=True)
    pd.testing.assert_frame_equal(got, expected, check_dtype=True)
    assert list(ens.failed) == [3]
    assert ens.failed[3].startswith("FormatError: " + str(tmp_path / "realization-3"))

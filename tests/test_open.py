"""kelvara.open: the catalogue of every occurrence, typed reads, report steps, file life."""

from __future__ import annotations

import sys
import threading
import time
from pathlib import Path

import numpy as np
import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile

ORDERS = [pytest.param(BIG, id="big"), pytest.param(LITTLE, id="little")]


def restart(order=BIG):
    """A unified restart file: three report steps, PRESSURE twice in step 5 (a local grid)."""
    f = EclFile()
    f.add("SEQNUM", "INTE", [0], order=order)
    f.add("INTEHEAD", "INTE", list(range(10)), order=order)
    f.add("PRESSURE", "REAL", [100.0, 101.0, 102.0], order=order)
    f.add("SEQNUM", "INTE", [5], order=order)
    f.add("INTEHEAD", "INTE", list(range(10)), order=order)
    f.add("PRESSURE", "REAL", [200.0, 201.0, 202.0], order=order)
    f.add("LGR", "CHAR", ["LGR1"], order=order)
    f.add("PRESSURE", "REAL", [250.0, 251.0], order=order)
    f.add("SEQNUM", "INTE", [10], order=order)
    f.add("SWAT", "REAL", [0.5, 0.25, 0.125], order=order)
    return f


def test_open_takes_str_path_bytes_and_file_object(write_ecl):
    path = write_ecl(restart())
    for source in (str(path), path, bytes(path)):
        with kelvara.open(source) as f:
            assert isinstance(f, kelvara.EclipseFile)
            assert len(f) == 10
            assert f.path == str(path)
    with open(path, "rb") as handle:
        with kelvara.open(handle) as f:
            assert f.path == str(path)
            assert f.read("SWAT").tolist() == [0.5, 0.25, 0.125]
        assert not handle.closed, "a file object given to open stays the caller's"
        assert handle.tell() == 0


@pytest.mark.parametrize("order", ORDERS)
def test_catalogue_holds_every_occurrence_in_file_order(write_ecl, order):
    content = restart(order)
    with kelvara.open(write_ecl(content)) as f:
        assert [k.name for k in f.keywords] == [
            "SEQNUM", "INTEHEAD", "PRESSURE", "SEQNUM", "INTEHEAD", "PRESSURE", "LGR",
            "PRESSURE", "SEQNUM", "SWAT"]
        assert [k.position for k in f] == content.positions
        assert f.names == ["SEQNUM", "INTEHEAD", "PRESSURE", "LGR", "SWAT"]
        assert f.count("PRESSURE") == 3 and f.count("SEQNUM") == 3 and f.count("NOPE") == 0
        pressures = f["PRESSURE"]
        assert [k.occurrence for k in pressures] == [0, 1, 2]
        assert [k.position for k in pressures] == [content.positions[i] for i in (2, 5, 7)]
        assert [k.count for k in pressures] == [3, 3, 2]
        assert all(k.type == "REAL" for k in pressures)
        assert "PRESSURE" in f and "NOPE" not in f
        with pytest.raises(KeyError):
            f["NOPE"]


def test_reprs_show_what_a_person_wants(write_ecl):
    path = write_ecl(restart())
    with kelvara.open(path) as f:
        k = f["PRESSURE"][1]
        assert repr(k) == (f"Keyword('PRESSURE', type='REAL', count=3, position={k.position}, "
                           "occurrence=1)")
        assert repr(f) == f"<EclipseFile {str(path)!r}: 10 sections, 5 names>"
    assert repr(f).startswith("<closed EclipseFile")


@pytest.mark.parametrize("order", ORDERS)
@pytest.mark.parametrize("type_, values, dtype", [
    ("INTE", [0, 1, -1, 2**31 - 1, -2**31, 7, 8], np.int32),
    ("REAL", [0.0, -1.5, 3.25, 1e30, -0.0, 2.0, 1e-30], np.float32),
    ("DOUB", [0.0, -1.5, 3.25, 1e300, -0.0, 2.0, 5e-324], np.float64),
])
def test_numbers_come_in_their_own_type(write_ecl, order, type_, values, dtype):
    content = EclFile().add("VALUES", type_, values, order=order, blocks=[1, 2, 4])
    with kelvara.open(write_ecl(content)) as f:
        out = f.read("VALUES")
    assert out.dtype == np.dtype(dtype) and out.dtype.isnative
    assert out.flags.c_contiguous and out.flags.writeable and out.flags.owndata
    np.testing.assert_array_equal(out, np.array(values, dtype=dtype))
    assert np.signbit(out).tolist() == np.signbit(np.array(values, dtype=dtype)).tolist()


@pytest.mark.parametrize("order", ORDERS)
def test_logicals_are_bool_any_set_bit_true(write_ecl, order):
    words = [0, 1, 0xFFFFFFFF, 0, 2, 0x80000000]
    content = EclFile().add("FLAGS", "LOGI", words, order=order, blocks=[4, 2])
    with kelvara.open(write_ecl(content)) as f:
        out = f.read("FLAGS")
    assert out.dtype == np.bool_
    assert out.tolist() == [False, True, True, False, True, True]


@pytest.mark.parametrize("order", ORDERS)
def test_text_items_are_str_trimmed_of_blanks(write_ecl, order):
    items = ["PROD1", "  AB", "", "A B", b"\xe9t\xe9", "12345678"]
    content = EclFile().add("ZWEL", "CHAR", items, order=order, blocks=[2, 3, 1])
    with kelvara.open(write_ecl(content)) as f:
        out = f.read("ZWEL")
    assert out.dtype == np.dtype("U8")
    assert out.tolist() == ["PROD1", "AB", "", "A B", "\xe9t\xe9", "12345678"]


@pytest.mark.parametrize("order", ORDERS)
def test_c0nn_items_are_nn_characters(write_ecl, order):
    items = ["A LONG WELL NAME", "  short  ", "x" * 20]
    content = EclFile().add("ZLONG", "C020", items, order=order, blocks=[1, 2])
    with kelvara.open(write_ecl(content)) as f:
        assert f["ZLONG"][0].type == "C020"
        out = f.read("ZLONG")
    assert out.dtype == np.dtype("U20")
    assert out.tolist() == ["A LONG WELL NAME", "short", "x" * 20]


def test_mess_and_empty_sections(write_ecl):
    content = (EclFile().add("STARTSOL", "MESS").add("EMPTY", "INTE", [])
               .add("NOTEXT", "CHAR", []).add("ENDSOL", "MESS"))
    with kelvara.open(write_ecl(content)) as f:
        assert f.read("STARTSOL").shape == (0,)
        assert f.read("EMPTY").dtype == np.int32 and f.read("EMPTY").shape == (0,)
        assert f.read("NOTEXT").dtype == np.dtype("U8") and f.read("NOTEXT").shape == (0,)
        assert [k.name for k in f] == ["STARTSOL", "EMPTY", "NOTEXT", "ENDSOL"]


@pytest.mark.parametrize("order", ORDERS)
@pytest.mark.parametrize("block_items", [1, 7, 1000, 65536, 300000])
def test_large_sections_over_many_blocks(write_ecl, order, block_items):
    # Larger than one read round, so frames fall at every place of a round's boundary.
    rng = np.random.default_rng(block_items)
    values = rng.standard_normal(300_000)
    content = (EclFile().add("HEAD", "INTE", [1, 2, 3], order=order)
               .add("BIG", "DOUB", values.tolist(), order=order, block_items=block_items)
               .add("INTS", "INTE", list(range(100_003)), order=order, block_items=block_items)
               .add("TAIL", "CHAR", ["END"], order=order))
    with kelvara.open(write_ecl(content)) as f:
        big = f.read("BIG")
        ints = f.read("INTS")
        assert f.read("TAIL").tolist() == ["END"]
    assert big.view(np.uint64).tolist() == values.view(np.uint64).tolist()
    np.testing.assert_array_equal(ints, np.arange(100_003, dtype=np.int32))


def test_many_text_items_over_rounds(write_ecl):
    items = [f"W{i}" for i in range(20_000)]
    content = EclFile().add("ZWEL", "CHAR", items, block_items=105)
    with kelvara.open(write_ecl(content)) as f:
        assert f.read("ZWEL").tolist() == items


def test_mixed_byte_orders_in_one_file(write_ecl):
    content = (EclFile().add("A", "INTE", [1, 2], order=BIG).add("B", "INTE", [3, 4], order=LITTLE)
               .add("C", "DOUB", [0.5], order=BIG))
    with kelvara.open(write_ecl(content)) as f:
        assert f.read("A").tolist() == [1, 2]
        assert f.read("B").tolist() == [3, 4]
        assert f.read("C").tolist() == [0.5]


@pytest.mark.parametrize("order", ORDERS)
def test_report_steps_of_a_unified_restart(write_ecl, order):
    with kelvara.open(write_ecl(restart(order))) as f:
        assert f.report_steps == [0, 5, 10]
        assert f.read("PRESSURE", step=0).tolist() == [100.0, 101.0, 102.0]
        assert f.read("PRESSURE", step=5).tolist() == [200.0, 201.0, 202.0]
        assert f.read("PRESSURE", occurrence=1, step=5).tolist() == [250.0, 251.0]
        assert f.read("PRESSURE", occurrence=-1, step=5).tolist() == [250.0, 251.0]
        assert f.read("SWAT", step=10).tolist() == [0.5, 0.25, 0.125]
        assert f.find("PRESSURE", 1, step=5) is f["PRESSURE"][2]
        with pytest.raises(IndexError, match="no report step 3"):
            f.read("PRESSURE", step=3)
        with pytest.raises(IndexError, match="in report step 5"):
            f.read("PRESSURE", occurrence=2, step=5)
        with pytest.raises(IndexError, match="in report step 10"):
            f.read("PRESSURE", step=10)  # the step has no PRESSURE: not the next one's
        with pytest.raises(KeyError):
            f.read("SGAS", step=5)


def test_occurrences_without_steps(write_ecl):
    with kelvara.open(write_ecl(restart())) as f:
        assert f.read("PRESSURE", 2).tolist() == [250.0, 251.0]
        assert f.read("PRESSURE", -3).tolist() == [100.0, 101.0, 102.0]
        with pytest.raises(IndexError, match="3 occurrence"):
            f.read("PRESSURE", 3)
        with pytest.raises(IndexError):
            f.read("PRESSURE", -4)
        with pytest.raises(TypeError):
            f.read("PRESSURE", 1.5)
        with pytest.raises(KeyError):
            f.read("NOPE")
        assert f["PRESSURE"][1].read().tolist() == f.read("PRESSURE", 1).tolist()


def test_report_step_of_a_non_unified_restart(write_ecl):
    content = (EclFile().add("INTEHEAD", "INTE", [1]).add("PRESSURE", "REAL", [1.0, 2.0])
               .add("LGR", "CHAR", ["L1"]).add("PRESSURE", "REAL", [3.0]))
    for name in ("CASE.X0012", "case.x0012"):
        with kelvara.open(write_ecl(content, name)) as f:
            assert f.report_steps == [12]
            assert f.read("PRESSURE", step=12).tolist() == [1.0, 2.0]
            assert f.read("PRESSURE", 1, step=12).tolist() == [3.0]
            with pytest.raises(IndexError):
                f.read("PRESSURE", step=11)
    with kelvara.open(write_ecl(content, "CASE.INIT")) as f:
        assert f.report_steps == []
        with pytest.raises(IndexError, match="report steps: none"):
            f.read("PRESSURE", step=0)


def test_close_and_the_callers_file_object(write_ecl):
    path = write_ecl(restart())
    handle = open(path, "rb")
    f = kelvara.open(handle)
    handle.close()  # the catalogue keeps reading the same file
    assert f.read("SWAT").tolist() == [0.5, 0.25, 0.125]
    f.close()
    assert f.closed
    with pytest.raises(ValueError, match="closed file"):
        f.read("SWAT")
    f.close()  # twice is harmless


def test_two_threads_read_two_sections_of_one_file(write_ecl):
    a = np.arange(2_000_000, dtype=np.float64)
    b = -np.arange(1_000_000, dtype=np.int32)
    content = EclFile().add("A", "DOUB", a.tolist(), block_items=1000).add(
        "B", "INTE", b.tolist(), block_items=1000)
    results = {}
    with kelvara.open(write_ecl(content)) as f:
        def work(name):
            for _ in range(3):
                results.setdefault(name, []).append(f.read(name))
        threads = [threading.Thread(target=work, args=(n,)) for n in ("A", "B")]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    assert all(np.array_equal(r, a) for r in results["A"]) and len(results["A"]) == 3
    assert all(np.array_equal(r, b) for r in results["B"]) and len(results["B"]) == 3


def test_progress_is_reported_up_to_the_file_size(write_ecl):
    path = write_ecl(restart())
    seen = []
    with kelvara.open(path, progress=lambda done, total: seen.append((done, total))):
        pass
    size = Path(path).stat().st_size
    assert seen and seen[-1] == (size, size)
    assert [d for d, _ in seen] == sorted(d for d, _ in seen)


def test_reads_let_other_threads_run(write_ecl):
    # With a switch interval far longer than the test, a thread gets the interpreter's lock only
    # when the holder gives it up. The counting thread gives it up at every step (sleep(0)), so
    # it counts during a read only if the read runs without the lock.
    values = np.arange(4_000_000, dtype=">f8").reshape(-1, 1000)
    framed = np.empty(len(values), dtype=[("lead", ">i4"), ("v", ">f8", (1000,)),
                                          ("trail", ">i4")])
    framed["lead"] = framed["trail"] = 8000
    framed["v"] = values
    data = EclFile().add("BIG", "DOUB", []).bytes()  # a header to patch the count into
    data = data[:12] + (4_000_000).to_bytes(4, "big") + data[16:] + framed.tobytes()
    counter = [0]
    stop = threading.Event()

    def count():
        while not stop.is_set():
            counter[0] += 1
            time.sleep(0)

    interval = sys.getswitchinterval()
    with kelvara.open(write_ecl(data)) as f:
        sys.setswitchinterval(1000.0)
        counting = threading.Thread(target=count)
        try:
            counting.start()
            during = 0
            for _ in range(5):
                before = counter[0]
                out = f.read("BIG")
                during += counter[0] - before
        finally:
            stop.set()
            sys.setswitchinterval(interval)
            counting.join()
    assert out[-1] == 3_999_999.0
    assert during > 0


def test_close_while_another_thread_reads(write_ecl):
    values = np.arange(500_000, dtype=np.float64)
    content = EclFile().add("A", "DOUB", values.tolist(), block_items=1000)
    path = write_ecl(content)
    outcomes = []
    for _ in range(5):
        f = kelvara.open(path)

        def work():
            for _ in range(20):
                try:
                    outcomes.append(np.array_equal(f.read("A"), values))
                except ValueError as error:
                    outcomes.append(str(error))

        reader = threading.Thread(target=work)
        reader.start()
        time.sleep(0.002)
        f.close()
        reader.join()
    # Each read either went through whole (its file kept open by the read itself) or found the
    # file closed; nothing else.
    assert set(outcomes) <= {True, "I/O operation on closed file."}
    assert "I/O operation on closed file." in outcomes

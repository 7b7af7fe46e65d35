"""kelvara.open_summary on cases written by the test suite's summary writer."""

import datetime
import os
import pathlib
import shutil

import numpy as np
import pytest

import kelvara
from eclwriter import BIG, LITTLE
from summarywriter import Case, Column, every_family_with_keys, value

STEPS = [[1.0, 2.0], [3.0], [4.0, 5.0, 6.0]]


def family_case(**kw):
    return Case("BASE", [c for c, _ in every_family_with_keys()], STEPS, **kw)


def expected_keys():
    keys = {}
    for c, (_, key) in enumerate(every_family_with_keys()):
        if key is not None:
            keys[key] = c  # the later column gives the key's values
    return keys


# -- naming a case ---------------------------------------------------------------------------


@pytest.mark.parametrize("name", ["BASE", "BASE.SMSPEC", "BASE.UNSMRY", "BASE.DATA",
                                  "BASE.smspec", "BASE.unsmry", "BASE.data"])
def test_a_case_is_opened_by_any_name_users_give_it(tmp_path, name):
    family_case().write(tmp_path)
    with kelvara.open_summary(str(tmp_path / name)) as s:
        assert s.keys() == list(expected_keys())
    with kelvara.open_summary(tmp_path / name) as s:
        assert len(s) == len(expected_keys())


def test_lower_case_extensions_on_disk(tmp_path):
    case = family_case()
    case.write(tmp_path, smspec_ext=".smspec", unsmry_ext=".unsmry")
    with kelvara.open_summary(tmp_path / "BASE") as s:
        np.testing.assert_array_equal(s.values(), case.matrix()[:, list(expected_keys().values())])


def test_numbered_files_read_as_the_unified_file(tmp_path):
    case = family_case()
    case.write(tmp_path / "u")
    case.write(tmp_path / "n", unified=False)
    assert sorted(os.listdir(tmp_path / "n")) == ["BASE.S0001", "BASE.S0002", "BASE.S0003",
                                                  "BASE.SMSPEC"]
    with kelvara.open_summary(tmp_path / "u" / "BASE") as u, \
            kelvara.open_summary(tmp_path / "n" / "BASE") as n:
        np.testing.assert_array_equal(u.values(), n.values())
        np.testing.assert_array_equal(n.report_steps, [1, 1, 2, 3, 3, 3])
        np.testing.assert_array_equal(n.times, [1, 2, 3, 4, 5, 6])


def test_the_unified_file_is_taken_when_both_exist(tmp_path):
    family_case().write(tmp_path)
    family_case(values=lambda t, c: -1.0).write(tmp_path, unified=False)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.vector("FOPR")[0] == value(0, 2)


# -- keys --------------------------------------------------------------------------------------


def test_keys_of_every_family_and_what_is_left_out(tmp_path):
    case = family_case()
    case.write(tmp_path)
    keys = expected_keys()
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.keys() == list(keys)
        matrix = case.matrix()
        for key, column in keys.items():
            np.testing.assert_array_equal(s[key], matrix[:, column], err_msg=key)
        # The later of two columns with one key wins, values and unit.
        assert s.unit("WBHP:OP_1") == "PSIA"
        assert s.unit("FOPR") == "SM3/DAY"
        assert "WWCT:" + ":+:+:+:+" not in s and "BPR:10,10,4" not in s


def test_names_stands_in_for_wgnames_and_c0nn_names(tmp_path):
    columns = [Column("TIME", unit="DAYS"), Column("WOPR", name="A_LONG_WELL_NAME")]
    Case("IX", columns, STEPS, names_keyword="NAMES", name_type="C016").write(tmp_path)
    with kelvara.open_summary(tmp_path / "IX") as s:
        assert s.keys() == ["TIME", "WOPR:A_LONG_WELL_NAME"]


def test_keys_by_pattern(tmp_path):
    family_case().write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.keys("W*:OP_*") == ["WOPR:OP_1", "WBHP:OP_1"]
        assert s.keys("BPR:*") == ["BPR:10,10,3", "BPR:2,3,1"]
        assert s.keys("NOTHING*") == []


def test_unknown_keys_name_close_keys(tmp_path):
    family_case().write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        with pytest.raises(KeyError, match=r"'WOPR:OP_2'.*close keys: WOPR:OP_1"):
            s["WOPR:OP_2"]
        with pytest.raises(KeyError) as info:
            s.values(["FOPR", "XYZZY"])
        assert "close keys" not in str(info.value)
        with pytest.raises(KeyError):
            s.unit("FOPRX")
        assert "FOPR" in s and "FOPRX" not in s


# -- values through every block layout ---------------------------------------------------------


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("block_items", [1000, 700, 2600])
def test_few_and_all_columns_of_records_over_several_blocks(tmp_path, order, block_items):
    columns = [Column("TIME", unit="DAYS")] + [Column("BPR", num=n + 1) for n in range(2499)]
    case = Case("BIG", columns, STEPS, dims=(50, 50, 1), order=order)
    case.write(tmp_path, block_items=block_items)
    matrix = case.matrix()
    with kelvara.open_summary(tmp_path / "BIG") as s:
        keys = s.keys()
        np.testing.assert_array_equal(s.values(), matrix)
        few = [keys[1], keys[999], keys[1000], keys[2499]]
        np.testing.assert_array_equal(s.values(few), matrix[:, [1, 999, 1000, 2499]])
        np.testing.assert_array_equal(s.values(few[::-1] + few[:1]),
                                      matrix[:, [2499, 1000, 999, 1, 1]])
        np.testing.assert_array_equal(s.values(few, report_only=True),
                                      matrix[[1, 2, 5]][:, [1, 999, 1000, 2499]])


def test_a_broken_block_frame_is_a_format_error(tmp_path):
    columns = [Column("TIME", unit="DAYS")] + [Column("FOPR")] * 1500
    case = Case("BROKEN", columns, STEPS)
    path = pathlib.Path(case.write(tmp_path)).with_suffix(".UNSMRY")
    data = bytearray(path.read_bytes())
    with kelvara.open(path) as f:
        second = f["PARAMS"][1].position
    # The leading length of the second block of the second record.
    at = second + 24 + 4008
    data[at:at + 4] = (1234).to_bytes(4, "big")
    path.write_bytes(bytes(data))
    with pytest.raises(kelvara.FormatError) as info:
        with kelvara.open_summary(path) as s:
            s.values()
    assert str(path) in str(info.value) and "PARAMS" in str(info.value)


# -- time --------------------------------------------------------------------------------------


def test_start_with_time_of_day_and_microseconds(tmp_path):
    family_case(start=(29, 3, 2020, 5, 4, 41_000_123)).write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.start == datetime.datetime(2020, 3, 29, 5, 4, 41, 123)
        assert s.dates.dtype == np.dtype("datetime64[ms]")
        assert s.dates[0] == np.datetime64("2020-03-30T05:04:41.000")


def test_start_of_three_items(tmp_path):
    family_case(start=(6, 11, 1997)).write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.start == datetime.datetime(1997, 11, 6)


def test_dates_after_2262_do_not_wrap(tmp_path):
    family_case(start=(1, 1, 2300)).write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert str(s.dates[-1]) == "2300-01-07T00:00:00.000"


def test_times_in_hours(tmp_path):
    columns = [Column("TIME", unit="HOURS"), Column("FOPR")]
    Case("H", columns, [[12.0, 36.0]]).write(tmp_path)
    with kelvara.open_summary(tmp_path / "H") as s:
        np.testing.assert_array_equal(s.times, [0.5, 1.5])


@pytest.mark.parametrize("start", [(31, 2, 2001), (1, 13, 2001), (1, 1, 2001, 25, 0, 0)])
def test_a_start_that_does_not_exist_is_a_format_error(tmp_path, start):
    family_case(start=start).write(tmp_path)
    with kelvara.open(tmp_path / "BASE.SMSPEC") as f:
        header = f.find("STARTDAT").position
    with pytest.raises(kelvara.FormatError,
                       match=rf"BASE.SMSPEC: section 'STARTDAT' .*is no date.* byte {header + 28}"):
        kelvara.open_summary(tmp_path / "BASE")


def test_report_steps_and_report_only(tmp_path):
    case = family_case()
    case.write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.report_steps.dtype == np.int32
        np.testing.assert_array_equal(s.report_steps, [1, 1, 2, 3, 3, 3])
        np.testing.assert_array_equal(s.vector("TIME", report_only=True), [2, 3, 6])
        assert s.values(report_only=True).shape == (3, len(s))


# -- restart chains ------------------------------------------------------------------------------


def chain(tmp_path, base_steps=(([1.0], [2.0, 2.5], [3.0, 3.5])), restart_step=2):
    """A base case and a restart of it from report step restart_step whose columns come in
    another order, with one key the base lacks."""
    base_cols = [Column("TIME", unit="DAYS"), Column("WOPR", name="A"), Column("WOPR", name="B"),
                 Column("FOPR")]
    restart_cols = [Column("WOPR", name="B"), Column("FGOR"), Column("TIME", unit="DAYS"),
                    Column("WOPR", name="A"), Column("FOPR")]
    base = Case("BASE", base_cols, list(base_steps), values=lambda t, c: 100 * t + c)
    base.write(tmp_path)
    restart = Case("RST", restart_cols, [[2.75, 3.0], [4.0]], restart="BASE",
                   restart_step=restart_step, values=lambda t, c: 1000 + 100 * t + c)
    restart.write(tmp_path)
    return base, restart


def test_a_restart_chain_reads_each_case_by_its_own_header(tmp_path):
    chain(tmp_path)
    with kelvara.open_summary(tmp_path / "RST") as s:
        assert s.cases == [str(tmp_path / "BASE.SMSPEC"), str(tmp_path / "RST.SMSPEC")]
        # The base's steps to the end of report step 2 (not 3.0 and 3.5), then the restart's.
        np.testing.assert_array_equal(s.times, [1.0, 2.0, 2.5, 2.75, 3.0, 4.0])
        np.testing.assert_array_equal(s["WOPR:A"], [1, 101, 201, 1003, 1103, 1203])
        np.testing.assert_array_equal(s["WOPR:B"], [2, 102, 202, 1000, 1100, 1200])
        np.testing.assert_array_equal(s["FGOR"][:3], [np.nan] * 3)
        np.testing.assert_array_equal(s["FGOR"][3:], [1001, 1101, 1201])
        np.testing.assert_array_equal(s.report_steps, [1, 2, 2, 3, 3, 4])
        assert s.keys()[:5] == ["WOPR:B", "FGOR", "TIME", "WOPR:A", "FOPR"]
    with kelvara.open_summary(tmp_path / "RST", include_restart=False) as s:
        assert s.cases == [str(tmp_path / "RST.SMSPEC")]
        np.testing.assert_array_equal(s.times, [2.75, 3.0, 4.0])


def test_a_restart_whose_base_is_gone_reads_alone(tmp_path):
    chain(tmp_path)
    os.remove(tmp_path / "BASE.UNSMRY")
    os.remove(tmp_path / "BASE.SMSPEC")
    with kelvara.open_summary(tmp_path / "RST") as s:
        assert len(s.cases) == 1
        np.testing.assert_array_equal(s.times, [2.75, 3.0, 4.0])


# -- runs still being written, and broken files --------------------------------------------------


@pytest.mark.parametrize("cut", [3, 100, 170, 200])
@pytest.mark.parametrize("unified", [True, False])
def test_a_cut_last_params_reads_the_whole_steps(tmp_path, cut, unified):
    case = family_case()
    case.write(tmp_path, unified=unified, cut=cut)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert not s.complete
        n = len(s.times)
        assert n == 5
        np.testing.assert_array_equal(
            s.values(), case.matrix()[:n][:, list(expected_keys().values())])
    case.write(tmp_path, unified=unified)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        assert s.complete and len(s.times) == 6


def test_a_params_of_the_wrong_length_is_a_format_error(tmp_path):
    family_case().write(tmp_path, bad_count=(2, 30))
    with kelvara.open(tmp_path / "BASE.UNSMRY") as f:
        third = f["PARAMS"][2].position
    with pytest.raises(kelvara.FormatError,
                       match=rf"BASE.UNSMRY: section 'PARAMS' \(header at byte {third}\): a PARAMS "
                             rf"record of 30 items where the summary header has 39 vectors"):
        kelvara.open_summary(tmp_path / "BASE")


def test_a_broken_header_is_a_format_error(tmp_path):
    path = pathlib.Path(family_case().write(tmp_path)).with_suffix(".UNSMRY")
    data = bytearray(path.read_bytes())
    data[36:40] = (17).to_bytes(4, "big")  # the second header's leading marker
    path.write_bytes(bytes(data))
    with pytest.raises(kelvara.FormatError, match="BASE.UNSMRY"):
        kelvara.open_summary(path)


def test_missing_files_are_named(tmp_path):
    with pytest.raises(FileNotFoundError) as info:
        kelvara.open_summary(tmp_path / "NONE")
    assert info.value.filename == str(tmp_path / "NONE.SMSPEC")
    family_case().write(tmp_path)
    os.remove(tmp_path / "BASE.UNSMRY")
    with pytest.raises(FileNotFoundError) as info:
        kelvara.open_summary(tmp_path / "BASE")
    assert info.value.filename == str(tmp_path / "BASE.UNSMRY")


def test_wrong_arguments(tmp_path):
    with pytest.raises(TypeError):
        kelvara.open_summary(3)
    family_case().write(tmp_path)
    s = kelvara.open_summary(tmp_path / "BASE")
    with pytest.raises(TypeError):
        s.vector(3)
    s.close()
    with pytest.raises(ValueError, match="closed"):
        s.values()


# -- pandas --------------------------------------------------------------------------------------


def test_to_pandas(tmp_path):
    pd = pytest.importorskip("pandas")
    case = family_case(start=(1, 1, 2300))
    case.write(tmp_path)
    with kelvara.open_summary(tmp_path / "BASE") as s:
        df = s.to_pandas(["FOPR", "WOPR:OP_1"])
        assert isinstance(df.index, pd.DatetimeIndex) and df.index.name == "DATE"
        assert list(df.columns) == ["FOPR", "WOPR:OP_1"]
        assert str(df.index[-1]) == "2300-01-07 00:00:00"
        np.testing.assert_array_equal(df["FOPR"].to_numpy(), case.matrix()[:, 2])
        assert len(s.to_pandas(report_only=True)) == 3


@pytest.mark.parametrize("order", [BIG, LITTLE])
@pytest.mark.parametrize("block_items", [1000, 700])
def test_few_columns_of_long_records_are_read_alone(tmp_path, order, block_items):
    # Records long enough that a few columns are read group by group, not through the buffer.
    n = 40_000
    columns = [Column("TIME", unit="DAYS")] + [Column("AAQR", num=i) for i in range(1, n)]
    case = Case("LONG", columns, [[1.0, 2.0], [3.0]], order=order,
                values=lambda t, c: t * 100_000 + c)
    case.write(tmp_path, block_items=block_items)
    picks = [1, 2, 999, 1000, 17_345, n - 1]
    with kelvara.open_summary(tmp_path / "LONG") as s:
        got = s.values([f"AAQR:{c}" for c in picks])
    want = np.array([[t * 100_000 + c for c in picks] for t in range(3)], dtype=np.float32)
    np.testing.assert_array_equal(got, want)


# -- formatted twins -----------------------------------------------------------------------------


@pytest.mark.parametrize("unified", [True, False])
def test_formatted_cases_read_as_their_unformatted_twins(tmp_path, unified):
    case = family_case(start=(29, 3, 2020, 5, 4, 41_000_000))
    case.write(tmp_path / "u", unified=unified)
    case.write(tmp_path / "f", unified=unified, formatted=True)
    names = sorted(os.listdir(tmp_path / "f"))
    assert names == (["BASE.FSMSPEC", "BASE.FUNSMRY"] if unified else
                     ["BASE.A0001", "BASE.A0002", "BASE.A0003", "BASE.FSMSPEC"])
    with kelvara.open_summary(tmp_path / "u" / "BASE") as u, \
            kelvara.open_summary(tmp_path / "f" / "BASE.FSMSPEC") as f:
        assert f.keys() == u.keys() and f.start == u.start
        np.testing.assert_array_equal(f.values(), u.values())
        np.testing.assert_array_equal(f.values(["WBHP:OP_1", "TIME"], report_only=True),
                                      u.values(["WBHP:OP_1", "TIME"], report_only=True))
        np.testing.assert_array_equal(f.dates, u.dates)
        np.testing.assert_array_equal(f.report_steps, u.report_steps)


def test_a_formatted_params_of_the_wrong_length(tmp_path):
    family_case().write(tmp_path, bad_count=(1, 30), formatted=True)
    with pytest.raises(kelvara.FormatError, match="a PARAMS record of 30 items where the summary "
                                                  "header has 39 vectors"):
        kelvara.open_summary(tmp_path / "BASE")

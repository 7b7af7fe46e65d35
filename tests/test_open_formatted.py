"""kelvara.open on formatted (text) files: the same catalogue and arrays as the unformatted twin,
values parsed exactly, and FormatError naming path, keyword and line for broken text."""

from __future__ import annotations

import re
from decimal import Decimal

import numpy as np
import pytest

import kelvara
from eclwriter import EclFile
from fmtwriter import FmtFile, real_text

RNG = np.random.default_rng(18)
# Random finite floats and doubles of every exponent, from random bit patterns.
FLOATS = RNG.integers(0, 2**32, 3000, dtype=np.uint64).astype(np.uint32).view(np.float32)
FLOATS = FLOATS[np.isfinite(FLOATS)]
DOUBLES = RNG.integers(0, 2**63, 3000, dtype=np.uint64).view(np.float64)
DOUBLES = np.concatenate([DOUBLES[np.isfinite(DOUBLES)], -DOUBLES[np.isfinite(DOUBLES)][:50]])
INTS = np.array([0, 1, -1, 2**31 - 1, -2**31, 123456, -987654] * 300, dtype=np.int32)
LOGIS = RNG.integers(0, 2, 1234).astype(bool)
NAMES = [f"W{i}" for i in range(250)] + ["", "A B", "12345678"]


def both(**digits):
    """The same sections as a formatted file and as an unformatted one (split into standard
    blocks) with exact digits, so that every value must come back bit for bit."""
    fmt, ecl = FmtFile(), EclFile()
    content = [("SEQNUM", "INTE", [1]), ("INTS", "INTE", INTS.tolist()),
               ("FLOATS", "REAL", FLOATS.tolist()), ("DOUBLES", "DOUB", DOUBLES.tolist()),
               ("LOGIS", "LOGI", LOGIS.tolist()), ("NAMES", "CHAR", NAMES),
               ("LONGNAME", "C012", ["A LONGER ONE", "x"]), ("EMPTY", "REAL", []),
               ("ENDSOL", "MESS", [])]
    for name, type_, values in content:
        fmt.add(name, type_, values, **digits)
        ecl.add(name, type_, values, block_items=105 if type_[0] == "C" else 1000)
    return fmt, ecl


def test_every_value_comes_back_bit_for_bit(tmp_path):
    fmt, ecl = both(real_digits=9, doub_digits=17)
    fmt.write(tmp_path / "CASE.FUNRST")
    ecl.write(tmp_path / "CASE.UNRST")
    with kelvara.open(tmp_path / "CASE.FUNRST") as f, kelvara.open(tmp_path / "CASE.UNRST") as g:
        assert [(k.name, k.type, k.count) for k in f] == [(k.name, k.type, k.count) for k in g]
        assert [k.position for k in f] == fmt.positions
        for a, b in zip(f, g):
            x, y = a.read(), b.read()
            assert x.dtype == y.dtype and x.shape == y.shape, a.name
            if x.dtype.kind == "f":
                assert x.tobytes() == y.tobytes(), a.name
            else:
                assert (x == y).all(), a.name
        assert f.report_steps == [1]
        assert f.read("INTS")[:5].tolist() == [0, 1, -1, 2**31 - 1, -2**31]
        assert f.read("NAMES")[-3:].tolist() == ["", "A B", "12345678"]
        assert f.read("LONGNAME").tolist() == ["A LONGER ONE", "x"]


def nearest_float32(text: str) -> np.float32:
    """The float32 nearest to a decimal text, by exact decimal arithmetic."""
    value = Decimal(text)
    candidate = np.float32(float(value))
    best = candidate
    for other in (np.nextafter(candidate, np.float32(-np.inf)),
                  np.nextafter(candidate, np.float32(np.inf))):
        if abs(Decimal(float(other)) - value) < abs(Decimal(float(best)) - value):
            best = other
    return best


def test_simulator_digits_give_the_nearest_value(tmp_path):
    # Simulators write 8 digits for REAL and 14 for DOUB: each text gives its nearest value.
    fmt, _ = both()
    fmt.write(tmp_path / "CASE.FUNRST")
    with kelvara.open(tmp_path / "CASE.FUNRST") as f:
        floats, doubles = f.read("FLOATS"), f.read("DOUBLES")
    for value, got in zip(FLOATS[:400].tolist(), floats[:400]):
        text = real_text(value, 8, "E")
        assert got.tobytes() == nearest_float32(text).tobytes(), text
    for value, got in zip(DOUBLES.tolist(), doubles):
        text = real_text(value, 14, "D")
        assert got == float(re.sub(r"(?<=\d)([+-])", r"E\1", text.replace("D", "E"))), text


def test_exponents_as_simulators_write_them(tmp_path):
    text = (" 'X       '           6 'DOUB'\n"
            "   0.34500000000000+106   0.34500000000000-104   0.10000000000000D+01\n"
            "  -0.1-100   0.25E-02   0.5d+01\n"
            " 'Y       '           3 'REAL'\n"
            "   0.12345678E+01  -0.10000000E-39   0.1-100\n")
    (tmp_path / "F.FINIT").write_text(text)
    with kelvara.open(tmp_path / "F.FINIT") as f:
        assert f.read("X").tolist() == [0.345e106, 0.345e-104, 1.0, -0.1e-100, 0.0025, 5.0]
        y = f.read("Y")
        assert y.dtype == np.float32
        assert y[0] == np.float32(1.2345678)
        assert y[1] == np.float32(-1e-40)
        # Too small for a float: a zero.
        assert y[2] == 0


def test_known_by_content_not_name(tmp_path):
    fmt, _ = both()
    path = tmp_path / "no_extension.UNRST"
    fmt.write(path)
    with open(path, "rb") as handle, kelvara.open(handle) as f:
        assert f.names[:3] == ["SEQNUM", "INTS", "FLOATS"]
        assert f.read("LOGIS").tolist() == LOGIS.tolist()
        assert f.count("ENDSOL") == 1 and f.read("ENDSOL").size == 0


def test_header_lines_in_column_one(tmp_path):
    path = tmp_path / "G.FEGRID"
    text = ("'FILEHEAD'           2 'INTE'\n           3        2007\n"
            "'ENDGRID '           0 'INTE'\n")
    path.write_text(text)
    with kelvara.open(path) as f:
        assert [(k.name, k.count, k.position) for k in f] == [("FILEHEAD", 2, 0),
                                                              ("ENDGRID", 0, text.index("'END"))]
        assert f.read("FILEHEAD").tolist() == [3, 2007]
        assert f.read("ENDGRID").dtype == np.int32


def open_error(path) -> kelvara.FormatError:
    with pytest.raises(kelvara.FormatError) as caught:
        with kelvara.open(path) as f:
            for k in f:
                k.read()
    return caught.value


def test_count_that_disagrees_with_the_values(tmp_path):
    path = tmp_path / "F.FINIT"
    fmt = FmtFile().add("A", "INTE", [1, 2, 3]).add("PORO", "REAL", [0.5] * 5, count=7).add(
        "B", "INTE", [1]).write(path)
    poro, b = fmt.positions[1:]
    error = open_error(path)
    # The problem is found at the quote of the header that came too early.
    assert str(error) == (f"{path}: section 'PORO' (header at byte {poro}): the header counts 7 "
                          f"items but 5 follow, on line 6, at byte {b + 1}")
    assert error.section == "PORO" and error.section_position == poro
    FmtFile().add("A", "INTE", [1, 2, 3], count=2).write(path)
    assert str(open_error(path)) == (f"{path}: section 'A' (header at byte 0): more items than "
                                     f"the header's count of 2, on line 2, at byte 66")


def test_value_that_does_not_parse(tmp_path):
    path = tmp_path / "F.FINIT"
    fmt = FmtFile().add("A", "INTE", [1, 2]).add("PORO", "REAL", [0.5, 0.25])
    text = fmt.text()
    path.write_text(text.replace("0.25000000E+00", "0.25000000X+00"))
    with kelvara.open(path) as f:
        assert f.read("A").tolist() == [1, 2]
        with pytest.raises(kelvara.FormatError) as caught:
            f.read("PORO")
    where = text.index("0.25")
    assert str(caught.value) == (f"{path}: section 'PORO' (header at byte {fmt.positions[1]}): "
                                 f"a value that is no REAL item: '0.25000000X+00', on line 4, "
                                 f"at byte {where}")
    for bad, type_ in (("2147483648", "INTE"), ("X", "LOGI"), ("0.1E+01", "INTE")):
        path.write_text(f" 'V       '           2 '{type_}'\n  {bad}  {bad}\n")
        with kelvara.open(path) as f, pytest.raises(kelvara.FormatError, match="on line 2"):
            f.read("V")


def test_cut_file(tmp_path):
    path = tmp_path / "F.FUNRST"
    text = FmtFile().add("PRESSURE", "DOUB", np.arange(10.0)).text()
    # The last line, of one item, is cut off.
    last = len(text.splitlines()[-1]) + 1
    path.write_text(text[:-last])
    assert str(open_error(path)) == (f"{path}: section 'PRESSURE' (header at byte 0): the file "
                                     f"ends after 9 of the 10 items, on line 5, at byte "
                                     f"{len(text) - last}")
    # Cut inside a value: the piece is counted, and refused when read.
    path.write_text(text[:-3])
    with kelvara.open(path) as f, pytest.raises(
            kelvara.FormatError, match=r"no DOUB item: '0.90000000000000D\+', on line 5"):
        f.read("PRESSURE")
    path.write_text(text[:20])
    assert "a section header without a count" in str(open_error(path))


def test_not_a_header(tmp_path):
    path = tmp_path / "F.FINIT"
    path.write_text(" 'A       '           1 'INTE'\n 1\n 'B       '           1 'XXXX'\n 1\n")
    error = open_error(path)
    assert "unknown section type 'XXXX', on line 3" in str(error)
    assert error.section == "B"


def test_reads_from_two_threads(tmp_path):
    import threading
    path = tmp_path / "F.FUNRST"
    FmtFile().add("A", "DOUB", DOUBLES.tolist()).add("B", "REAL", FLOATS.tolist()).write(path)
    with kelvara.open(path) as f:
        expected = {k.name: k.read() for k in f}
        results = {}

        def work(name):
            results[name] = f.read(name)

        threads = [threading.Thread(target=work, args=(n,)) for n in ("A", "B")]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    assert all((results[n] == expected[n]).all() for n in expected)


def test_the_command_lists_and_shows_formatted_files(tmp_path, capsys):
    from kelvara import _cli
    path = tmp_path / "CASE.FUNRST"
    fmt = FmtFile().add("SEQNUM", "INTE", [4]).add("PRESSURE", "REAL", [1.5, 2.25]).write(path)
    assert _cli.main(["ls", str(path)]) == 0
    out = capsys.readouterr().out
    assert "PRESSURE" in out and str(fmt.positions[1]) in out.split("PRESSURE")[1]
    assert _cli.main(["show", str(path), "PRESSURE", "--step", "4"]) == 0
    assert capsys.readouterr().out.split("\n")[1:3] == ["1.5", "2.25"]


def test_the_readme_example(tmp_path, capsys):
    from test_readme import block_with, run_block
    funrst = tmp_path / "CASE.FUNRST"
    fmt = FmtFile()
    for step in range(1, 5):
        fmt.add("SEQNUM", "INTE", [step]).add("SWAT", "REAL", [0.25 * step, 0.125])
    fmt.write(funrst)
    fegrid = tmp_path / "CASE.FEGRID"
    grid = FmtFile()
    for name, type_, values in [("FILEHEAD", "INTE", [3, 2007, 0, 0, 0, 0]),
                                ("GRIDHEAD", "INTE", [1, 2, 1, 1, 0]),
                                ("ACTNUM", "INTE", [1, 0]), ("ENDGRID", "INTE", [])]:
        grid.add(name, type_, values)
    grid.write(fegrid)
    block = block_with("CASE.FUNRST") + "print(swat.tolist(), grid.dimensions, grid.active_cells)\n"
    run_block(block, {"CASE.FUNRST": funrst, "CASE.FEGRID": fegrid})
    assert capsys.readouterr().out.strip() == "[0.75, 0.125] (2, 1, 1) 1"

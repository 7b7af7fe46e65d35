"""kelvara.write: the type from the dtype, big-endian standard blocks, bit-for-bit round trips
through kelvara.open, formatted text in the layout simulators write, to paths, file objects
and io.BytesIO, and clear errors for what no section can hold."""

import io

import numpy as np
import pytest

import fmtwriter
import kelvara
from conftest import DATA_DIR
from eclwriter import EclFile

INT32 = np.iinfo(np.int32)


def payload_floats():
    """float32 and float64 values with every bit pattern that matters: NaNs of several
    payloads and signs, infinities, signed zeros, subnormals, the extremes."""
    f4 = np.array([0x7FC00001, 0xFFC00000, 0x7F800001, 0x7F800000, 0xFF800000, 0x80000000, 0,
                   1, 0x007FFFFF, 0x7F7FFFFF, 0x3F800000], dtype=np.uint32).view(np.float32)
    f8 = np.array([0x7FF8000000000001, 0xFFF8000000000000, 0x7FF0000000000001,
                   0x7FF0000000000000, 0x8000000000000000, 0, 1, 0x7FEFFFFFFFFFFFFF,
                   0x3FF0000000000000], dtype=np.uint64).view(np.float64)
    return f4, f8


def every_type():
    f4, f8 = payload_floats()
    return [
        ("INTEHEAD", np.array([INT32.min, -1, 0, 1, INT32.max], dtype=np.int32)),
        ("BIGINTE", np.arange(2500, dtype=np.int32) - 1000),
        ("PORO", f4),
        ("PRESSURE", np.linspace(-1e6, 1e6, 2100, dtype=np.float32)),
        ("DOUBHEAD", f8),
        ("LOGIHEAD", np.array([True, False, True])),
        ("NAMES", np.array(["OP_1", "", "ABCDEFGH"] * 100)),
        ("LONGNAME", np.array(["A-WELL-NAME-OF-16", "SHORT"])),
        ("STARTSOL", kelvara.MESS),
        ("EMPTY", np.zeros(0, dtype=np.float64)),
    ]


def read_all(source):
    with kelvara.open(source) as f:
        return [(k.name, k.type, k.count, k.read()) for k in f]


def bits(values):
    return values.tobytes() if values.dtype.kind != "U" else "|".join(values.tolist())


def test_round_trip_bit_for_bit(tmp_path):
    path = tmp_path / "CASE.X0001"
    kelvara.write(path, every_type())
    back = read_all(path)
    expected_types = ["INTE", "INTE", "REAL", "REAL", "DOUB", "LOGI", "CHAR", "C017", "MESS",
                      "DOUB"]
    assert [b[1] for b in back] == expected_types
    for (name, values), (got_name, _, count, got) in zip(every_type(), back):
        assert got_name == name
        if values is kelvara.MESS:
            assert count == 0 and got.size == 0
            continue
        assert count == len(values)
        if got.dtype.kind == "U":
            assert got.tolist() == [str(v) for v in values]
        else:
            assert got.dtype == values.dtype
            assert bits(got) == bits(values)


def test_the_bytes_are_big_endian_standard_blocks(tmp_path):
    f4, f8 = payload_floats()
    sections = [("INTEHEAD", np.arange(2500, dtype=np.int32)), ("PORO", f4), ("DOUBHEAD", f8),
                ("LOGIHEAD", np.array([True, False])), ("NAMES", np.array(["W"] * 300)),
                ("ENDSOL", kelvara.MESS)]
    out = io.BytesIO()
    kelvara.write(out, sections)
    expected = EclFile()
    expected.add("INTEHEAD", "INTE", list(range(2500)), block_items=1000)
    # Floats by their bit patterns, so that NaN payloads are compared exactly.
    expected.add("PORO", "LOGI", f4.view(np.uint32).tolist())
    expected.parts[-1] = expected.parts[-1].replace(b"LOGI", b"REAL", 1)
    raw = b"".join(int(w).to_bytes(8, "big") for w in f8.view(np.uint64))
    expected.raw(b"\0\0\0\x10DOUBHEAD\0\0\0\x09DOUB\0\0\0\x10" + len(raw).to_bytes(4, "big")
                 + raw + len(raw).to_bytes(4, "big"))
    expected.add("LOGIHEAD", "LOGI", [0xFFFFFFFF, 0])
    expected.add("NAMES", "CHAR", ["W"] * 300, block_items=105)
    expected.add("ENDSOL", "MESS")
    assert out.getvalue() == expected.bytes()


def test_paths_file_objects_and_bytesio_get_the_same_bytes(tmp_path):
    path = tmp_path / "a.INIT"
    kelvara.write(str(path), every_type())
    memory = io.BytesIO()
    kelvara.write(memory, dict(every_type()))
    with open(tmp_path / "b.INIT", "wb") as handle:
        handle.write(b"PREFIX")
        kelvara.write(handle, every_type())
        # The object stands after what was written, and writing goes on from there.
        assert handle.tell() == 6 + len(memory.getvalue())
        handle.write(b"!")
    assert path.read_bytes() == memory.getvalue()
    assert (tmp_path / "b.INIT").read_bytes() == b"PREFIX" + memory.getvalue() + b"!"
    # A BytesIO written part way through keeps its head.
    memory2 = io.BytesIO(b"HEAD")
    memory2.seek(0, 2)
    kelvara.write(memory2, every_type())
    assert memory2.getvalue() == b"HEAD" + memory.getvalue()


def test_an_edited_property_written_back(tmp_path):
    paths = kelvara.example(tmp_path)
    with kelvara.open(paths["INIT"]) as f:
        sections = [(k.name, k.read() if k.type != "MESS" else kelvara.MESS) for k in f]
    edited = [(name, values * np.float32(2) if name == "PERMX" else values)
              for name, values in sections]
    kelvara.write(tmp_path / "EDITED.INIT", edited)
    with kelvara.open(paths["INIT"]) as before, kelvara.open(tmp_path / "EDITED.INIT") as after:
        assert before.names == after.names
        assert np.array_equal(after.read("PERMX"), before.read("PERMX") * 2)
        assert np.array_equal(after.read("PORO"), before.read("PORO"))
    # Written back unchanged, the file is the same byte for byte.
    kelvara.write(tmp_path / "SAME.INIT", sections)
    with open(paths["INIT"], "rb") as a, open(tmp_path / "SAME.INIT", "rb") as b:
        assert a.read() == b.read()


def test_other_integer_dtypes_that_fit():
    out = io.BytesIO()
    kelvara.write(out, [("A", [1, 2, 3]), ("B", np.array([7], dtype=np.uint8))])
    with kelvara.open(out) as f:
        assert [k.type for k in f] == ["INTE", "INTE"]
        assert f.read("A").tolist() == [1, 2, 3]


@pytest.mark.parametrize("name, message", [
    ("TOOLONGNAME", "section name 'TOOLONGNAME' is longer than 8 characters"),
    ("PÖRO", "section name 'PÖRO' is not ASCII"),
])
def test_bad_names(name, message):
    out = io.BytesIO()
    with pytest.raises(ValueError, match=f"^{message}$"):
        kelvara.write(out, [("GOOD", np.zeros(3)), (name, np.zeros(3))])
    # Nothing is written when any section is refused.
    assert out.getvalue() == b""


def test_values_no_section_holds():
    out = io.BytesIO()
    cases = [
        (ValueError, "beyond the range of int32", np.array([2**31], dtype=np.int64)),
        (TypeError, "no section type for dtype float16", np.zeros(2, dtype=np.float16)),
        (TypeError, "no section type for dtype complex128", np.zeros(2, dtype=complex)),
        (ValueError, "give a 1-D array, not 2-D", np.zeros((2, 2))),
        (ValueError, "not Latin-1", np.array(["€"])),
        (ValueError, "a text item of 100 characters", np.array(["x" * 100])),
        (TypeError, "str items only", np.array(["a", 1], dtype=object)),
    ]
    for kind, message, values in cases:
        with pytest.raises(kind, match=message):
            kelvara.write(out, [("X", values)])
    with pytest.raises(TypeError, match="sequence of \\(name, array\\) pairs"):
        kelvara.write(out, ["PORO"])
    with pytest.raises(TypeError, match="binary file object"):
        kelvara.write(io.StringIO(), [("X", np.zeros(1))])
    with pytest.raises(TypeError, match="a path or a binary file object, not int"):
        kelvara.write(3, [("X", np.zeros(1))])
    assert out.getvalue() == b""


# -- formatted ----------------------------------------------------------------------------------

def exact_floats():
    """Finite values whose text must hold every bit: subnormals, extremes, three-digit
    exponents, signed zeros, values with 9 and 17 significant digits."""
    f4 = np.array([0x00000001, 0x007FFFFF, 0x7F7FFFFF, 0x80000000, 0, 0x3DCCCCCD, 0xC2F6E979],
                  dtype=np.uint32).view(np.float32)
    f8 = np.concatenate([
        np.array([0x1, 0x7FEFFFFFFFFFFFFF, 0x8000000000000000, 0, 0x3FB999999999999A],
                 dtype=np.uint64).view(np.float64),
        np.array([1e-300, -2.5e+300, 0.1, 1 / 3, -123456.789]),
        np.random.default_rng(5).standard_normal(2000) * 10.0 ** np.arange(-100, 100, 0.1),
    ])
    return f4, f8


def test_formatted_round_trip_exact(tmp_path):
    f4, f8 = exact_floats()
    sections = [
        ("INTEHEAD", np.array([INT32.min, -1, 0, INT32.max], dtype=np.int32)),
        ("PORO", np.concatenate([f4, np.random.default_rng(3).random(1500, dtype=np.float32)])),
        ("XCON", f8),
        ("LOGIHEAD", np.arange(1100) % 3 == 0),
        ("KEYWORDS", np.array(["TIME", "WOPR", ""] * 80)),
        ("LONG", np.array(["A-NAME-OF-TEN", "B"])),
        ("ENDSOL", kelvara.MESS),
    ]
    path = tmp_path / "CASE.FINIT"
    kelvara.write(path, sections, formatted=True)
    assert path.read_bytes()[:1] == b" "
    back = read_all(path)
    assert [b[1] for b in back] == ["INTE", "REAL", "DOUB", "LOGI", "CHAR", "C013", "MESS"]
    # Written to a BytesIO and read from it, the same text and the same arrays.
    memory = io.BytesIO()
    kelvara.write(memory, sections, formatted=True)
    assert memory.getvalue() == path.read_bytes()
    for (_, _, _, a), (_, _, _, b) in zip(back, read_all(memory)):
        assert a.tobytes() == b.tobytes() if a.dtype.kind != "U" else a.tolist() == b.tolist()
    for (name, values), (got_name, _, count, got) in zip(sections, back):
        assert got_name == name
        if values is kelvara.MESS:
            continue
        if got.dtype.kind == "U":
            assert got.tolist() == values.tolist()
        else:
            assert got.dtype == values.dtype and got.tobytes() == values.tobytes()


def test_formatted_layout_is_that_of_the_test_writer():
    # The test suite's formatted writer follows the real files' layout; with 9 and 17 digits
    # its REAL lines are the same to the byte, its DOUB lines hold the same numbers a line.
    f4, f8 = exact_floats()
    sections = [("INTEHEAD", np.arange(-1500, 1500, dtype=np.int32) * 1000),
                ("PORO", f4), ("LOGIHEAD", np.arange(1100) % 3 == 0),
                ("KEYWORDS", np.array(["TIME", "WOPR", ""] * 80)),
                ("LONG", np.array(["A-NAME-OF-TEN", "B"] * 70)), ("ENDSOL", kelvara.MESS)]
    out = io.BytesIO()
    kelvara.write(out, sections, formatted=True)
    types = ["INTE", "REAL", "LOGI", "CHAR", "C013", "MESS"]
    expected = "".join(fmtwriter.section(n, t, [] if v is kelvara.MESS else list(v),
                                         real_digits=9)
                       for (n, v), t in zip(sections, types))
    assert out.getvalue().decode("latin-1") == expected
    out = io.BytesIO()
    kelvara.write(out, [("XCON", f8)], formatted=True)
    ours = out.getvalue().decode("latin-1").splitlines()
    theirs = fmtwriter.section("XCON", "DOUB", list(f8), doub_digits=17).splitlines()
    assert [line.split() for line in ours] == [line.split() for line in theirs]
    assert all(len(line) == 78 for line in ours[1:] if len(line.split()) == 3)


def test_formatted_sections_of_a_real_file_written_again():
    # Integer, logical and text sections hold no digits to choose: written again, they are
    # the real file's text to the byte.
    path = DATA_DIR / "formatted" / "xtgeo-testdata" / "E100_BO.FINIT"
    if not path.exists():
        pytest.skip(f"{path} is absent")
    text = path.read_bytes().decode("latin-1")
    with kelvara.open(path) as f:
        keywords = list(f)
        ends = [k.position for k in keywords[1:]] + [len(text)]
        checked = 0
        for k, end in zip(keywords, ends):
            if k.type not in ("INTE", "LOGI", "CHAR", "MESS"):
                continue
            out = io.BytesIO()
            value = kelvara.MESS if k.type == "MESS" else k.read()
            kelvara.write(out, [(k.name, value)], formatted=True)
            assert out.getvalue().decode("latin-1") == text[k.position:end], k.name
            checked += 1
    assert checked >= 3


def test_formatted_refuses_what_text_cannot_hold():
    for values in (np.array([1.0, np.nan]), np.array([np.inf], dtype=np.float32)):
        with pytest.raises(ValueError, match="cannot hold NaN or infinite values"):
            kelvara.write(io.BytesIO(), [("X", values)], formatted=True)

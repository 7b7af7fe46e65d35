"""Real IMEX arrays: the integer and double arrays of the SR3 (HDF5) files in the shared data
folder, written into framed blocks of every form and byte order and read back through
imex.Section, and encoded as base-64 stretches and read back through mores."""

from __future__ import annotations

import numpy as np
import pytest

import kelvara
from kelvara import imex, mores
from b64writer import encode, with_line_ends
from conftest import DATA_DIR
from imexwriter import BIG, LITTLE, bare, marked, record

pytestmark = pytest.mark.skipif(not DATA_DIR.is_dir(),
                                reason=f"real simulator files not found in {DATA_DIR}")

SR3_FILES = sorted(DATA_DIR.rglob("*.sr3")) if DATA_DIR.is_dir() else []
SR3_IDS = [p.relative_to(DATA_DIR).as_posix() for p in SR3_FILES]


def sr3_arrays(path):
    """Every non-empty int32 and float64 dataset of the file, flattened, by name."""
    h5py = pytest.importorskip("h5py")
    arrays = {}
    with h5py.File(path, "r") as f:
        def visit(name, obj):
            if isinstance(obj, h5py.Dataset) and obj.dtype.kind in "if" and obj.size > 0:
                if obj.dtype == np.int32 or obj.dtype == np.float64:
                    arrays[name] = np.asarray(obj[()]).ravel()
        f.visititems(visit)
    return arrays


def type_code(values):
    return "i" if values.dtype == np.int32 else "d"


def framed(values, form_index):
    """values in the form_index-th of four framings: record big, record little, marked, record
    big with a trailing word of its own."""
    if form_index == 0:
        return record(values.astype(">" + values.dtype.str[1:]).tobytes(), BIG)
    if form_index == 1:
        return record(values.astype("<" + values.dtype.str[1:]).tobytes(), LITTLE)
    if form_index == 2:
        return marked(values.astype("=" + values.dtype.str[1:]).tobytes())
    return record(values.astype(">" + values.dtype.str[1:]).tobytes(), BIG, trailing=b"\0" * 4)


@pytest.mark.parametrize("path", SR3_FILES, ids=SR3_IDS)
def test_sr3_arrays_through_framed_blocks(path, tmp_path):
    arrays = sr3_arrays(path)
    assert any(a.dtype == np.int32 for a in arrays.values())
    assert any(a.dtype == np.float64 for a in arrays.values())
    names = sorted(arrays)
    data = b"".join(framed(arrays[name], i % 4) for i, name in enumerate(names))
    out = tmp_path / "arrays.irf"
    out.write_bytes(data)
    with open(out, "rb") as f:
        s = imex.Section(f, 0, False)
        for i, name in enumerate(names):
            values = arrays[name]
            code = type_code(values)
            assert s.ItemsCount(code) == values.size, name
            np.testing.assert_array_equal(s.GetItems(code), values, err_msg=name)
            feeder = kelvara.ArrayFeeder()
            assert s.FeedItems(code, feeder), name
            np.testing.assert_array_equal(feeder.to_numpy(), values.astype(np.float64),
                                          err_msg=name)
            assert s.Advance() is (i + 1 < len(names))
        assert s.start_pos == len(data)


@pytest.mark.parametrize("path", SR3_FILES, ids=SR3_IDS)
def test_sr3_arrays_through_bare_records(path, tmp_path):
    arrays = sr3_arrays(path)
    names = sorted(arrays)
    data = b"".join(bare(arrays[n].astype(">" + arrays[n].dtype.str[1:]).tobytes())
                    for n in names)
    out = tmp_path / "arrays.bare"
    out.write_bytes(data)
    with open(out, "rb") as f:
        s = imex.Section(f, 0, True)
        for name in names:
            np.testing.assert_array_equal(s.GetItems(type_code(arrays[name])), arrays[name])
            s.Advance()


@pytest.mark.parametrize("path", SR3_FILES, ids=SR3_IDS)
def test_sr3_arrays_through_base64(path, tmp_path):
    arrays = sr3_arrays(path)
    names = sorted(arrays)
    text = bytearray()
    stretches = []
    for name in names:
        values = arrays[name]
        encoded = encode(values.astype("<" + values.dtype.str[1:]).tobytes())
        text += f"<{name}>\n".encode()
        stretches.append((name, len(text), len(encoded)))
        text += encoded + b"\n"
    out = tmp_path / "arrays.mrs"
    out.write_bytes(bytes(text))
    with open(out, "rb") as f:
        for name, begin, count in stretches:
            values = arrays[name]
            f.seek(begin)
            feeder = kelvara.ArrayFeeder()
            assert mores.B64FeedArray(f, type_code(values), count, feeder)
            np.testing.assert_array_equal(feeder.to_numpy(), values.astype(np.float64),
                                          err_msg=name)
            f.seek(begin)
            feeder = kelvara.ArrayFeeder()
            first, last = values.size // 3, values.size // 3 + values.size // 2
            mores.B64SliceFeedArray(f, type_code(values), count, first, last, feeder)
            np.testing.assert_array_equal(feeder.to_numpy(), values[first:last], err_msg=name)
            if values.dtype == np.float64:
                builder = kelvara.CompleteCornersBuilder(values.size, 1, 1)
                mores.B64FeedCornersArray(f, begin, begin + count, 0, 2, 3, builder)
                keep = [k for k in range(values.size) if k % 3 < 2]
                np.testing.assert_array_equal(builder.to_numpy(), values[keep], err_msg=name)


def test_sr3_corner_coordinates_in_bands(tmp_path):
    # The corner-point coordinates of mini3d (2x3x2 cells) picked layer by layer from a
    # base-64 stretch of all of them.
    path = DATA_DIR / "simpython" / "mini3d.sr3"
    if not path.exists():
        pytest.skip("mini3d.sr3 not present")
    arrays = sr3_arrays(path)
    z = arrays["SpatialProperties/000000/GRID/ZCORNCRCN"]
    lines = with_line_ends(encode(z.astype("<f8").tobytes()), 76)
    out = tmp_path / "z.mrs"
    out.write_bytes(lines)
    first_line = lines.index(b"\n")
    with open(out, "rb") as f:
        builder = kelvara.CompleteCornersBuilder(z.size, 1, 1)
        # The line end stops the data after 76 characters, a whole quad: 57 bytes, of which
        # two groups of three doubles go out and the 9 bytes behind them are dropped.
        assert first_line == 76
        mores.B64FeedCornersArray(f, 0, len(lines), 0, z.size, z.size, builder)
        np.testing.assert_array_equal(builder.to_numpy(), z[:6])

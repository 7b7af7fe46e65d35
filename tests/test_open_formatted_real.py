"""kelvara.open on the real formatted files: every one read whole, compared with its unformatted
twin where there is one, and every REAL and DOUB compared with an independent parse of its text."""

from __future__ import annotations

import re

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR

pytestmark = pytest.mark.skipif(not DATA_DIR.is_dir(),
                                reason=f"real simulator files not found in {DATA_DIR}")

FORMATTED = sorted(p for p in (DATA_DIR / "formatted").glob("*/*")
                   if p.suffix.upper().startswith(".F"))
TWINS = {
    "ECLFILE.FINIT": DATA_DIR / "formatted" / "opm-common" / "ECLFILE.INIT",
    "E100_BO.FINIT": DATA_DIR / "xtgeo-testdata" / "E100_BO.INIT",
    "E100_BO.FEGRID": DATA_DIR / "xtgeo-testdata" / "E100_BO.EGRID",
}
FEGRID_OUTSIDE = DATA_DIR / "xtgeo-testdata" / "E100_BO.FEGRID"
ALL = FORMATTED + ([FEGRID_OUTSIDE] if FEGRID_OUTSIDE.exists() else [])
# Half a unit in the last written digit, relative to the smallest mantissa (0.1), and a float's
# own rounding: how far a text of 8 (REAL) or 14 (DOUB) digits may lie from the binary value.
TEXT_PRECISION = {"REAL": 5e-8 + 6e-8, "DOUB": 5e-14 + 2.3e-16}


def text_values(path, keyword):
    """The values of a numeric section as the texts of the file, by plain string handling from
    the keyword's position (the start of its header line) to the next header."""
    lines = path.read_bytes()[keyword.position:].decode("latin-1").splitlines()
    assert lines[0].strip().startswith(f"'{keyword.name:<8}'")
    tokens = []
    for line in lines[1:]:
        if line.lstrip().startswith("'"):
            break
        tokens += line.split()
    return tokens


def python_float(text):
    text = text.replace("D", "E")
    return float(re.sub(r"(?<=[\d.])([+-])", r"E\1", text) if "E" not in text else text)


def test_every_real_formatted_file_is_here():
    assert {p.name for p in ALL} >= {"ECLFILE.FINIT", "EGRID_NO_ACTNUM.FEGRID", "E100_BO.FINIT"}


@pytest.mark.parametrize("path", ALL, ids=[p.name for p in ALL])
def test_real_formatted_file_reads_whole(path):
    with kelvara.open(path) as f:
        assert len(f) > 0
        for k in f:
            values = k.read()
            assert values.shape == ((0,) if k.type == "MESS" else (k.count,))
            if k.type in ("REAL", "DOUB") and k.count:
                # Every number equals Python's own parse of its text.
                texts = text_values(path, k)
                assert len(texts) == k.count
                expected = np.array([python_float(t) for t in texts])
                if k.type == "REAL":
                    expected = expected.astype(np.float32)
                assert values.tobytes() == expected.tobytes(), k.name


@pytest.mark.parametrize("name", sorted(TWINS))
def test_real_formatted_file_equals_its_twin(name):
    path = next(p for p in ALL if p.name == name)
    twin = TWINS[name]
    if not twin.exists():
        pytest.skip(f"no twin {twin}")
    with kelvara.open(path) as f, kelvara.open(twin) as g:
        assert [(k.name, k.type, k.count) for k in f] == [(k.name, k.type, k.count) for k in g]
        for a, b in zip(f, g):
            x, y = a.read(), b.read()
            assert x.dtype == y.dtype, a.name
            if a.type in TEXT_PRECISION:
                # The text holds 8 or 14 digits: equal to that precision.
                close = np.abs(x.astype(np.float64) - y) <= TEXT_PRECISION[a.type] * np.abs(y)
                assert close.all(), (a.name, x[~close][:3], y[~close][:3])
            else:
                assert (x == y).all(), a.name

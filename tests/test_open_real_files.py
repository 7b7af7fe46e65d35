"""kelvara.open on every real simulator file: the catalogue and every typed read agree with the
independent struct/NumPy decoder of test_real_files, report steps with the SEQNUM items."""

from __future__ import annotations

import re

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR
from test_real_files import FILE_IDS, FILES, decoded

pytestmark = pytest.mark.skipif(not DATA_DIR.is_dir(),
                                reason=f"real simulator files not found in {DATA_DIR}")

# The dtype of each type's items, as a person gets them.
TYPED = {"INTE": "i4", "REAL": "f4", "DOUB": "f8", "LOGI": "u4"}


def expected_items(section) -> np.ndarray:
    """The decoder's items in the types kelvara.open promises."""
    if section.type in TYPED:
        raw = np.frombuffer(section.payload, dtype=section.order + TYPED[section.type])
        if section.type == "LOGI":
            return raw != 0
        return raw.astype(raw.dtype.newbyteorder("="))
    if section.type == "CHAR" or section.type.startswith("C0"):
        width = 8 if section.type == "CHAR" else int(section.type[2:])
        items = [section.payload[i:i + width].strip(b" ").decode("latin-1")
                 for i in range(0, len(section.payload), width)]
        return np.array(items, dtype=f"U{width}")
    assert section.type == "MESS"
    return np.empty(0)


@pytest.mark.parametrize("path", FILES, ids=FILE_IDS)
def test_catalogue_equals_the_decoder(path):
    sections = decoded(path)
    with kelvara.open(path) as f:
        assert len(f) == len(sections)
        assert [(k.position, k.name, k.type, k.count) for k in f] == [
            (s.position, s.name, s.type, s.count) for s in sections]
        seen = {}
        for k in f:
            assert k.occurrence == seen.get(k.name, 0)
            seen[k.name] = k.occurrence + 1
        assert f.names == list(seen)
        assert all(f.count(name) == n for name, n in seen.items())


@pytest.mark.parametrize("path", FILES, ids=FILE_IDS)
def test_every_section_reads_as_the_decoder_decodes(path):
    sections = decoded(path)
    with kelvara.open(path) as f:
        for s, k in zip(sections, f):
            where = f"{s.name} ({s.type}, {s.count} items) at {s.position}"
            got = k.read()
            want = expected_items(s)
            assert got.dtype == want.dtype, where
            assert got.dtype.isnative and got.flags.c_contiguous, where
            assert got.shape == want.shape, where
            if got.dtype.kind == "f":
                assert np.array_equal(got.view(f"u{got.itemsize}"),
                                      want.view(f"u{want.itemsize}")), where
            else:
                assert np.array_equal(got, want), where
            assert f.read(k.name, k.occurrence).tobytes() == got.tobytes(), where


UNIFIED = [p for p in FILES if p.suffix == ".UNRST"]
NON_UNIFIED = [p for p in FILES if re.fullmatch(r"\.X\d{4}", p.suffix)]


@pytest.mark.parametrize("path", UNIFIED, ids=[p.name for p in UNIFIED])
def test_report_steps_of_unified_restarts_are_the_seqnum_items(path):
    sections = decoded(path)
    seqnums = [s for s in sections if s.name == "SEQNUM"]
    assert seqnums
    want = [int(np.frombuffer(s.payload, dtype=s.order + "i4")[0]) for s in seqnums]
    with kelvara.open(path) as f:
        assert f.report_steps == want
        # PRESSURE of each step is the first PRESSURE after that step's SEQNUM.
        starts = [s.position for s in seqnums] + [float("inf")]
        for step, start, end in zip(want, starts, starts[1:]):
            inside = [s for s in sections if s.name == "PRESSURE" and start < s.position < end]
            if not inside:
                with pytest.raises(IndexError):
                    f.read("PRESSURE", step=step)
                continue
            assert f.find("PRESSURE", step=step).position == inside[0].position
            np.testing.assert_array_equal(f.read("PRESSURE", step=step),
                                          expected_items(inside[0]))


@pytest.mark.parametrize("path", NON_UNIFIED, ids=[p.name for p in NON_UNIFIED])
def test_report_step_of_non_unified_restarts_is_in_the_name(path):
    step = int(path.suffix[2:])
    with kelvara.open(path) as f:
        assert f.report_steps == [step]
        first = f[f.names[0]][0]
        assert f.find(first.name, step=step) is first


def test_there_are_restart_files_of_both_kinds():
    assert UNIFIED and NON_UNIFIED

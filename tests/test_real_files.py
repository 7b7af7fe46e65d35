"""ECLIPSE unformatted files written by simulators, read by kelvara and by a decoder of our own.

The decoder below uses nothing but struct and NumPy: it walks the headers and the length-framed
blocks of every section and decodes the items with np.frombuffer. Every file under DATA_DIR that
starts with a section marker (00 00 00 10 or 10 00 00 00) is decoded. The module's cursors size
every text item as 8 bytes, so the files whose text sections all have 8-byte items (CURSOR_FILES)
are also read through them, and the results must agree: the walk of a cursor, the section map,
every numeric section fed to an ArrayFeeder, and the items of text and numeric sections as host
lists. Files with wider C0nn items (summary files, for one) are for kelvara.open, which
test_open_real_files checks on every file.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass
from functools import lru_cache
from pathlib import Path

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR

pytestmark = pytest.mark.skipif(not DATA_DIR.is_dir(),
                                reason=f"real simulator files not found in {DATA_DIR}")

MARKERS = (b"\x00\x00\x00\x10", b"\x10\x00\x00\x00")

# Item size in bytes by the first letter of the type; M has no items. C0nn items are nn bytes.
ITEM_SIZES = {"C": 8, "D": 8, "I": 4, "L": 4, "R": 4, "M": 0}
# NumPy element type of the numeric letters, without byte order.
NUMERIC_CODES = {"I": "i4", "L": "u4", "R": "f4", "D": "f8"}


def _collect_files():
    if not DATA_DIR.is_dir():
        return []
    found = []
    for path in sorted(DATA_DIR.rglob("*")):
        if not path.is_file():
            continue
        with open(path, "rb") as f:
            if f.read(4) in MARKERS:
                found.append(path)
    return found


def item_size(type_: str) -> int:
    """Bytes per item of a section type: nn for C0nn, else by the type's first letter."""
    if type_.startswith("C0") and type_[2:].isdigit():
        return int(type_[2:])
    return ITEM_SIZES[type_[:1]]


FILES = _collect_files()
FILE_IDS = [p.relative_to(DATA_DIR).as_posix() for p in FILES]


# --------------------------------------------------------------------------------------------
# The independent decoder


@dataclass(frozen=True)
class Decoded:
    position: int
    name: str
    type: str
    count: int
    order: str      # "<" or ">"
    payload: bytes  # the block payloads of the section, concatenated

    @property
    def letter(self) -> str:
        return self.type[:1]

    def raw_values(self) -> np.ndarray:
        """The numeric items in their own type (L as unsigned 32-bit)."""
        return np.frombuffer(self.payload, dtype=self.order + NUMERIC_CODES[self.letter])

    def feed_values(self) -> np.ndarray:
        """What a feeder must receive: every item as a double, L words unsigned."""
        return self.raw_values().astype(np.float64)

    @property
    def width(self) -> int:
        """Bytes per item."""
        return item_size(self.type)

    def texts(self) -> list:
        """Text items: trimmed of blanks on both sides, then cut at the first NUL."""
        out = []
        for i in range(0, len(self.payload), self.width):
            item = self.payload[i:i + self.width].strip(b" ")
            out.append(item.split(b"\x00", 1)[0].decode("latin-1"))
        return out


def decode_file(raw: bytes) -> list:
    sections = []
    pos = 0
    while pos + 24 <= len(raw):
        order = "<" if struct.unpack_from("<i", raw, pos)[0] == 16 else ">"
        name = raw[pos + 4:pos + 12].strip(b" ").decode("latin-1")
        (count,) = struct.unpack_from(order + "i", raw, pos + 12)
        type_ = raw[pos + 16:pos + 20].decode("latin-1")
        assert type_[:1] in ITEM_SIZES, f"unknown type {type_!r} at {pos}"
        total = item_size(type_) * count
        block = pos + 24
        chunks = []
        done = 0
        while done < total:
            (length,) = struct.unpack_from(order + "i", raw, block)
            (trailing,) = struct.unpack_from(order + "i", raw, block + 4 + length)
            assert trailing == length, f"block framing broken in {name} at {block}"
            chunks.append(raw[block + 4:block + 4 + length])
            done += length
            block += length + 8
        assert done == total, f"{name} at {pos}: blocks carry {done} bytes, header says {total}"
        sections.append(Decoded(pos, name, type_, count, order, b"".join(chunks)))
        pos = block
    assert pos == len(raw), f"{len(raw) - pos} stray bytes at the end"
    return sections


@lru_cache(maxsize=None)
def decoded(path: Path) -> tuple:
    return tuple(decode_file(path.read_bytes()))


def has_only_8_byte_text(path: Path) -> bool:
    """Whether every text section of the file has 8-byte items, as the cursors read them."""
    return all(s.width == 8 for s in decoded(path) if s.letter == "C")


CURSOR_FILES = [p for p in FILES if has_only_8_byte_text(p)]
CURSOR_FILE_IDS = [p.relative_to(DATA_DIR).as_posix() for p in CURSOR_FILES]


def bits(values) -> np.ndarray:
    """float64 values as their bit patterns, so that NaNs and signed zeros compare exactly."""
    return np.ascontiguousarray(values, dtype=np.float64).view(np.uint64)


def list_sample(sections) -> set:
    """Indices of the numeric sections whose items are also checked as host lists: for each
    letter the first, the last and the largest section."""
    by_letter = {}
    for i, s in enumerate(sections):
        if s.letter in NUMERIC_CODES:
            by_letter.setdefault(s.letter, []).append(i)
    picked = set()
    for indices in by_letter.values():
        picked.update((indices[0], indices[-1], max(indices, key=lambda i: sections[i].count)))
    return picked


# --------------------------------------------------------------------------------------------
# The file set itself


def test_collection_takes_unformatted_files_only():
    # Chosen by their first bytes, whatever their names: grid, init, restart and summary files
    # are in, formatted files and SR3 files (an HDF5 signature) are out.
    assert FILES, "no ECLIPSE unformatted files in the data folder"
    suffixes = {p.suffix for p in FILES}
    assert {".EGRID", ".GRID", ".INIT", ".UNRST", ".SMSPEC", ".UNSMRY", ".ESMRY"} <= suffixes
    assert any(p.suffix[:2] == ".X" and p.suffix[2:].isdigit() for p in FILES)
    assert not any(p.suffix in {".FEGRID", ".FINIT", ".sr3", ".dat", ".md", ".py", ".txt"}
                   for p in FILES)
    skipped = [p for p in DATA_DIR.rglob("*") if p.is_file() and p not in FILES]
    assert any(p.suffix == ".FEGRID" for p in skipped) and any(p.suffix == ".sr3" for p in skipped)
    for p in skipped:
        with open(p, "rb") as f:
            assert f.read(4) not in MARKERS, p


def test_cursor_files_leave_out_only_wide_text_items():
    # The cursors read 8-byte text items; every file left out of their tests has a C0nn type
    # whose items are wider or narrower, and files with such types exist.
    left_out = [p for p in FILES if p not in CURSOR_FILES]
    assert left_out
    for p in left_out:
        assert any(s.letter == "C" and s.width != 8 for s in decoded(p)), p
    assert {".SMSPEC", ".UNSMRY"} & {p.suffix for p in CURSOR_FILES}


def test_decoder_sizes_c0nn_items_at_their_own_width():
    wide = [(p, s) for p in FILES for s in decoded(p) if s.type.startswith("C0") and s.width > 8]
    assert wide, "no C0nn section wider than 8 bytes in the data folder"
    for p, s in wide:
        assert len(s.payload) == s.count * int(s.type[2:]), (p, s.name)
        assert len(s.texts()) == s.count, (p, s.name)


# --------------------------------------------------------------------------------------------
# Per file: walk, map, items


@pytest.mark.parametrize("path", CURSOR_FILES, ids=CURSOR_FILE_IDS)
def test_cursor_walk_visits_every_section(path):
    sections = decoded(path)
    size = path.stat().st_size
    expected = [(s.position, s.name, s.type, s.count) for s in sections]
    seen = []
    with open(path, "rb") as f:
        cursor = kelvara.eclipse.Section(f, 0)
        while True:
            seen.append((cursor.Position(), cursor.Name(), cursor.Type(), cursor.Size()))
            data = cursor.Data()
            assert (data.position, data.name, data.type, data.size) == seen[-1]
            if len(seen) > len(expected) or not cursor.Advance():
                break
        assert seen == expected
        assert cursor.Position() == size
        # The last header stays current after the failed read at the end.
        assert cursor.Name() == sections[-1].name
        # The cursor reads at its own position and leaves the file object alone.
        assert f.tell() == 0


@pytest.mark.parametrize("path", CURSOR_FILES, ids=CURSOR_FILE_IDS)
def test_section_map_holds_last_occurrences(path):
    sections = decoded(path)
    size = path.stat().st_size
    expected = {}
    for s in sections:
        expected[s.name] = (s.position, s.name, s.type, s.count)
    with open(path, "rb") as f:
        f.seek(size // 2)  # the map starts at the beginning whatever the file's position
        catalogue = kelvara.eclipse.MapFileSections(f)
        assert f.tell() == size
    got = {key: (d.position, d.name, d.type, d.size) for key, d in catalogue.items()}
    assert got == expected
    assert list(catalogue) == list(expected)


@pytest.mark.parametrize("path", CURSOR_FILES, ids=CURSOR_FILE_IDS)
def test_items_match_the_decoder(path):
    sections = decoded(path)
    sample = list_sample(sections)
    checked = {"feed": 0, "text": 0, "list": 0}
    with open(path, "rb") as f:
        cursor = kelvara.eclipse.Section(f, 0)
        for index, s in enumerate(sections):
            where = f"{s.name} ({s.type}, {s.count} items) at {s.position}"
            assert cursor.Position() == s.position, where
            if s.letter in NUMERIC_CODES:
                feeder = kelvara.ArrayFeeder()
                cursor.LoadToFeeder(feeder)
                got = feeder.to_numpy()
                assert got.dtype == np.float64
                want = s.feed_values()
                assert got.shape == want.shape, where
                assert np.array_equal(bits(got), bits(want)), where
                checked["feed"] += 1
                if index in sample:
                    items = cursor.LoadItems()
                    assert len(items) == s.count, where
                    if s.letter in "IL":
                        assert all(type(v) is int for v in items), where
                        assert items == s.raw_values().astype(np.int32).tolist(), where
                    else:
                        assert all(type(v) is float for v in items), where
                        assert np.array_equal(bits(items), bits(want)), where
                    checked["list"] += 1
            elif s.letter == "C":
                items = cursor.LoadItems()
                assert items == s.texts(), where
                checked["text"] += 1
            # After a whole load the next header follows at once; after none, the blocks are
            # walked over.
            more = cursor.Advance()
            assert more == (index + 1 < len(sections)), where
    numeric = sum(s.letter in NUMERIC_CODES for s in sections)
    assert checked["feed"] == numeric
    assert checked["text"] == sum(s.letter == "C" for s in sections)
    assert checked["list"] == len(sample)


@pytest.mark.parametrize("path", CURSOR_FILES, ids=CURSOR_FILE_IDS)
def test_sections_load_alike_from_a_fresh_cursor(path):
    # The same values through a cursor made at each section's position, on one open file; the
    # largest sections of the file are enough to cross many buffer refills.
    sections = [s for s in decoded(path) if s.letter in NUMERIC_CODES]
    largest = sorted(sections, key=lambda s: s.count, reverse=True)[:3]
    with open(path, "rb") as f:
        for s in largest:
            cursor = kelvara.eclipse.Section(f, s.position)
            assert (cursor.Name(), cursor.Size()) == (s.name, s.count)
            feeder = kelvara.ArrayFeeder()
            cursor.LoadToFeeder(feeder)
            assert np.array_equal(bits(feeder.to_numpy()), bits(s.feed_values())), s.name


# --------------------------------------------------------------------------------------------
# Twins: an old-style GRID and the EGRID of the same run describe the same cells


TWINS = ["FieldOpt/HORZWELL", "FieldOpt/ECL_5SPOT"]


def _load_named(f, catalogue, name):
    feeder = kelvara.ArrayFeeder()
    kelvara.eclipse.Section(f, catalogue[name].position).LoadToFeeder(feeder)
    return feeder.to_numpy()


@pytest.mark.parametrize("stem", TWINS)
def test_grid_and_egrid_twins_agree(stem):
    grid_path = DATA_DIR / (stem + ".GRID")
    egrid_path = DATA_DIR / (stem + ".EGRID")
    assert grid_path.is_file() and egrid_path.is_file()

    with open(egrid_path, "rb") as f:
        catalogue = kelvara.eclipse.MapFileSections(f)
        nx, ny, nz = kelvara.eclipse.Section(f, catalogue["GRIDHEAD"].position).LoadItems()[1:4]
        coord = _load_named(f, catalogue, "COORD")
        zcorn = _load_named(f, catalogue, "ZCORN")
        actnum = _load_named(f, catalogue, "ACTNUM")

    with open(grid_path, "rb") as f:
        catalogue = kelvara.eclipse.MapFileSections(f)
        dims = kelvara.eclipse.Section(f, catalogue["DIMENS"].position).LoadItems()
        assert dims == [nx, ny, nz]
        cells = nx * ny * nz
        corners = kelvara.ArrayFeeder()
        kelvara.eclipse.ReadGridCornersSections(f, cells, 0, corners)
        active = kelvara.ArrayFeeder()
        kelvara.eclipse.ReadGridActnumSections(f, cells, 0, active)

    # COORD holds a pillar per corner column, (x, y, z) at the top and at the bottom, x fastest.
    # These grids have vertical pillars, so a corner's x and y are those of its pillar's top.
    pillars = coord.reshape(ny + 1, nx + 1, 6)
    assert np.array_equal(pillars[..., 0:2], pillars[..., 3:5])
    xy = pillars[..., 0:2]
    column_xy = np.stack([xy[dj:dj + ny, di:di + nx] for dj in (0, 1) for di in (0, 1)], axis=2)
    xy_by_cell = np.broadcast_to(column_xy[None, :, :, None],
                                 (nz, ny, nx, 2, 4, 2)).reshape(cells, 8, 2)

    # ZCORN holds, per layer, a sheet of top corners and one of bottom corners, each 2nx by 2ny
    # with x fastest. A cell's CORNERS are its 8 corners as (x, y, z), ordered by top/bottom,
    # then the y side, then the x side; cells run with i fastest.
    z_by_cell = (zcorn.reshape(nz, 2, ny, 2, nx, 2)
                 .transpose(0, 2, 4, 1, 3, 5)
                 .reshape(cells, 8))
    cell_corners = corners.to_numpy().reshape(cells, 8, 3)
    assert np.array_equal(cell_corners[:, :, 0:2], xy_by_cell)
    assert np.array_equal(cell_corners[:, :, 2], z_by_cell)
    assert np.array_equal(active.to_numpy(), actnum)

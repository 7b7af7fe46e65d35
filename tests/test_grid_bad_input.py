"""Grid files that are cut short, garbage, or out of order: the scans give a partial catalogue or
a RuntimeError, never a crash, a hang or an allocation the file could not fill."""

import struct

import pytest

from kelvara import eclipse

from gridwriter import BIG, LITTLE, GridFile, section_entries


def scan(f, plain, dual=1):
    return eclipse.MapGridFileSections(f, dual) if plain else eclipse.MapExtGridFileSections(f)


def plain_file():
    g = GridFile().dimens(2, 1, 2).add("GRIDUNIT", "CHAR", ["METRES", ""]).cells(2)
    g.lgr("L").lgrilg(1, 1, 2).cells(1).nnchead(3, 0).nnc([1, 2, 3], [3, 4, 1], block_items=2)
    return g


def ext_file():
    e = GridFile().filehead(2).gridhead(2, 1, 1).geometry(2, 1, 1, block_items=3).endgrid()
    e.lgr("L").gridhead(1, 1, 1, 1).geometry(1, 1, 1).endgrid().endlgr()
    e.nnchead(2, 0).nnc([1, 2], [3, 4]).nnchead(0, 1).nncl([1, 2, 3], blocks=[1, 2])
    return e


@pytest.mark.parametrize("plain", [True, False], ids=["plain", "extended"])
def test_every_cut_gives_a_catalogue(write_ecl, plain):
    g = plain_file() if plain else ext_file()
    data = g.bytes()
    full = scan(open(write_ecl(g, "full"), "rb"), plain)
    for cut in range(len(data)):
        with open(write_ecl(data[:cut], "cut"), "rb") as f:
            d = scan(f, plain)
        # Grid names found are a prefix of the full file's.
        assert d["__grid_names__"] == full["__grid_names__"][:len(d["__grid_names__"])]
        for name, grid in d["__grids__"].items():
            for key, value in grid.items():
                if hasattr(value, "position"):
                    assert value.position < cut


@pytest.mark.parametrize("plain", [True, False], ids=["plain", "extended"])
def test_cut_at_section_boundaries(write_ecl, plain, capfd):
    g = plain_file() if plain else ext_file()
    data = g.bytes()
    for i, position in enumerate(g.positions):
        # Cut inside the header of section i: the catalogue is that of the sections before it.
        with open(write_ecl(data[:position + 10], "a"), "rb") as f:
            inside_header = scan(f, plain)
        with open(write_ecl(data[:position], "b"), "rb") as f:
            before = scan(f, plain)
        assert _same(inside_header, before)
    capfd.readouterr()


def _same(a, b):
    def flat(d):
        out = {}
        for k, v in d.items():
            if isinstance(v, dict):
                out[k] = flat(v)
            elif hasattr(v, "position"):
                out[k] = (v.position, v.name, v.type, v.size)
            elif hasattr(v, "to_numpy"):
                out[k] = v.to_numpy().tolist()
            else:
                out[k] = v
        return out
    return flat(a) == flat(b)


def test_cut_inside_a_skipped_section_keeps_it(write_ecl, capfd):
    e = GridFile().filehead(0).gridhead(2, 1, 1).geometry(2, 1, 1, block_items=3)
    data = e.bytes()
    zcorn = e.positions[3]
    with open(write_ecl(data[:zcorn + 24 + 10], "z"), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    main = d["__grids__"]["Main Grid"]
    assert list(k for k in main if hasattr(main[k], "position")) == ["GRIDHEAD", "COORD", "ZCORN"]
    assert "Error on JumpItems" in capfd.readouterr().err


def test_cut_inside_a_loaded_section_ends_before_it(write_ecl):
    e = GridFile().filehead(1).gridhead(2, 1, 1).endgrid().nnchead(2, 0).nnc([1, 2], [3, 4])
    data = e.bytes()
    # Inside GRIDHEAD's items: no grid was opened.
    with open(write_ecl(data[:e.positions[1] + 24 + 4 + 12], "g"), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    assert d["__grid_names__"] == [] and list(d) == ["__grids__", "__unknowns__",
                                                     "__grid_names__", "FILEHEAD"]
    # Inside NNC2's items: NNC2 is recorded, the lists are not classified.
    with open(write_ecl(data[:e.positions[5] + 24 + 4 + 4], "n"), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    main = d["__grids__"]["Main Grid"]
    assert "NNC2" in main and main["FaultNNCSize"] == 2 and main["DpDkNNCSize"] == 0
    # Inside the FILEHEAD: nothing at all.
    with open(write_ecl(data[:24 + 4 + 8], "f"), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    assert d == {"__grids__": {}, "__unknowns__": {}, "__grid_names__": []}
    # Inside an LGR name.
    g = GridFile().dimens(1, 1, 1).lgr("LOCAL")
    with open(write_ecl(g.bytes()[:-7], "l"), "rb") as f:
        d = eclipse.MapGridFileSections(f, 0)
    assert d["__grid_names__"] == ["Main Grid"]


@pytest.mark.parametrize("plain", [True, False], ids=["plain", "extended"])
def test_garbage_file(write_ecl, plain, capfd):
    import random
    rng = random.Random(7)
    data = bytes(rng.randrange(256) for _ in range(4096))
    with open(write_ecl(data), "rb") as f:
        if plain:
            # The first section is of no grid.
            with pytest.raises(RuntimeError, match="belongs to no grid"):
                scan(f, plain)
        else:
            # The first section is unknown, and its type is no type: the walk ends there.
            d = scan(f, plain)
            assert d["__grid_names__"] == [] and len(d["__unknowns__"]) == 1
    assert "Unknown section type:" in capfd.readouterr().err


@pytest.mark.parametrize("name", ["GRIDHEAD", "NNCHEAD"])
def test_head_claiming_huge_count_in_a_small_file(write_ecl, name, capfd):
    e = GridFile().filehead(1)
    if name == "GRIDHEAD":
        e.add("GRIDHEAD", "INTE", [1, 2, 1, 1, 0] + [0] * 95, count=2**31 - 1)
    else:
        e.gridhead(2, 1, 1).endgrid().add("NNCHEAD", "INTE", [4, 0] + [0] * 8, count=2**31 - 1)
    e.add("TAIL", "INTE", [1, 2, 3])
    with open(write_ecl(e), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
        assert f.tell() == e.size
    # The head's items run on to the end of the file: the scan ends there, before the head
    # acts.
    if name == "GRIDHEAD":
        assert d["__grid_names__"] == []
    else:
        assert d["__grid_names__"] == ["Main Grid"]
        assert d["__grids__"]["Main Grid"]["FaultNNCSize"] == 0
        assert "NNCHEAD" not in d["__grids__"]["Main Grid"]
    capfd.readouterr()


def test_nnc_list_claiming_more_than_the_file_holds(write_ecl, capfd):
    # The list's room is reserved only as far as the file can fill it; the list runs on to the
    # end of the file, and the scan ends there with NNC1 recorded.
    e = GridFile().filehead(1).gridhead(2, 1, 1).endgrid().nnchead(1, 0)
    e.add("NNC1", "INTE", [1, 2], count=2**31 - 1).add("NNC2", "INTE", [3, 4])
    with open(write_ecl(e), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    main = d["__grids__"]["Main Grid"]
    assert "NNC1" in main and "NNC2" not in main
    assert main["FaultNNCSize"] == 1 and main["DpDkNNCSize"] == 0
    capfd.readouterr()


def test_nncl_in_dual_permeability_before_any_nnchead(write_ecl):
    e = GridFile().filehead(2).gridhead(2, 1, 1).nncl([1, 2])
    with open(write_ecl(e, "a"), "rb") as f:
        with pytest.raises(RuntimeError, match=r'^Section "NNCL" at position \d+ comes before any '
                                                r'NNCHEAD: the dimensions of its grid are unknown$'):
            eclipse.MapExtGridFileSections(f)
    e = GridFile().filehead(2).gridhead(2, 1, 1).endgrid().nncl([1, 2])
    with open(write_ecl(e, "b"), "rb") as f:
        with pytest.raises(RuntimeError, match=r'^Section "NNCL" at position \d+ belongs to no '
                                                r'grid: no grid is open at that place$'):
            eclipse.MapExtGridFileSections(f)


def test_nnc2_before_any_nnchead(write_ecl):
    g = GridFile().dimens(2, 1, 2).nnc([1], [3])
    with open(write_ecl(g), "rb") as f:
        with pytest.raises(RuntimeError, match=r'^Section "NNC2" at position \d+ comes before any '
                                                r'NNCHEAD'):
            eclipse.MapGridFileSections(f, 1)
        # The host is left where the scan stopped: behind NNC2's items.
        assert f.tell() == g.size


def test_section_before_the_first_grid_in_the_plain_layout(write_ecl):
    g = GridFile().add("GDORIENT", "CHAR", ["INC"]).dimens(1, 1, 1)
    with open(write_ecl(g), "rb") as f:
        with pytest.raises(RuntimeError, match=r'^Section "GDORIENT" at position 0 belongs to no '
                                                r'grid: no grid is open at that place$'):
            eclipse.MapGridFileSections(f, 0)


def test_gridhead_with_no_grid_name(write_ecl):
    e = GridFile().filehead().gridhead(1, 1, 1).endgrid().gridhead(1, 1, 1, 5)
    with open(write_ecl(e), "rb") as f:
        with pytest.raises(RuntimeError, match=r'^Section "GRIDHEAD" at position \d+ belongs to '
                                                r'no grid'):
            eclipse.MapExtGridFileSections(f)


def test_nnc1_before_filehead_is_an_ordinary_section(write_ecl):
    e = GridFile().gridhead(2, 1, 1).nnc([1], [2]).filehead(1).endgrid()
    with open(write_ecl(e), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    main = d["__grids__"]["Main Grid"]
    assert "NNC1" in main and "NNC2" in main and main["DpDkNNCSize"] == 0


def test_numeric_head_of_text_type(write_ecl):
    g = GridFile().add("DIMENS", "CHAR", ["A", "B", "C"])
    with open(write_ecl(g), "rb") as f:
        with pytest.raises(RuntimeError, match=r"^Invalid numeric section!!!$"):
            eclipse.MapGridFileSections(f, 0)


def test_lgr_with_a_bad_pack_size(write_ecl):
    g = GridFile().dimens(1, 1, 1)
    g.raw(struct.pack(">i8si4si", 16, b"LGR     ", 1, b"CHAR", 16))
    g.raw(struct.pack(">i", 6) + b"ABCDEF" + struct.pack(">i", 6))
    with open(write_ecl(g), "rb") as f:
        with pytest.raises(RuntimeError, match=r"^Wrong pack size reading char section items$"):
            eclipse.MapGridFileSections(f, 0)


def test_lgr_of_a_numeric_type_with_a_bad_pack_size(write_ecl):
    # Read as 8-byte text whatever the type: 3 INTE items are a block of 12 bytes.
    g = GridFile().dimens(1, 1, 1).add("LGR", "INTE", [1, 2, 3])
    with open(write_ecl(g), "rb") as f:
        with pytest.raises(RuntimeError, match=r"^Wrong pack size reading char section items$"):
            eclipse.MapGridFileSections(f, 0)


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_lgr_of_two_integers_names_the_grid_by_their_bytes(write_ecl, order):
    # 2 INTE items are one 8-byte name. The header counts 2 items, so the text read goes on
    # past the block into the next header (its leading marker read as a block of 16 bytes)
    # until 2 texts are taken: an empty section there is swallowed whole, and the scan goes on
    # behind it.
    name = struct.unpack(order + "2i", b"LOCAL1  ")
    g = GridFile().dimens(1, 1, 1).add("LGR", "INTE", list(name), order=order)
    g.add("EATEN", "INTE", [], order=order).lgrilg(1, 1, 1).add("AFTER", "INTE", [5])
    with open(write_ecl(g), "rb") as f:
        d = eclipse.MapGridFileSections(f, 0)
    assert d["__grid_names__"] == ["Main Grid", "LOCAL1"]
    assert list(section_entries(d["__grids__"]["LOCAL1"])) == ["LGRILG", "AFTER"]


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_negative_block_lengths_end_the_scan(write_ecl, order, capfd):
    e = GridFile().filehead(1, order=order).gridhead(2, 1, 1, order=order)
    e.raw(struct.pack(order + "i8si4si", 16, b"NNCHEAD ", 10, b"INTE", 16))
    e.raw(struct.pack(order + "i", -40) + b"\0" * 40 + struct.pack(order + "i", -40))
    with open(write_ecl(e), "rb") as f:
        d = eclipse.MapExtGridFileSections(f)
    assert d["__grid_names__"] == ["Main Grid"]
    capfd.readouterr()


@pytest.mark.parametrize("name", ["NNC1", "NNC2"])
def test_nnc_list_while_no_grid_is_open(write_ecl, name):
    e = GridFile().filehead(1).gridhead(2, 1, 1).endgrid().add(name, "INTE", [1])
    with open(write_ecl(e), "rb") as f:
        with pytest.raises(RuntimeError, match=rf'^Section "{name}" at position \d+ belongs to no '
                                                r'grid: no grid is open at that place$'):
            eclipse.MapExtGridFileSections(f)

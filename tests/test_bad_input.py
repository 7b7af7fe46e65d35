"""Files that are cut short, claim more than they hold, or are plain noise.

Every read loop stops at the end of the file: what arrived is delivered, nothing is invented, and
a walk that falls short of its total fails with its complaint. A list whose size comes from a
count in the file is refused before it is made when the rest of the file could not fill it.
Cases that could loop for ever run in a child process with a time limit.
"""

import json
import random
import struct
import subprocess
import sys
import textwrap

import pytest

import kelvara
from eclwriter import BIG, LITTLE, EclFile, frame, header, pack_items, section

Section = kelvara.eclipse.Section
MapFileSections = kelvara.eclipse.MapFileSections


def values_of(feeder):
    return feeder.to_numpy().tolist()


def claims_text(name, count):
    return 'Section "%s" claims %d items, more than the rest of the file can hold' % (name, count)


# Runs in a child process on one file; prints what the cursor operations gave, as JSON.
PROBE = textwrap.dedent("""
    import json, sys
    import kelvara
    path = sys.argv[1]
    out = {}
    with open(path, "rb") as f:
        s = kelvara.eclipse.Section(f)
        out["name"] = s.Name()
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        out["feeder"] = feeder.to_numpy().tolist()
        try:
            out["items"] = s.LoadItems()
        except RuntimeError as e:
            out["items"] = "RuntimeError: " + str(e)
        s.GoTo(0)
        sys.stderr.flush()
        out["advance"] = s.Advance()
        out["position"] = s.Position()
        out["map"] = sorted(kelvara.eclipse.MapFileSections(f))
    print(json.dumps(out))
""")


def probe(path):
    """(results, stderr) of the probe run on path in a child process."""
    done = subprocess.run([sys.executable, "-c", PROBE, str(path)], capture_output=True,
                          timeout=60)
    err = done.stderr.decode("latin-1")
    assert done.returncode == 0, err
    return json.loads(done.stdout), err


# --- truncated files -----------------------------------------------------------------------------


@pytest.mark.parametrize("cut", [0, 1, 2, 3])
def test_truncated_in_the_middle_of_a_block(write_ecl, capfd, cut):
    e = EclFile().add("HEAD", "INTE", [42]).add("VALUES", "INTE", list(range(1, 11)))
    start = e.positions[1]
    # Header, leading length, five whole items and `cut` bytes of the sixth.
    data = e.bytes()[:start + 24 + 4 + 5 * 4 + cut]
    path = write_ecl(data)
    with open(path, "rb") as f:
        s = Section(f, start)
        assert (s.Name(), s.Size()) == ("VALUES", 10)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [1.0, 2.0, 3.0, 4.0, 5.0]
        assert s.GoTo(start)
        assert not s.Advance()
        assert s.Name() == "VALUES"
        assert capfd.readouterr().err == "Error on JumpItems: 0 X 40\n"
        # Ten items of four bytes cannot come from what is left behind the header.
        with pytest.raises(RuntimeError) as info:
            s.LoadItems()
        assert str(info.value) == claims_text("VALUES", 10)
        sections = MapFileSections(f)
        # The walk stands where it sought the block's trailing length, beyond the end.
        assert f.tell() == start + 24 + 4 + 40
    assert sorted(sections) == ["HEAD", "VALUES"]
    assert sections["VALUES"].position == start
    assert capfd.readouterr().err == "Error on JumpItems: 0 X 40\n"


def test_truncated_in_a_later_block(write_ecl, capfd):
    e = EclFile().add("VALUES", "DOUB", [float(v) for v in range(10)], blocks=[3, 3, 4],
                      order=LITTLE)
    # Two whole blocks, the leading length of the third and one item and a half of it.
    data = e.bytes()[:24 + 2 * (8 + 24) + 4 + 12]
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [0.0, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0]
        assert s.GoTo(0)
        assert not s.Advance()
    assert capfd.readouterr().err == "Error on JumpItems: 48 X 80\n"


def test_truncated_list_keeps_unreached_slots_empty(write_ecl):
    # The leading length and nine items are left: the count of ten still fits in the bytes
    # behind the header, so the list is made, and its last slot is never reached.
    data = section("VALUES", "INTE", list(range(1, 11)))[:24 + 4 + 9 * 4]
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert s.LoadItems() == [1, 2, 3, 4, 5, 6, 7, 8, 9, None]


def test_truncated_text_section(write_ecl):
    data = section("WORDS", "CHAR", ["ONE", "TWO", "THREE", "FOUR"])[:24 + 4 + 8 * 3 + 5]
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert s.LoadItems() == ["ONE", "TWO", "THREE", None]


def test_truncated_header_at_the_end(write_ecl, capfd):
    e = EclFile().add("FIRST", "INTE", [1, 2]).add("SECOND", "REAL", [1.0])
    data = e.bytes()[:e.positions[1] + 10]
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert not s.Advance()
        assert s.Position() == e.positions[1]
        assert (s.Name(), s.Size(), s.Type()) == ("FIRST", 2, "INTE")
        assert s.GoTo(0)
        assert s.LoadItems() == [1, 2]
        sections = MapFileSections(f)
        assert f.tell() == len(data)
    assert sorted(sections) == ["FIRST"]
    assert capfd.readouterr().err == ""


@pytest.mark.parametrize("size", [0, 1, 23])
def test_file_shorter_than_a_header(write_ecl, capfd, size):
    data = section("SHORT", "INTE", [1])[:size]
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert s.Name() == ""
        assert s.Position() == 0
        assert not s.Advance()
        assert not s.GoTo(0)
        sections = MapFileSections(f)
    assert list(sections) == [""]
    assert (sections[""].position, sections[""].name) == (0, "")
    assert capfd.readouterr().err == ""


# --- impossible counts -----------------------------------------------------------------------------


def huge_count_file(type_, name, full_length):
    """100 bytes: a header claiming 2**31-1 items, then as many whole items as fit. With
    full_length the leading length claims the whole count and no trailing length follows; else
    the items sit in one ordinary block, and zero bytes fill up to 100."""
    size = 8 if type_ == "DOUB" else 4
    values = list(range(1, (100 - 24 - (4 if full_length else 8)) // size + 1))
    if type_ == "DOUB":
        values = [float(v) for v in values]
    head = header(name, 2 ** 31 - 1, type_)
    if full_length:
        data = head + struct.pack(">i", 2 ** 31 - size) + pack_items(type_, values)
    else:
        data = head + frame(pack_items(type_, values))
        data += bytes(100 - len(data))
    assert len(data) == 100
    return data, values


@pytest.mark.parametrize("type_,total", [("INTE", -4), ("DOUB", -8), ("REAL", -4)])
@pytest.mark.parametrize("full_length", [False, True])
def test_count_of_2_31_minus_1_in_100_bytes(write_ecl, capfd, type_, total, full_length):
    data, values = huge_count_file(type_, "  HUGE  ", full_length)
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert (s.Name(), s.Size()) == ("HUGE", 2 ** 31 - 1)
        with pytest.raises(RuntimeError) as info:
            s.LoadItems()
        assert str(info.value) == claims_text("HUGE", 2147483647)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        assert values_of(feeder) == [float(v) for v in values]
        assert s.GoTo(0)
        assert not s.Advance()
        assert s.Name() == "HUGE"
        assert capfd.readouterr().err == "Error on JumpItems: 0 X %d\n" % total
        sections = MapFileSections(f)
    assert list(sections) == ["HUGE"]
    assert sections["HUGE"].size == 2 ** 31 - 1
    assert capfd.readouterr().err == "Error on JumpItems: 0 X %d\n" % total


@pytest.mark.parametrize("raw,name", [(b"\xe9T\xe9", "\xe9T\xe9"), (b" \xff\xfe", "\xff\xfe"),
                                      (b"\xc3\xa9", "\xc3\xa9")])
def test_refusal_names_a_latin1_section(write_ecl, raw, name):
    # Names are Latin-1 text everywhere, also inside the refusal's message.
    data = header(raw, 2 ** 31 - 1, "INTE") + bytes(76)
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert s.Name() == name
        with pytest.raises(RuntimeError) as info:
            s.LoadItems()
    assert str(info.value) == claims_text(name, 2147483647)


def test_huge_text_count_is_refused(write_ecl):
    data = header("TEXTS", 2 ** 31 - 1, "CHAR") + frame(pack_items("CHAR", ["A", "B"]))
    with open(write_ecl(data), "rb") as f:
        with pytest.raises(RuntimeError) as info:
            Section(f).LoadItems()
    assert str(info.value) == claims_text("TEXTS", 2147483647)


def test_huge_count_of_unknown_type_is_refused(write_ecl, capfd):
    data = header("ODD", 2 ** 31 - 1, "XXXX") + b"\0" * 76
    with open(write_ecl(data), "rb") as f:
        with pytest.raises(RuntimeError) as info:
            Section(f).LoadItems()
    assert str(info.value) == claims_text("ODD", 2147483647)
    assert capfd.readouterr().err == "Unknown section type:XXXX\n"


def test_count_that_fits_is_not_refused(write_ecl):
    # 4 items of 4 bytes, with exactly 16 bytes left behind the header: framing aside, it fits.
    data = header("FITS", 4, "INTE") + struct.pack(">i", 12) + pack_items("INTE", [1, 2, 3])
    assert len(data) - 24 == 16
    with open(write_ecl(data), "rb") as f:
        assert Section(f).LoadItems() == [1, 2, 3, None]


# --- bad block lengths -----------------------------------------------------------------------------


def test_block_length_past_the_end_of_the_file(write_ecl, capfd):
    e = EclFile().add("GOOD", "INTE", [9])
    data = e.bytes() + header("BAD", 3, "INTE") + frame(pack_items("INTE", [1, 2, 3]),
                                                         length=1000)
    bad = e.size
    with open(write_ecl(data), "rb") as f:
        s = Section(f, bad)
        feeder = kelvara.ArrayFeeder()
        s.LoadToFeeder(feeder)
        # The block claims 250 items; what the file holds of them is read, the trailing length
        # included, and the loop stops at the end of the file.
        assert values_of(feeder) == [1.0, 2.0, 3.0, 12.0]
        assert s.LoadItems() == [1, 2, 3]
        assert s.GoTo(bad)
        assert not s.Advance()
        assert capfd.readouterr().err == "Error on JumpItems: 0 X 12\n"
        sections = MapFileSections(f)
        # The walk stands where it sought the block's trailing length.
        assert f.tell() == bad + 24 + 1000 + 4
    assert sorted(sections) == ["BAD", "GOOD"]
    assert capfd.readouterr().err == "Error on JumpItems: 0 X 12\n"


def test_block_length_past_the_end_with_sections_behind(write_ecl, capfd):
    data = (header("BAD", 2, "INTE") + frame(pack_items("INTE", [1, 2]), length=10 ** 6)
            + section("AFTER", "INTE", [3]))
    with open(write_ecl(data), "rb") as f:
        s = Section(f)
        assert not s.Advance()
        assert s.Name() == "BAD"
        sections = MapFileSections(f)
    assert list(sections) == ["BAD"]
    assert capfd.readouterr().err == "Error on JumpItems: 0 X 8\n" * 2


def test_zero_length_block_at_the_end(write_ecl):
    data = header("ZERO", 3, "INTE") + frame(pack_items("INTE", [5, 6])) + frame(b"")
    results, err = probe(write_ecl(data))
    assert results["advance"] is False
    assert results["position"] == 0
    assert results["feeder"] == [5.0, 6.0]
    assert results["items"] == [5, 6, None]
    assert results["map"] == ["ZERO"]
    assert err == "Error on JumpItems: 8 X 12\n" * 2


def test_only_a_zero_length_block(write_ecl):
    data = header("ZERO", 2, "DOUB", LITTLE) + frame(b"", LITTLE)
    results, err = probe(write_ecl(data))
    assert results["advance"] is False
    assert results["feeder"] == []
    # Two doubles cannot come from the eight bytes behind the header.
    assert results["items"] == "RuntimeError: " + claims_text("ZERO", 2)
    assert err == "Error on JumpItems: 0 X 16\n" * 2


def test_zero_length_block_followed_by_a_section(write_ecl):
    # The walk takes the next header's marker words for a block of 16 bytes and overshoots.
    data = header("ZERO", 1, "INTE") + frame(b"") + section("NEXT", "INTE", [7])
    results, err = probe(write_ecl(data))
    assert results["advance"] is False
    assert results["map"] == ["ZERO"]
    assert err == "Error on JumpItems: 16 X 4\n" * 2


@pytest.mark.parametrize("order", [BIG, LITTLE])
def test_negative_block_length(write_ecl, order):
    data = header("NEG", 2, "INTE", order) + frame(pack_items("INTE", [0, 0], order), order,
                                                   length=-8, trailing=-8)
    results, err = probe(write_ecl(data))
    assert results["advance"] is False
    assert results["feeder"] == []
    assert results["items"] == [None, None]
    assert results["map"] == ["NEG"]
    assert err == "Error on JumpItems: 0 X 8\n" * 2


def test_negative_block_length_before_other_sections(write_ecl):
    data = (section("FIRST", "INTE", [1]) + header("NEG", 1, "INTE")
            + frame(pack_items("INTE", [2]), length=-40) + section("LAST", "INTE", [3]))
    results, err = probe(write_ecl(data))
    assert results["name"] == "FIRST"
    assert results["advance"] is True
    assert results["map"] == ["FIRST", "NEG"]
    assert err == "Error on JumpItems: 0 X 4\n"


# --- noise -----------------------------------------------------------------------------------------


# Runs every cursor operation from every start offset of a noise file, and all walks to their
# end. Any failure other than a RuntimeError, or a walk that does not move forward, fails.
NOISE = textwrap.dedent("""
    import os, sys
    import kelvara
    E = kelvara.eclipse
    path = sys.argv[1]
    size = os.path.getsize(path)
    with open(path, "rb") as f:
        catalogue = E.MapFileSections(f)
        assert len(catalogue) <= size // 24 + 1
        starts = list(range(0, min(size, 160))) + list(range(160, size, 97))
        starts += [v.position for v in catalogue.values()]
        for start in starts:
            s = E.Section(f, start)
            left = max(size - start - 24, 0)
            feeder = kelvara.ArrayFeeder()
            s.LoadToFeeder(feeder)
            assert len(feeder) <= left // 4, (start, len(feeder))
            for call in (lambda: s.LoadToFeeder(feeder, 0, -1, 1),
                         lambda: s.LoadToFeeder(feeder, 0, 1, 1),
                         lambda: s.LoadToFeeder(feeder, 1, 2, 3),
                         lambda: s.LoadItems(0, 1)):
                try:
                    call()
                except RuntimeError:
                    pass
            try:
                items = s.LoadItems()
                assert len(items) == max(s.Size(), 0)
                assert sum(v is not None for v in items) <= left // 4
            except RuntimeError as e:
                assert (str(e).startswith('Section "')
                        or str(e) == "Wrong pack size reading char section items"), str(e)
            s.GoTo(start)
            steps, last = 0, s.Position()
            while s.Advance():
                steps += 1
                assert s.Position() >= last + 24, (start, last, s.Position())
                last = s.Position()
                try:
                    s.LoadItems()
                except RuntimeError:
                    pass
            assert steps <= size // 24
    print("done", len(starts))
""")


def noise_files():
    out = []
    for seed, size in [(1, 100), (2, 1000), (3, 4096), (4, 23), (5, 65536)]:
        out.append(("plain-%d-%d" % (seed, size), random.Random(seed).randbytes(size)))
    # Real headers of each kind with random counts, in front of noise, so the item loops run.
    rng = random.Random(7)
    for type_ in ("INTE", "DOUB", "REAL", "LOGI", "CHAR", "MESS"):
        for order in (BIG, LITTLE):
            count = rng.choice([1, 7, 1000, 2 ** 31 - 1, -5, rng.randrange(-2 ** 31, 2 ** 31)])
            body = rng.randbytes(2000)
            out.append(("header-%s-%s" % (type_, "big" if order == BIG else "little"),
                        header("NOISE", count, type_, order) + body))
    # Blocks with plausible small lengths but noise lengths here and there.
    blocks = bytearray(header("BLOCKS", 300, "INTE", LITTLE))
    for _ in range(40):
        n = rng.randrange(0, 12)
        length = rng.choice([n * 4, n * 4, -rng.randrange(1, 100), 0, rng.randrange(1, 50)])
        blocks += frame(rng.randbytes(n * 4), LITTLE, length=length)
    out.append(("blocks", bytes(blocks)))
    return out


@pytest.mark.parametrize("label,data", noise_files(), ids=[n for n, _ in noise_files()])
def test_noise_never_crashes_or_hangs(write_ecl, label, data):
    path = write_ecl(data)
    done = subprocess.run([sys.executable, "-c", NOISE, str(path)], capture_output=True,
                          timeout=60)
    assert done.returncode == 0, done.stderr.decode("latin-1")[-2000:]
    assert done.stdout.startswith(b"done ")

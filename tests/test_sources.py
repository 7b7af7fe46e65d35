"""kelvara.open and open_grid read any readable, seekable binary source: a path, a file object
with a descriptor, an io.BytesIO (read in place), any other file-like object (read through its
seek and readinto calls), and URLs through fsspec. Text and unseekable objects are refused."""

import io
import os
import threading

import numpy as np
import pytest

import kelvara
from eclwriter import LITTLE, EclFile

fsspec = pytest.importorskip("fsspec")


def sample():
    """Sections of every type, in both byte orders, some split over several blocks."""
    return (EclFile()
            .add("SEQNUM", "INTE", [1])
            .add("INTEHEAD", "INTE", list(range(-50, 2450)), block_items=1000)
            .add("PRESSURE", "REAL", [0.5 * i for i in range(2100)], block_items=1000,
                 order=LITTLE)
            .add("DOUBHEAD", "DOUB", [1e300, -0.0, 2.5, float("inf")])
            .add("LOGIHEAD", "LOGI", [0, 1, 0xFFFFFFFF])
            .add("NAMES", "CHAR", ["A", "BB", "CCCCCCCC"] * 40, block_items=105)
            .add("LONG", "C010", ["0123456789", "x"])
            .add("ENDSOL", "MESS")
            .add("SEQNUM", "INTE", [2])
            .add("PRESSURE", "REAL", [1.5] * 10))


def contents(f):
    return [(k.name, k.type, k.count, k.position) for k in f], [k.read() for k in f]


def same(a, b):
    (ka, va), (kb, vb) = a, b
    assert ka == kb
    for x, y in zip(va, vb):
        assert x.dtype == y.dtype
        if x.dtype.kind == "f":
            assert x.view(np.uint8).tobytes() == y.view(np.uint8).tobytes()
        else:
            assert np.array_equal(x, y)


class ReadOnly(io.RawIOBase):
    """A seekable binary object with no descriptor and no buffer to lend, as remote files are;
    it counts its read calls."""

    def __init__(self, data):
        self._data = bytes(data)
        self._at = 0
        self.reads = 0

    def readable(self):
        return True

    def seekable(self):
        return True

    def seek(self, position, whence=0):
        self._at = [0, self._at, len(self._data)][whence] + position
        return self._at

    def tell(self):
        return self._at

    def readinto(self, out):
        self.reads += 1
        chunk = self._data[self._at:self._at + len(out)]
        out[:len(chunk)] = chunk
        self._at += len(chunk)
        return len(chunk)


class ReadCallsOnly:
    """A duck-typed file object: read, seek and tell only (no readinto, no io base class)."""

    def __init__(self, data):
        self._f = io.BytesIO(bytes(data))
        self.read = self._f.read
        self.seek = self._f.seek
        self.tell = self._f.tell


def test_a_bytesio_reads_as_the_path(write_ecl):
    content = sample()
    expected = contents(kelvara.open(write_ecl(content)))
    buffer = io.BytesIO(content.bytes())
    with kelvara.open(buffer) as f:
        same(contents(f), expected)
        assert f.report_steps == [1, 2]
    # The buffer is lent while the file is open and given back at close: it can grow again.
    buffer.write(b"more")


def test_a_file_like_object_without_a_buffer(write_ecl):
    content = sample()
    expected = contents(kelvara.open(write_ecl(content)))
    for source in (ReadOnly(content.bytes()), ReadCallsOnly(content.bytes())):
        with kelvara.open(source) as f:
            same(contents(f), expected)


def test_a_large_section_is_read_in_few_calls():
    values = np.arange(300_000, dtype=">f8")
    content = EclFile().add("BIG", "DOUB", values.tolist(), block_items=1000)
    source = ReadOnly(content.bytes())
    with kelvara.open(source) as f:
        opening = source.reads
        out = f.read("BIG")
    assert np.array_equal(out, values)
    # 2.4 MB of items and 300 block frames: the catalogue and the read fetch large stretches,
    # not a call a block or an item.
    assert opening <= 10
    assert source.reads - opening <= 30


def test_reads_from_threads_share_one_object():
    values = np.arange(5000, dtype=np.int32)
    content = EclFile()
    for n in range(8):
        content.add(f"A{n}", "INTE", (values + n).tolist(), block_items=1000)
    source = ReadOnly(content.bytes())
    with kelvara.open(source) as f:
        results = {}
        threads = [threading.Thread(target=lambda n=n: results.__setitem__(n, f.read(f"A{n}")))
                   for n in range(8)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    for n in range(8):
        assert np.array_equal(results[n], values + n)


def test_memory_urls_and_fsspec_files(write_ecl):
    content = sample()
    expected = contents(kelvara.open(write_ecl(content)))
    fs = fsspec.filesystem("memory")
    with fs.open("/kelvara-test/CASE.UNRST", "wb") as out:
        out.write(content.bytes())
    try:
        with kelvara.open("memory://kelvara-test/CASE.UNRST") as f:
            assert f.path == "memory://kelvara-test/CASE.UNRST"
            same(contents(f), expected)
        with fs.open("/kelvara-test/CASE.UNRST", "rb") as handle:
            with kelvara.open(handle) as f:
                same(contents(f), expected)
    finally:
        fs.rm("/kelvara-test", recursive=True)


def test_open_grid_reads_a_bytesio(tmp_path):
    paths = kelvara.example(tmp_path)
    with open(paths["EGRID"], "rb") as handle:
        data = handle.read()
    from_path = kelvara.open_grid(paths["EGRID"])
    from_memory = kelvara.open_grid(io.BytesIO(data))
    assert from_memory.dimensions == from_path.dimensions
    assert np.array_equal(from_memory.actnum, from_path.actnum)
    fs = fsspec.filesystem("memory")
    fs.pipe("/kelvara-grid/CASE.EGRID", data)
    try:
        from_url = kelvara.open_grid("memory://kelvara-grid/CASE.EGRID")
    finally:
        fs.rm("/kelvara-grid", recursive=True)
    assert np.array_equal(from_url.actnum, from_path.actnum)


def test_a_cut_bytesio_is_a_format_error():
    data = sample().bytes()
    with pytest.raises(kelvara.FormatError, match="<_io.BytesIO"):
        kelvara.open(io.BytesIO(data[:-3]))


def test_text_and_unseekable_objects_are_refused(write_ecl):
    with pytest.raises(TypeError, match="binary file object"):
        kelvara.open(io.StringIO("text"))

    text_like = ReadCallsOnly(b"")
    text_like.read = lambda n=-1: ""
    with pytest.raises(TypeError, match="binary file object"):
        kelvara.open(text_like)
    read_end, write_end = os.pipe()
    try:
        with os.fdopen(read_end, "rb") as pipe:
            with pytest.raises(ValueError, match="not a regular file"):
                kelvara.open(pipe)
    finally:
        os.close(write_end)

    class Stream(ReadOnly):
        def seekable(self):
            return False

    with pytest.raises(ValueError, match="seekable"):
        kelvara.open(Stream(b""))
    with pytest.raises(TypeError, match="has no seek"):
        kelvara.open(type("OnlyRead", (), {"read": lambda self, n=-1: b""})())
    closed = io.BytesIO(sample().bytes())
    closed.close()
    with pytest.raises(ValueError, match="closed file"):
        kelvara.open(closed)


def test_a_failing_read_reaches_the_caller():
    class Failing(ReadOnly):
        broken = False

        def readinto(self, out):
            if self.broken:
                raise OSError("the network went away")
            return super().readinto(out)

    content = EclFile().add("BIG", "DOUB", [1.0] * 3000, block_items=1000)
    source = Failing(content.bytes())
    with kelvara.open(source) as f:
        source.broken = True
        with pytest.raises(RuntimeError,
                           match="^reading the file object failed: OSError: the network went "
                                 "away$"):
            f.read("BIG")


def test_the_low_level_reader_still_refuses_a_bytesio():
    with pytest.raises(TypeError, match="First argument must be a file object!"):
        kelvara.eclipse.Section(io.BytesIO(sample().bytes()))

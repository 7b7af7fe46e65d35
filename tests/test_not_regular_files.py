"""Every reader given /dev/zero, a FIFO or a directory: a clear error, never a hang. A device
or a pipe has no end (or no writer) and a directory no bytes, so each reader is run in a child
process under a timeout: a reader that waited or walked on for ever would fail here, not stop
the suite."""

import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

TESTS = Path(__file__).resolve().parent
NOT_REGULAR = "File object is not a regular file"
TIMEOUT = 60

pytestmark = pytest.mark.skipif(not os.path.exists("/dev/zero") or not hasattr(os, "mkfifo"),
                                reason="needs /dev/zero and FIFOs")

# The child: opens each kind of non-regular file (as a path and as a file object) and runs each
# reader named on it; prints, a line a reader, [reader, [[label, exception class, message]]].
CHILD = r"""
import io, json, os, sys
import kelvara
from kelvara import ArrayFeeder, eclipse, imex, mores

class DescriptorFile(io.RawIOBase):
    # A file object over any descriptor, a directory's too (io.FileIO refuses to open one).
    def __init__(self, fd):
        self._fd = fd
    def fileno(self):
        return self._fd
    def readable(self):
        return True
    def close(self):
        if not self.closed:
            os.close(self._fd)
        super().close()

def file_objects(fifo, directory):
    yield "/dev/zero", open("/dev/zero", "rb")
    yield "/dev/zero unbuffered", open("/dev/zero", "rb", buffering=0)
    # A FIFO without a writer: opened without waiting for one.
    yield "fifo", open(os.open(fifo, os.O_RDONLY | os.O_NONBLOCK), "rb")
    yield "directory", DescriptorFile(os.open(directory, os.O_RDONLY))

READERS = {
    "eclipse.Section": lambda f: eclipse.Section(f),
    "eclipse.Section at 0": lambda f: eclipse.Section(f, 0),
    "MapFileSections": lambda f: eclipse.MapFileSections(f),
    "MapGridFileSections": lambda f: eclipse.MapGridFileSections(f, 1),
    "MapExtGridFileSections": lambda f: eclipse.MapExtGridFileSections(f),
    "DpDkExtGridActiveCellsCount": lambda f: eclipse.DpDkExtGridActiveCellsCount(f, 0),
    "ReadGridCornersSections": lambda f: eclipse.ReadGridCornersSections(f, 1, 0, ArrayFeeder()),
    "ReadGridActnumSections": lambda f: eclipse.ReadGridActnumSections(f, 1, 0, ArrayFeeder()),
    "ReadGridHostnumSections": lambda f: eclipse.ReadGridHostnumSections(f, 1, 0, ArrayFeeder()),
    "ReadGridDpDkActnumSections":
        lambda f: eclipse.ReadGridDpDkActnumSections(f, 1, 0, True, ArrayFeeder()),
    "ReadExtGridDpDkActnumSections":
        lambda f: eclipse.ReadExtGridDpDkActnumSections(f, 1, 0, False, ArrayFeeder()),
    "imex.Section": lambda f: imex.Section(f, 0, False),
    "imex.Section bare": lambda f: imex.Section(f, 0, True),
    "B64FeedArray": lambda f: mores.B64FeedArray(f, "d", 4, ArrayFeeder()),
    "B64SliceFeedArray": lambda f: mores.B64SliceFeedArray(f, "i", 4, 0, 2, ArrayFeeder()),
    "B64FeedConnectionArray": lambda f: mores.B64FeedConnectionArray(f, "d", 4, ArrayFeeder()),
    "B64FeedCornersArray":
        lambda f: mores.B64FeedCornersArray(f, 0, 1 << 20, 0, 2, 1, ArrayFeeder()),
    "kelvara.open": kelvara.open,
    "kelvara.open_grid": kelvara.open_grid,
}

fifo, directory = sys.argv[1:3]
for reader in sys.argv[3:]:
    sources = list(file_objects(fifo, directory))
    if reader.startswith("kelvara."):
        sources += [("path /dev/zero", "/dev/zero"), ("path fifo", fifo),
                    ("path directory", directory)]
    out = []
    for label, source in sources:
        try:
            result = READERS[reader](source)
            out.append([label, None, repr(result)])
        except Exception as error:
            out.append([label, type(error).__name__, str(error)])
        if not isinstance(source, str):
            source.close()
    # One line a reader as soon as it is done: after a timeout, the last line names the
    # reader before the one that hung.
    print(json.dumps([reader, out]), flush=True)
"""

STATIC = ["eclipse.Section", "eclipse.Section at 0", "MapFileSections", "MapGridFileSections",
          "MapExtGridFileSections", "DpDkExtGridActiveCellsCount", "ReadGridCornersSections",
          "ReadGridActnumSections", "ReadGridHostnumSections", "ReadGridDpDkActnumSections",
          "ReadExtGridDpDkActnumSections", "imex.Section", "imex.Section bare", "B64FeedArray",
          "B64SliceFeedArray", "B64FeedConnectionArray", "B64FeedCornersArray"]


@pytest.fixture
def places(tmp_path):
    fifo = tmp_path / "pipe"
    os.mkfifo(fifo)
    directory = tmp_path / "folder"
    directory.mkdir()
    return fifo, directory


def run_readers(readers, fifo, directory):
    """{reader: {label: (exception class, message)}}."""
    try:
        done = subprocess.run([sys.executable, "-c", CHILD, str(fifo), str(directory), *readers],
                              capture_output=True, text=True, timeout=TIMEOUT, cwd=TESTS)
    except subprocess.TimeoutExpired as expired:
        out = expired.stdout or b""
        out = out.decode() if isinstance(out, bytes) else out
        finished = [json.loads(line)[0] for line in out.splitlines()]
        pytest.fail(f"a reader hung after {finished}: {readers[len(finished)]}")
    assert done.returncode == 0, done.stderr
    results = {}
    for line in done.stdout.splitlines():
        reader, out = json.loads(line)
        results[reader] = {label: (kind, message) for label, kind, message in out}
    assert list(results) == list(readers)
    return results


def test_static_operations_refuse_files_that_are_not_regular(places):
    for reader, results in run_readers(STATIC, *places).items():
        assert set(results) == {"/dev/zero", "/dev/zero unbuffered", "fifo", "directory"}
        for label, (kind, message) in results.items():
            assert (kind, message) == ("RuntimeError", NOT_REGULAR), (reader, label)


@pytest.mark.parametrize("reader", ["kelvara.open", "kelvara.open_grid"])
def test_layer_for_people_refuses_files_that_are_not_regular(places, reader):
    fifo, directory = places
    results = run_readers([reader], fifo, directory)[reader]
    expected = {
        "/dev/zero": ("ValueError", "/dev/zero: not a regular file"),
        "/dev/zero unbuffered": ("ValueError", "/dev/zero: not a regular file"),
        "path /dev/zero": ("ValueError", "/dev/zero: not a regular file"),
        "path fifo": ("ValueError", f"{fifo}: not a regular file"),
        "path directory": ("IsADirectoryError", f"[Errno 21] Is a directory: '{directory}'"),
    }
    for label, want in expected.items():
        assert results[label] == want, label
    # The FIFO's file object has no name but its descriptor, and the directory's none at all.
    kind, message = results["fifo"]
    assert kind == "ValueError" and message.endswith(": not a regular file")
    kind, message = results["directory"]
    assert kind == "IsADirectoryError" and "Is a directory" in message


def kelvara_command():
    beside = Path(sys.executable).with_name("kelvara")
    return [str(beside)] if beside.exists() else [sys.executable, "-m", "kelvara"]


@pytest.mark.parametrize("command", [["ls"], ["show", "{}", "PORO"], ["grid"]])
@pytest.mark.parametrize("kind", ["/dev/zero", "fifo", "directory"])
def test_command_refuses_files_that_are_not_regular(places, command, kind):
    fifo, directory = places
    path = {"/dev/zero": "/dev/zero", "fifo": str(fifo), "directory": str(directory)}[kind]
    args = [part.format(path) for part in command]
    if "{}" not in command:
        args.append(path)
    done = subprocess.run(kelvara_command() + args, capture_output=True, text=True,
                          timeout=TIMEOUT)
    assert done.returncode != 0 and done.stdout == ""
    reason = "Is a directory" if kind == "directory" else "not a regular file"
    assert done.stderr == f"kelvara: error: {path}: {reason}\n"

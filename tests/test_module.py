"""The module boundary: scope classes, what counts as a file object, and the names the host sees."""

import io
import os
import subprocess
import sys
import textwrap

import pytest

import kelvara
from eclwriter import EclFile

NOT_A_FILE = "First argument must be a file object!"


@pytest.fixture
def ecl_path(write_ecl):
    """A small two-section file: an INTE section of three items, then a DOUB section of two."""
    return write_ecl(EclFile().add("KEYWORDS", "INTE", [7, 8, 9]).add("PRESSURE", "DOUB", [1.5, 2.5]))


# --- file objects: subclasses of the host's file types are files -------------------------------


class MyFileIO(io.FileIO):
    """A host subclass of the raw file type."""


class MyBufferedReader(io.BufferedReader):
    """A host subclass of the buffered file type."""


def test_subclass_of_fileio_is_accepted(ecl_path):
    with MyFileIO(ecl_path, "r") as f:
        s = kelvara.eclipse.Section(f)
        assert s.Name() == "KEYWORDS"
        assert s.Size() == 3


def test_subclass_of_buffered_reader_is_accepted(ecl_path):
    with MyBufferedReader(io.FileIO(ecl_path, "r")) as f:
        s = kelvara.eclipse.Section(f)
        assert s.Name() == "KEYWORDS"
        assert s.Advance()
        assert s.Name() == "PRESSURE"


def test_subclass_is_accepted_by_map_file_sections(ecl_path):
    with MyBufferedReader(io.FileIO(ecl_path, "r")) as f:
        sections = kelvara.eclipse.MapFileSections(f)
    assert sorted(sections) == ["KEYWORDS", "PRESSURE"]


# --- file objects: anything else is refused with one text ----------------------------------------


class LooksLikeAFile:
    """Has every method a reader could want, backed by a real open file, but is no file object."""

    def __init__(self, path):
        self._f = open(path, "rb")

    def read(self, n=-1):
        return self._f.read(n)

    def seek(self, pos, whence=0):
        return self._f.seek(pos, whence)

    def tell(self):
        return self._f.tell()

    def fileno(self):
        return self._f.fileno()

    def readable(self):
        return True

    def writable(self):
        return False

    def flush(self):
        pass

    def close(self):
        self._f.close()


def _not_files(path):
    """(label, object) pairs of things that must be refused as file objects."""
    duck = LooksLikeAFile(path)
    closed = open(path, "rb")
    closed.close()
    closed_raw = open(path, "rb", buffering=0)
    closed_raw.close()
    return duck, [
        ("duck", duck),
        ("bytesio", io.BytesIO(path.read_bytes())),
        ("str path", str(path)),
        ("path object", path),
        ("none", None),
        ("closed buffered", closed),
        ("closed raw", closed_raw),
        ("int descriptor", 0),
    ]


@pytest.mark.parametrize("label", ["duck", "bytesio", "str path", "path object", "none",
                                   "closed buffered", "closed raw", "int descriptor"])
def test_non_file_is_refused_by_section(ecl_path, label):
    duck, candidates = _not_files(ecl_path)
    try:
        obj = dict(candidates)[label]
        with pytest.raises(TypeError) as info:
            kelvara.eclipse.Section(obj)
        assert str(info.value) == NOT_A_FILE
        with pytest.raises(TypeError) as info:
            kelvara.eclipse.Section(obj, 0)
        assert str(info.value) == NOT_A_FILE
    finally:
        duck.close()


def _file_entries():
    """Every host entry that takes a file first, called with a given object."""
    eclipse = kelvara.eclipse
    return {
        "Section": lambda obj: eclipse.Section(obj),
        "Section at": lambda obj: eclipse.Section(obj, 0),
        "MapFileSections": lambda obj: eclipse.MapFileSections(obj),
        "ReadGridCornersSections":
            lambda obj: eclipse.ReadGridCornersSections(obj, 1, 0, kelvara.ArrayFeeder()),
        "ReadGridActnumSections":
            lambda obj: eclipse.ReadGridActnumSections(obj, 1, 0, kelvara.ArrayFeeder()),
        "ReadGridHostnumSections":
            lambda obj: eclipse.ReadGridHostnumSections(obj, 1, 0, kelvara.ArrayFeeder()),
    }


@pytest.mark.parametrize("entry", list(_file_entries()))
@pytest.mark.parametrize("label", ["duck", "bytesio", "str path", "none", "closed buffered"])
def test_every_file_entry_refuses_non_files_with_the_same_text(ecl_path, entry, label):
    duck, candidates = _not_files(ecl_path)
    try:
        with pytest.raises(TypeError) as info:
            _file_entries()[entry](dict(candidates)[label])
        assert str(info.value) == NOT_A_FILE
    finally:
        duck.close()


def test_refused_duck_leaves_its_position_alone(ecl_path):
    # The refusal happens before anything reads the object.
    duck = LooksLikeAFile(ecl_path)
    try:
        duck.seek(5)
        with pytest.raises(TypeError):
            kelvara.eclipse.MapFileSections(duck)
        assert duck.tell() == 5
    finally:
        duck.close()


# --- scope classes ------------------------------------------------------------------------------


@pytest.mark.parametrize("scope", ["eclipse", "imex", "mores"])
def test_scope_classes_cannot_be_instantiated(scope):
    cls = getattr(kelvara._kelvaraio, scope)
    assert isinstance(cls, type)
    with pytest.raises(TypeError):
        cls()


def test_scopes_are_the_same_objects_in_package_and_module():
    assert kelvara.eclipse is kelvara._kelvaraio.eclipse
    assert kelvara.imex is kelvara._kelvaraio.imex
    assert kelvara.mores is kelvara._kelvaraio.mores


def test_eclipse_section_is_a_class_named_section():
    cls = kelvara._kelvaraio.eclipse.Section
    assert isinstance(cls, type)
    assert cls.__name__ == "Section"


def test_section_has_no_default_constructor():
    with pytest.raises(TypeError):
        kelvara.eclipse.Section()


def test_eclipse_scope_names():
    eclipse = kelvara._kelvaraio.eclipse
    for name in ("SectionData", "Section"):
        assert isinstance(getattr(eclipse, name), type), name
    for name in ("MapFileSections", "ReadGridCornersSections", "ReadGridActnumSections",
                 "ReadGridHostnumSections"):
        assert callable(getattr(eclipse, name)), name
        # Static methods: reachable from the scope class itself, with no instance.
        assert isinstance(eclipse.__dict__[name], staticmethod), name


# --- SectionData ---------------------------------------------------------------------------------


def test_section_data_cannot_be_constructed():
    with pytest.raises(TypeError):
        kelvara.eclipse.SectionData()


def test_section_data_comes_from_data(ecl_path):
    with open(ecl_path, "rb") as f:
        data = kelvara.eclipse.Section(f).Data()
    assert isinstance(data, kelvara.eclipse.SectionData)
    assert (data.position, data.name, data.type, data.size) == (0, "KEYWORDS", "INTE", 3)


def test_section_data_comes_from_map_file_sections(ecl_path):
    with open(ecl_path, "rb") as f:
        sections = kelvara.eclipse.MapFileSections(f)
    assert all(isinstance(v, kelvara.eclipse.SectionData) for v in sections.values())
    pressure = sections["PRESSURE"]
    # 24-byte header, then one block of 3 INTE items: 4 + 12 + 4 bytes.
    assert (pressure.position, pressure.name, pressure.type, pressure.size) == (
        24 + 20, "PRESSURE", "DOUB", 2)


@pytest.mark.parametrize("attr", ["position", "name", "type", "size"])
def test_section_data_attributes_are_read_only(ecl_path, attr):
    with open(ecl_path, "rb") as f:
        data = kelvara.eclipse.Section(f).Data()
    with pytest.raises(AttributeError):
        setattr(data, attr, getattr(data, attr))


# --- the two extension modules -------------------------------------------------------------------


def test_feeders_come_from_ostrel():
    from kelvara._ostrel import (Array1DBuilderDouble, Array1DBuilderFloat, Array1DBuilderInt,
                                 Array3DBuilderDouble, Array3DBuilderFloat, Array3DBuilderUChar,
                                 ArrayFeeder, CharVector, CompleteCornersBuilder)
    assert kelvara.ArrayFeeder is ArrayFeeder
    assert kelvara.CharVector is CharVector
    assert kelvara.CompleteCornersBuilder is CompleteCornersBuilder
    for cls in (Array1DBuilderDouble, Array1DBuilderFloat, Array1DBuilderInt):
        assert issubclass(cls, ArrayFeeder)
    for cls in (Array3DBuilderDouble, Array3DBuilderFloat, Array3DBuilderUChar,
                CompleteCornersBuilder):
        assert not issubclass(cls, ArrayFeeder)
    assert ArrayFeeder.__module__.endswith("_ostrel")


def test_import_loads_ostrel_before_kelvaraio():
    # A fresh interpreter records, by the interpreter's import events, the order in which the
    # package's modules start to load.
    code = textwrap.dedent("""
        import sys
        order = []
        def record(event, args):
            if event == "import" and str(args[0]).startswith("kelvara"):
                order.append(str(args[0]))
        sys.addaudithook(record)
        import kelvara
        print(",".join(order))
    """)
    out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60,
                         cwd=os.path.dirname(__file__))
    assert out.returncode == 0, out.stderr
    order = out.stdout.strip().split(",")
    assert "kelvara._ostrel" in order and "kelvara._kelvaraio" in order
    assert order.index("kelvara._ostrel") < order.index("kelvara._kelvaraio")


def test_readers_accept_feeders_of_the_other_module(ecl_path):
    # The feeder made by _ostrel is understood by _kelvaraio: the types are registered once.
    feeder = kelvara._ostrel.ArrayFeeder()
    with open(ecl_path, "rb") as f:
        kelvara._kelvaraio.eclipse.Section(f).LoadToFeeder(feeder)
    assert feeder.to_numpy().tolist() == [7.0, 8.0, 9.0]

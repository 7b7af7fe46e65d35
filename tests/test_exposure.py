"""What the host sees of _kelvaraio: the order in which the module body exposes its scopes, classes,
operations and static methods, and how refused overloads and conversions fail."""

import re

import pytest

import kelvara
from kelvara import ArrayFeeder, eclipse

from eclwriter import EclFile

# The eclipse scope's classes, then its static methods, in their order of exposure. Names that
# later readers add are in the list already; those present must keep this order.
ECLIPSE_ORDER = ["SectionData", "Section", "SectionInfo", "SectionInfoMap", "SPECInfo",
                 "MapFileSections", "MapExtGridFileSections", "MapGridFileSections",
                 "ReadGridCornersSections", "ReadGridActnumSections", "ReadGridHostnumSections",
                 "DpDkExtGridActiveCellsCount", "ReadGridDpDkActnumSections",
                 "ReadExtGridDpDkActnumSections", "ConvertHandles"]
ECLIPSE_PRESENT = ["SectionData", "Section", "MapFileSections", "ReadGridCornersSections",
                   "ReadGridActnumSections", "ReadGridHostnumSections"]
SECTION_ORDER = ["__init__", "Name", "name", "Data", "Size", "SizeInBytes", "Type", "GoTo",
                 "Advance", "Position", "LoadItems", "LoadToFeeder"]


def exposed(namespace, known):
    """The names of known found in namespace's own dict, in the dict's (insertion) order."""
    return [name for name in namespace.__dict__ if name in known]


def test_module_body_creates_eclipse_imex_mores_in_this_order():
    assert exposed(kelvara._kelvaraio, {"eclipse", "imex", "mores"}) == ["eclipse", "imex",
                                                                          "mores"]


def test_eclipse_scope_exposes_classes_then_static_methods_in_order():
    names = exposed(eclipse, set(ECLIPSE_ORDER))
    assert names == [n for n in ECLIPSE_ORDER if n in names]
    assert [n for n in ECLIPSE_PRESENT if n not in names] == []
    for name in names[:2]:
        assert isinstance(eclipse.__dict__[name], type), name
    for name in names[2:]:
        value = eclipse.__dict__[name]
        assert isinstance(value, staticmethod) or isinstance(value, type), name


def test_section_operations_are_exposed_in_order():
    assert exposed(eclipse.Section, set(SECTION_ORDER)) == SECTION_ORDER


def overloads(function):
    """The argument lists of a pybind11 function's overloads, from its docstring, in order."""
    doc = function.__doc__
    found = re.findall(r"^\d+\. \w+\((.*?)\)", doc, re.M)
    if not found:
        found = re.findall(r"^\w+\((.*?)\)", doc, re.M)[:1]
    return [[arg.split(":")[0].strip() for arg in args.split(",")] for args in found]


def test_section_overloads_are_defined_in_order():
    assert overloads(eclipse.Section.__init__) == [["self", "file"], ["self", "file", "position"]]
    assert overloads(eclipse.Section.LoadItems) == [["self"], ["self", "start", "count"]]
    assert overloads(eclipse.Section.LoadToFeeder) == [
        ["self", "feeder"], ["self", "feeder", "start", "count", "skip"],
        ["self", "mask", "value", "feeder"]]


# --- refused overloads and conversions ----------------------------------------------------------


@pytest.fixture
def section(open_file):
    return eclipse.Section(open_file(EclFile().add("DATA", "INTE", list(range(10)))))


@pytest.mark.parametrize("call", [
    lambda s: s.LoadItems(1),
    lambda s: s.LoadItems(0, 1, 2),
    lambda s: s.LoadItems("0", 1),
    lambda s: s.LoadItems(0, 2 ** 31),
    lambda s: s.LoadItems(-2 ** 31 - 1, 1),
    lambda s: s.GoTo("x"),
    lambda s: s.GoTo(2 ** 63),
    lambda s: s.GoTo(1.5),
    lambda s: s.Advance(1),
    lambda s: s.LoadToFeeder(),
    lambda s: s.LoadToFeeder(ArrayFeeder(), 0, 2 ** 31, 1),
    lambda s: s.LoadToFeeder(ArrayFeeder(), 0, 1, 2 ** 31),
    lambda s: s.LoadToFeeder(kelvara.CharVector([1] * 10), 2 ** 31, ArrayFeeder()),
], ids=["LoadItems(1)", "LoadItems(0,1,2)", "LoadItems(str)", "count 2**31", "start -2**31-1",
        "GoTo(str)", "GoTo(2**63)", "GoTo(float)", "Advance(1)", "LoadToFeeder()",
        "feed count 2**31", "skip 2**31", "mask value 2**31"])
def test_refused_overloads_raise_type_error(section, call):
    with pytest.raises(TypeError) as info:
        call(section)
    assert "incompatible function arguments" in str(info.value)
    # The cursor is unharmed.
    assert section.LoadItems(0, 2) == [0, 1]


def test_three_arguments_are_the_mask_form(section):
    # Any three arguments select the mask form, whose mask is an object tested by the call.
    with pytest.raises(TypeError) as info:
        section.LoadToFeeder(ArrayFeeder(), 0, 1)
    assert str(info.value) == "Section mask must be std::vector<char>!"


@pytest.mark.parametrize("position", ["0", 2 ** 63, -2 ** 63 - 1, 0.0])
def test_refused_section_constructor_arguments_raise_type_error(open_file, position):
    f = open_file(EclFile().add("DATA", "INTE", [1]))
    with pytest.raises(TypeError) as info:
        eclipse.Section(f, position)
    assert "incompatible constructor arguments" in str(info.value)


@pytest.mark.parametrize("call", [
    lambda f: eclipse.ReadGridCornersSections(f, 2 ** 31, 0, ArrayFeeder()),
    lambda f: eclipse.ReadGridActnumSections(f, 1, 2 ** 63, ArrayFeeder()),
    lambda f: eclipse.ReadGridHostnumSections(f, "1", 0, ArrayFeeder()),
    lambda f: eclipse.MapFileSections(f, 0),
], ids=["count", "position", "str", "extra"])
def test_refused_static_arguments_raise_type_error(open_file, call):
    f = open_file(EclFile().add("COORDS", "INTE", [1, 1, 1, 1, 1, 1, 1]))
    with pytest.raises(TypeError) as info:
        call(f)
    assert "incompatible function arguments" in str(info.value)
    assert f.tell() == 0


@pytest.mark.parametrize("feeder", [None, object(), 3, kelvara.Array3DBuilderDouble(1, 1, 1),
                                    kelvara.CompleteCornersBuilder(1, 1, 1)],
                         ids=["None", "object", "int", "3D builder", "corners"])
def test_feeder_that_is_no_array_feeder_fails_the_reference_conversion(section, feeder):
    # A feeder is taken by reference; the failed conversion is pybind11's cast error, in its own
    # words and naming both types.
    with pytest.raises(RuntimeError) as info:
        section.LoadToFeeder(feeder)
    text = str(info.value)
    assert text.startswith("Unable to cast Python instance of type ")
    assert type(feeder).__name__ in text
    assert "ArrayFeeder" in text
    with pytest.raises(RuntimeError) as again:
        section.LoadToFeeder(feeder, 0, 1, 1)
    assert str(again.value) == text


@pytest.mark.parametrize("builder", [kelvara.Array1DBuilderFloat, kelvara.Array1DBuilderDouble,
                                     kelvara.Array1DBuilderInt])
def test_one_dimensional_builders_pass_as_array_feeders(section, builder):
    target = builder()
    section.LoadToFeeder(target, 2, 3, 1)
    assert target.to_numpy().tolist() == [2, 3, 4]

"""The feeder tries of the bindings (bindings/FeederTries.h): recognition by reference and by
shared handle, in the order of the tries, with the texts of their failures.

A small probe module is compiled from tests/probe against the installed package's core library;
it runs the helpers on feeders made by kelvara._ostrel.
"""

import pytest

import kelvara

from probebuild import build_probe


@pytest.fixture(scope="module")
def probe():
    return build_probe("_feeder_tries_probe", "FeederTriesProbe.cpp", "feeder-tries-probe")


def test_failure_texts(probe):
    assert probe.texts() == ("Unknown Array Feeder", "Unknown Connection Array Feeder",
                             "Unknown Corners Array Feeder", "Invalid Feeder type!")


@pytest.mark.parametrize("make,expected", [
    (lambda: kelvara.Array3DBuilderFloat(1, 1, 1), "3D float"),
    (lambda: kelvara.Array3DBuilderDouble(1, 1, 1), "3D double"),
    (lambda: kelvara.Array3DBuilderUChar(1, 1, 1), None),
    (lambda: kelvara.Array1DBuilderFloat(), None),
    (lambda: kelvara.ArrayFeeder(), None),
    (lambda: None, None),
    (lambda: object(), None),
])
def test_by_reference_float_then_double(probe, make, expected):
    feeder = make()
    assert probe.first_3d_float_then_double(feeder) == expected
    if expected is not None:
        # The value reached the host's own object.
        assert feeder.to_numpy().ravel().tolist() == [42.0]


def test_by_reference_double_first_then_byte(probe):
    assert probe.first_3d_double_then_uchar(kelvara.Array3DBuilderDouble(1, 1, 1)) == "3D double"
    byte = kelvara.Array3DBuilderUChar(1, 1, 1)
    assert probe.first_3d_double_then_uchar(byte) == "3D unsigned char"
    assert byte.to_numpy().ravel().tolist() == [42]
    assert probe.first_3d_double_then_uchar(kelvara.Array3DBuilderFloat(1, 1, 1)) is None


def test_by_reference_takes_the_first_kind_in_order(probe):
    # A 1D builder is an ArrayFeeder too: the kind listed first wins.
    assert probe.first_1d_then_array_feeder(kelvara.Array1DBuilderDouble()) == "1D double"
    assert probe.first_1d_then_array_feeder(kelvara.Array1DBuilderInt()) == "1D int"
    plain = kelvara.ArrayFeeder()
    assert probe.first_1d_then_array_feeder(plain) == "ArrayFeeder"
    assert plain.to_numpy().tolist() == [42.0]


def test_by_shared_handle(probe):
    builder = kelvara.Array1DBuilderFloat()
    name, use_count = probe.first_shared_1d(builder)
    # The handle shares ownership with the host object for the call.
    assert name == "1D float" and use_count >= 2
    assert builder.to_numpy().tolist() == [42.0]
    assert probe.first_shared_1d(kelvara.ArrayFeeder()) is None
    assert probe.first_shared_1d(None) is None
    assert probe.first_shared_array_feeder(kelvara.Array1DBuilderInt())[0] == "ArrayFeeder"
    assert probe.first_shared_array_feeder(kelvara.Array3DBuilderDouble(1, 1, 1)) is None
    corners = kelvara.CompleteCornersBuilder(1, 1, 1)
    assert probe.first_shared_corners(corners)[0] == "corners"
    assert probe.first_shared_corners(kelvara.ArrayFeeder()) is None


def test_require_by_reference(probe):
    feeder = kelvara.ArrayFeeder()
    probe.require_array_feeder(feeder)
    assert feeder.to_numpy().tolist() == [7.0]
    for wrong in (None, 3, kelvara.Array3DBuilderDouble(1, 1, 1)):
        with pytest.raises(RuntimeError) as info:
            probe.require_array_feeder(wrong)
        assert str(info.value) == (
            "Unable to cast Python instance of type %s to C++ type "
            "'ostrel::builder::ArrayFeeder'" % type(wrong))

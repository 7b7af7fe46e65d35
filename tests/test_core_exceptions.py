"""The core's exception classes as Python sees them."""

import numpy as np
import pytest

import kelvara


@pytest.mark.parametrize("name", ["PreconditionError", "PostconditionError", "AvailabilityError"])
def test_classes_are_runtime_errors_exported_by_kelvara(name):
    error_class = getattr(kelvara, name)
    assert error_class is getattr(kelvara._ostrel, name)
    assert issubclass(error_class, RuntimeError)
    assert error_class.__module__ == "kelvara"
    assert error_class.__doc__
    assert name in kelvara.__all__



def test_precondition_error_attributes_and_text():
    with pytest.raises(RuntimeError) as info:
        kelvara.Array(np.ones(2, np.uint8)).negate()
    error = info.value
    assert type(error) is kelvara.PreconditionError
    assert error.message == ("Error: trying to negate an unsigned array or an array that is not "
                             "scalar.")
    assert error.expression == "is_not_unsigned<T_>::value"
    assert error.file == "core/array/Array1D.inl"
    assert isinstance(error.line, int) and error.line > 0
    text = str(error)
    assert text.startswith(error.message)
    assert text.index(error.expression) < text.index(error.file) < text.rindex(str(error.line))


# The translators of the reader module _kelvaraio, as its module body registers them, run in a
# probe module: no reader call throws a core exception today, and the translation must be right
# the day one does.

@pytest.fixture(scope="module")
def readers():
    from probebuild import build_probe
    return build_probe("_reader_translators_probe", "ReaderTranslatorsProbe.cpp",
                       "reader-translators-probe")


def test_reader_module_raises_precondition_error(readers):
    with pytest.raises(kelvara.PreconditionError) as info:
        readers.precondition(-3)
    error = info.value
    assert error.message == "Error: the value -3 is not positive."
    assert error.expression == "p_value > 0"
    assert error.file == "core/array/Array1D.inl"
    assert isinstance(error.line, int) and error.line > 0
    assert str(error).startswith(error.message)
    readers.precondition(1)  # a check that holds throws nothing


def test_reader_module_raises_postcondition_error(readers):
    with pytest.raises(kelvara.PostconditionError) as info:
        readers.postcondition()
    assert (info.value.message, info.value.expression, info.value.file) == (
        "Error: not done.", "done", "core/array/ArrayImpl.inl")


def test_reader_module_raises_availability_error(readers):
    with pytest.raises(kelvara.AvailabilityError) as info:
        readers.availability()
    error = info.value
    assert error.message == "Probe::operation is not available for Probe"
    assert error.expression is None
    assert (error.file, error.line) == ("core/IOstrelObject.cpp", 7)


def test_reader_module_keeps_its_runtime_and_pybind11_errors(readers):
    with pytest.raises(RuntimeError) as info:
        readers.runtime()
    assert type(info.value) is RuntimeError
    assert str(info.value) == 'Section "\xc9T\xc9" is broken'  # decoded as Latin-1
    with pytest.raises(ValueError, match="a pybind11 error keeps its class"):
        readers.value()

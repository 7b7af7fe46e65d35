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

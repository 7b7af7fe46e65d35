"""kelvara.open_grid over a fuzzed grid file, in each dual mode by the input's length. Bad files
must end in kelvara.FormatError (or the RuntimeError of a reader); anything else is a finding."""

import atheris

with atheris.instrument_imports(include=["kelvara"]):
    import kelvara

from _eclipse import as_file, fuzz

EXPECTED = (kelvara.FormatError, RuntimeError)


def open_any(path: str, dual: int):
    try:
        return kelvara.open_grid(path, dual=dual)
    except EXPECTED:
        raise
    except ValueError as error:
        # A dual mode that an EGRID's own FILEHEAD contradicts is the caller's mistake.
        if "dual mode" not in str(error):
            raise
    return kelvara.open_grid(path)


def one_input(data: bytes) -> None:
    try:
        grid = open_any(as_file(data), len(data) % 3)
    except EXPECTED:
        return
    repr(grid)
    grid.active_cells


if __name__ == "__main__":
    fuzz(one_input)

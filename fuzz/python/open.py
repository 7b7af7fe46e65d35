"""kelvara.open over a fuzzed file: every keyword is read, by index and by name. Bad files must
end in kelvara.FormatError (or the RuntimeError of a reader); anything else is a finding."""

import atheris

with atheris.instrument_imports(include=["kelvara"]):
    import kelvara

from _eclipse import as_file, fuzz

EXPECTED = (kelvara.FormatError, RuntimeError)


def one_input(data: bytes) -> None:
    try:
        with kelvara.open(as_file(data)) as f:
            for keyword in f.keywords[:64]:
                keyword.read()
            for name in f.names[:16]:
                f.read(name)
            f.report_steps  # the walk of the SEQNUM sections
    except EXPECTED:
        pass


if __name__ == "__main__":
    fuzz(one_input)

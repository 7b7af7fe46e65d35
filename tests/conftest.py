import os
from pathlib import Path

import pytest

from eclwriter import EclFile

# Real simulator files; the tests that read them skip only when the folder is absent.
DATA_DIR = Path(os.environ.get("KELVARA_TEST_DATA",
                               Path(__file__).resolve().parents[2] / "shared" / "data"))


@pytest.fixture
def write_ecl(tmp_path):
    """write_ecl(ecl_file_or_bytes, name="f.bin") -> path of the written file."""
    def write(content, name="f.bin"):
        path = tmp_path / name
        data = content.bytes() if isinstance(content, EclFile) else bytes(content)
        path.write_bytes(data)
        return path
    return write


@pytest.fixture
def open_file(write_ecl):
    """open_file(ecl_file_or_bytes, name="f.bin") -> a binary file object, closed at teardown."""
    files = []

    def open_(content, name="f.bin"):
        f = open(write_ecl(content, name), "rb")
        files.append(f)
        return f

    yield open_
    for f in files:
        f.close()

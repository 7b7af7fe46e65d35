import os
from pathlib import Path

import pytest

from eclwriter import EclFile

# Real simulator files: $KELVARA_TEST_DATA, else the shared folder beside the checkout, else the
# workplace's shared folder. The tests that read them skip only when no such folder exists.
def _data_dir():
    if "KELVARA_TEST_DATA" in os.environ:
        return Path(os.environ["KELVARA_TEST_DATA"])
    candidates = [Path(__file__).resolve().parents[2] / "shared" / "data",
                  Path("/work/shared/data")]
    return next((c for c in candidates if c.is_dir()), candidates[0])


DATA_DIR = _data_dir()


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

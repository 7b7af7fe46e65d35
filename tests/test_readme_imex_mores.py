"""The README's IMEX and MoReS examples run as written against files made by the test writers."""

import re
from pathlib import Path

import numpy as np

from b64writer import encode_items
from imexwriter import BIG, pack_items, record, marked

README = Path(__file__).resolve().parents[1] / "README.md"


def example(path_text):
    blocks = re.findall(r"```python\n(.*?)```", README.read_text(), re.S)
    return next(b for b in blocks if path_text in b)


def test_readme_imex_example(tmp_path, capsys):
    path = tmp_path / "CASE.irf"
    path.write_bytes(record(pack_items("d", [1.5, 2.5], BIG), BIG)
                     + marked(pack_items("i", [7, 8, 9, 10], "=")))
    code = example('"CASE.irf"').replace('"CASE.irf"', repr(str(path)))
    scope = {}
    exec(compile(code, "README.md", "exec"), scope)
    assert capsys.readouterr().out.splitlines() == ["0 16 2", "32 16 2"]
    np.testing.assert_array_equal(scope["values"], [1.5, 2.5])
    np.testing.assert_array_equal(scope["feeder"].to_numpy(), [1.5, 2.5])


def test_readme_mores_example(tmp_path, capsys):
    path = tmp_path / "CASE.mrs"
    text = encode_items("d", [0.25, 0.5, 0.75, 1.0])
    path.write_bytes(b"<array name=XY>\n " + text + b"\n")
    code = example('"CASE.mrs"').replace('"CASE.mrs"', repr(str(path)))
    scope = {}
    exec(compile(code, "README.md", "exec"), scope)
    np.testing.assert_array_equal(scope["feeder"].to_numpy(), [0.25, 0.5, 0.75])
    assert capsys.readouterr().out.strip() == str(np.array([0.25, 0.5, 0.75]))

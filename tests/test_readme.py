"""The README's example runs as written against a file made by the test writer."""

import re
from pathlib import Path

import numpy as np

from eclwriter import BIG, LITTLE, EclFile

README = Path(__file__).resolve().parents[1] / "README.md"


def test_readme_example_catalogues_and_feeds(tmp_path, capsys):
    block = re.search(r"```python\n(.*?)```", README.read_text(), re.S).group(1)
    poro = [0.25, 0.5, 0.125, 0.0625, 1.0]
    path = tmp_path / "CASE.INIT"
    (EclFile()
     .add("INTEHEAD", "INTE", list(range(12)), order=BIG)
     .add("PORO", "REAL", poro, order=LITTLE, blocks=[2, 3])
     .write(path))
    np.set_printoptions(precision=8)
    exec(compile(block.replace('"CASE.INIT"', repr(str(path))), "README.md", "exec"), {})
    out = capsys.readouterr().out.splitlines()
    assert out[0].split() == ["INTEHEAD", "INTE", "12", "items", "at", "byte", "0"]
    assert out[1].split() == ["PORO", "REAL", "5", "items", "at", "byte", str(24 + 8 + 48)]
    assert out[2] == str(np.array(poro))

"""The README's grid catalogue example runs as written against an EGRID made by the writer."""

import re
from pathlib import Path

from gridwriter import GridFile

README = Path(__file__).resolve().parents[1] / "README.md"


def test_readme_grid_example(tmp_path, capsys):
    blocks = re.findall(r"```python\n(.*?)```", README.read_text(), re.S)
    block = next(b for b in blocks if "MapExtGridFileSections" in b)
    path = tmp_path / "CASE.EGRID"
    e = GridFile().filehead().gridhead(1, 1, 1).add("ACTNUM", "INTE", [1]).endgrid()
    e.lgr("LGR1").gridhead(1, 1, 1, 1).endgrid().endlgr().nnchead(4, 0)
    e.write(path)
    exec(compile(block.replace('"CASE.EGRID"', repr(str(path))), "README.md", "exec"), {})
    out = capsys.readouterr().out.splitlines()
    assert out[0] == "Main Grid NNC: 4"
    assert out[1].split() == ["GRIDHEAD", "INTE", "100", "items", "at", "byte",
                              str(e.positions[1])]
    assert out[2].split() == ["ACTNUM", "INTE", "1", "items", "at", "byte", str(e.positions[2])]
    assert out[3].split()[0] == "NNCHEAD"
    assert out[4] == "LGR1 NNC: 0"
    assert out[5].split()[0] == "GRIDHEAD"
    assert len(out) == 6

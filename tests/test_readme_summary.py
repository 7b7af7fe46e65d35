"""The README's example of open_summary runs as written on a case of the summary writer."""

import re
from pathlib import Path

from summarywriter import Case, Column

README = Path(__file__).resolve().parents[1] / "README.md"


def test_readme_example_of_open_summary(tmp_path, capsys):
    blocks = re.findall(r"```python\n(.*?)```", README.read_text(), re.S)
    block = next(b for b in blocks if "open_summary" in b)
    columns = [Column("TIME", unit="DAYS"), Column("FOPR", unit="SM3/DAY"),
               Column("WOPR", name="OP_1", unit="SM3/DAY")]
    Case("CASE", columns, [[1.0, 2.0], [3.0]]).write(tmp_path)
    exec(compile(block.replace('"CASE"', repr(str(tmp_path / "CASE"))), "README.md", "exec"), {})
    out = capsys.readouterr().out.splitlines()
    assert out[0] == "2000-01-01 00:00:00 3 ['WOPR:OP_1']"
    assert out[1] == "2000-01-04T00:00:00.000 SM3/DAY 2001.25 (2, 2) True"

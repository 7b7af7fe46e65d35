"""The README's examples run as written against files made by the test writers."""

import re
from pathlib import Path

import numpy as np

from eclwriter import BIG, LITTLE, EclFile
from gridwriter import GridFile

README = Path(__file__).resolve().parents[1] / "README.md"


def python_blocks():
    return re.findall(r"```python\n(.*?)```", README.read_text(), re.S)


def block_with(text):
    """The README's Python block that holds text (blocks move as sections are added)."""
    found = [b for b in python_blocks() if text in b]
    assert len(found) == 1, text
    return found[0]


def run_block(block, paths):
    for name, path in paths.items():
        block = block.replace(f'"{name}"', repr(str(path)))
    exec(compile(block, "README.md", "exec"), {})


def test_readme_example_of_the_layer_for_people(tmp_path, capsys):
    unrst = tmp_path / "CASE.UNRST"
    restart = EclFile()
    for step in range(3):
        restart.add("SEQNUM", "INTE", [step]).add("INTEHEAD", "INTE", [0] * 5)
        restart.add("PRESSURE", "REAL", [100.0 + step] * 6, order=LITTLE if step else BIG)
    restart.write(unrst)
    egrid = tmp_path / "CASE.EGRID"
    g = GridFile().filehead().gridhead(3, 2, 1).geometry(3, 2, 1, actnum=[1, 1, 0, 1, 1, 1])
    g.endgrid().lgr("LGR1").add("LGRPARNT", "CHAR", ["Main"]).gridhead(2, 2, 2, 1)
    g.geometry(2, 2, 2).endgrid().endlgr().write(egrid)
    run_block(python_blocks()[0], {"CASE.UNRST": unrst, "CASE.EGRID": egrid})
    out = capsys.readouterr().out.splitlines()
    assert out[0] == "Keyword('SEQNUM', type='INTE', count=1, position=0, occurrence=0)"
    assert out[3].startswith("Keyword('SEQNUM', type='INTE', count=1, position=")
    assert out[4] == "['SEQNUM', 'INTEHEAD', 'PRESSURE']"
    assert out[5] == "[0, 1, 2]"
    assert out[6] == "float32 (6,) 3"
    assert out[7:] == ["(3, 2, 1) 5", "(3, 2, 1)", "LGR1 (2, 2, 2) Main"]


def test_readme_example_of_the_low_level_api(tmp_path, capsys):
    poro = [0.25, 0.5, 0.125, 0.0625, 1.0]
    path = tmp_path / "CASE.INIT"
    (EclFile()
     .add("INTEHEAD", "INTE", list(range(12)), order=BIG)
     .add("PORO", "REAL", poro, order=LITTLE, blocks=[2, 3])
     .write(path))
    np.set_printoptions(precision=8)
    run_block(block_with("kelvara.eclipse.MapFileSections"), {"CASE.INIT": path})
    out = capsys.readouterr().out.splitlines()
    assert out[0].split() == ["INTEHEAD", "INTE", "12", "items", "at", "byte", "0"]
    assert out[1].split() == ["PORO", "REAL", "5", "items", "at", "byte", str(24 + 8 + 48)]
    assert out[2] == str(np.array(poro))


def test_readme_example_of_writing(tmp_path):
    paths = {"EDITED.INIT": tmp_path / "EDITED.INIT", "CASE.FINIT": tmp_path / "CASE.FINIT"}
    run_block(block_with("kelvara.write("), paths)
    import kelvara

    with kelvara.open(paths["EDITED.INIT"]) as f:
        assert [(k.name, k.type) for k in f] == [("PORO", "REAL"), ("PERMX", "REAL"),
                                                 ("ENDSOL", "MESS")]
        assert np.array_equal(f.read("PERMX"), np.float32([200, 400, 2000]))
    with kelvara.open(paths["CASE.FINIT"]) as f:
        assert f.names == ["PORO", "PERMX", "ENDSOL"]

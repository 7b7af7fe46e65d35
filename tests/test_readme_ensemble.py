"""The README's ensemble example runs as written on a folder of synthetic realizations."""

import re
from pathlib import Path

import numpy as np
import pytest

import kelvara

pytest.importorskip("dask.dataframe")
pytest.importorskip("matplotlib")

README = Path(__file__).resolve().parents[1] / "README.md"


def ensemble_block():
    blocks = re.findall(r"```python\n(.*?)```", README.read_text(), re.S)
    return next(b for b in blocks if "open_ensemble" in b)


def test_readme_fan_of_four_vectors(tmp_path, monkeypatch, capsys):
    import matplotlib
    matplotlib.use("Agg")
    from summarywriter import Case, Column

    columns = [Column("TIME", unit="DAYS")] + [Column(k) for k in ("FOPR", "FWCT", "FGOR", "FPR")]
    for r in range(10):
        Case("CASE", columns, [[1.0, 2.0], [3.0], [4.0]],
             values=lambda t, c, r=r: float(r * 10 + t + c)).write(
                 tmp_path / "runs" / f"realization-{r}")
    (tmp_path / "runs" / "realization-10").mkdir()
    (tmp_path / "runs" / "realization-10" / "CASE.SMSPEC").write_bytes(b"broken")
    monkeypatch.chdir(tmp_path)
    exec(compile(ensemble_block(), "README.md", "exec"), {})
    out = capsys.readouterr().out.strip()
    assert out.startswith(str(list(range(11))) + " {10: 'FormatError: ")
    png = tmp_path / "fopr-fan.png"
    assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    # the fan itself: FOPR of realization r at report step s is r * 10 + t + 1, t its last step
    ens = kelvara.open_ensemble(str(tmp_path / "runs" / "realization-*" / "CASE"))
    frame = ens.summary(["FOPR"]).compute(scheduler="sync")
    fan = frame.groupby("DATE")["FOPR"].quantile([0.9, 0.5, 0.1]).unstack()
    expected = np.quantile([[r * 10 + t + 1 for t in (1, 2, 3)] for r in range(10)],
                           [0.9, 0.5, 0.1], axis=0).T
    np.testing.assert_allclose(fan.to_numpy(), expected)

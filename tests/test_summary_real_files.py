"""open_summary on the real summary files, cross-checked against a small reader of our own here:
struct over the sections, NumPy over the PARAMS records, keys made by a second hand."""

import datetime
import struct
from pathlib import Path

import numpy as np
import pytest

import kelvara
from conftest import DATA_DIR

SUMMARY_DIR = DATA_DIR / "summary"
pytestmark = pytest.mark.skipif(not SUMMARY_DIR.is_dir(),
                                reason=f"real summary files not found in {SUMMARY_DIR}")

CASES = sorted(SUMMARY_DIR.glob("*/*.SMSPEC")) if SUMMARY_DIR.is_dir() else []


def sections(path):
    """(name, items) of every section, walking every block frame (big-endian files)."""
    data = Path(path).read_bytes()
    at, out = 0, []
    while at < len(data):
        _, name, count, type_, _ = struct.unpack(">i8si4si", data[at:at + 24])
        at += 24
        type_ = type_.decode()
        size = {"INTE": 4, "REAL": 4, "DOUB": 8, "LOGI": 4, "CHAR": 8, "MESS": 0}.get(
            type_, int(type_[2:]) if type_.startswith("C0") else 0)
        payload = bytearray()
        while len(payload) < count * size:
            (n,) = struct.unpack(">i", data[at:at + 4])
            payload += data[at + 4:at + 4 + n]
            at += n + 8
        if type_ == "INTE":
            items = np.frombuffer(bytes(payload), ">i4")
        elif type_ == "REAL":
            items = np.frombuffer(bytes(payload), ">f4")
        elif type_.startswith("C"):
            items = [payload[i:i + size].decode("latin-1").strip()
                     for i in range(0, len(payload), size)]
        else:
            items = bytes(payload)
        out.append((name.decode().strip(), items))
    return out


SOLVER = {"NEWTON", "NLINEARS", "ELAPSED", "STEPTYPE", "MAXDPR", "SUMTHIN", "SEPARATE", "TIME",
          "YEARS", "NLINSMIN", "NLINSMAX", "MSUMLINS", "MSUMNEWT", "TCPU", "TCPUTS", "TCPUDAY",
          "TIMESTEP", "TELAPLIN", "WNEWTON", "MLINEARS", "NAIMFRAC", "DAY", "MONTH", "YEAR",
          "STEPS", "MAXDSO", "MAXDSG", "MAXDSW", "MAXDPW", "MEMORYTS", "MCPU", "NTS"}


def second_keys(spec):
    """key -> column, by the usual convention, written out again here on purpose."""
    d = dict(spec)
    nx, ny, nz = (int(v) for v in d["DIMENS"][1:4])
    kws, nums = d["KEYWORDS"], d["NUMS"]
    names = d.get("WGNAMES", d.get("NAMES"))
    lgrs = d.get("LGRS")
    out = {}
    for c, kw in enumerate(kws):
        name, num = names[c], int(nums[c])
        ijk = None
        if 1 <= num <= nx * ny * nz:
            ijk = f"{(num - 1) % nx + 1},{(num - 1) // nx % ny + 1},{(num - 1) // (nx * ny) + 1}"
        key = kw
        if kw in SOLVER or kw[0] not in "WGNRBCSAL":
            key = kw
        elif kw[0] in "WGN":
            key = None if name in ("", ":+:+:+:+") else f"{kw}:{name}"
        elif kw[0] == "R" and len(kw) > 2 and kw[2] == "F":
            r2 = num // 32768 - 10
            key = None if num < 0 or r2 < 0 else f"{kw}:{num % 32768}-{r2}"
        elif kw[0] in "RA":
            key = None if num < 0 else f"{kw}:{num}"
        elif kw[0] == "B":
            key = None if ijk is None else f"{kw}:{ijk}"
        elif kw[0] == "C":
            key = None if ijk is None or name in ("", ":+:+:+:+") else f"{kw}:{name}:{ijk}"
        elif kw[0] == "S":
            key = None if num < 0 or name in ("", ":+:+:+:+") else f"{kw}:{name}:{num}"
        elif kw[:2] in ("LB", "LW", "LC"):
            loc = ",".join(str(int(d[a][c])) for a in ("NUMLX", "NUMLY", "NUMLZ"))
            key = {"LB": f"{kw}:{lgrs[c]}:{loc}", "LW": f"{kw}:{lgrs[c]}:{name}",
                   "LC": f"{kw}:{lgrs[c]}:{name}:{loc}"}[kw[:2]]
            if kw[:2] != "LB" and name in ("", ":+:+:+:+"):
                key = None
        if key is not None:
            out[key] = c
    return out


@pytest.mark.parametrize("smspec", CASES, ids=lambda p: f"{p.parent.name}/{p.stem}")
def test_keys_values_and_dates_agree_with_a_second_reader(smspec):
    spec = sections(smspec)
    keys = second_keys(spec)
    d = dict(spec)
    unsmry = smspec.with_suffix(".UNSMRY")
    rows = [items for name, items in sections(unsmry) if name == "PARAMS"]
    params = np.array(rows, dtype=np.float32)
    reports, k = [], 0
    for name, _ in sections(unsmry):
        k += name == "SEQHDR"
        if name == "PARAMS":
            reports.append(k)
    start = [int(v) for v in d["STARTDAT"]] + [0, 0, 0]
    begin = (datetime.datetime(start[2], start[1], start[0], start[3], start[4])
             + datetime.timedelta(microseconds=start[5]))
    time = params[:, keys["TIME"]].astype(np.float64)
    dates = np.datetime64(begin, "ms") + np.round(time * 86_400_000).astype("timedelta64[ms]")

    with kelvara.open_summary(smspec, include_restart=False) as s:
        assert s.keys() == list(keys)
        assert s.start == begin
        np.testing.assert_array_equal(s.values(), params[:, list(keys.values())])
        some = list(keys)[::max(1, len(keys) // 4)]
        np.testing.assert_array_equal(s.values(some), params[:, [keys[k] for k in some]])
        np.testing.assert_array_equal(s.dates, dates)
        np.testing.assert_array_equal(s.report_steps, reports)
        assert s.complete


def test_a_real_restart_chain():
    folder = SUMMARY_DIR / "opm-common"
    base = dict(sections(folder / "9_EDITNNC.SMSPEC"))
    restart = dict(sections(folder / "RST1.SMSPEC"))
    step = int(restart["DIMENS"][5])
    assert step == 12

    def rows(name):
        out, reports, k = [], [], 0
        for kw, items in sections(folder / f"{name}.UNSMRY"):
            k += kw == "SEQHDR"
            if kw == "PARAMS":
                out.append(items)
                reports.append(k)
        return np.array(out, dtype=np.float32), np.array(reports)

    base_rows, base_reports = rows("9_EDITNNC")
    rst_rows, _ = rows("RST1")
    base_keys = second_keys(sections(folder / "9_EDITNNC.SMSPEC"))
    rst_keys = second_keys(sections(folder / "RST1.SMSPEC"))
    kept = base_reports <= step
    with kelvara.open_summary(folder / "RST1") as s:
        assert [Path(c).name for c in s.cases] == ["9_EDITNNC.SMSPEC", "RST1.SMSPEC"]
        # The two cases order their columns differently; each is read by its own header.
        assert list(base_keys)[:8] != list(rst_keys)[:8]
        for key in rst_keys:
            want = np.concatenate([base_rows[kept][:, base_keys[key]]
                                   if key in base_keys else np.full(kept.sum(), np.nan),
                                   rst_rows[:, rst_keys[key]]])
            np.testing.assert_array_equal(s[key], want, err_msg=key)
        assert s.times[int(kept.sum()) - 1] == 365.0

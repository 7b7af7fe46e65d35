#!/usr/bin/env python3
"""Times Grid.volumes() against the same formula in vectorised NumPy, and Grid.to_vtk().

One synthetic EGRID is written under bench/ (or --dir), read once so that it sits in the page
cache, timed, and removed at the end (unless --keep): 200 x 200 x 50 cells of 50 x 50 x 2 m,
pillars leaning a little, layers sloping along x and y, two faults (a throw of 15 m between
i = 100 and 101 and of 8 m between j = 120 and 121), COORD and ZCORN as REAL in blocks of 1000
items, ACTNUM all active (about 72 MB).

  kelvara  open_grid(path).volumes(): reads COORD and ZCORN with the typed reads and computes
           the exact trilinear volume of every cell natively (2-point Gauss-Legendre a
           coordinate of the Jacobian's determinant).
  numpy    the same reads (kelvara.open(path).read("COORD"/"ZCORN")), then the corners of every
           cell by array slicing and the same 8-point rule in vectorised NumPy, ten layers at a
           time.
  vtk      open_grid(path).to_vtk(out, cell_data={"PORO": ...}, active_only=False): all
           2 000 000 cells with one float64 array of cell data.

Each run is a fresh process. Peak memory is the growth of the peak resident size (VmHWM, reset
just before the call) over the resident size just before it.

Targets: volumes() takes at most 1.5 x the NumPy time; its peak memory is at most the result
(16 MB) + 2 x ZCORN as read (2 x 64 MB); to_vtk takes at most 10 s. The two volume
computations must agree (rtol 1e-9). The exit status is 1 when a target or a check fails.

Usage: python bench/bench_geometry.py [--repeat 3] [--dir bench] [--keep]
"""

from __future__ import annotations

import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests"))
from bench_grid_catalogue import header, write_section  # noqa: E402
from bench_load_to_feeder import warm_page_cache  # noqa: E402
from benchfiles import Verdicts  # noqa: E402

NI, NJ, NK = 200, 200, 50
DX, DZ = 50.0, 2.0
TIME_RATIO_TARGET = 1.5
VTK_SECONDS_TARGET = 10.0
MIB = 1 << 20


def layer_depths(x, y):
    """The top of the layers at (x, y): sloping along both axes."""
    return 1000.0 + 0.04 * x + 0.02 * y


def write_egrid(path: Path) -> None:
    xs = np.arange(NI + 1) * DX
    ys = np.arange(NJ + 1) * DX
    px, py = np.meshgrid(xs, ys)  # (nj + 1, ni + 1), i fastest when flattened
    coord = np.empty((NJ + 1, NI + 1, 6))
    coord[..., 0], coord[..., 1], coord[..., 2] = px, py, 900.0
    coord[..., 3], coord[..., 4], coord[..., 5] = px + 0.01 * (px - 5000), py, 1400.0
    # Depths at the corners of each cell side: (2 ni, 2 nj) positions, i fastest.
    cx = (np.arange(2 * NI) + 1) // 2 * DX
    cy = (np.arange(2 * NJ) + 1) // 2 * DX
    top = layer_depths(cx[:, None], cy[None, :])
    top = top + np.where(np.arange(2 * NI) >= 2 * 100, 15.0, 0.0)[:, None]
    top = top + np.where(np.arange(2 * NJ) >= 2 * 120, 8.0, 0.0)[None, :]
    top = top.astype(np.float64)
    with open(path, "wb") as f:
        filehead = np.zeros(100, dtype=np.int32)
        filehead[[0, 1]] = [3, 2007]
        write_section(f, "FILEHEAD", "INTE", filehead)
        gridhead = np.zeros(100, dtype=np.int32)
        gridhead[:5] = [1, NI, NJ, NK, 0]
        write_section(f, "GRIDHEAD", "INTE", gridhead)
        write_section(f, "COORD", "REAL", coord.ravel())
        # ZCORN (2 ni x 2 nj x 2 nk, i fastest): layer k's top at 2k, its bottom at 2k + 1.
        zcorn = np.empty((2 * NK, 2 * NJ, 2 * NI), dtype=np.float32)
        for k in range(NK):
            zcorn[2 * k] = (top + k * DZ).T
            zcorn[2 * k + 1] = (top + (k + 1) * DZ).T
        write_section(f, "ZCORN", "REAL", zcorn.ravel())
        write_section(f, "ACTNUM", "INTE", np.ones(NI * NJ * NK, dtype=np.int32))
        f.write(header("ENDGRID", 0, "INTE"))


def gauss_volumes(c: np.ndarray) -> np.ndarray:
    """The native formula in NumPy over (..., 8, 3) corners: the edges along each axis, their
    bilinear blends at the eight 2-point Gauss-Legendre points, the determinant there."""
    def edges(pairs):
        return [c[..., b, :] - c[..., a, :] for a, b in pairs]

    du = edges([(0, 1), (2, 3), (4, 5), (6, 7)])
    dv = edges([(0, 2), (1, 3), (4, 6), (5, 7)])
    dw = edges([(0, 4), (1, 5), (2, 6), (3, 7)])

    def along(e, s, t):
        return (1 - s) * (1 - t) * e[0] + s * (1 - t) * e[1] + (1 - s) * t * e[2] + s * t * e[3]

    points = (0.5 - 0.5 / np.sqrt(3), 0.5 + 0.5 / np.sqrt(3))
    total = np.zeros(c.shape[:-2])
    for u in points:
        for v in points:
            for w in points:
                a, b, d = along(du, v, w), along(dv, u, w), along(dw, u, v)
                total += np.einsum("...i,...i->...", a, np.cross(b, d))
    return np.abs(total / 8)


def numpy_volumes(coord: np.ndarray, zcorn: np.ndarray) -> np.ndarray:
    from geometryref import pillar_corners

    out = np.empty((NI, NJ, NK))
    z = zcorn.reshape(2 * NK, 2 * NJ * 2 * NI)
    slab = 10
    for k0 in range(0, NK, slab):
        part = z[2 * k0:2 * (k0 + slab)].ravel()
        corners = pillar_corners(coord, part, NI, NJ, min(slab, NK - k0))
        out[:, :, k0:k0 + slab] = gauss_volumes(corners)
    return out


def vm(name: str) -> int:
    with open("/proc/self/status") as f:
        return next(int(line.split()[1]) * 1024 for line in f if line.startswith(name))


def child(kind: str, path: Path) -> dict:
    import kelvara

    if kind == "kelvara":
        grid = kelvara.open_grid(path)
        call = grid.volumes
    elif kind == "numpy":
        def call():
            with kelvara.open(path) as f:
                return numpy_volumes(f.read("COORD"), f.read("ZCORN"))
    else:
        grid = kelvara.open_grid(path)
        poro = np.random.default_rng(3).uniform(0.1, 0.3, NI * NJ * NK)
        out = path.with_suffix(".vtu")

        def call():
            grid.to_vtk(out, cell_data={"PORO": poro}, active_only=False)
            return np.array([out.stat().st_size])
    with open("/proc/self/clear_refs", "w") as clear:
        clear.write("5")  # the peak resident size starts again from the present one
    rss = vm("VmRSS")
    start = time.perf_counter()
    result = call()
    seconds = time.perf_counter() - start
    peak = vm("VmHWM")
    if kind == "vtk":
        out.unlink()
    np.save(path.with_name(f"{kind}.npy"), result)
    return {"seconds": seconds, "growth": peak - rss}


def run_child(kind: str, path: Path) -> dict:
    cmd = [sys.executable, __file__, "--child", kind, str(path)]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=True)
    return json.loads(done.stdout.strip().splitlines()[-1])


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--dir", type=Path, default=HERE)
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("--child", nargs=2, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child[0], Path(args.child[1]))))
        return 0

    folder = Path(tempfile.mkdtemp(prefix="kelvara-geometry-", dir=args.dir))
    path = folder / "BENCH_GEOMETRY.EGRID"
    verdict = Verdicts()
    try:
        start = time.perf_counter()
        write_egrid(path)
        print(f"wrote {path} ({path.stat().st_size / MIB:.1f} MiB) in "
              f"{time.perf_counter() - start:.1f} s")
        warm_page_cache(path)
        runs = {kind: [] for kind in ("kelvara", "numpy", "vtk")}
        for _ in range(args.repeat):
            for kind in runs:
                runs[kind].append(run_child(kind, path))
        for kind, results in runs.items():
            times = ", ".join(f"{r['seconds']:.3f}" for r in results)
            growth = min(r["growth"] for r in results) / MIB
            print(f"{kind:8s} best {min(r['seconds'] for r in results):.3f} s "
                  f"(runs {times}); peak growth {growth:.1f} MiB")
        best = {kind: min(r["seconds"] for r in results) for kind, results in runs.items()}
        ratio = best["kelvara"] / best["numpy"]
        verdict(ratio <= TIME_RATIO_TARGET,
                f"volumes() time {best['kelvara']:.3f} s = {ratio:.3f} x NumPy "
                f"{best['numpy']:.3f} s (target <= {TIME_RATIO_TARGET})")
        cells = NI * NJ * NK
        allowed = cells * 8 + 2 * (8 * cells * 4)
        growth = max(r["growth"] for r in runs["kelvara"])
        verdict(growth <= allowed, f"volumes() peak growth {growth / MIB:.1f} MiB "
                                   f"(target <= result + 2 x ZCORN = {allowed / MIB:.1f} MiB)")
        size = int(np.load(folder / "vtk.npy")[0])
        verdict(best["vtk"] <= VTK_SECONDS_TARGET,
                f"to_vtk of {cells} cells {best['vtk']:.3f} s (target <= "
                f"{VTK_SECONDS_TARGET:g} s); file {size / MIB:.0f} MiB")
        ours, theirs = np.load(folder / "kelvara.npy"), np.load(folder / "numpy.npy")
        verdict(bool(np.allclose(ours, theirs, rtol=1e-9, atol=0)),
                f"the volumes agree with NumPy's (max relative difference "
                f"{np.max(np.abs(ours - theirs) / theirs):.2e}; total {ours.sum():.6g} m3)")
    finally:
        if args.keep:
            print(f"kept {folder}")
        else:
            for p in folder.iterdir():
                p.unlink()
            os.rmdir(folder)
    return verdict.status()


if __name__ == "__main__":
    sys.exit(main())

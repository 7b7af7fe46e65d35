"""Writes the seed corpus of the fuzz targets into fuzz/corpus/TARGET/: small files made with the
writers of the test suite (both byte orders, every frame form, sections split over blocks) and
the smallest real files of ../shared/data when that folder is there. Run again after a target or
a writer changes; the corpus is kept in the repository and stays small (files up to 64 KiB).

    python3 fuzz/seeds.py
"""

from __future__ import annotations

import hashlib
import os
import sys
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests"))

from b64writer import encode_items, with_line_ends  # noqa: E402
from eclwriter import EclFile  # noqa: E402
from gridwriter import GridFile  # noqa: E402
from imexmodel import Model  # noqa: E402
from imexwriter import block  # noqa: E402

# Real files: $KELVARA_TEST_DATA, else the shared folder beside the checkout, else the
# workplace's, as the tests look for them.
DATA = next((p for p in [Path(os.environ.get("KELVARA_TEST_DATA", "/nonexistent")),
                         ROOT.parent / "shared" / "data", Path("/work/shared/data")]
             if p.is_dir()), ROOT.parent / "shared" / "data")
LIMIT = 64 * 1024
ORDERS = [">", "<"]


def results_file(order):
    f = EclFile()
    f.add("INTEHEAD", "INTE", list(range(1, 12)), order=order)
    f.add("DOUBHEAD", "DOUB", [0.5, 1.5, -2.0], order=order)
    f.add("LOGIHEAD", "LOGI", [1, 0, 1], order=order)
    f.add("KEYWORDS", "CHAR", ["PRESSURE", "SWAT"], order=order)
    f.add("PRESSURE", "REAL", np.arange(50, dtype=np.float32), order=order, block_items=16)
    f.add("STARTSOL", "MESS", order=order)
    f.add("COORDS", "INTE", [1, 1, 1, 1, 3, 0, 0], order=order)
    return f.bytes()


def plain_grid(order, dual=False):
    g = GridFile()
    nz = 2 if dual else 1
    g.dimens(2, 1, nz, order=order)
    g.cells(2 * nz, order=order)
    g.nnchead(1, 0, order=order)
    g.nnc([1], [2], order=order)
    g.lgr("LGR1", order=order)
    g.lgrilg(1, 1, 1, order=order)
    g.cells(1, order=order)
    return g.bytes()


def ext_grid(order, dual=0):
    g = GridFile()
    g.filehead(dual, order=order)
    nz = 2 if dual else 1
    g.gridhead(2, 2, nz, order=order)
    g.geometry(2, 2, nz, order=order)
    g.endgrid(order=order)
    g.nnchead(1, 0, order=order)
    g.nnc([1], [2], order=order)
    g.lgr("LGR1", order=order)
    g.gridhead(1, 1, 1, grid_id=1, order=order)
    g.geometry(1, 1, 1, order=order)
    g.endlgr(order=order)
    return g.bytes()


def small_model():
    """A main grid of 3 x 2 x 2 with a grid of 2 x 1 x 1 in its cell 4, two inactive cells,
    cell sizes and a few connections."""
    dims = [(3, 2, 2), (2, 1, 1)]
    icstps = np.ones(14, np.int32)
    icstps[[2, 9]] = 0
    ipstcs = np.concatenate([np.nonzero(icstps[:12])[0] + 1,
                             np.nonzero(icstps[12:])[0] + 13]).astype(np.int32)
    icstcg = np.zeros(14, np.int32)
    icstcg[3] = 2
    sizes = np.column_stack([np.arange(14) + 1.0, np.full(14, 2.0), np.full(14, 3.0)])
    model = Model(dims, icstps, ipstcs, icstcg, sizes)
    model.connections = (np.array([1, 2, 4, 12], np.int32), np.array([2, 3, 5, 13], np.int32))
    return model


def imex_seeds():
    """The model's blocks in each frame form behind the byte that names it, then a block of
    packed values, as the loader target reads them."""
    model = small_model()
    seeds = {}
    for code, form in enumerate(["bare", "record", "marked"]):
        orders = [">", "<"] if form == "record" else [">"]
        for order in orders:
            head = bytes([code | (0x80 if order == "<" else 0)])
            data = bytearray(head)
            for _, type_, values in model.blocks():
                data += block(form, type_, np.asarray(values), order)
            data += block(form, "d", np.arange(12, dtype=np.float64), order)
            seeds[f"model-{form}-{'big' if order == '>' else 'little'}"] = bytes(data)
    return seeds


def mores_seeds():
    seeds = {}
    for i, (type_, values) in enumerate([("i", [1, -2, 3, 70000]), ("d", [0.5, -1.25, 3e10]),
                                         ("d", np.arange(48) * 0.25)]):
        for feeder in range(3):
            params = bytes([i % 2, feeder, 4, 8])
            text = encode_items(type_, values, padding=feeder != 1)
            if feeder == 2:
                text = with_line_ends(text, 16)
            seeds[f"{type_}{i}-feeder{feeder}"] = params + text + b"\n"
    return seeds


def real_files(suffixes):
    """The real files of the given suffixes up to the size limit, smallest first."""
    if not DATA.is_dir():
        return {}
    files = sorted((p for p in DATA.rglob("*") if p.is_file() and p.suffix.upper() in suffixes
                    and p.stat().st_size <= LIMIT), key=lambda p: p.stat().st_size)
    return {f"real-{p.parent.name}-{p.name}": p.read_bytes() for p in files[:12]}


def corpus():
    eclipse = {}
    for order in ORDERS:
        tag = "big" if order == ">" else "little"
        eclipse[f"results-{tag}"] = results_file(order)
        eclipse[f"grid-{tag}"] = plain_grid(order)
        eclipse[f"grid-dual-{tag}"] = plain_grid(order, dual=True)
        eclipse[f"egrid-{tag}"] = ext_grid(order)
        eclipse[f"egrid-dual-{tag}"] = ext_grid(order, dual=1)
    results = {**eclipse, **real_files({".INIT", ".UNRST", ".SMSPEC", ".UNSMRY", ".X0027"})}
    grids = {k: v for k, v in eclipse.items() if "grid" in k}
    plain = {**grids, **real_files({".GRID"})}
    extended = {**grids, **real_files({".EGRID"})}
    return {
        "eclipse_section": results,
        "map_file_sections": {**results, **real_files({".EGRID", ".GRID"})},
        "grid_scan": plain,
        "ext_grid_scan": extended,
        "imex_section": imex_seeds(),
        "imex_loader": imex_seeds(),
        "mores_feeds": mores_seeds(),
        "open": {**results, **real_files({".EGRID", ".GRID"})},
        "open_grid": {**plain, **extended},
    }


def main():
    for target, seeds in corpus().items():
        folder = ROOT / "fuzz" / "corpus" / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, data in seeds.items():
            digest = hashlib.sha1(data).hexdigest()[:8]
            (folder / f"{name}-{digest}").write_bytes(data)
        print(f"{target}: {len(seeds)} seeds")


if __name__ == "__main__":
    main()

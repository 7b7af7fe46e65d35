#!/usr/bin/env python3
"""Times imex.Loader on a large IMEX model against NumPy doing the same work.

The script writes one model (big-endian FRAME_RECORD blocks): a main grid of about --cells
cells with three refinements of a few thousand cells, --active of them active with the packed
order shuffled inside each grid, "BLOCKSIZE", a packed double result, --connections
connections (neighbours along i, j and k, and non-neighbours) and one per-connection double
block. It reads the file once so that it sits in the page cache, and then times, each run in a
fresh subprocess:

  (a) loader        Loader(section, table): the dimension, activity, packing, refinement and
                    size blocks streamed into the grid records;
      numpy         np.fromfile of the same blocks, the active numbering (cumsum), the packed
                    map (dense[ipstcs - 1 - base]) and the origins of the refined grids
                    (cumulative sizes of the main grid's rows and layers);
  (b) packed        FeedPackedGridFunction(0, position, 'd', Array1DBuilderDouble(n));
      numpy         np.fromfile of the grid's slice, byte order to native, out[handles] = values;
  (c) connections   SetupConnections() and FeedConnectionGridFunctions of the block;
      numpy         np.fromfile of IPSTCS, ICSTGN, ICTPS1, ICTPS2 and the block, the cells,
                    grids and local cells of each connection, the kinds by np.select and the
                    index of each connection in its kind.

Every run reports its time and its peak memory (growth of VmHWM over the resident size just
before the timed part). Targets: (a) loader <= 3 x NumPy, and its peak <= the grids' own
structures (what the built loader still holds: masks, selections, packed maps) + 64 MiB;
(b) <= 1.5 x NumPy; (c) <= 3 x NumPy. The results of kelvara and NumPy are compared.

Usage: python bench/bench_imex_loader.py [--cells 10000000] [--connections 30000000]
                                          [--repeat 3] [--path FILE] [--keep]
"""

from __future__ import annotations

import argparse
import json
import os
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

MIB = 1 << 20
MARKER = b"\x7f\xff\xff\xff"


def record(f, array):
    data = array.tobytes()
    f.write(struct.pack(">I", len(data) + 8) + MARKER + struct.pack(">I", len(data)))
    f.write(data)
    f.write(b"\0\0\0\0")


def write_model(path: Path, cells: int, active: float, connections: int, seed=7):
    import numpy as np

    rng = np.random.default_rng(seed)
    ni = nj = int(round((cells / 10) ** 0.5))
    nk = 10
    dims = [(ni, nj, nk), (20, 20, 5), (10, 10, 4), (8, 8, 2)]
    counts = [a * b * c for a, b, c in dims]
    begins = np.concatenate([[0], np.cumsum(counts)])
    total = int(begins[-1])
    table = {}
    positions = {}
    with open(path, "wb") as f:
        def put(name, array):
            table[name] = f.tell()
            record(f, array)

        put("IGNTID", np.array([d[0] for d in dims], ">i4"))
        put("IGNTJD", np.array([d[1] for d in dims], ">i4"))
        put("IGNTKD", np.array([d[2] for d in dims], ">i4"))
        icstps = (rng.random(total) < active).astype(">i4")
        put("ICSTPS", icstps)
        ipstcs = []
        for g in range(len(dims)):
            cells_g = np.nonzero(icstps[begins[g]:begins[g + 1]])[0] + begins[g] + 1
            # Shuffle in runs of 4096 cells: packed orders differ from cell order.
            runs = np.array_split(cells_g, max(1, len(cells_g) // 4096))
            ipstcs.append(np.concatenate([runs[i] for i in rng.permutation(len(runs))]))
        ipstcs = np.concatenate(ipstcs).astype(">i4")
        put("IPSTCS", ipstcs)
        icstcg = np.zeros(total, ">i4")
        icstcg[[ni * 3 + 5, ni * nj + 17, ni * nj * 2 + ni + 1]] = [2, 3, 4]
        put("ICSTCG", icstcg)
        put("ICSTGN", np.repeat(np.arange(1, len(dims) + 1), counts).astype(">i4"))
        put("BLOCKSIZE", rng.uniform(10, 20, total * 3).astype(">f8"))
        n_packed = len(ipstcs)
        # Connections among the main grid's active cells: a packed cell and its neighbour
        # along i, j or k where that is active, else a random packed cell.
        packed_of_cell = np.full(total, -1, np.int64)
        packed_of_cell[ipstcs.astype(np.int64) - 1] = np.arange(n_packed)
        a = rng.integers(0, n_packed, connections)
        c = ipstcs[a].astype(np.int64) - 1
        step = np.array([1, ni, ni * nj, 2 * ni + 3])[rng.integers(0, 4, connections)]
        other = np.minimum(c + step, total - 1)
        b = packed_of_cell[other]
        b = np.where(b < 0, rng.integers(0, n_packed, connections), b)
        put("ICTPS1", (a + 1).astype(">i4"))
        put("ICTPS2", (b + 1).astype(">i4"))
        positions["packed"] = f.tell()
        record(f, rng.normal(size=n_packed).astype(">f8"))
        positions["connection"] = f.tell()
        record(f, rng.normal(size=connections).astype(">f8"))
    return dict(table=table, positions=positions, dims=dims, n_packed=int(n_packed),
                connections=connections, total=total)


class Rec:
    def __init__(self, pos):
        self.mrf_pos = pos


def status_mib(field):
    """A memory figure of /proc/self/status in MiB. VmHWM, the peak resident size, belongs to
    this process alone: unlike ru_maxrss it does not carry the launching process's peak."""
    with open("/proc/self/status") as f:
        for line in f:
            if line.startswith(field + ":"):
                return int(line.split()[1]) / 1024
    raise RuntimeError(field)


def rss_mib():
    return status_mib("VmRSS")


def peak_mib():
    return status_mib("VmHWM")


def fromfile(path, pos, dtype):
    import numpy as np

    with open(path, "rb") as f:
        f.seek(pos + 8)
        (size,) = struct.unpack(">I", f.read(4))
    return np.fromfile(path, dtype, size // np.dtype(dtype).itemsize, offset=pos + 12)


def child(mode, path, meta):
    import numpy as np
    import kelvara

    table = {k: Rec(v) for k, v in meta["table"].items()}
    result = {}
    if mode in ("packed", "connections"):
        f = open(path, "rb")
        loader = kelvara.imex.Loader(kelvara.imex.Section(f, 0, False), table)
        main = loader.GridInfo(0)
    if mode == "numpy-packed":
        f = open(path, "rb")
        loader = kelvara.imex.Loader(kelvara.imex.Section(f, 0, False), table)
        main = loader.GridInfo(0)
        handles = main.packedToHandle
        begin, end = main.activeBegin, main.activeEnd
        del loader
    base = rss_mib()
    start = time.perf_counter()
    if mode == "loader":
        f = open(path, "rb")
        loader = kelvara.imex.Loader(kelvara.imex.Section(f, 0, False), table)
        elapsed = time.perf_counter() - start
        result["retained_mib"] = rss_mib() - base
        # The peak of the construction, before the checks below make copies of their own.
        result["peak_mib"] = peak_mib() - base
        main = loader.GridInfo(0)
        result["active"] = [loader.GridInfo(g).activeCount for g in range(loader.GridCount())]
        result["origins"] = [(loader.GridInfo(g).originX, loader.GridInfo(g).originY)
                             for g in range(loader.GridCount())]
        result["handles_sum"] = int(main.packedToHandle.astype(np.int64).sum())
    elif mode == "numpy":
        dims = [tuple(int(v) for v in fromfile(path, meta["table"][n], ">i4"))
                for n in ("IGNTID", "IGNTJD", "IGNTKD")]
        dims = list(zip(*dims))
        counts = [a * b * c for a, b, c in dims]
        begins = np.concatenate([[0], np.cumsum(counts)])
        active = fromfile(path, meta["table"]["ICSTPS"], ">i4") > 0
        ipstcs = fromfile(path, meta["table"]["IPSTCS"], ">i4").astype(np.int32)
        icstcg = fromfile(path, meta["table"]["ICSTCG"], ">i4")
        sizes = fromfile(path, meta["table"]["BLOCKSIZE"], ">f8").reshape(-1, 3)
        counts_active = [int(active[begins[g]:begins[g + 1]].sum()) for g in range(len(dims))]
        abegins = np.concatenate([[0], np.cumsum(counts_active)])
        handles = []
        for g in range(len(dims)):
            dense = np.cumsum(active[begins[g]:begins[g + 1]], dtype=np.int32) - 1
            handles.append(dense[ipstcs[abegins[g]:abegins[g + 1]] - 1 - begins[g]])
        ni, nj, nk = dims[0]
        main = sizes[:begins[1]].reshape(nk, nj, ni, 3)
        x = np.cumsum(main[..., 0], axis=2) - main[..., 0]
        y = np.cumsum(main[:, :, 0, 1], axis=1) - main[:, :, 0, 1]
        hosts = np.nonzero(icstcg[:begins[1]])[0]
        origins = [(float(x[h // (ni * nj), h // ni % nj, h % ni]),
                    float(y[h // (ni * nj), h // ni % nj])) for h in hosts]
        elapsed = time.perf_counter() - start
        result["active"] = counts_active
        result["handles_sum"] = int(handles[0].astype(np.int64).sum())
    elif mode == "packed":
        out = kelvara.Array1DBuilderDouble(main.activeCount)
        ok = loader.FeedPackedGridFunction(0, meta["positions"]["packed"], "d", out)
        elapsed = time.perf_counter() - start
        values = out.to_numpy()
        result["ok"] = ok
        result["sum"] = float(values.sum())
        result["first"] = float(values[int(main.packedToHandle[0])])
    elif mode == "numpy-packed":
        block = fromfile(path, meta["positions"]["packed"], ">f8")
        values = block[begin:end].astype("<f8")
        out = np.empty(end - begin)
        out[handles] = values
        elapsed = time.perf_counter() - start
        result["sum"] = float(out.sum())
        result["first"] = float(out[int(handles[0])])
    elif mode == "connections":
        loader.SetupConnections()
        setup = time.perf_counter() - start
        assembly = loader.GetGridAssembly()
        packed = meta["n_packed"]
        info = assembly.connectionInfos[0]
        targets = [[kelvara.Array1DBuilderDouble(packed) for _ in range(3)] +
                   [kelvara.Array1DBuilderDouble(info.nncCount)] + [None] * len(info.externalNNC)]
        targets += [[None] * (4 + len(i.externalNNC)) for i in assembly.connectionInfos[1:]]
        feeder = kelvara.SConnectionArrayFeeder(assembly, targets)
        t0 = time.perf_counter()
        ok = loader.FeedConnectionGridFunctions(meta["positions"]["connection"], "d", feeder)
        feed = time.perf_counter() - t0
        elapsed = setup + feed
        result.update(ok=ok, setup=setup, feed=feed, nnc=info.nncCount,
                      sum_k=float(targets[0][2].to_numpy().sum()))
    elif mode == "numpy-connections":
        ipstcs = fromfile(path, meta["table"]["IPSTCS"], ">i4").astype(np.int32)
        icstgn = fromfile(path, meta["table"]["ICSTGN"], ">i4").astype(np.int32)
        p1 = fromfile(path, meta["table"]["ICTPS1"], ">i4").astype(np.int32) - 1
        p2 = fromfile(path, meta["table"]["ICTPS2"], ">i4").astype(np.int32) - 1
        values = fromfile(path, meta["positions"]["connection"], ">f8").astype("<f8")
        dims = meta["dims"]
        counts = [a * b * c for a, b, c in dims]
        begins = np.concatenate([[0], np.cumsum(counts)]).astype(np.int32)
        c1 = ipstcs[p1] - 1
        c2 = ipstcs[p2] - 1
        g1 = icstgn[c1] - 1
        g2 = icstgn[c2] - 1
        l1 = c1 - begins[g1]
        l2 = c2 - begins[g2]
        ni = np.array([d[0] for d in dims], np.int32)[g1]
        nj = np.array([d[1] for d in dims], np.int32)[g1]
        same = g1 == g2
        d = l2 - l1
        kind = np.select([same & (d == ni * nj), same & (d == ni), same & (d == 1), same],
                         [2, 1, 0, 3], 4)
        index = np.where(kind < 3, p1, 0)
        for g in range(len(dims)):
            nnc = (kind == 3) & (g1 == g)
            index[nnc] = np.arange(int(nnc.sum()))
        nnc = (kind == 3) & (g1 == 0)
        along_k = (kind == 2) & (g1 == 0)
        out_k = np.zeros(meta["n_packed"])
        out_k[index[along_k]] = values[along_k]
        elapsed = time.perf_counter() - start
        result.update(nnc=int(nnc.sum()), sum_k=float(out_k.sum()))
    result["seconds"] = elapsed
    result.setdefault("peak_mib", max(0.0, peak_mib() - base))
    print(json.dumps(result))


def run(mode, path, meta_path):
    done = subprocess.run([sys.executable, __file__, "--child", mode, str(path), str(meta_path)],
                          capture_output=True, text=True)
    if done.returncode:
        raise SystemExit(f"{mode} failed:\n{done.stderr}")
    return json.loads(done.stdout.strip().splitlines()[-1])


def main():
    if len(sys.argv) > 1 and sys.argv[1] == "--child":
        meta = json.loads(Path(sys.argv[4]).read_text())
        return child(sys.argv[2], sys.argv[3], meta)
    parser = argparse.ArgumentParser()
    parser.add_argument("--cells", type=int, default=10_000_000)
    parser.add_argument("--active", type=float, default=0.6)
    parser.add_argument("--connections", type=int, default=30_000_000)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--path")
    parser.add_argument("--keep", action="store_true")
    args = parser.parse_args()
    folder = tempfile.mkdtemp()
    path = Path(args.path or Path(folder) / "bench.irf")
    meta_path = Path(folder) / "meta.json"
    meta = write_model(path, args.cells, args.active, args.connections)
    meta_path.write_text(json.dumps(meta))
    with open(path, "rb") as f:
        while f.read(64 * MIB):
            pass
    print(f"model: {meta['total']} cells, {meta['n_packed']} active, "
          f"{meta['connections']} connections, file {path.stat().st_size / MIB:.0f} MiB")
    failures = 0
    for name, ours, theirs, target in [("(a) Loader", "loader", "numpy", 3.0),
                                       ("(b) FeedPackedGridFunction", "packed", "numpy-packed", 1.5),
                                       ("(c) SetupConnections + feed", "connections",
                                        "numpy-connections", 3.0)]:
        a_runs, b_runs = [], []
        for _ in range(args.repeat):
            a_runs.append(run(ours, path, meta_path))
            b_runs.append(run(theirs, path, meta_path))
        a = min(a_runs, key=lambda r: r["seconds"])
        b = min(b_runs, key=lambda r: r["seconds"])
        ratio = a["seconds"] / b["seconds"]
        verdict = "PASS" if ratio <= target else "FAIL"
        failures += verdict == "FAIL"
        print(f"{name}: kelvara {a['seconds']:.3f} s (peak +{a['peak_mib']:.0f} MiB), "
              f"numpy {b['seconds']:.3f} s (peak +{b['peak_mib']:.0f} MiB), "
              f"ratio {ratio:.2f} (target <= {target}) {verdict}")
        if ours == "loader":
            # The grids' own structures are what the loader still holds when it is built:
            # masks, selections, packed maps.
            limit = a["retained_mib"] + 64
            memory = "PASS" if a["peak_mib"] <= limit else "FAIL"
            failures += memory == "FAIL"
            print(f"    peak memory {a['peak_mib']:.0f} MiB, limit {limit:.0f} MiB "
                  f"(grid structures held afterwards {a['retained_mib']:.0f} MiB + 64) {memory}")
            same = a["active"] == b["active"] and a["handles_sum"] == b["handles_sum"]
        elif ours == "packed":
            same = a["ok"] and abs(a["sum"] - b["sum"]) < 1e-6 * max(1, abs(b["sum"])) \
                and a["first"] == b["first"]
        else:
            print(f"    SetupConnections {a['setup']:.3f} s, FeedConnectionGridFunctions "
                  f"{a['feed']:.3f} s")
            same = a["ok"] and a["nnc"] == b["nnc"] and abs(a["sum_k"] - b["sum_k"]) < 1e-6 * max(
                1, abs(b["sum_k"]))
        print(f"    results agree: {same}")
        failures += not same
    if not args.keep:
        path.unlink()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

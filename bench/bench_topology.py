"""Selections, histograms and views of a 10-million-cell box against NumPy.

(a) building a ReservoirSelectionTopology from its flags, against NumPy's dense numbering and six
    neighbour masks of every active cell; (b) create_histogram of a float64 property with 100 bins
    and a pore-volume weight over the full topology, against numpy.histogram with weights; (c)
    create_array of a view of a full-grid property through the selection, against fancy indexing.
Each case runs --repeat times; the best times are compared. Peak memory of (a) is measured in a
child process of its own.
"""

import argparse
import json
import subprocess
import sys
import time

import numpy as np

TARGETS = {"selection": 3.0, "histogram": 1.0, "view": 2.0}
MIB = 1024 * 1024


def clustered_mask(shape, fraction, seed):
    rng = np.random.default_rng(seed)
    noise = rng.random(shape, dtype=np.float32)
    for _ in range(2):
        for axis in range(3):
            noise = (noise + np.roll(noise, 1, axis) + np.roll(noise, -1, axis)) / 3
    return noise > np.quantile(noise, 1 - fraction)


def numpy_selection(flat_flags, shape):
    """Dense numbering (i fastest) and the six neighbour masks of every active cell."""
    ni, nj, nk = shape
    selected = flat_flags != 0
    numbers = np.cumsum(selected, dtype=np.uint32) - 1
    numbers[~selected] = 4294967295
    box = selected.view(np.uint8).reshape((ni, nj, nk), order="F")
    masks = np.zeros((ni, nj, nk), dtype=np.uint8)
    masks[1:, :, :] |= box[:-1, :, :]
    masks[:-1, :, :] |= box[1:, :, :] << 1
    masks[:, 1:, :] |= box[:, :-1, :] << 2
    masks[:, :-1, :] |= box[:, 1:, :] << 3
    masks[:, :, 1:] |= box[:, :, :-1] << 4
    masks[:, :, :-1] |= box[:, :, 1:] << 5
    return numbers, masks.ravel(order="F")[selected]


def best(function, repeat):
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        result = function()
        times.append(time.perf_counter() - start)
    return min(times), result


def peak_child(shape, fraction, seed):
    """Runs one selection build in a fresh process; returns its resident size before and peak."""
    code = f"""
import json, numpy as np, sys
sys.path.insert(0, {repr(sys.path[0])})
from bench_topology import clustered_mask
from kelvara import Array, ReservoirSelectionTopology, ReservoirTopology
shape = {shape}
flags = Array(clustered_mask(shape, {fraction}, {seed}).astype(np.uint8))
topology = ReservoirTopology(*shape)
import gc; gc.collect()
def status(name):
    with open('/proc/self/status') as lines:
        return [int(line.split()[1]) * 1024 for line in lines if line.startswith(name)][0]
# Resets the peak resident size (VmHWM) to the present one, so that the peak of the build alone
# is measured.
with open('/proc/self/clear_refs', 'w') as clear:
    clear.write('5')
rss = status('VmRSS')
selection = ReservoirSelectionTopology(topology, flags)
after = status('VmHWM')
print(json.dumps({{"rss": rss, "peak": after, "n": selection.cell_count}}))
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    return json.loads(done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--shape", type=int, nargs=3, default=[250, 200, 200])
    parser.add_argument("--fraction", type=float, default=0.6)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--seed", type=int, default=11)
    args = parser.parse_args()

    from kelvara import Array, GridFunction, ReservoirSelectionTopology, ReservoirTopology

    shape = tuple(args.shape)
    cells = int(np.prod(shape))
    print(f"box {shape}: {cells} cells, {args.fraction:.0%} active, best of {args.repeat}")
    mask = clustered_mask(shape, args.fraction, args.seed)
    flags_np = mask.astype(np.uint8)
    flags = Array(flags_np)
    flat_flags = flags_np.ravel(order="F")
    topology = ReservoirTopology(*shape)
    failed = False

    # (a) selection
    kelvara_time, selection = best(lambda: ReservoirSelectionTopology(topology, flags), args.repeat)
    numpy_time, (numbers, masks) = best(lambda: numpy_selection(flat_flags, shape), args.repeat)
    n = selection.cell_count
    assert n == int(mask.sum())
    assert np.array_equal(selection.original_to_selection.array.to_numpy().ravel(order="F"),
                          numbers)
    sample = np.random.default_rng(0).choice(n, 2000, replace=False)
    assert all(selection.neighbour_mask(int(c)) == masks[c] for c in sample)
    ratio = kelvara_time / numpy_time
    print(f"(a) selection   kelvara {kelvara_time:8.4f} s  numpy {numpy_time:8.4f} s  "
          f"ratio {ratio:5.2f}  target <= {TARGETS['selection']}  "
          f"{'PASS' if ratio <= TARGETS['selection'] else 'FAIL'}")
    failed |= ratio > TARGETS["selection"]
    memory = peak_child(shape, args.fraction, args.seed)
    own = cells * 4 + n * 6 + n * 1  # original-to-selection, selection-to-original, masks
    growth = max(0, memory["peak"] - memory["rss"])
    limit = own + 64 * MIB
    print(f"    peak growth {growth / MIB:8.1f} MiB  own arrays {own / MIB:8.1f} MiB  "
          f"limit {limit / MIB:8.1f} MiB  {'PASS' if growth <= limit else 'FAIL'}")
    failed |= growth > limit

    # (b) histogram
    rng = np.random.default_rng(args.seed)
    values = rng.normal(size=shape)
    pore_volume = rng.random(shape)
    prop = GridFunction(Array(values))
    weight = GridFunction(Array(pore_volume))
    kelvara_time, hist = best(
        lambda: topology.create_histogram(prop, -3.0, 3.0, 100, weight, closed=True).to_numpy(),
        args.repeat)
    numpy_time, (counts, _) = best(
        lambda: np.histogram(values, bins=100, range=(-3.0, 3.0), weights=pore_volume),
        args.repeat)
    assert np.allclose(hist[1:-1], counts)
    ratio = kelvara_time / numpy_time
    print(f"(b) histogram   kelvara {kelvara_time:8.4f} s  numpy {numpy_time:8.4f} s  "
          f"ratio {ratio:5.2f}  target <= {TARGETS['histogram']}  "
          f"{'PASS' if ratio <= TARGETS['histogram'] else 'FAIL'}")
    failed |= ratio > TARGETS["histogram"]

    # (c) view through the selection
    view = selection.view(prop)
    index = np.flatnonzero(flat_flags)
    values_f = values.ravel(order="F")
    kelvara_time, picked = best(lambda: selection.create_array(view), args.repeat)
    numpy_time, expected = best(lambda: values_f[index], args.repeat)
    assert np.array_equal(picked.to_numpy(), expected)
    ratio = kelvara_time / numpy_time
    print(f"(c) view array  kelvara {kelvara_time:8.4f} s  numpy {numpy_time:8.4f} s  "
          f"ratio {ratio:5.2f}  target <= {TARGETS['view']}  "
          f"{'PASS' if ratio <= TARGETS['view'] else 'FAIL'}")
    failed |= ratio > TARGETS["view"]
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

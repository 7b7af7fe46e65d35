#!/usr/bin/env python3
"""Times kelvara.Array against NumPy: ConvertHandles, Array(ndarray) and to_numpy().

Every run is a fresh Python process that times the operations of one group in turn, in an order
that changes from run to run, with the same arrays alive for each of them:

  convert   eclipse.ConvertHandles(nx, ny, nz, a) on an Array of 10 million int32 cell numbers
            (in place), against NumPy's a - 1 on the same values (a new array);
  from      Array(values) of 50 million float64, against values.copy();
  to        Array.to_numpy() of 50 million float64, against values.copy().

Each run checks its result against the expected values (v - 1, or the values themselves).

Targets: best ConvertHandles time <= 2 x best NumPy a - 1 time; best Array(ndarray) time and
best to_numpy() time each <= 1.5 x best ndarray.copy() time. The exit status is 1 when a target
or a check fails.

Usage: python bench/bench_array_convert.py [--repeat 5] [--cells 10000000] [--doubles 50000000]
"""

from __future__ import annotations

import argparse
import json
import resource
import statistics
import subprocess
import sys
import time

CONVERT_TARGET = 2.0
COPY_TARGET = 1.5
NX, NY, NZ = 100, 100, 1000


def cell_numbers(count: int):
    import numpy as np

    return (np.arange(count, dtype=np.int64) % (NX * NY * NZ) + 1).astype(np.int32)


def doubles(count: int):
    import numpy as np

    return np.random.default_rng(7).standard_normal(count)


def minor_faults() -> int:
    return resource.getrusage(resource.RUSAGE_SELF).ru_minflt


def timed(operation):
    """Seconds and minor page faults of one call, and its result."""
    faults = minor_faults()
    start = time.perf_counter()
    result = operation()
    seconds = time.perf_counter() - start
    return seconds, minor_faults() - faults, result


def child(kind: str, count: int, turn: int) -> list:
    """The timed operations of one group in this process, in an order that turns with each run,
    all with the same arrays alive; each result is checked and dropped before the next."""
    import numpy as np

    from kelvara import Array, eclipse

    results = []
    if kind == "convert":
        values = cell_numbers(count)
        expected = values - 1
        order = ["convert-kelvara", "convert-numpy"][::1 if turn % 2 == 0 else -1]
        for name in order:
            if name == "convert-kelvara":
                array = Array(values)
                seconds, faults, done = timed(lambda: eclipse.ConvertHandles(NX, NY, NZ, array))
                ok = done is True and np.array_equal(array.to_numpy(), expected)
                del array
            else:
                seconds, faults, result = timed(lambda: values - 1)
                ok = np.array_equal(result, expected)
                del result
            results.append({"kind": name, "seconds": seconds, "faults": faults, "ok": bool(ok)})
        return results

    values = doubles(count)
    held = Array(values)  # the array that to_numpy copies from, alive for every operation
    operations = {
        "from-kelvara": lambda: Array(values),
        "to-kelvara": lambda: held.to_numpy(),
        "copy-numpy": lambda: values.copy(),
    }
    names = list(operations)
    for name in names[turn % 3:] + names[:turn % 3]:
        seconds, faults, result = timed(operations[name])
        if isinstance(result, np.ndarray):
            ok = np.array_equal(result, values)
        else:
            ok = result.size == count and np.array_equal(result.to_numpy(), values)
        del result
        results.append({"kind": name, "seconds": seconds, "faults": faults, "ok": bool(ok)})
    return results


def run_child(kind: str, count: int, turn: int, names: list) -> list:
    cmd = [sys.executable, __file__, "--child", kind, "--count", str(count), "--turn", str(turn)]
    done = subprocess.run(cmd, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        return [{"kind": name, "seconds": float("inf"), "faults": 0, "ok": False}
                for name in names]
    return json.loads(done.stdout.strip().splitlines()[-1])


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repeat", type=int, default=5, help="runs of each kind")
    parser.add_argument("--cells", type=int, default=10_000_000, help="int32 values converted")
    parser.add_argument("--doubles", type=int, default=50_000_000, help="float64 values copied")
    parser.add_argument("--child", help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, help=argparse.SUPPRESS)
    parser.add_argument("--turn", type=int, default=0, help=argparse.SUPPRESS)
    args = parser.parse_args(argv)
    if args.child:
        print(json.dumps(child(args.child, args.count, args.turn)))
        return 0

    groups = {"convert": (args.cells, ["convert-kelvara", "convert-numpy"]),
              "copies": (args.doubles, ["from-kelvara", "to-kelvara", "copy-numpy"])}
    runs = {name: [] for _, names in groups.values() for name in names}
    for turn in range(args.repeat):
        for group, (count, names) in groups.items():
            for result in run_child(group, count, turn, names):
                runs[result["kind"]].append(result)

    best = {}
    all_ok = True
    for kind, results in runs.items():
        times = [r["seconds"] for r in results]
        best[kind] = min(times)
        ok = all(r["ok"] for r in results)
        all_ok &= ok
        faults = min(r["faults"] for r in results)
        print(f"{kind:16s} best {min(times) * 1e3:9.2f} ms  median "
              f"{statistics.median(times) * 1e3:9.2f} ms  fewest page faults {faults:8d}  "
              f"values {'ok' if ok else 'WRONG'}")

    failed = not all_ok

    def verdict(name: str, ratio: float, target: float) -> None:
        nonlocal failed
        passed = ratio <= target
        failed |= not passed
        print(f"{'PASS' if passed else 'FAIL'} {name}: {ratio:.2f} x (target <= {target} x)")

    verdict("ConvertHandles / numpy a - 1", best["convert-kelvara"] / best["convert-numpy"],
            CONVERT_TARGET)
    verdict("Array(ndarray) / ndarray.copy()", best["from-kelvara"] / best["copy-numpy"],
            COPY_TARGET)
    verdict("to_numpy() / ndarray.copy()", best["to-kelvara"] / best["copy-numpy"], COPY_TARGET)
    print(f"{'PASS' if all_ok else 'FAIL'} values: every run gave the expected values")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

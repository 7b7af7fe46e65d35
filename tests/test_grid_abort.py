"""Grid files that break the scans' containers end the process: one line on standard error,
then abort(), with nothing raised into Python and nothing read out of bounds first.

Each case runs in a child process; the test looks at how the child ended and what it wrote."""

import signal
import subprocess
import sys

import pytest

from gridwriter import GridFile

CHILD = """
import sys
import kelvara
f = open(sys.argv[1], "rb")
print("before", flush=True)
try:
    if sys.argv[2] == "ext":
        kelvara.eclipse.MapExtGridFileSections(f)
    else:
        kelvara.eclipse.MapGridFileSections(f, int(sys.argv[2]))
except BaseException as error:
    print("raised", type(error).__name__, error, flush=True)
print("after", flush=True)
"""


def run_child(path, mode):
    return subprocess.run([sys.executable, "-c", CHILD, str(path), str(mode)],
                          capture_output=True, text=True, timeout=60)


def ext_main(dual=1, dims=(2, 3, 1)):
    return GridFile().filehead(dual).gridhead(*dims).endgrid()


CASES = {
    "dimens-short": (GridFile().add("DIMENS", "INTE", [2, 3]), 0,
                     "DIMENS item index out of range"),
    "lgrilg-short": (GridFile().dimens(1, 1, 1).lgr("L").add("LGRILG", "INTE", [0] * 10), 0,
                     "LGRILG item index out of range"),
    "nnchead-short-plain": (GridFile().dimens(1, 1, 1).add("NNCHEAD", "INTE", [1]), 0,
                            "NNCHEAD item index out of range"),
    "nnchead-index-beyond-grids": (GridFile().dimens(1, 1, 1).nnchead(1, 1), 0,
                                   "NNCHEAD grid index out of range of the grid names"),
    "nnchead-negative-index": (GridFile().dimens(1, 1, 1).nnchead(1, -1), 0,
                               "NNCHEAD grid index out of range of the grid names"),
    "nnchead-index-beyond-dims": (GridFile().dimens(1, 1, 1).lgr("L").nnchead(1, 1), 0,
                                  "NNCHEAD grid index out of range of the grid dimensions"),
    "lgr-empty": (GridFile().dimens(1, 1, 1).add("LGR", "CHAR", []), 0,
                  "LGR item index out of range"),
    "gridhead-short": (GridFile().filehead().add("GRIDHEAD", "INTE", [1, 2, 2, 2]), "ext",
                       "GRIDHEAD item index out of range"),
    "filehead-short": (GridFile().add("FILEHEAD", "INTE", [3, 2007, 0, 0, 0]), "ext",
                       "FILEHEAD item index out of range"),
    "nnchead-short-ext": (ext_main().add("NNCHEAD", "INTE", [1]), "ext",
                          "NNCHEAD item index out of range"),
    "nnchead-undeclared-id": (ext_main().nnchead(1, 4), "ext",
                              "NNCHEAD grid id that no GRIDHEAD declared"),
    "nnc2-shorter": (ext_main().nnchead(2, 0).nnc([1, 2], [7]), "ext", "NNC2 index out of range"),
    "layer-size-zero": (ext_main(dims=(0, 3, 1)).nnchead(1, 0).nnc([1], [2]), "ext",
                        "NNC classification of a grid with nx * ny == 0"),
    "layer-size-zero-nncl": (ext_main(dual=2, dims=(2, 0, 1)).nnchead(0, 0).nncl([1]), "ext",
                             "NNC classification of a grid with nx * ny == 0"),
    "plain-layer-size-zero": (GridFile().dimens(0, 1, 2).nnchead(1, 0).nnc([1], [2]), 1,
                              "NNC classification of a grid with nx * ny == 0"),
}


@pytest.mark.parametrize("case", list(CASES))
def test_violation_ends_the_process(write_ecl, case):
    grid_file, mode, what = CASES[case]
    result = run_child(write_ecl(grid_file), mode)
    assert result.returncode == -signal.SIGABRT, (result.returncode, result.stdout, result.stderr)
    assert result.stdout == "before\n"
    lines = result.stderr.splitlines()
    assert len(lines) == 1, result.stderr
    assert lines[0].startswith("Contract violation: ")
    assert lines[0].startswith(f"Contract violation: {what} (")


def test_layer_size_zero_with_no_connections_does_not_divide(write_ecl):
    path = write_ecl(ext_main(dims=(0, 3, 1)).nnchead(5, 0).nnc([], []))
    result = run_child(path, "ext")
    assert result.returncode == 0, result.stderr
    assert result.stdout == "before\nafter\n"
    assert result.stderr == ""

"""``kelvara grid FILE --vtk OUT`` and ``--png OUT``: a grid with the cell properties of an INIT
file or of a restart step, as a VTK file or as a map of one layer."""

from __future__ import annotations

import argparse
from typing import Dict, Optional

import numpy as np

from ._api import EclipseFile
from ._grid import Grid

# Sections of INIT and restart files that hold no cell values even when their length is that of
# the cells.
_NOT_CELLS = ("INTEHEAD", "LOGIHEAD", "DOUBHEAD", "SEQNUM", "TABDIMS", "TAB", "STARTSOL",
              "ENDSOL", "IGRP", "SGRP", "XGRP", "ZGRP", "IWEL", "SWEL", "XWEL", "ZWEL", "ICON",
              "SCON", "XCON")


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--vtk", metavar="OUT.vtu",
                        help="write the grid's active cells as a VTK unstructured grid, with "
                             "every cell property of --init or of the --restart step")
    parser.add_argument("--png", metavar="OUT.png",
                        help="draw layer --layer coloured by --property as a PNG map")
    parser.add_argument("--layer", type=int, metavar="K",
                        help="the layer to draw, counted from 1 as in simulator input")
    parser.add_argument("--property", metavar="NAME", help="the cell property to draw")
    parser.add_argument("--init", metavar="CASE.INIT", help="take cell properties from this INIT")
    parser.add_argument("--restart", metavar="CASE.UNRST",
                        help="take cell properties from report step --step of this restart file")
    parser.add_argument("--step", type=int, metavar="N", help="the report step of --restart")


def wanted(args: argparse.Namespace) -> bool:
    """Whether the command line asks for a file rather than a description."""
    return bool(args.vtk or args.png)


def cell_properties(f: EclipseFile, grid: Grid, step: Optional[int] = None
                    ) -> Dict[str, np.ndarray]:
    """The main grid's cell properties in a file (or in one report step of it): numeric
    sections of one value a cell or one an active cell, up to the first local grid's."""
    cells = grid.actnum.size
    active = grid.active_cells
    flat = grid.actnum.ravel(order="F")
    sizes = {cells, active}
    if grid.dual:
        sizes.add(int(np.count_nonzero(flat & 1) + np.count_nonzero(flat & 2)))
    sections = f.keywords if step is None else [f.keywords[i] for i in f._step_range(step)]
    out: Dict[str, np.ndarray] = {}
    for k in sections:
        if k.name == "LGR":
            break
        if (k.type in ("INTE", "REAL", "DOUB") and k.count in sizes and k.name not in _NOT_CELLS
                and k.name not in out):
            out[k.name] = k.read()
    return out


def run(args: argparse.Namespace, grid: Grid) -> None:
    if (args.restart is None) != (args.step is None):
        raise ValueError("--restart and --step go together")
    if args.png and (args.layer is None or args.property is None):
        raise ValueError("--png needs --layer and --property")
    properties: Dict[str, np.ndarray] = {}
    sources = []
    if args.init is not None:
        with EclipseFile(args.init) as f:
            properties.update(cell_properties(f, grid))
        sources.append(args.init)
    if args.restart is not None:
        with EclipseFile(args.restart) as f:
            properties.update(cell_properties(f, grid, args.step))
        sources.append(f"{args.restart} step {args.step}")
    if args.png:
        nk = grid.dimensions[2]
        if not 1 <= args.layer <= nk:
            raise ValueError(f"no layer {args.layer}: the grid has layers 1 to {nk}")
        if args.property not in properties:
            where = " and ".join(sources) if sources else "no --init or --restart"
            raise ValueError(f"no cell property {args.property!r} in {where}")
        grid.plot_layer(args.layer - 1, properties[args.property], args.png,
                        label=args.property)
    if args.vtk:
        grid.to_vtk(args.vtk, cell_data=properties)

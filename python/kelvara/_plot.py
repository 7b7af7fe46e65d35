"""A layer of a grid as a map in a PNG: the cells' polygons in x, y coloured by a property."""

from __future__ import annotations

import operator
import os
from typing import TYPE_CHECKING, Optional, Union

import numpy as np

from ._geometry import per_cell

if TYPE_CHECKING:
    from ._grid import Grid

# The top face of a cell, around its edge: corners 000, 100, 110, 010.
_TOP_FACE = np.array([0, 1, 3, 2])


def layer_polygons(grid: "Grid", k: int) -> np.ndarray:
    """(ni * nj, 4, 2): x, y around the top face of each cell of layer k, i fastest."""
    ni, nj, _ = grid.dimensions
    corners = np.empty((ni * nj, 24), dtype=np.float64)
    grid._source().loaded()(k * ni * nj, ni * nj, corners, None, None)
    return corners.reshape(-1, 8, 3)[:, _TOP_FACE, :2]


def plot_layer(grid: "Grid", k: int, values: object, path: Union[str, "os.PathLike[str]"],
               label: Optional[str] = None) -> None:
    from matplotlib.backends.backend_agg import FigureCanvasAgg
    from matplotlib.collections import PolyCollection
    from matplotlib.figure import Figure

    ni, nj, nk = grid.dimensions
    k = operator.index(k)
    if not 0 <= k < nk:
        raise IndexError(f"grid {grid.name!r}: no layer {k} (layers 0 to {nk - 1})")
    name = label or "values"
    layer = per_cell(name, values, grid.actnum, grid.dual)[k * ni * nj:(k + 1) * ni * nj]
    polygons = layer_polygons(grid, k)
    # Inactive cells, cells without a value and cells without corners in the file are left
    # out of the map: inactive cells are often collapsed or stacked over the active ones.
    active = grid.actnum.ravel(order="F")[k * ni * nj:(k + 1) * ni * nj] != 0
    shown = (active & np.isfinite(layer.astype(np.float64))
             & np.isfinite(polygons).all(axis=(1, 2)))
    if not shown.any():
        raise ValueError(f"grid {grid.name!r}: layer {k} has no cell with a value to draw")

    figure = Figure(figsize=(8, 6.5), dpi=100)
    FigureCanvasAgg(figure)
    axes = figure.add_subplot()
    cells = PolyCollection(polygons[shown], array=layer[shown].astype(np.float64),
                           cmap="viridis", edgecolors="0.25", linewidths=0.2)
    axes.add_collection(cells)
    axes.autoscale_view()
    axes.set_aspect("equal", adjustable="datalim")
    unit = f" ({grid.units})" if grid.units else ""
    axes.set_xlabel("x" + unit)
    axes.set_ylabel("y" + unit)
    axes.set_title(f"{grid.name}: {name}, layer {k + 1} of {nk} (k = {k})")
    figure.colorbar(cells, ax=axes, label=name)
    figure.savefig(os.fspath(path), format="png")

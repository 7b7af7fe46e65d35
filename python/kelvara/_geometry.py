"""Where a grid's geometry lies in its file, and its corners, centres and volumes computed by the
native loops of ``_kelvaraio._geometry`` from the sections read with the typed reads."""

from __future__ import annotations

import functools
import io
import os
from typing import Callable, Optional, Tuple

import numpy as np

from ._api import EclipseFile, Keyword, data_position, dtype_of
from ._errors import FormatError
from ._kelvaraio import _geometry, _typed
from ._source import PathOrFile, open_source

_FLOATS = ("REAL", "DOUB")

# Computes cells first .. first + count into the arrays given (corners, centers, volumes; None
# skips one), from inputs read once.
CellKernel = Callable[..., None]


class _Section:
    """A section that is read only when its values are needed. A formatted file's section is
    parsed at once instead: its text has no fixed place for each item to come back to."""

    __slots__ = ("name", "type", "count", "position", "swap", "values")

    def __init__(self, f: EclipseFile, k: Keyword):
        self.name, self.type, self.count, self.position = k.name, k.type, k.count, k.position
        self.swap = bool(f._big_endian[k.index])
        self.values = k.read() if f._formatted else None

    def read(self, source: _typed.Source, path: str) -> np.ndarray:
        if self.values is not None:
            return self.values
        out = np.empty(self.count, dtype=dtype_of(self.type))
        problem = _typed.read_into(source, data_position(self.position, self.count), self.swap,
                                  self.type, self.count, out)
        if problem is not None:
            raise FormatError(path, problem[0], problem[1], self.name, self.position)
        return out


def _origin(source: PathOrFile) -> PathOrFile:
    """What the grid keeps to read its geometry later: a path as a string, a file object as it
    is (it stays the caller's)."""
    return source if isinstance(source, io.IOBase) else os.fspath(source)


class PillarGeometry:
    """A corner-point grid's COORD and ZCORN sections. They are checked when the geometry is
    asked for, so that a grid file whose geometry is broken still opens."""

    def __init__(self, source: PathOrFile, path: str, f: EclipseFile, coord: Keyword,
                 zcorn: Keyword, dims: Tuple[int, int, int]):
        self.origin, self.path, self.dims = _origin(source), path, dims
        self.coord, self.zcorn = _Section(f, coord), _Section(f, zcorn)

    def loaded(self) -> CellKernel:
        """Reads COORD and ZCORN (in the file's item types) and gives the kernel over them."""
        ni, nj, nk = self.dims
        for k, least in ((self.coord, 6 * (ni + 1) * (nj + 1)), (self.zcorn, 8 * ni * nj * nk)):
            if k.type not in _FLOATS or k.count < least:
                raise FormatError(self.path, f"{k.name} of {k.count} items ({k.type}) for a "
                                  f"grid of {ni}x{nj}x{nk} cells, which needs {least} numbers",
                                  k.position, k.name, k.position)
        source, _ = open_source(self.origin)
        try:
            coord = self.coord.read(source, self.path)
            zcorn = self.zcorn.read(source, self.path)
        finally:
            source.close()
        return functools.partial(_geometry.pillar_cells, coord, zcorn, *self.dims)

    def compute(self, corners: Optional[np.ndarray], centers: Optional[np.ndarray],
                volumes: Optional[np.ndarray]) -> None:
        """Every cell into the arrays given."""
        self.loaded()(0, int(np.prod(self.dims)), corners, centers, volumes)


class ListedGeometry:
    """The CORNERS sections of a plain grid file, one for each cell the file gives, with the
    number of that cell (i fastest); cells the file leaves out have no corners (NaN)."""

    def __init__(self, source: PathOrFile, path: str, f: EclipseFile, corners: np.ndarray,
                 cells: np.ndarray, dims: Tuple[int, int, int]):
        self.origin, self.path, self.dims = _origin(source), path, dims
        types = np.array(f._type_list)[f._type_ids[corners]]
        self.bad = (types != "REAL") | (f._counts[corners] < 24)
        self.positions = f._positions[corners]
        self.counts = f._counts[corners]
        self.swaps = f._big_endian[corners]
        self.cells = cells
        # A formatted file's sections are parsed while it is open: its text has no fixed place
        # for each item to come back to later.
        self.parsed = None
        if f._formatted and not self.bad.any():
            self.parsed = np.array([f._read_section(int(i))[:24] for i in corners],
                                   dtype=np.float32).reshape(-1, 24)

    def values(self) -> np.ndarray:
        """(cells, 24) float32: the corners of every cell, NaN where the file gives none."""
        if self.bad.any():
            at = int(self.positions[np.argmax(self.bad)])
            raise FormatError(self.path, "a CORNERS section that is not 24 REAL items", at,
                              "CORNERS", at)
        ni, nj, nk = self.dims
        out = np.full((ni * nj * nk, 24), np.nan, dtype=np.float32)
        if self.cells.size == 0:
            return out
        if self.parsed is not None:
            out[self.cells] = self.parsed
            return out
        # REAL items are four bytes like INTE ones: the record read brings them in with one call
        # for all the sections, and the rows are then seen as the floats they are.
        records = np.zeros((self.cells.size, 24), dtype=np.int32)
        source, _ = open_source(self.origin)
        try:
            problem = _typed.read_records(source, self.positions, self.counts, self.swaps,
                                          records)
        finally:
            source.close()
        if problem is not None:
            reason, at, which = problem
            raise FormatError(self.path, reason, at, "CORNERS", int(self.positions[which]))
        out[self.cells] = records.view(np.float32)
        return out

    def loaded(self) -> CellKernel:
        return functools.partial(_geometry.listed_cells, self.values())

    def compute(self, corners: Optional[np.ndarray], centers: Optional[np.ndarray],
                volumes: Optional[np.ndarray]) -> None:
        """Every cell into the arrays given."""
        self.loaded()(0, int(np.prod(self.dims)), corners, centers, volumes)


def extended_geometry(source: PathOrFile, f: EclipseFile, head: Keyword,
                      dims: Tuple[int, int, int]) -> Optional[PillarGeometry]:
    """The COORD and ZCORN that follow a grid's GRIDHEAD up to its ENDGRID, or None."""
    found = {}
    for k in f.keywords[head.index + 1:]:
        if k.name in ("ENDGRID", "GRIDHEAD", "LGR"):
            break
        if k.name in ("COORD", "ZCORN") and k.name not in found:
            found[k.name] = k
    if len(found) < 2:
        return None
    return PillarGeometry(source, f.path, f, found["COORD"], found["ZCORN"], dims)


def file_mapaxes(f: EclipseFile) -> Optional[np.ndarray]:
    """The six numbers of the file's first MAPAXES, as float64, or None."""
    if "MAPAXES" not in f:
        return None
    k = f["MAPAXES"][0]
    values = k.read()
    if values.dtype.kind not in "iuf" or values.size < 6:
        raise FormatError(f.path, f"a MAPAXES section of {k.count} items ({k.type}), not 6 "
                          "numbers", k.position, k.name, k.position)
    return values[:6].astype(np.float64)


def file_units(f: EclipseFile) -> str:
    """The length unit of the file's first GRIDUNIT (METRES, FEET, ...), or ""."""
    if "GRIDUNIT" not in f:
        return ""
    k = f["GRIDUNIT"][0]
    values = k.read() if k.type in ("CHAR", "C008") else np.array([])
    return str(values[0]) if values.size else ""


def apply_mapaxes(xyz: np.ndarray, mapaxes: np.ndarray) -> None:
    """Turns x, y (the last axis holds x, y, z) from grid into map coordinates, in place:
    MAPAXES holds a point of the y axis, the origin, and a point of the x axis."""
    y_point, origin, x_point = mapaxes[0:2], mapaxes[2:4], mapaxes[4:6]
    ex, ey = x_point - origin, y_point - origin
    lx, ly = np.hypot(*ex), np.hypot(*ey)
    if lx == 0 or ly == 0:
        raise ValueError(f"MAPAXES {mapaxes.tolist()} does not span two axes")
    ex, ey = ex / lx, ey / ly
    x, y = xyz[..., 0].copy(), xyz[..., 1].copy()
    xyz[..., 0] = origin[0] + x * ex[0] + y * ey[0]
    xyz[..., 1] = origin[1] + x * ex[1] + y * ey[1]


def per_cell(name: str, values: object, actnum: np.ndarray, dual: int) -> np.ndarray:
    """The values of one property for every cell in file order (i fastest), from one value a
    cell (flat or shaped like ``actnum``) or one an active cell as INIT and restart files give
    them (a dual grid's files give its matrix cells, then its fracture cells: the matrix values
    are taken). Cells without a value are NaN."""
    array = np.asarray(values)
    flat_actnum = actnum.ravel(order="F")
    cells = flat_actnum.size
    if array.shape == actnum.shape and array.ndim == 3:
        return array.ravel(order="F")
    if array.ndim != 1:
        raise ValueError(f"{name}: values of shape {array.shape} for a grid of shape "
                         f"{actnum.shape}")
    if array.size == cells:
        return array
    active = flat_actnum != 0
    matrix = (flat_actnum & 1) != 0 if dual else active
    fracture = np.count_nonzero(flat_actnum & 2) if dual else 0
    if array.size == np.count_nonzero(active):
        mask = active
    elif dual and array.size == np.count_nonzero(matrix) + fracture:
        mask, array = matrix, array[:np.count_nonzero(matrix)]
    else:
        raise ValueError(f"{name}: {array.size} values for a grid of {cells} cells, "
                         f"{np.count_nonzero(active)} active")
    out = np.full(cells, np.nan, dtype=np.float64)
    out[mask] = array
    return out

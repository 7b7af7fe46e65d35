"""``kelvara.open_grid``: the grids of an EGRID or GRID file, on the grid scans of the core."""

from __future__ import annotations

import builtins
import io
import os
import tempfile
from typing import Dict, List, Mapping, Optional, Tuple, Union

import numpy as np

from . import _kelvaraio
from ._api import EclipseFile, Keyword, ProgressCallback
from ._errors import FormatError
from ._formatted import unformatted_skeleton
from ._geometry import (ListedGeometry, PillarGeometry, apply_mapaxes, extended_geometry,
                        file_mapaxes, file_units)
from ._kelvaraio import _typed
from ._source import PathOrFile, copy_source, has_descriptor

MAIN_GRID = "Main Grid"
_NUMERIC = ("INTE", "REAL", "DOUB", "LOGI")
# The sections whose items the scans read, with the items each must hold at least.
_EXTENDED_NEEDS = {"FILEHEAD": 6, "GRIDHEAD": 5, "NNCHEAD": 2, "NNC1": 0, "NNC2": 0, "NNCL": 0}
_PLAIN_NEEDS = {"LGRILG": 11, "NNCHEAD": 2, "NNC1": 0, "NNC2": 0}
# The sections whose items the grid scans read (of both layouts).
_SCAN_READS = {"FILEHEAD", "GRIDHEAD", "NNCHEAD", "LGR", "LGRILG", "DIMENS", "NNC1", "NNC2",
               "NNCL"}


class Grid:
    """One grid of an EGRID or GRID file.

    ``name``; ``dimensions`` (ni, nj, nk); ``dual`` (0 single porosity, 1 dual porosity,
    2 dual permeability); ``actnum`` (int32, shape (ni, nj, nk') with element [i, j, k], where
    nk' is the number of layers the file stores for the grid). For a GRID file opened with
    ``dual`` 1 or 2, ``dimensions`` gives one half of the model: its nk is half the layers of
    ``DIMENS`` (or ``LGRILG``), while ``actnum`` and ``host_cells`` hold both halves, nk' = 2 nk
    layers, the matrix half in layers [0, nk) and the fracture half in [nk, 2 nk). Otherwise
    nk' = nk. ``parent`` and ``host_cells``
    (local grids, where the file gives them; ``host_cells`` holds the file's 1-based host cell
    numbers in the shape of ``actnum``); ``local_grids`` (on the main grid: every local grid of
    the file by name, in file order); ``nnc`` (the NNC classes of the scan and the NNC1, NNC2,
    NNCL, NNCG arrays the file gives for this grid); ``mapaxes`` (the file's MAPAXES as six
    float64 values, or ``None``); ``units`` (the length unit of GRIDUNIT, such as ``"METRES"``
    or ``"FEET"``, or ``""``).

    Geometry: :meth:`corners`, :meth:`centers`, :meth:`depths`, :meth:`volumes`, read from the
    file when asked for (``COORD``/``ZCORN`` of an EGRID, ``CORNERS`` of a GRID), and
    :meth:`to_vtk` and :meth:`plot_layer` to look at the grid.
    """

    mapaxes: Optional[np.ndarray] = None
    units: str = ""
    _geometry: Optional[Union[PillarGeometry, ListedGeometry]] = None

    def __init__(self, name: str, dimensions: Tuple[int, int, int], dual: int,
                 actnum: np.ndarray, parent: Optional[str] = None,
                 host_cells: Optional[np.ndarray] = None,
                 nnc: Optional[Dict[str, object]] = None):
        self.name = name
        self.dimensions = dimensions
        self.dual = dual
        self.actnum = actnum
        self.parent = parent
        self.host_cells = host_cells
        self.nnc: Dict[str, object] = nnc if nnc is not None else {}
        self.local_grids: Dict[str, Grid] = {}

    @property
    def active_cells(self) -> int:
        """Cells whose ACTNUM is not 0."""
        return int(np.count_nonzero(self.actnum))

    # -- geometry ------------------------------------------------------------------------------

    def _cells(self, width: int) -> np.ndarray:
        """An empty float64 array of ``width`` values for each cell, in file order."""
        ni, nj, nk = self.dimensions
        return np.empty((nk, nj, ni, width), dtype=np.float64)

    def _source(self) -> Union[PillarGeometry, ListedGeometry]:
        if self._geometry is None:
            raise ValueError(f"grid {self.name!r}: the file gives no geometry for it "
                             "(no COORD and ZCORN, no CORNERS)")
        return self._geometry

    def corners(self, mapaxes: bool = False) -> np.ndarray:
        """float64 (ni, nj, nk, 8, 3): x, y, z of the eight corners of each cell, by (i, j, k)
        offsets in the order 000, 100, 010, 110, 001, 101, 011, 111; z positive down as in the
        file. With ``mapaxes`` x and y are turned into map coordinates by the file's MAPAXES
        (``ValueError`` when it has none). Cells a GRID file leaves out are NaN."""
        if mapaxes and self.mapaxes is None:
            raise ValueError(f"grid {self.name!r}: the file has no MAPAXES")
        out = self._cells(24)
        self._source().compute(out, None, None)
        out = out.reshape(out.shape[:3] + (8, 3))
        if mapaxes:
            apply_mapaxes(out, self.mapaxes)
        return out.transpose(2, 1, 0, 3, 4)

    def centers(self) -> np.ndarray:
        """float64 (ni, nj, nk, 3): the mean of the eight corners of each cell."""
        out = self._cells(3)
        self._source().compute(None, out, None)
        return out.transpose(2, 1, 0, 3)

    def depths(self) -> np.ndarray:
        """float64 (ni, nj, nk): the z of the centres."""
        return self.centers()[..., 2]

    def volumes(self) -> np.ndarray:
        """float64 (ni, nj, nk): the exact volume of the trilinear cell that the eight corners
        span (0 for a collapsed cell), in the file's units cubed."""
        out = self._cells(1)
        self._source().compute(None, None, out)
        return out[..., 0].transpose(2, 1, 0)

    def to_vtk(self, path: Union[str, "os.PathLike[str]"],
               cell_data: Optional[Mapping[str, np.ndarray]] = None,
               active_only: bool = True) -> None:
        """Writes the grid as a VTK unstructured grid (``.vtu``) of hexahedra, with the arrays
        of ``cell_data`` as cell data: each one value a cell (ni * nj * nk, i fastest, or shaped
        (ni, nj, nk)) or one an active cell, as INIT and restart files give them. With
        ``active_only`` only the active cells are written, otherwise all of them (cells
        without a value get NaN)."""
        from ._vtk import write_grid

        write_grid(self, path, cell_data, active_only)

    def plot_layer(self, k: int, values: np.ndarray, path: Union[str, "os.PathLike[str]"],
                   label: Optional[str] = None) -> None:
        """Draws layer ``k`` (from 0) as a map to a PNG: the top faces of its cells in x, y
        (the file's coordinates and units) coloured by ``values`` (one a cell or one an active
        cell, as for :meth:`to_vtk`; inactive cells and cells without a value are left
        out), with a colour bar
        named ``label``. Needs matplotlib (``kelvara[viz]``)."""
        from ._plot import plot_layer

        plot_layer(self, k, values, path, label)

    def __repr__(self) -> str:
        ni, nj, nk = self.dimensions
        parts = [f"{self.name!r}", f"{ni}x{nj}x{nk}", f"active={self.active_cells}"]
        if self.dual:
            parts.append(f"dual={self.dual}")
        if self.parent is not None:
            parts.append(f"parent={self.parent!r}")
        if self.local_grids:
            parts.append(f"local_grids={list(self.local_grids)}")
        return f"<Grid {' '.join(parts)}>"


def _integers(values: np.ndarray) -> List[int]:
    """Items as the scans take them: whole numbers truncated toward zero, out of range as the
    smallest 32-bit integer."""
    if values.dtype.kind in "iub":
        return [int(v) for v in values.astype(np.int64)]
    out = []
    for v in values.astype(np.float64).tolist():
        out.append(int(v) if -2147483649.0 < v < 2147483648.0 else -2**31)
    return out


class _Checker:
    """Walks the catalogue as a grid scan will and refuses, as FormatError, what the scan could
    not read: short or non-numeric header sections, NNC headers naming grids that are not
    there, NNC lists that do not pair, grids of no cells with connections."""

    def __init__(self, f: EclipseFile):
        self.f = f

    def fail(self, k: Keyword, reason: str) -> None:
        raise FormatError(self.f.path, reason, k.position, k.name, k.position)

    def items(self, k: Keyword, needed: int) -> List[int]:
        if k.type not in _NUMERIC:
            self.fail(k, f"a {k.name} section of type {k.type}, not numbers")
        if k.count < needed:
            self.fail(k, f"a {k.name} section of {k.count} items, fewer than {needed}")
        return _integers(k.read()) if needed else []

    def lgr_name(self, k: Keyword) -> List[str]:
        if k.type != "CHAR" or k.count < 1:
            self.fail(k, "an LGR section that names no grid")
        return k.read().tolist()

    def pairs(self, k: Keyword, nnc1: int, dims: Optional[Tuple[int, int, int]]) -> None:
        if k.count < nnc1:
            self.fail(k, f"an NNC2 list of {k.count} cells for {nnc1} cells of NNC1")
        self.cells(k, nnc1, dims)

    def cells(self, k: Keyword, n: int, dims: Optional[Tuple[int, int, int]]) -> None:
        if n and dims is not None and dims[0] * dims[1] == 0:
            self.fail(k, "connections in a grid without cells")

    def extended(self) -> int:
        dual, names_by_id, dims_by_id = 0, {}, {}
        current: Optional[str] = MAIN_GRID
        nnc_dims: Optional[Tuple[int, int, int]] = None
        nnc1 = 0
        for k in self.f:
            if k.name in _EXTENDED_NEEDS and not (k.name in ("NNC1", "NNC2") and dual <= 0):
                items = self.items(k, _EXTENDED_NEEDS[k.name])
            if k.name == "FILEHEAD":
                dual = items[5]
            elif k.name in ("ENDGRID", "ENDLGR"):
                current = None
            elif k.name == "LGR":
                current = self.lgr_name(k)[0]
            elif k.name == "GRIDHEAD":
                names_by_id[items[4]] = current
                dims_by_id[items[4]] = (items[1], items[2], items[3])
            elif k.name == "NNCHEAD":
                if items[1] not in names_by_id:
                    self.fail(k, f"an NNCHEAD for grid {items[1]}, which no GRIDHEAD declares")
                current, nnc_dims = names_by_id[items[1]], dims_by_id[items[1]]
            elif k.name == "NNC1" and dual > 0:
                nnc1 = k.count
            elif k.name == "NNC2" and dual > 0:
                self.pairs(k, nnc1, nnc_dims)
            elif k.name == "NNCL" and dual > 1:
                self.cells(k, k.count, nnc_dims)
        return dual

    def plain(self, dual: int) -> None:
        grid_names: List[Optional[str]] = []
        dims: List[Tuple[int, int, int]] = []
        current: Optional[str] = MAIN_GRID
        nnc_dims: Optional[Tuple[int, int, int]] = None
        nnc1 = 0
        divisor = 2 if dual > 0 else 1
        for k in self.f:
            if k.name == "DIMENS" and current == MAIN_GRID:
                items = self.items(k, 3)
                dims.append((items[0], items[1], int(items[2] / divisor)))
                grid_names.append(current)
            elif k.name == "LGR":
                current = self.lgr_name(k)[0]
                grid_names.append(current)
            elif k.name == "LGRILG":
                items = self.items(k, 11)
                dims.append((items[8], items[9], int(items[10] / divisor)))
            elif k.name == "NNCHEAD":
                items = self.items(k, 2)
                index = items[1]
                if not (0 <= index < len(grid_names) and index < len(dims)):
                    self.fail(k, f"an NNCHEAD for grid {index}, which the file does not hold")
                current, nnc_dims = grid_names[index], dims[index]
            elif k.name == "NNC1" and dual > 0:
                self.items(k, 0)
                nnc1 = k.count
            elif k.name == "NNC2" and dual > 0:
                self.items(k, 0)
                self.pairs(k, nnc1, nnc_dims)


def _layout(f: EclipseFile) -> str:
    # The grid scans walk text items as 8 characters; C0nn items of another width they cannot.
    for type_ in set(f._type_list):
        if type_.startswith("C0") and type_ != "C008":
            k = next(k for k in f if k.type == type_)
            raise FormatError(f.path, f"a section of type {type_}, which no grid file holds",
                              k.position, k.name, k.position)
    if "GRIDHEAD" in f or "FILEHEAD" in f:
        return "extended"
    if "DIMENS" in f:
        return "plain"
    raise FormatError(f.path, "not a grid file: neither GRIDHEAD nor DIMENS", 0)


def _scan(f: EclipseFile, source: PathOrFile, layout: str, dual: int) -> dict:
    """The core's grid scan over the same file; a file object given is left where it stood.
    A formatted file is scanned through its unformatted skeleton, whose positions then stand
    for the file's in ``_keyword_at``."""
    scan = _kelvaraio.eclipse.MapExtGridFileSections
    run = (lambda h: scan(h)) if layout == "extended" else (
        lambda h: _kelvaraio.eclipse.MapGridFileSections(h, dual))
    try:
        if f._formatted:
            with tempfile.TemporaryFile() as skeleton:
                f._scanned_positions = unformatted_skeleton(f, _SCAN_READS, skeleton)
                skeleton.seek(0)
                return run(skeleton)
        if not has_descriptor(source):
            # The grid scan reads files with a descriptor only: other sources are copied into
            # an anonymous temporary file, in chunks, for it.
            with tempfile.TemporaryFile() as handle:
                copy_source(source, handle)
                handle.seek(0)
                return run(handle)
        if isinstance(source, io.IOBase):
            where = source.tell()
            try:
                return run(source)
            finally:
                source.seek(where)
        with builtins.open(os.fspath(source), "rb") as handle:
            return run(handle)
    except RuntimeError as error:
        raise FormatError(f.path, f"the grid scan refuses the file: {error}", 0) from None


def _shaped(f: EclipseFile, k: Keyword, dims: Tuple[int, ...]) -> np.ndarray:
    values = k.read()
    if values.dtype.kind not in "iub" or values.size != int(np.prod(dims)):
        raise FormatError(f.path, f"{k.name} of {k.count} items ({k.type}) for a grid of "
                          f"{'x'.join(map(str, dims))} cells", k.position, k.name, k.position)
    return values.astype(np.int32, copy=False).reshape(dims, order="F")


def _checked_extents(f: EclipseFile, k: Keyword, extents: Tuple[int, int, int]) -> None:
    """Refuses, as FormatError at the grid's header section k, an extent below 0 and a grid of
    more cells than the file could hold an item of 4 bytes for: arrays of the grid's cells are
    made from the extents alone, and no array is made larger than the file could fill."""
    ni, nj, nk = extents
    shown = f"{ni} x {nj} x {nk}"
    if min(extents) < 0:
        raise FormatError(f.path, f"a grid of {shown} cells, an extent below 0", k.position,
                          k.name, k.position)
    size = f._source.size
    if ni * nj * nk > size // 4:
        raise FormatError(f.path, f"a grid of {shown} cells, more than a file of {size} bytes "
                          f"can hold", k.position, k.name, k.position)


def _keyword_at(f: EclipseFile, position: int) -> Keyword:
    positions = f._scanned_positions if f._formatted else f._positions
    index = int(np.searchsorted(positions, position))
    return f.keywords[index]


_NNC_ARRAYS = ("NNC1", "NNC2", "NNCL", "NNCG")
_NNC_MASK = "DpDkExternalNNCMask"


def _nnc(f: EclipseFile, entry: dict) -> Dict[str, object]:
    out: Dict[str, object] = {}
    for key, value in entry.items():
        if isinstance(value, (int, bool)):
            out[key] = value
        elif key == _NNC_MASK:
            out[key] = value.to_numpy()
        elif key in _NNC_ARRAYS:
            out[key] = _keyword_at(f, value.position).read()
    return out


def _extended_grids(f: EclipseFile, source: PathOrFile, scan: dict, dual: int) -> Grid:
    grids: Dict[str, Grid] = {}
    for name in dict.fromkeys(scan["__grid_names__"]):
        entry = scan["__grids__"].get(name)
        if entry is None or "GRIDHEAD" not in entry:
            continue
        head_keyword = _keyword_at(f, entry["GRIDHEAD"].position)
        head = _integers(head_keyword.read())
        dims = (head[1], head[2], head[3])
        _checked_extents(f, head_keyword, dims)
        if "ACTNUM" in entry:
            actnum = _shaped(f, _keyword_at(f, entry["ACTNUM"].position), dims)
        else:
            actnum = np.ones(dims, dtype=np.int32, order="F")
        parent = host = None
        if "LGRPARNT" in entry:
            names = _keyword_at(f, entry["LGRPARNT"].position).read()
            parent = str(names[0]) if names.size and names[0] else None
        if "HOSTNUM" in entry:
            host = _shaped(f, _keyword_at(f, entry["HOSTNUM"].position), dims)
        grids[name] = Grid(name, dims, dual, actnum, parent, host, _nnc(f, entry))
        grids[name]._geometry = extended_geometry(
            source, f, _keyword_at(f, entry["GRIDHEAD"].position), dims)
    return _assemble(f, grids)


def _plain_grids(f: EclipseFile, source: PathOrFile, scan: dict, dual: int) -> Grid:
    divisor = 2 if dual > 0 else 1
    # Each grid's cells lie from its opening section (DIMENS, LGR) to the next grid's.
    openings = [k for k in f if k.name == "LGR" or (k.name == "DIMENS" and k.occurrence == 0)]
    starts = [k.index for k in openings] + [len(f)]
    names = [MAIN_GRID if k.name == "DIMENS" else str(k.read()[0]) for k in openings]
    parents = [None if k.name == "DIMENS" or k.count < 2 else str(k.read()[1]) or None
               for k in openings]
    coords = f._groups.get("COORDS", np.array([], dtype=np.int64))
    grids: Dict[str, Grid] = {}
    for n, name in enumerate(names):
        entry = scan["__grids__"].get(name)
        if entry is None or name in grids:
            continue
        # A local grid's dimensions are in LGRILG; some writers give it a DIMENS of its own.
        head_name = "LGRILG" if name != MAIN_GRID and "LGRILG" in entry else "DIMENS"
        if head_name not in entry:
            continue
        head = _keyword_at(f, entry[head_name].position)
        first = 0 if head_name == "DIMENS" else 8
        items = _Checker(f).items(head, first + 3)
        _checked_extents(f, head, (items[first], items[first + 1], items[first + 2]))
        dims = (items[first], items[first + 1], int(items[first + 2] / divisor))
        stored = (dims[0], dims[1], dims[2] * divisor)
        lo, hi = np.searchsorted(coords, [starts[n], starts[n + 1]])
        actnum, host, cells = _cells_of(f, coords[lo:hi], stored)
        grids[name] = Grid(name, dims, dual, actnum, parents[n], host if n else None,
                           _nnc(f, entry))
        grids[name]._geometry = _listed(f, source, coords[lo:hi], cells, dims)
    return _assemble(f, grids)


def _cells_of(f: EclipseFile, coords: np.ndarray, dims: Tuple[int, int, int]
              ) -> Tuple[np.ndarray, Optional[np.ndarray], np.ndarray]:
    """ACTNUM and host cells of a plain grid from its COORDS records (i, j, k, number,
    activity, host, ...), one per stored cell, and the number of the cell of each record (i
    fastest); cells the file leaves out are inactive."""
    actnum = np.zeros(dims, dtype=np.int32, order="F")
    if coords.size == 0:
        return actnum, None, np.zeros(0, dtype=np.int64)
    bad = [i for i in coords.tolist() if f._type_list[f._type_ids[i]] != "INTE"]
    if bad:
        k = f.keywords[bad[0]]
        raise FormatError(f.path, "a COORDS section that is not INTE", k.position, k.name,
                          k.position)
    records = np.zeros((len(coords), 7), dtype=np.int32)
    records[:, 4] = 1  # a record too short to hold the activity is active
    records[:, 5] = -1
    if f._formatted:
        # One read per cell record: formatted plain grids are small.
        for row, i in enumerate(coords.tolist()):
            items = f.keywords[i].read()[:7]
            records[row, :len(items)] = items
        problem = None
    else:
        problem = _typed.read_records(f._source, f._positions[coords], f._counts[coords],
                                      f._big_endian[coords], records)
    if problem is not None:
        reason, at, which = problem
        k = f.keywords[int(coords[which])]
        raise FormatError(f.path, reason, at, k.name, k.position)
    ijk = records[:, :3].astype(np.int64) - 1
    inside = np.all((ijk >= 0) & (ijk < np.array(dims)), axis=1) & (f._counts[coords] >= 3)
    if not inside.all():
        k = f.keywords[int(coords[np.argmin(inside)])]
        raise FormatError(f.path, f"a COORDS cell outside the grid of "
                          f"{'x'.join(map(str, dims))} cells", k.position, k.name, k.position)
    actnum[ijk[:, 0], ijk[:, 1], ijk[:, 2]] = records[:, 4]
    host = None
    if (f._counts[coords] >= 7).all():
        host = np.zeros(dims, dtype=np.int32, order="F")
        host[ijk[:, 0], ijk[:, 1], ijk[:, 2]] = records[:, 5]
    cells = ijk[:, 0] + dims[0] * (ijk[:, 1] + dims[1] * ijk[:, 2])
    return actnum, host, cells


def _listed(f: EclipseFile, source: PathOrFile, coords: np.ndarray, cells: np.ndarray,
            dims: Tuple[int, int, int]) -> Optional[ListedGeometry]:
    """The geometry of a plain grid: the CORNERS section after each COORDS. A dual grid stores
    its matrix layers first and its fracture layers after them on the same corners; the
    geometry is that of the matrix layers."""
    corners = coords + 1
    if corners.size == 0 or corners[-1] >= len(f):
        return None
    paired = np.array(f._name_list)[f._name_ids[corners]] == "CORNERS"
    inside = cells < dims[0] * dims[1] * dims[2]
    keep = paired & inside
    if not keep.any():
        return None
    return ListedGeometry(source, f.path, f, corners[keep], cells[keep], dims)


def _assemble(f: EclipseFile, grids: Dict[str, Grid]) -> Grid:
    if MAIN_GRID not in grids:
        raise FormatError(f.path, "a grid file without a main grid", 0)
    main = grids.pop(MAIN_GRID)
    main.local_grids = grids
    return main


def open_grid(source: PathOrFile, *, dual: Optional[int] = None,
              progress: Optional[ProgressCallback] = None) -> Grid:
    """Opens an EGRID (extended layout) or GRID (plain layout) file and describes its main grid,
    with its local grids in ``local_grids``.

    ``dual`` is the dual-porosity mode of a GRID file (0, 1, 2; default 0), which that layout
    does not store; an EGRID file gives its own in FILEHEAD and ``dual`` must then be ``None``
    or agree. Raises :class:`kelvara.FormatError` for a file that is no grid file or that the
    grid scan could not read, and what Python raises for bad paths and file objects.
    """
    with EclipseFile(source, progress=progress) as f:
        layout = _layout(f)
        checker = _Checker(f)
        if layout == "extended":
            file_dual = checker.extended()
            if dual is not None and dual != file_dual:
                raise ValueError(f"{f.path}: FILEHEAD gives dual mode {file_dual}, not {dual}")
            scan = _scan(f, source, layout, file_dual)
            main = _extended_grids(f, source, scan, file_dual)
        else:
            mode = 0 if dual is None else dual
            checker.plain(mode)
            scan = _scan(f, source, layout, mode)
            main = _plain_grids(f, source, scan, mode)
        main.mapaxes = file_mapaxes(f)
        main.units = file_units(f)
        for g in main.local_grids.values():
            g.mapaxes, g.units = main.mapaxes, main.units
        return main


def describe_grid(grid: Grid) -> str:
    """A few lines for a person: dimensions, active cells, dual mode, NNCs, local grids."""
    def line(g: Grid, indent: str) -> str:
        ni, nj, nk = g.dimensions
        text = (f"{indent}{g.name}: {ni} x {nj} x {nk}, {g.actnum.size} cells, "
                f"{g.active_cells} active")
        if g.parent is not None:
            text += f", parent {g.parent}"
        nnc = g.nnc.get("NNC1")
        if isinstance(nnc, np.ndarray):
            text += f", {nnc.size} NNCs"
        return text + "\n"

    out = line(grid, "")
    if grid.dual:
        out += f"dual mode {grid.dual} ({'dual porosity' if grid.dual == 1 else 'dual permeability'})\n"
    if grid.local_grids:
        out += f"{len(grid.local_grids)} local grid(s):\n"
        for g in grid.local_grids.values():
            out += line(g, "  ")
    return out

"""A grid as a VTK unstructured grid file (``.vtu``) of hexahedra, written here with NumPy.

The file is VTK's XML format with the arrays in one appended block of raw little-endian bytes,
each after a 64-bit byte count. Every cell has eight points of its own (corner-point cells
across a fault share no corners), so the connectivity is 0, 1, 2, ... The cells are computed
and written a slab of layers at a time, so that the whole grid's corners are never in memory.
"""

from __future__ import annotations

import os
from typing import IO, TYPE_CHECKING, Dict, List, Mapping, Optional, Tuple, Union
from xml.sax.saxutils import quoteattr

import numpy as np

from ._geometry import CellKernel, per_cell

if TYPE_CHECKING:
    from ._grid import Grid

# VTK numbers a hexahedron's corners around the bottom face, then around the top one; the
# grid's corners go by (i, j, k) offsets 000, 100, 010, 110, 001, 101, 011, 111. The two orders
# differ by these swaps.
_VTK_SWAPS = ((2, 3), (6, 7))
VTK_HEXAHEDRON = 12

# Cells computed and written at a time.
_SLAB_CELLS = 1 << 18

_VTK_TYPES = {
    np.dtype("<f8"): "Float64", np.dtype("<f4"): "Float32", np.dtype("<i4"): "Int32",
    np.dtype("<i8"): "Int64", np.dtype("u1"): "UInt8",
}


def _vtk_array(values: np.ndarray) -> np.ndarray:
    """Values in a little-endian type VTK names; others become float64."""
    little = values.dtype.newbyteorder("<")
    return values.astype(little if little in _VTK_TYPES else np.float64, copy=False)


def _index_type(cells: int) -> np.dtype:
    """Connectivity and offsets as 32-bit integers while the points' numbers fit them."""
    return np.dtype("<i4") if cells * 8 < 2**31 else np.dtype("<i8")


def _header(cells: int, data: Dict[str, np.ndarray]) -> Tuple[str, List[int]]:
    """The XML before the appended block, and the byte size of each array in it."""
    index = _index_type(cells)
    sizes = [cells * 8 * 3 * 8, cells * 8 * index.itemsize, cells * index.itemsize, cells]
    names = list(data)
    sizes += [data[n].nbytes for n in names]
    offsets = np.concatenate([[0], np.cumsum(np.array(sizes, dtype=np.int64) + 8)])

    def array(type_: str, offset: int, extra: str = "") -> str:
        return f'<DataArray type="{type_}"{extra} format="appended" offset="{offset}"/>'

    cell_arrays = "".join(
        "\n        " + array(_VTK_TYPES[data[n].dtype], int(offsets[4 + i]),
                             f" Name={quoteattr(n)}") for i, n in enumerate(names))
    text = f"""<?xml version="1.0"?>
<VTKFile type="UnstructuredGrid" version="1.0" byte_order="LittleEndian" header_type="UInt64">
  <UnstructuredGrid>
    <Piece NumberOfPoints="{cells * 8}" NumberOfCells="{cells}">
      <Points>
        {array("Float64", 0, ' NumberOfComponents="3"')}
      </Points>
      <Cells>
        {array(_VTK_TYPES[index], int(offsets[1]), ' Name="connectivity"')}
        {array(_VTK_TYPES[index], int(offsets[2]), ' Name="offsets"')}
        {array("UInt8", int(offsets[3]), ' Name="types"')}
      </Cells>
      <CellData>{cell_arrays}
      </CellData>
    </Piece>
  </UnstructuredGrid>
  <AppendedData encoding="raw">
   _"""
    return text, sizes


def _write_block(out: IO[bytes], values: np.ndarray) -> None:
    out.write(np.uint64(values.nbytes).tobytes())
    _write_values(out, values)


def _write_values(out: IO[bytes], values: np.ndarray) -> None:
    """The array's bytes, without a copy when it is contiguous."""
    out.write(memoryview(np.ascontiguousarray(values)).cast("B"))


def _write_points(out: IO[bytes], grid: "Grid", kernel: CellKernel,
                  chosen: Optional[np.ndarray], total: int) -> None:
    out.write(np.uint64(total).tobytes())
    cells = int(np.prod(grid.dimensions))
    buffer = np.empty((min(_SLAB_CELLS, cells), 8, 3), dtype="<f8")
    swap = np.empty((buffer.shape[0], 3), dtype="<f8")
    for first in range(0, cells, _SLAB_CELLS):
        count = min(_SLAB_CELLS, cells - first)
        corners = buffer[:count]
        kernel(first, count, corners.reshape(count, 24), None, None)
        if chosen is not None:
            corners = corners[chosen[first:first + count]]
        # Swapped in place a column at a time: far cheaper than a gather of all eight.
        held = swap[:len(corners)]
        for a, b in _VTK_SWAPS:
            held[:] = corners[:, a]
            corners[:, a] = corners[:, b]
            corners[:, b] = held
        _write_values(out, corners)


def _write_counting(out: IO[bytes], n: int, start: int, step: int, dtype: np.dtype) -> None:
    """start, start + step, ... (n values of dtype), a slab at a time: the connectivity of the
    cells (each point once, in order) and their offsets."""
    out.write(np.uint64(n * dtype.itemsize).tobytes())
    for first in range(0, n, _SLAB_CELLS * 8):
        values = np.arange(first, min(n, first + _SLAB_CELLS * 8), dtype=dtype)
        values *= step
        values += start
        _write_values(out, values)


def write_grid(grid: "Grid", path: Union[str, "os.PathLike[str]"],
               cell_data: Optional[Mapping[str, object]], active_only: bool) -> None:
    chosen = grid.actnum.ravel(order="F") != 0 if active_only else None
    cells = int(np.count_nonzero(chosen)) if chosen is not None else int(grid.actnum.size)
    data: Dict[str, np.ndarray] = {}
    for name, values in (cell_data or {}).items():
        if not isinstance(name, str):
            raise TypeError(f"cell_data names must be str, not {type(name).__name__}")
        full = per_cell(name, values, grid.actnum, grid.dual)
        written = full[chosen] if chosen is not None else full
        given = np.asarray(values).dtype
        if given.kind in "iu" and written.dtype != given and not np.isnan(written).any():
            written = written.astype(given)  # integers spread over the cells and back again
        data[name] = _vtk_array(written)
    kernel = grid._source().loaded()  # a grid without geometry fails before the file is made
    text, sizes = _header(cells, data)
    with open(path, "wb") as out:
        try:
            out.write(text.encode("utf-8"))
            _write_points(out, grid, kernel, chosen, sizes[0])
            _write_counting(out, cells * 8, 0, 1, _index_type(cells))
            _write_counting(out, cells, 8, 8, _index_type(cells))
            _write_block(out, np.full(cells, VTK_HEXAHEDRON, dtype=np.uint8))
            for values in data.values():
                _write_block(out, values)
            out.write(b"\n  </AppendedData>\n</VTKFile>\n")
        except BaseException:
            out.close()
            os.unlink(path)  # no half-written file is left behind
            raise

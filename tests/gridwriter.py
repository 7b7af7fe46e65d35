"""Plain (GRID) and extended (EGRID) grid file layouts for the tests, on top of eclwriter.

GridFile is an EclFile with one method per section kind that the grid scans look at. Every
method takes the keyword arguments of EclFile.add (order, blocks, block_items, count), so each
section can be written in either byte order and split over blocks as a test needs.
"""

from __future__ import annotations

from typing import Sequence

from eclwriter import BIG, LITTLE, EclFile  # noqa: F401  (re-exported for the tests)


class GridFile(EclFile):
    """An ECLIPSE file with helpers for the sections of both grid layouts."""

    # -- plain layout --------------------------------------------------------------------------

    def dimens(self, nx: int, ny: int, nz: int, **kw) -> "GridFile":
        return self.add("DIMENS", "INTE", [nx, ny, nz], **kw)

    def cell(self, coords: Sequence[int] = (1, 1, 1, 1, 1, 0, 0), corners: int = 24,
             **kw) -> "GridFile":
        """One cell: a COORDS section of the given items and a CORNERS section of that many
        REAL items."""
        self.add("COORDS", "INTE", list(coords), **kw)
        return self.add("CORNERS", "REAL", [float(i) for i in range(corners)], **kw)

    def corner_cell(self, ijk: Sequence[int], corners: Sequence[float], active: int = 1,
                    **kw) -> "GridFile":
        """One cell of a plain grid at (i, j, k) (from 1) with its 24 corner values."""
        self.add("COORDS", "INTE", [ijk[0], ijk[1], ijk[2], 0, active, 0, 0], **kw)
        return self.add("CORNERS", "REAL", [float(v) for v in corners], **kw)

    def cells(self, n: int, **kw) -> "GridFile":
        for i in range(n):
            self.cell(coords=(i + 1, 1, 1, i + 1, 1, 0, 0), corners=4, **kw)
        return self

    def lgrilg(self, nx: int, ny: int, nz: int, **kw) -> "GridFile":
        items = [0] * 11
        items[8:11] = [nx, ny, nz]
        return self.add("LGRILG", "INTE", items, **kw)

    # -- both layouts --------------------------------------------------------------------------

    def lgr(self, name: str, **kw) -> "GridFile":
        return self.add("LGR", "CHAR", [name], **kw)

    def nnchead(self, count: int, grid: int, **kw) -> "GridFile":
        items = [0] * 10
        items[0], items[1] = count, grid
        return self.add("NNCHEAD", "INTE", items, **kw)

    def nnc(self, nnc1: Sequence[int], nnc2: Sequence[int], **kw) -> "GridFile":
        self.add("NNC1", "INTE", list(nnc1), **kw)
        return self.add("NNC2", "INTE", list(nnc2), **kw)

    def nncl(self, items: Sequence[int], **kw) -> "GridFile":
        return self.add("NNCL", "INTE", list(items), **kw)

    # -- extended layout -----------------------------------------------------------------------

    def filehead(self, dual: int = 0, **kw) -> "GridFile":
        items = [0] * 100
        items[0], items[1], items[5] = 3, 2007, dual
        return self.add("FILEHEAD", "INTE", items, **kw)

    def gridhead(self, nx: int, ny: int, nz: int, grid_id: int = 0, **kw) -> "GridFile":
        items = [0] * 100
        items[0:5] = [1, nx, ny, nz, grid_id]
        return self.add("GRIDHEAD", "INTE", items, **kw)

    def geometry(self, nx: int, ny: int, nz: int, actnum: Sequence[int] = None,
                 **kw) -> "GridFile":
        """COORD, ZCORN and ACTNUM of a grid of that size (all cells active by default)."""
        self.add("COORD", "REAL", [0.0] * ((nx + 1) * (ny + 1) * 6), **kw)
        self.add("ZCORN", "REAL", [0.0] * (8 * nx * ny * nz), **kw)
        return self.add("ACTNUM", "INTE", list(actnum) if actnum is not None
                        else [1] * (nx * ny * nz), **kw)

    def pillars(self, coord: Sequence[float], zcorn: Sequence[float],
                actnum: Sequence[int] = None, type_: str = "REAL", **kw) -> "GridFile":
        """COORD and ZCORN of the values given (REAL or DOUB), and ACTNUM when given."""
        self.add("COORD", type_, [float(v) for v in coord], **kw)
        self.add("ZCORN", type_, [float(v) for v in zcorn], **kw)
        return self if actnum is None else self.add("ACTNUM", "INTE", list(actnum), **kw)

    def mapaxes(self, values: Sequence[float], **kw) -> "GridFile":
        return self.add("MAPAXES", "REAL", [float(v) for v in values], **kw)

    def endgrid(self, **kw) -> "GridFile":
        return self.add("ENDGRID", "INTE", [], **kw)

    def endlgr(self, **kw) -> "GridFile":
        return self.add("ENDLGR", "INTE", [], **kw)


def section_entries(catalogue_part: dict) -> dict:
    """The (position, name, type, size) of every SectionData value of a dict, by key."""
    return {k: (v.position, v.name, v.type, v.size) for k, v in catalogue_part.items()
            if hasattr(v, "position")}

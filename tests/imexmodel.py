"""Whole IMEX models for the tests: the named blocks of a grid hierarchy written as framed blocks,
the host's table of their positions, and what a loader must make of them, computed here in
NumPy from the model's own description.

A model is a main grid and its refinements laid end to end in one cell numbering. Everything is
described per global cell (activity, refinement, sizes, ...) and per packed cell (the packed
order), and the expected records, maps, origins and connection kinds are computed from that
description without the reader.
"""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Dict, List, Optional, Sequence, Tuple

import numpy as np

from imexwriter import BIG, block, header_size


@dataclass
class Rec:
    """A record of the host's table: the block's position."""
    mrf_pos: int


@dataclass
class Model:
    dims: List[Tuple[int, int, int]]
    icstps: np.ndarray                      # one int per global cell
    ipstcs: np.ndarray                      # one int per packed cell, global cell from 1
    icstcg: np.ndarray                      # one int per global cell, child grid from 1 or 0
    blocksize: Optional[np.ndarray] = None  # (cells, 3)
    extra: Dict[str, Tuple[str, np.ndarray]] = field(default_factory=dict)
    connections: Optional[Tuple[np.ndarray, np.ndarray]] = None  # packed cells from 1
    icstgn: Optional[np.ndarray] = None     # the file's own, else made from the extents

    @property
    def cell_counts(self):
        return [ni * nj * nk for ni, nj, nk in self.dims]

    @property
    def cell_begins(self):
        return np.concatenate([[0], np.cumsum(self.cell_counts)]).astype(int)

    def grid_of_cell(self):
        """ICSTGN: each global cell's grid, from 1."""
        if self.icstgn is not None:
            return self.icstgn
        return np.repeat(np.arange(1, len(self.dims) + 1), self.cell_counts).astype(np.int32)

    # What the loader must make of the model -------------------------------------------------

    def active_counts(self):
        b = self.cell_begins
        return [int((self.icstps[b[g]:b[g + 1]] > 0).sum()) for g in range(len(self.dims))]

    def active_begins(self):
        return np.concatenate([[0], np.cumsum(self.active_counts())]).astype(int)

    def masks(self):
        b = self.cell_begins
        return [(self.icstps[b[g]:b[g + 1]] > 0).astype(np.uint8) for g in range(len(self.dims))]

    def packed_to_handle(self, g):
        """The selection handle of each packed cell of grid g, in the file's packed order."""
        counts = self.active_counts()
        if counts[g] == 0:
            return None
        mask = self.masks()[g]
        dense = np.cumsum(mask) - 1
        a = self.active_begins()
        local = self.ipstcs[a[g]:a[g + 1]] - 1 - self.cell_begins[g]
        return dense[local].astype(np.int32)

    def hosts(self):
        """(hostGrid, hostCell) per grid and childGrids per grid."""
        n = len(self.dims)
        host = [(-1, -1)] * n
        children = [dict() for _ in range(n)]
        b = self.cell_begins
        for g in range(n):
            part = self.icstcg[b[g]:b[g + 1]]
            for local in np.nonzero(part > 0)[0]:
                child = int(part[local]) - 1
                host[child] = (g, int(local))
                children[g][int(local)] = child
        return host, children

    def origins(self):
        """originX, originY of each grid by the walk over BLOCKSIZE, one cell late at each change
        of grid."""
        n = len(self.dims)
        ox, oy = [0.0] * n, [0.0] * n
        if self.blocksize is None:
            return ox, oy
        _, children = self.hosts()
        ends = self.cell_begins[1:]
        g, i, j, cell, start = 0, 0, 0, 0, 0
        x, y, ldx, ldy = ox[0], oy[0], 0.0, 0.0
        for dx, dy, _dz in self.blocksize:
            ni, nj, _ = self.dims[g]
            if i >= ni:
                i, x, j, y = 0, ox[g], j + 1, y + ldy
            else:
                x += ldx
            i, ldx = i + 1, dx
            if j >= nj:
                j, y = 0, oy[g]
            ldy = dy
            if cell > ends[g]:
                start, g = cell, g + 1
                if g >= n:
                    break
                i = j = 0
                x, y, ldx, ldy = ox[g], oy[g], 0.0, 0.0
            child = children[g].get(cell - start)
            if child is not None:
                ox[child], oy[child] = x, y
            cell += 1
        return ox, oy

    def deltas(self, g):
        """dx, dy, dz of grid g: the first size of the first ni cells, the second at cells 0, ni
        and r * ni + 1 for the rows r from 2 on (nj values), every third size."""
        ni, nj, nk = self.dims[g]
        b = self.cell_begins
        sizes = self.blocksize[b[g]:b[g + 1]]
        rows = [r * ni + (1 if r >= 2 else 0) for r in range(nj)]
        rows = [c for c in rows if c < len(sizes)]
        return sizes[:ni, 0], sizes[rows, 1], sizes[:, 2]

    def connection_kinds(self):
        """(grid, kind, index) of each connection, and per grid its nnc pairs and its external
        records [(toGrid, fromCells, toCells)]."""
        p1, p2 = self.connections
        c1 = self.ipstcs[p1 - 1] - 1
        c2 = self.ipstcs[p2 - 1] - 1
        gcell = self.grid_of_cell()
        g1 = gcell[c1] - 1
        g2 = gcell[c2] - 1
        b = self.cell_begins
        l1 = c1 - b[g1]
        l2 = c2 - b[g2]
        n = len(self.dims)
        nnc = [([], []) for _ in range(n)]
        ext: List[List] = [[] for _ in range(n)]
        refs = []
        for a, x1, x2, ga, gb in zip(p1 - 1, l1, l2, g1, g2):
            ni, nj, _ = self.dims[ga]
            if ga == gb:
                if x2 == x1 + ni * nj:
                    refs.append((ga, 2, a))
                elif x2 == x1 + ni:
                    refs.append((ga, 1, a))
                elif x2 == x1 + 1:
                    refs.append((ga, 0, a))
                else:
                    refs.append((ga, 3, len(nnc[ga][0])))
                    nnc[ga][0].append(x1)
                    nnc[ga][1].append(x2)
            else:
                targets = [t for t, _, _ in ext[ga]]
                if gb in targets:
                    place = targets.index(gb)
                else:
                    place = len(ext[ga])
                    ext[ga].append((gb, [], []))
                refs.append((ga, 4 + place, len(ext[ga][place][1])))
                ext[ga][place][1].append(x1)
                ext[ga][place][2].append(x2)
        return [tuple(int(v) for v in r) for r in refs], nnc, ext

    # Writing ---------------------------------------------------------------------------------

    def blocks(self):
        ni, nj, nk = zip(*self.dims)
        named = [("IGNTID", "i", ni), ("IGNTJD", "i", nj), ("IGNTKD", "i", nk),
                 ("ICSTPS", "i", self.icstps), ("IPSTCS", "i", self.ipstcs),
                 ("ICSTCG", "i", self.icstcg), ("ICSTGN", "i", self.grid_of_cell())]
        if self.blocksize is not None:
            named.append(("BLOCKSIZE", "d", np.asarray(self.blocksize).ravel()))
        if self.connections is not None:
            named.append(("ICTPS1", "i", self.connections[0]))
            named.append(("ICTPS2", "i", self.connections[1]))
        for name, (type_, values) in self.extra.items():
            named.append((name, type_, values))
        return named

    def write(self, path, form="record", order=BIG, results: Sequence = (), skip=()):
        """Writes the model's blocks, then the result blocks [(type, values)], and returns the
        table of named positions and the positions of the result blocks."""
        data = bytearray(b"\x00" * 16)  # a few bytes ahead, so that no block starts at 0
        table = {}
        for name, type_, values in self.blocks():
            if name in skip:
                continue
            table[name] = Rec(len(data))
            data += block(form, type_, np.asarray(values), order)
        positions = []
        for type_, values in results:
            positions.append(len(data))
            data += block(form, type_, np.asarray(values), order)
        with open(path, "wb") as f:
            f.write(bytes(data))
        return table, positions


def random_model(rng, refinements=2, nested=True, with_sizes=True, connections=200,
                 empty_grid=False):
    """A main grid with refinements (the second inside the first when nested), random activity
    (negative items among the inactive), packed orders shuffled inside each grid, sizes, and
    connections of every kind."""
    dims = [(int(rng.integers(2, 7)), int(rng.integers(3, 7)), int(rng.integers(2, 4)))]
    for _ in range(refinements):
        dims.append((int(rng.integers(1, 5)), int(rng.integers(1, 5)), int(rng.integers(1, 3))))
    counts = [a * b * c for a, b, c in dims]
    total = sum(counts)
    icstps = np.where(rng.random(total) < 0.6, rng.integers(1, 5, total),
                      rng.choice([0, -1, -7], total)).astype(np.int32)
    begins = np.concatenate([[0], np.cumsum(counts)])
    if empty_grid and len(dims) > 1:
        icstps[begins[-2]:begins[-1]] = 0
    for g in range(len(dims)):
        # Every grid but an empty one keeps at least one active cell.
        if not (empty_grid and g == len(dims) - 1) and not (icstps[begins[g]:begins[g + 1]] > 0).any():
            icstps[begins[g]] = 1
    ipstcs = []
    for g in range(len(dims)):
        cells = np.nonzero(icstps[begins[g]:begins[g + 1]] > 0)[0] + begins[g] + 1
        ipstcs.append(rng.permutation(cells))
    ipstcs = np.concatenate(ipstcs).astype(np.int32)
    icstcg = np.zeros(total, np.int32)
    hosts_used = set()
    for child in range(1, len(dims)):
        host = child - 1 if nested else 0
        while True:
            local = int(rng.integers(0, counts[host]))
            if (host, local) not in hosts_used:
                break
        hosts_used.add((host, local))
        icstcg[begins[host] + local] = child + 1
    blocksize = rng.uniform(1.0, 10.0, (total, 3)).round(3) if with_sizes else None
    model = Model(dims, icstps, ipstcs, icstcg, blocksize)
    n_packed = len(ipstcs)
    if connections:
        pairs = []
        c_of_p = ipstcs - 1
        p_of_c = {int(c): p for p, c in enumerate(c_of_p)}
        for _ in range(connections):
            a = int(rng.integers(0, n_packed))
            c = int(c_of_p[a])
            g = int(np.searchsorted(begins, c, side="right") - 1)
            ni, nj, _ = dims[g]
            step = [1, ni, ni * nj, -1, 2 * ni + 3][int(rng.integers(0, 5))]
            other = p_of_c.get(c + step)
            if other is None or rng.random() < 0.2:
                other = int(rng.integers(0, n_packed))
            pairs.append((a + 1, other + 1))
        pairs = np.asarray(pairs, np.int32)
        model.connections = (pairs[:, 0].copy(), pairs[:, 1].copy())
    return model

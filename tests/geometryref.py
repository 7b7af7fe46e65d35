"""A second computation of grid geometry, in plain NumPy, for the tests to hold the native one
against: corners from COORD/ZCORN by array slicing, and volumes by a 3-point Gauss-Legendre
rule (27 points a cell) instead of the native 2-point one."""

from __future__ import annotations

import numpy as np


def pillar_corners(coord, zcorn, ni, nj, nk):
    """(ni, nj, nk, 8, 3) corners of a corner-point grid."""
    pillars = np.asarray(coord, dtype=np.float64)[:6 * (ni + 1) * (nj + 1)].reshape(
        nj + 1, ni + 1, 6)
    z = np.asarray(zcorn, dtype=np.float64)[:8 * ni * nj * nk].reshape(2 * nk, 2 * nj, 2 * ni)
    out = np.empty((ni, nj, nk, 8, 3))
    for n in range(8):
        a, b, c = n & 1, (n >> 1) & 1, (n >> 2) & 1
        depth = z[c::2, b::2, a::2]  # (nk, nj, ni)
        p = pillars[b:b + nj, a:a + ni]  # (nj, ni, 6)
        dz = p[..., 5] - p[..., 2]
        flat = dz == 0
        t = np.where(flat, 0.0, (depth - p[..., 2]) / np.where(flat, 1.0, dz))
        x = p[..., 0] + t * (p[..., 3] - p[..., 0])
        y = p[..., 1] + t * (p[..., 4] - p[..., 1])
        out[:, :, :, n] = np.stack([x, y, depth], axis=-1).transpose(2, 1, 0, 3)
    return out


def trilinear_volumes(corners):
    """Volumes of the trilinear cells of (..., 8, 3) corners by 27-point Gauss-Legendre."""
    c = np.asarray(corners, dtype=np.float64)
    points, weights = np.polynomial.legendre.leggauss(3)
    points, weights = (points + 1) / 2, weights / 2
    total = np.zeros(c.shape[:-2])
    for u, wu in zip(points, weights):
        for v, wv in zip(points, weights):
            for w, ww in zip(points, weights):
                # Derivatives of sum_n N_n(u, v, w) x_n along u, v, w.
                du = dv = dw = 0
                for n in range(8):
                    a, b, cc = n & 1, (n >> 1) & 1, (n >> 2) & 1
                    fu = (u if a else 1 - u)
                    fv = (v if b else 1 - v)
                    fw = (w if cc else 1 - w)
                    su, sv, sw = (1 if a else -1), (1 if b else -1), (1 if cc else -1)
                    du = du + su * fv * fw * c[..., n, :]
                    dv = dv + fu * sv * fw * c[..., n, :]
                    dw = dw + fu * fv * sw * c[..., n, :]
                det = np.einsum("...i,...i->...", du, np.cross(dv, dw))
                total = total + wu * wv * ww * det
    return np.abs(total)

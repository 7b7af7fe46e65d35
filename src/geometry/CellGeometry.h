#pragma once

#include <array>
#include <cstdint>

namespace kelvara::geometry {

// A point of a cell: x, y, z (z positive down, as grid files give it).
struct TPoint {
    double x = 0, y = 0, z = 0;
};

// The eight corners of a cell, by (i, j, k) offsets in the order 000, 100, 010, 110, 001, 101,
// 011, 111: corner n lies at offset (n & 1, (n >> 1) & 1, (n >> 2) & 1).
using TCorners = std::array<TPoint, 8>;

// The volume of the trilinear cell that the corners span: the integral of the determinant of
// the map's Jacobian over the unit cube, taken as its magnitude (the sign only tells the
// handedness of the grid's axes). Exact, and 0 for a cell collapsed onto a surface.
double TrilinearVolume(const TCorners& p_corners);

// The point at depth p_z on the straight pillar from (x1, y1, z1) to (x2, y2, z2), the six values
// a pillar has in COORD. A pillar whose ends lie at one depth cannot be cut by a depth: its
// corners then stand on its top (x1, y1) at the depth given.
template <class T>
inline TPoint OnPillar(const T* p_pillar, double p_z) {
    const double x1 = p_pillar[0], y1 = p_pillar[1], z1 = p_pillar[2];
    const double x2 = p_pillar[3], y2 = p_pillar[4], z2 = p_pillar[5];
    const double dz = z2 - z1;
    if (dz == 0) return {x1, y1, p_z};
    const double t = (p_z - z1) / dz;
    return {x1 + t * (x2 - x1), y1 + t * (y2 - y1), p_z};
}

// Cells of a corner-point grid: COORD (six values for each of the (ni + 1) (nj + 1) pillars,
// i fastest) and ZCORN (2ni x 2nj x 2nk depths, i fastest). Cell number c counts i fastest.
template <class TCoord, class TZcorn>
struct TPillarCells {
    const TCoord* m_coord;
    const TZcorn* m_zcorn;
    std::int64_t m_ni, m_nj, m_nk;

    void corners(std::int64_t p_cell, TCorners& p_out) const {
        const std::int64_t i = p_cell % m_ni;
        const std::int64_t j = (p_cell / m_ni) % m_nj;
        const std::int64_t k = p_cell / (m_ni * m_nj);
        for (int n = 0; n < 8; ++n) {
            const std::int64_t a = n & 1, b = (n >> 1) & 1, c = (n >> 2) & 1;
            const TCoord* pillar = m_coord + 6 * ((i + a) + (m_ni + 1) * (j + b));
            const std::int64_t z = (2 * i + a) + 2 * m_ni * ((2 * j + b) + 2 * m_nj * (2 * k + c));
            p_out[n] = OnPillar(pillar, static_cast<double>(m_zcorn[z]));
        }
    }
};

// Cells given corner by corner: 24 values a cell (x, y, z of each corner in the order of
// TCorners), as the CORNERS sections of a plain grid file hold them.
template <class T>
struct TListedCells {
    const T* m_values;

    void corners(std::int64_t p_cell, TCorners& p_out) const {
        const T* v = m_values + 24 * p_cell;
        for (int n = 0; n < 8; ++n)
            p_out[n] = {double(v[3 * n]), double(v[3 * n + 1]), double(v[3 * n + 2])};
    }
};

// Where the results of cells go; a null pointer skips that result. Cell p_first + n goes to
// place n: 24 doubles of corners, 3 of the centre (the mean of the corners), 1 volume.
struct TCellOutputs {
    double* m_corners = nullptr;
    double* m_centres = nullptr;
    double* m_volumes = nullptr;
};

// Computes p_count cells from p_first on of p_cells into p_out. Calls nothing of Python.
template <class TCells>
void ComputeCells(const TCells& p_cells, std::int64_t p_first, std::int64_t p_count,
                  const TCellOutputs& p_out) {
    TCorners corners;
    for (std::int64_t n = 0; n < p_count; ++n) {
        p_cells.corners(p_first + n, corners);
        if (p_out.m_corners) {
            double* out = p_out.m_corners + 24 * n;
            for (int c = 0; c < 8; ++c) {
                out[3 * c] = corners[c].x;
                out[3 * c + 1] = corners[c].y;
                out[3 * c + 2] = corners[c].z;
            }
        }
        if (p_out.m_centres) {
            TPoint sum;
            for (const TPoint& p : corners) {
                sum.x += p.x;
                sum.y += p.y;
                sum.z += p.z;
            }
            double* out = p_out.m_centres + 3 * n;
            out[0] = sum.x / 8;
            out[1] = sum.y / 8;
            out[2] = sum.z / 8;
        }
        if (p_out.m_volumes) p_out.m_volumes[n] = TrilinearVolume(corners);
    }
}

}  // namespace kelvara::geometry

#include "geometry/CellGeometry.h"

#include <cmath>

namespace kelvara::geometry {

namespace {

TPoint Minus(const TPoint& p_a, const TPoint& p_b) {
    return {p_a.x - p_b.x, p_a.y - p_b.y, p_a.z - p_b.z};
}

// The Jacobian of the trilinear map has columns d/du, d/dv, d/dw; each is linear in the two
// other coordinates and constant in its own, so its determinant has degree at most 2 in each
// of u, v, w. Gauss-Legendre with two points a coordinate integrates degree 3 exactly, so the
// eight points below give the exact integral.
constexpr double kLow = 0.5 - 0.5 / 1.7320508075688772935;  // 0.5 -+ 0.5/sqrt(3) on [0, 1]
constexpr double kHigh = 0.5 + 0.5 / 1.7320508075688772935;

// The derivative along one axis at (s, t) of the two other axes: the four edges along that
// axis weighted bilinearly.
TPoint Along(const std::array<TPoint, 4>& p_edges, double p_s, double p_t) {
    const double w00 = (1 - p_s) * (1 - p_t), w10 = p_s * (1 - p_t);
    const double w01 = (1 - p_s) * p_t, w11 = p_s * p_t;
    return {w00 * p_edges[0].x + w10 * p_edges[1].x + w01 * p_edges[2].x + w11 * p_edges[3].x,
            w00 * p_edges[0].y + w10 * p_edges[1].y + w01 * p_edges[2].y + w11 * p_edges[3].y,
            w00 * p_edges[0].z + w10 * p_edges[1].z + w01 * p_edges[2].z + w11 * p_edges[3].z};
}

double Determinant(const TPoint& p_a, const TPoint& p_b, const TPoint& p_c) {
    return p_a.x * (p_b.y * p_c.z - p_b.z * p_c.y) - p_a.y * (p_b.x * p_c.z - p_b.z * p_c.x) +
           p_a.z * (p_b.x * p_c.y - p_b.y * p_c.x);
}

}  // namespace

double TrilinearVolume(const TCorners& p_c) {
    // Edges along i (indexed by the j, k offsets), along j (by i, k) and along k (by i, j).
    const std::array<TPoint, 4> du = {Minus(p_c[1], p_c[0]), Minus(p_c[3], p_c[2]),
                                      Minus(p_c[5], p_c[4]), Minus(p_c[7], p_c[6])};
    const std::array<TPoint, 4> dv = {Minus(p_c[2], p_c[0]), Minus(p_c[3], p_c[1]),
                                      Minus(p_c[6], p_c[4]), Minus(p_c[7], p_c[5])};
    const std::array<TPoint, 4> dw = {Minus(p_c[4], p_c[0]), Minus(p_c[5], p_c[1]),
                                      Minus(p_c[6], p_c[2]), Minus(p_c[7], p_c[3])};
    const double g[2] = {kLow, kHigh};
    double sum = 0;
    for (double u : g) {
        for (double v : g) {
            for (double w : g) {
                sum += Determinant(Along(du, v, w), Along(dv, u, w), Along(dw, u, v));
            }
        }
    }
    return std::fabs(sum / 8);
}

}  // namespace kelvara::geometry

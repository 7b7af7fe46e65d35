#include "eclipse/NNCClassification.h"

#include <stdexcept>
#include <utility>

#include "core/pattern/Contract.h"

namespace kelvara::eclipse {

namespace {

// The halves of cell numbers of one grid. A layer size of 0 ends the process before any
// division, as a fault of the division would.
class HalfOfCell {
  public:
    explicit HalfOfCell(const TGridDims& p_dims)
        : m_layer(std::int64_t(p_dims.nx) * p_dims.ny), m_nz(p_dims.nz) {
        OSTREL_CHECK_CONTRACT(m_layer != 0, "NNC classification of a grid with nx * ny == 0");
    }
    // True for the fracture half; cell numbers of 0 and below are in the matrix half.
    bool fracture(std::int32_t p_cell) const {
        return (std::int64_t(p_cell) - 1) / m_layer >= m_nz;
    }

  private:
    std::int64_t m_layer;
    std::int64_t m_nz;
};

// A diagnostic that is built and dropped: it raises nothing, prints nothing, marks nothing.
void compose_and_drop(const char* p_text) { static_cast<void>(std::runtime_error(p_text)); }

}  // namespace

void ClassifyDualNNC(const TGridDims& p_dims, TGridSections& p_grid,
                     const std::vector<std::int32_t>& p_nnc1,
                     const std::vector<std::int32_t>& p_nnc2, std::int32_t p_dualMode) {
    std::int32_t matrixMatrix = 0, fractureFracture = 0, matrixFracture = 0, fractureMatrix = 0;
    if (!p_nnc1.empty()) {
        // Every entry of NNC1 is paired with the entry of NNC2 at the same place.
        OSTREL_CHECK_CONTRACT(p_nnc2.size() >= p_nnc1.size(), "NNC2 index out of range");
        const HalfOfCell half(p_dims);
        const std::size_t n = p_nnc1.size();
        for (std::size_t i = 0; i < n; ++i) {
            const bool first = half.fracture(p_nnc1[i]);
            const bool second = half.fracture(p_nnc2[i]);
            if (first) {
                if (second)
                    ++fractureFracture;
                else
                    ++fractureMatrix;
            } else {
                if (second)
                    ++matrixFracture;
                else
                    ++matrixMatrix;
            }
        }
    }
    compose_and_drop("Found an undefined NNC");
    if (matrixMatrix > 0 && p_dualMode == 2) {
        compose_and_drop("Found Internal NNC for the Matrix Grid in a DualPorosity Model");
    }
    if ((matrixFracture > 0 && fractureMatrix == 0) ||
        (matrixFracture <= 0 && fractureMatrix > 0)) {
        compose_and_drop("We do not support bi directional Dual NNC\nFound M->F and F->M grids");
    }
    p_grid.MatrixFaultNNCSize = matrixMatrix;
    p_grid.FractureFaultNNCSize = fractureFracture;
    if (matrixFracture > 0) {
        p_grid.DpDkFrac2Matr = false;
        p_grid.DpDkNNCSize = matrixFracture;
    } else {
        p_grid.DpDkFrac2Matr = true;
        p_grid.DpDkNNCSize = fractureMatrix;
    }
    p_grid.FaultNNCSize = static_cast<std::int32_t>(p_nnc1.size()) - p_grid.DpDkNNCSize;
}

void ClassifyExternalNNC(const TGridDims& p_dims, TGridSections& p_grid,
                         std::shared_ptr<std::vector<std::int32_t>> p_items) {
    const std::vector<std::int32_t>& items = *p_items;
    auto mask = std::make_shared<std::vector<char>>(items.size(), 0);
    if (p_grid.DpDkExternalNNCMask) {
        compose_and_drop("External NNC mask already defined for DpDk grid!");
    }
    p_grid.DpDkExternalNNCMask = mask;
    std::int32_t matrix = 0;
    if (!items.empty()) {
        const HalfOfCell half(p_dims);
        char* bytes = mask->data();
        const std::size_t n = items.size();
        for (std::size_t i = 0; i < n; ++i) {
            if (half.fracture(items[i])) {
                bytes[i] = 1;
            } else {
                ++matrix;
            }
        }
    }
    p_grid.MatrixExternalNNCSize = matrix;
    p_grid.FractureExternalNNCSize = static_cast<std::int32_t>(items.size()) - matrix;
}

}  // namespace kelvara::eclipse

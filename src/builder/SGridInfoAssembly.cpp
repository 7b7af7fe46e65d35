#include "builder/SGridInfoAssembly.h"

#include <utility>

#include "core/pattern/Contract.h"

namespace kelvara::builder {

namespace {

// p_index inside [0, p_size), or the process ends.
std::size_t checked_place(std::int32_t p_index, std::size_t p_size, const char* p_what) {
    if (p_index < 0 || static_cast<std::size_t>(p_index) >= p_size) {
        ostrel::core::contract_violation(p_what, __FILE__, __LINE__);
    }
    return static_cast<std::size_t>(p_index);
}

std::int32_t append_pair(std::vector<std::int32_t>& p_first, std::vector<std::int32_t>& p_second,
                         std::int32_t& p_count, std::int32_t p_cell1, std::int32_t p_cell2) {
    p_first.push_back(p_cell1);
    p_second.push_back(p_cell2);
    return p_count++;
}

}  // namespace

void SGridInfoAssembly::AddGrid(std::shared_ptr<SGridInfo> p_grid) {
    p_grid->gridIndex = static_cast<std::int32_t>(gridList.size());
    gridList.push_back(std::move(p_grid));
}

void SGridInfoAssembly::CreateConnectionInfos() {
    for (const auto& grid : gridList) {
        auto info = std::make_shared<SConnectionGridInfo>();
        info->grid = grid.get();
        connectionInfos.push_back(std::move(info));
    }
}

SGridInfo& SGridInfoAssembly::GridAt(std::int32_t p_grid) const {
    return *gridList[checked_place(p_grid, gridList.size(), "grid index inside gridList")];
}

TConnectionRef& SGridInfoAssembly::AddConnection(std::int32_t p_cell1, std::int32_t p_grid1,
                                                 std::int32_t p_cell2, std::int32_t p_grid2) {
    SConnectionGridInfo& info = *connectionInfos[checked_place(
        p_grid1, connectionInfos.size(), "first grid inside connectionInfos")];
    std::uint8_t kind;
    std::int32_t index;
    if (p_grid1 == p_grid2) {
        // In 64 bits, where the steps of any 32-bit extents and cells are exact.
        const std::int64_t ni = info.grid->ni;
        const std::int64_t step = std::int64_t(p_cell2) - p_cell1;
        if (step == ni * info.grid->nj) {
            kind = 2;
            index = p_cell1;
        } else if (step == ni) {
            kind = 1;
            index = p_cell1;
        } else if (step == 1) {
            kind = 0;
            index = p_cell1;
        } else {
            kind = 3;
            index = append_pair(*info.nnc1, *info.nnc2, info.nncCount, p_cell1, p_cell2);
        }
    } else {
        std::size_t place = 0;
        while (place < info.externalNNC.size() && info.externalNNC[place]->toGrid != p_grid2) {
            ++place;
        }
        if (place == info.externalNNC.size()) {
            auto external = std::make_shared<SExternalNNCInfo>();
            external->fromGrid = p_grid1;
            external->toGrid = p_grid2;
            info.externalNNC.push_back(std::move(external));
        }
        SExternalNNCInfo& external = *info.externalNNC[place];
        kind = static_cast<std::uint8_t>(4 + place);
        index = append_pair(*external.fromCells, *external.toCells, external.connectionCount,
                            p_cell1, p_cell2);
    }
    connectionSequence.push_back(TConnectionRef{static_cast<std::uint16_t>(p_grid1), kind, index});
    return connectionSequence.back();
}

}  // namespace kelvara::builder

#include "core/algorithm/CreateHistogram.h"

#include "core/pattern/Assert.h"

namespace ostrel::core::histogram_detail {

namespace {
const char* const s_file = "core/algorithm/CreateHistogram";
}

void check_bins(int p_bins, unsigned int p_line) {
    if (p_bins >= 1) return;
    throw tamblin::IPreconditionException("p_bins >= 1", "Must have at least 1 bin for histogram.",
                                          s_file, p_line);
}

void check_weight(const IGridFunction& p_weight, LocationType p_location, unsigned int p_line) {
    if (typeid(p_weight) == typeid(AlwaysOneGridFunction) || p_weight.location() == p_location) {
        return;
    }
    if (p_location == onCell) {
        throw tamblin::IPreconditionException(
            "typeid(p_weight) == typeid(AlwaysOneGridFunction) || p_weight.location() == onCell",
            "Weight grid function location must be the same as of the main grid function "
            "location (onCell).",
            s_file, p_line);
    }
    throw tamblin::IPreconditionException(
        "typeid(p_weight) == typeid(AlwaysOneGridFunction) || p_weight.location() == onVertex",
        "Weight grid function location must be the same as of the main grid function location "
        "(onVertex).",
        s_file, p_line);
}

void fail_location(unsigned int p_line) {
    throw tamblin::IPreconditionException(
        "0", "Grid function location not supported on create_histogram.", s_file, p_line);
}

}  // namespace ostrel::core::histogram_detail

#include "core/algorithm/DispatchChain.h"

#include <sstream>

namespace ostrel::core {

void fail_no_conversion(const IGridFunction& p_function, const char* p_file, unsigned int p_line) {
    std::ostringstream message;
    message << "Can not convert this grid function, because there is no conversion registered "
               "for its type: "
            << p_function.type_name() << "\n";
    throw tamblin::IPreconditionException("0", message.str(), p_file, p_line);
}

}  // namespace ostrel::core

#include "core/mapper/SelectionMappers.h"

#include <sstream>

namespace ostrel::core {

void fail_local_handle2_mapping(const IOstrelObject& p_mapper, const char* p_signature,
                                unsigned int p_line) {
    std::ostringstream message;
    message << p_signature << " is not implemented yet for " << p_mapper.type_name();
    throw IAvailabilityException(message.str(), "core/mapper/SelectionMappers", p_line);
}

}  // namespace ostrel::core

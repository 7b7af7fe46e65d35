#include "core/mapper/IHandleMapper.h"

namespace ostrel::core {

IHandleMapper::~IHandleMapper() = default;

void fail_unknown_mapping(unsigned int p_line) {
    throw tamblin::IPreconditionException("0", "Mapper don't know how to map, etc, etc, etc",
                                          "core/mapper/IHandleMapper", p_line);
}

namespace {

template <class From>
AnyHandle map_from(const IHandleMapper& p_mapper, const From& p_from, HandleType p_to) {
    switch (p_to) {
        case htHandle1:
            return AnyHandle(p_mapper.map_handle(p_from, handle_type_of<Handle1>()));
        case htHandle2:
            return AnyHandle(p_mapper.map_handle(p_from, handle_type_of<Handle2>()));
        case htHandle3:
            return AnyHandle(p_mapper.map_handle(p_from, handle_type_of<Handle3>()));
        default:
            return AnyHandle(p_mapper.map_handle(p_from, handle_type_of<Handle4>()));
    }
}

}  // namespace

AnyHandle IHandleMapper::map_any(const AnyHandle& p_from, HandleType p_to) const {
    switch (p_from.type()) {
        case htHandle1:
            return map_from(*this, p_from.get<Handle1>(), p_to);
        case htHandle2:
            return map_from(*this, p_from.get<Handle2>(), p_to);
        case htHandle3:
            return map_from(*this, p_from.get<Handle3>(), p_to);
        default:
            return map_from(*this, p_from.get<Handle4>(), p_to);
    }
}

}  // namespace ostrel::core

#pragma once

#include <cstdint>
#include <string>

namespace kelvara::imex {

// Where the named blocks of an IMEX file lie. The file has no directory of its own: whoever
// scanned it hands the loader this table.
class IGridSections {
  public:
    virtual ~IGridSections() = default;
    // The position of the named block's first byte, as Section::GoTo takes it.
    virtual std::int64_t SectionPos(const std::string& p_name) = 0;
    virtual bool HasSection(const std::string& p_name) = 0;
};

}  // namespace kelvara::imex

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kelvara::eclipse {

class Section;

// Whole-section loads of the few small sections a grid file scan looks into. After either load
// the stream stands behind the section's data, at the next header: the caller steps on with
// Section::ReadHeader, not with a walk over the blocks.

// Appends every item of a numeric section to p_items: INTE and LOGI as 32-bit integers, REAL and
// DOUB truncated towards zero. A CHAR section throws "Invalid numeric section!!!"; any other type
// complains "Invalid Feed section type:" on standard error and appends nothing.
void AppendIntItems(Section& p_section, std::vector<std::int32_t>& p_items);
std::shared_ptr<std::vector<std::int32_t>> ReadIntItems(Section& p_section);

// Every item of a section as 8-byte text, each trimmed of blanks, whatever the type says: a
// block whose length is no multiple of 8 throws "Wrong pack size reading char section items".
// The reading ends when as many 8-byte items as the header counts were taken.
std::shared_ptr<std::vector<std::string>> ReadStringItems(Section& p_section);

// The room to reserve for the items of the section: its count, but never more than the rest of
// the file could fill, so that a cut file or a wrong count costs no allocation of its own.
std::size_t ReservableItems(Section& p_section);

}  // namespace kelvara::eclipse

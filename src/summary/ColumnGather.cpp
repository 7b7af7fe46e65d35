#include "summary/ColumnGather.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "eclipse/ItemType.h"
#include "eclipse/TypedRead.h"
#include "stream/MappedWindow.h"

namespace kelvara::summary {

namespace {

constexpr std::int64_t header_bytes = 24;
constexpr std::int64_t block_items = 1000;
constexpr std::int64_t item_bytes = 4;
constexpr std::int64_t block_bytes = block_items * item_bytes + 8;
// Item groups closer than this are read by one call: a read costs about as much as copying a
// page more.
constexpr std::int64_t merge_gap = 4096;

std::uint32_t load_word(const char* p_at, bool p_swap) {
    std::uint32_t word;
    std::memcpy(&word, p_at, 4);
    return p_swap ? __builtin_bswap32(word) : word;
}

// Byte offset of item p_item from the start of a record's data, in the standard block layout.
std::int64_t item_offset(std::int64_t p_item) {
    return (p_item / block_items) * block_bytes + 4 + (p_item % block_items) * item_bytes;
}

// Bytes that block p_block of a record of p_items items carries.
std::int32_t block_payload(std::int64_t p_block, std::int64_t p_items) {
    return static_cast<std::int32_t>(std::min(block_items, p_items - p_block * block_items) *
                                     item_bytes);
}

// The layout of a record of p_items items in standard blocks, and where the wanted items lie.
class Layout {
  public:
    Layout(const TRecords& p_records, const TColumns& p_columns)
        : m_items(p_records.items),
          m_blocks((p_records.items + block_items - 1) / block_items),
          m_bytes(m_blocks * 8 + std::int64_t(p_records.items) * item_bytes) {
        m_offsets.reserve(p_columns.size);
        for (std::size_t j = 0; j < p_columns.size; ++j) {
            const std::int32_t item = p_columns.items[j];
            m_offsets.push_back(item < 0 ? -1 : item_offset(item));
        }
        plan_groups();
    }

    std::int64_t bytes() const { return m_bytes; }
    // Bytes that item groups read by themselves would cost, reads counted as a page each.
    std::int64_t sparse_cost() const {
        return m_group_bytes + std::int64_t(m_groups.size()) * 4096;
    }

    // Whether every block frame within [p_from, p_to) of a record's data held in p_data (which
    // starts at data offset p_from) is the standard one; p_trailing checks trailing lengths too.
    bool frames_fit(const char* p_data, std::int64_t p_from, std::int64_t p_to, bool p_swap,
                    bool p_trailing) const {
        for (std::int64_t b = p_from / block_bytes; b < m_blocks; ++b) {
            const std::int64_t start = b * block_bytes;
            if (start < p_from) continue;
            if (start + 4 > p_to) break;
            const std::int32_t payload = block_payload(b, m_items);
            if (load_word(p_data + (start - p_from), p_swap) != std::uint32_t(payload)) {
                return false;
            }
            const std::int64_t trail = start + 4 + payload;
            if (p_trailing && trail + 4 <= p_to &&
                load_word(p_data + (trail - p_from), p_swap) != std::uint32_t(payload)) {
                return false;
            }
        }
        return true;
    }

    // One row from the data of a whole record held at p_data.
    void gather_row(const char* p_data, bool p_swap, float* p_row) const {
        copy_runs(m_data_runs, p_data, p_swap, p_row);
    }

    // Reads the item groups of the record whose data starts at p_data into p_scratch (their bytes
    // one after the other) and fills a row from them; false when a read falls short or a frame
    // differs.
    bool gather_sparse(const stream::SharedFile& p_file, std::int64_t p_data, bool p_swap,
                       char* p_scratch, float* p_row) const {
        std::int64_t at = 0;
        for (const auto& group : m_groups) {
            const auto length = static_cast<std::size_t>(group.to - group.from);
            if (p_file.read_at(p_scratch + at, length, p_data + group.from) != length) return false;
            if (!frames_fit(p_scratch + at, group.from, group.to, p_swap, false)) return false;
            at += group.to - group.from;
        }
        copy_runs(m_scratch_runs, p_scratch, p_swap, p_row);
        return true;
    }

    std::int64_t group_bytes() const { return m_group_bytes; }

  private:
    // Columns whose items lie side by side in the bytes they are taken from, copied as one.
    struct Run {
        std::size_t column;
        std::int64_t from;  // byte of the first item, -1 for columns that read NaN
        std::size_t count;
    };

    static std::vector<Run> make_runs(const std::vector<std::int64_t>& p_from) {
        std::vector<Run> runs;
        for (std::size_t j = 0; j < p_from.size(); ++j) {
            if (!runs.empty()) {
                Run& last = runs.back();
                const bool missing = last.from < 0 && p_from[j] < 0;
                const bool next = last.from >= 0 &&
                                  p_from[j] == last.from + std::int64_t(last.count) * item_bytes;
                if (missing || next) {
                    ++last.count;
                    continue;
                }
            }
            runs.push_back({j, p_from[j] < 0 ? -1 : p_from[j], 1});
        }
        return runs;
    }

    static void copy_runs(const std::vector<Run>& p_runs, const char* p_source, bool p_swap,
                          float* p_row) {
        for (const Run& run : p_runs) {
            float* out = p_row + run.column;
            if (run.from < 0) {
                std::fill(out, out + run.count, std::numeric_limits<float>::quiet_NaN());
                continue;
            }
            const char* in = p_source + run.from;
            if (!p_swap) {
                std::memcpy(out, in, run.count * item_bytes);
                continue;
            }
            for (std::size_t i = 0; i < run.count; ++i) {
                std::uint32_t word;
                std::memcpy(&word, in + i * item_bytes, 4);
                word = __builtin_bswap32(word);
                std::memcpy(out + i, &word, 4);
            }
        }
    }

    struct Group {
        std::int64_t from;  // the leading length of the group's first block
        std::int64_t to;    // just past its last wanted item
    };

    // Groups of wanted items: each starts at the leading length of its first block, so that the
    // frame of every block an item is taken from is read and checked along with it.
    void plan_groups() {
        std::vector<std::int64_t> wanted;
        for (const std::int64_t offset : m_offsets) {
            if (offset >= 0) wanted.push_back(offset);
        }
        std::sort(wanted.begin(), wanted.end());
        wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
        for (const std::int64_t offset : wanted) {
            const std::int64_t block_start = (offset / block_bytes) * block_bytes;
            if (!m_groups.empty() && block_start - m_groups.back().to <= merge_gap) {
                m_groups.back().to = offset + item_bytes;
            } else {
                m_groups.push_back({block_start, offset + item_bytes});
            }
        }
        m_in_scratch.assign(m_offsets.size(), 0);
        std::vector<std::int64_t> base;
        std::int64_t at = 0;
        for (const auto& group : m_groups) {
            base.push_back(at);
            at += group.to - group.from;
        }
        m_group_bytes = at;
        for (std::size_t j = 0; j < m_offsets.size(); ++j) {
            if (m_offsets[j] < 0) continue;
            const auto g = std::upper_bound(m_groups.begin(), m_groups.end(), m_offsets[j],
                                            [](std::int64_t p_offset, const Group& p_group) {
                                                return p_offset < p_group.from;
                                            }) -
                           m_groups.begin() - 1;
            m_in_scratch[j] = base[g] + (m_offsets[j] - m_groups[g].from);
        }
        for (std::size_t j = 0; j < m_offsets.size(); ++j) {
            if (m_offsets[j] < 0) m_in_scratch[j] = -1;
        }
        m_data_runs = make_runs(m_offsets);
        m_scratch_runs = make_runs(m_in_scratch);
    }

    std::int64_t m_items;
    std::int64_t m_blocks;
    std::int64_t m_bytes;
    std::vector<std::int64_t> m_offsets;     // of each column's item in a record's data, or -1
    std::vector<std::int64_t> m_in_scratch;  // of each column's item among the groups read
    std::vector<Group> m_groups;
    std::int64_t m_group_bytes = 0;
    std::vector<Run> m_data_runs;     // a row from a whole record
    std::vector<Run> m_scratch_runs;  // a row from the item groups read
};

// The bytes of whole records, straight from the file's mapped pages; a record that straddles
// two windows of the mapping (or a file that cannot be mapped) is copied into a buffer of one
// record.
class Window {
  public:
    Window(const stream::SharedFile& p_file, std::int64_t p_record_bytes)
        : m_file(p_file), m_scratch(static_cast<std::size_t>(p_record_bytes)) {}

    // The bytes [p_from, p_from + p_size) of the file, or nullptr when the file ends before.
    const char* hold(std::int64_t p_from, std::int64_t p_size) {
        const auto size = static_cast<std::size_t>(p_size);
        std::size_t avail = 0;
        const char* data = m_map.view(m_file, p_from, avail);
        if (data != nullptr && avail >= size) return data;
        if (m_map.read_at(m_file, m_scratch.data(), size, p_from) != size) return nullptr;
        return m_scratch.data();
    }

  private:
    const stream::SharedFile& m_file;
    stream::MappedWindow m_map;
    std::vector<char> m_scratch;
};

}  // namespace

eclipse::TFormatProblem GatherColumns(const stream::SharedFile& p_file, const TRecords& p_records,
                                      const TColumns& p_columns, float* p_out,
                                      std::size_t& p_failed) {
    if (p_records.size == 0 || p_columns.size == 0) return {};
    const Layout layout(p_records, p_columns);
    const bool sparse = layout.sparse_cost() * 4 < layout.bytes();
    std::unique_ptr<Window> window;
    std::vector<char> scratch;
    if (sparse) {
        scratch.resize(static_cast<std::size_t>(layout.group_bytes()));
    } else {
        window = std::make_unique<Window>(p_file, layout.bytes());
    }
    std::vector<float> whole;  // one record read through the checked walk, when frames differ
    eclipse::TItemType real;
    eclipse::ParseItemType("REAL", real);

    for (std::size_t r = 0; r < p_records.size; ++r) {
        const std::int64_t data = p_records.positions[r] + header_bytes;
        const bool swap = p_records.swaps[r];
        float* row = p_out + r * p_columns.size;
        bool done = false;
        if (sparse) {
            done = layout.gather_sparse(p_file, data, swap, scratch.data(), row);
        } else if (const char* held = window->hold(data, layout.bytes())) {
            if (layout.frames_fit(held, 0, layout.bytes(), swap, true)) {
                layout.gather_row(held, swap, row);
                done = true;
            }
        }
        if (done) continue;
        // Frames other than the standard ones, or a record the file does not hold whole: the
        // checked walk reads it, or says what is wrong.
        whole.resize(static_cast<std::size_t>(p_records.items));
        const eclipse::TFormatProblem problem =
            eclipse::ReadTypedItems(p_file, data, swap, real, p_records.items, whole.data());
        if (problem) {
            p_failed = r;
            return problem;
        }
        for (std::size_t j = 0; j < p_columns.size; ++j) {
            const std::int32_t item = p_columns.items[j];
            row[j] = item < 0 ? std::numeric_limits<float>::quiet_NaN() : whole[item];
        }
    }
    return {};
}

}  // namespace kelvara::summary

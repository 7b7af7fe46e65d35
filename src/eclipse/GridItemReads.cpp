#include "eclipse/GridItemReads.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "eclipse/ItemKinds.h"
#include "eclipse/ItemLoops.h"
#include "eclipse/ItemRecords.h"
#include "eclipse/Section.h"

namespace kelvara::eclipse {

namespace {

template <class Kind>
struct IntVectorSink : SinkBase {
    std::vector<std::int32_t>& m_items;
    void operator()(typename Kind::value_type p_value) {
        m_items.push_back(Kind::to_word(p_value));
    }
};

class TextCollector final : public TListCursor {
  public:
    explicit TextCollector(std::vector<std::string>& p_texts) : m_texts(p_texts) {}
    void put_text(const char* p_text) override { m_texts.emplace_back(p_text); }
    // The text loop delivers texts only.
    void put_int(std::int32_t) override {}
    void put_float(double) override {}

  private:
    std::vector<std::string>& m_texts;
};

}  // namespace

void AppendIntItems(Section& p_section, std::vector<std::int32_t>& p_items) {
    if (p_section.letter() == 'C') throw std::runtime_error("Invalid numeric section!!!");
    p_section.stream().seek(p_section.data_position());
    const bool known =
        with_numeric_kind(p_section.letter(), p_section.swap(), [&](auto p_kind, auto p_swap) {
            using Kind = decltype(p_kind);
            IntVectorSink<Kind> sink{{}, p_items};
            whole_loop<Kind, decltype(p_swap)::value>(p_section.stream(), p_section.Size(), sink);
        });
    if (!known) {
        std::fputs("Invalid Feed section type:", stderr);
        std::fputc(p_section.letter(), stderr);
        std::fputc('\n', stderr);
    }
}

std::shared_ptr<std::vector<std::int32_t>> ReadIntItems(Section& p_section) {
    auto items = std::make_shared<std::vector<std::int32_t>>();
    AppendIntItems(p_section, *items);
    return items;
}

std::shared_ptr<std::vector<std::string>> ReadStringItems(Section& p_section) {
    auto texts = std::make_shared<std::vector<std::string>>();
    texts->reserve(ReservableItems(p_section));
    TextCollector collector(*texts);
    p_section.ListAllAsText(collector);
    return texts;
}

std::size_t ReservableItems(Section& p_section) {
    if (p_section.Size() <= 0) return 0;
    const std::int64_t item_bytes = p_section.item_size() > 0 ? p_section.item_size() : 1;
    const std::int64_t room = p_section.stream().file()->size() - p_section.data_position();
    return static_cast<std::size_t>(
        std::max<std::int64_t>(0, std::min<std::int64_t>(p_section.Size(), room / item_bytes)));
}

}  // namespace kelvara::eclipse

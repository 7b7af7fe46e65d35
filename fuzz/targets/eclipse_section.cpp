// The ECLIPSE cursor and its feeds: every section of the file is visited in turn and read by
// one of the item operations, chosen by the section's position in the file, so that every
// operation meets every kind of section.
#include <algorithm>
#include <vector>

#include "Harness.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/Section.h"

namespace {

class DiscardingList : public kelvara::eclipse::TListCursor {
  public:
    void put_int(std::int32_t) override { ++m_items; }
    void put_float(double) override { ++m_items; }
    void put_text(const char*) override { ++m_items; }

  private:
    std::size_t m_items = 0;
};

}  // namespace

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::eclipse, p_input) {
    kelvara::eclipse::Section section(p_input.stream(), 0);
    for (int visited = 0; visited < 64; ++visited) {
        if (section.Name().empty() && section.Size() == 0 && visited > 0) break;
        ostrel::builder::ArrayFeeder feeder;
        DiscardingList list;
        const std::int32_t size = section.Size();
        const std::int64_t position = section.Position();
        switch (visited % 8) {
            case 0:
                section.FeedAll(feeder);
                break;
            case 1:
                section.RangeCount(1, size / 2);
                section.FeedRange(feeder, 1, size / 2, 1 + visited % 3);
                break;
            case 2:
                section.CheckListFits(size);
                section.ListAll(list);
                break;
            case 3:
                section.RangeCount(size / 3, size / 3);
                section.CheckListFits(size / 3);
                section.ListRange(list, size / 3, size / 3, 1);
                break;
            case 4: {
                kelvara::eclipse::TBitCounts counts;
                section.CountBits(counts);
                section.FeedBit0(feeder);
                section.FeedBit1(feeder);
                break;
            }
            case 5: {
                kelvara::eclipse::TCoordsRecord record;
                section.ReadToIntRecord(record);
                break;
            }
            case 6: {
                section.CheckListFits(size);
                std::vector<char> mask(static_cast<std::size_t>(std::max(size, 0)));
                for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = static_cast<char>(i % 3);
                section.FeedMasked(kelvara::eclipse::TSectionMask{mask, 1}, feeder);
                break;
            }
            default:
                section.JumpItems();
                break;
        }
        if (!section.GoTo(position) || !section.Advance()) break;
    }
}

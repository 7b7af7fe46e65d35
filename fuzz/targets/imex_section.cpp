// The IMEX block cursor in the frame form that the input's first byte names: every block is
// decoded in turn and read by one of the ranged, vector and whole-block reads, as ints or as
// doubles by the block's place.
#include <vector>

#include "Harness.h"
#include "builder/ArrayFeeder.h"
#include "imex/Section.h"

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::imex, p_input) {
    if (p_input.size() == 0) return;
    const int form = p_input.byte(0) % 3;
    // The blocks start behind the byte of parameters; a record or marked file is read with
    // bare_records off, which decodes whichever of those two frames it meets.
    kelvara::imex::Section section(p_input.stream(), 1, form == 0);
    for (int visited = 0; visited < 64; ++visited) {
        const char type = visited % 2 == 0 ? 'i' : 'd';
        const std::uint32_t items = section.ItemsCount(type);
        const auto half = static_cast<std::int32_t>(items / 2);
        ostrel::builder::ArrayFeeder feeder;
        switch (visited / 2 % 5) {
            case 0:
                if (type == 'i')
                    section.FeedIntRange(feeder, 0, -1);
                else
                    section.FeedDoubleRange(feeder, half, -1);
                break;
            case 1: {
                std::vector<std::int32_t> ints;
                std::vector<double> doubles;
                if (type == 'i')
                    section.LoadIntVector(ints, half, half);
                else
                    section.LoadDoubleVector(doubles, 0, -1);
                break;
            }
            case 2: {
                std::vector<std::int32_t> ints;
                section.ReadWholeIntSection(ints);
                break;
            }
            case 3: {
                // The whole payload, into room for what it holds once the file could fill it.
                section.CheckFits(section.data_pos(), items, type == 'i' ? 4 : 8);
                if (type == 'i') {
                    std::vector<std::int32_t> out(items);
                    section.LoadWhole(out.data());
                } else {
                    std::vector<double> out(items);
                    section.LoadWhole(out.data());
                }
                break;
            }
            default: {
                std::vector<std::int32_t> ints(64);
                std::vector<double> doubles(64);
                const std::int32_t first = static_cast<std::int32_t>(p_input.byte(visited)) - 8;
                if (type == 'i')
                    section.ReadIntRange(ints.data(), first, 64);
                else
                    section.ReadDoubleRange(doubles.data(), first, 64);
                break;
            }
        }
        if (!section.Advance()) break;
    }
}

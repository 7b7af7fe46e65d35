// The scan of an extended grid file, then the dual readers over each ACTNUM section it lists.
#include "Harness.h"
#include "builder/ArrayFeeder.h"
#include "eclipse/DualPorosityActivity.h"
#include "eclipse/GridFileScan.h"

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::eclipse, p_input) {
    auto stream = p_input.stream();
    const kelvara::eclipse::TGridFileMap map = kelvara::eclipse::BuildExtGridMap(stream);
    int read = 0;
    for (const auto& [name, grid] : map.grids) {
        for (const auto& section : grid.sections) {
            if (section.name != "ACTNUM" || ++read > 8) continue;
            kelvara::eclipse::DpDkExtGridActiveCellsCount(stream, section.position);
            ostrel::builder::ArrayFeeder feeder;
            kelvara::eclipse::ReadExtGridDpDkActnumSections(stream, section.size, section.position,
                                                            read % 2 == 0, feeder);
        }
    }
}

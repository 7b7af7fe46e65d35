// The catalogue of every section of a file, as MapFileSections builds it.
#include "Harness.h"
#include "eclipse/SectionMaps.h"

KELVARA_FUZZ_TARGET(kelvara::fuzz::Format::eclipse, p_input) {
    auto stream = p_input.stream();
    kelvara::eclipse::ListFileSections(stream);
}

// The module _kelvaraio: the scopes eclipse, imex and mores, built in this order at import.
#include "bindings/Common.h"
#include "bindings/EclipseBindings.h"

namespace kelvara::bindings {

struct ImexScope {};
struct MoReSScope {};

}  // namespace kelvara::bindings

PYBIND11_MODULE(_kelvaraio, m) {
    using namespace kelvara::bindings;
    m.doc() = "Readers of ECLIPSE, IMEX and MoReS files, in the scopes eclipse, imex and mores.";

    py::class_<EclipseScope> eclipse(m, "eclipse",
                                     "ECLIPSE unformatted files: section cursor, "
                                     "item feeding, section maps, grid sections.");
    ExposeEclipseSection(eclipse);
    ExposeEclipseStatics(eclipse);

    py::class_<ImexScope>(m, "imex", "IMEX framed binary blocks.");
    py::class_<MoReSScope>(m, "mores", "MoReS base-64 data.");
}

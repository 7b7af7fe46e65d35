// The module _kelvaraio: the scopes eclipse, imex and mores, built in this order at import.
#include "bindings/Common.h"
#include "bindings/EclipseBindings.h"
#include "bindings/FormattedBindings.h"
#include "bindings/GeometryBindings.h"
#include "bindings/ImexBindings.h"
#include "bindings/MoresBindings.h"
#include "bindings/ReaderTranslators.h"
#include "bindings/SectionCatalogue.h"
#include "bindings/SummaryBindings.h"
#include "bindings/TypedReadBindings.h"
#include "bindings/WriterBindings.h"

PYBIND11_MODULE(_kelvaraio, m) {
    using namespace kelvara::bindings;
    m.doc() = "Readers of ECLIPSE, IMEX and MoReS files, in the scopes eclipse, imex and mores.";

    RegisterReaderTranslators();

    py::class_<EclipseScope> eclipse(m, "eclipse",
                                     "ECLIPSE unformatted files: section cursor, "
                                     "item feeding, section maps, grid sections.");
    ExposeEclipseSection(eclipse);
    ExposeSectionCatalogue(eclipse);
    ExposeEclipseStatics(eclipse);

    py::class_<ImexScope> imex(m, "imex", "IMEX framed binary blocks.");
    ExposeImex(imex);

    py::class_<_mores::MoReSScope> mores(m, "mores", "MoReS base-64 data.");
    ExposeMores(mores);

    ExposeTypedRead(m);
    ExposeSummary(m);
    ExposeWriter(m);
    ExposeFormatted(m);
    ExposeGeometry(m);
}

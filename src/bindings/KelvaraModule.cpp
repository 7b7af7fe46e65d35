// The module _kelvaraio: the scopes eclipse, imex and mores, built in this order at import.
#include <exception>
#include <stdexcept>

#include "bindings/Common.h"
#include "bindings/CoreExceptions.h"
#include "bindings/EclipseBindings.h"
#include "bindings/ImexBindings.h"
#include "bindings/MoresBindings.h"
#include "bindings/SectionCatalogue.h"
#include "bindings/TypedReadBindings.h"

PYBIND11_MODULE(_kelvaraio, m) {
    using namespace kelvara::bindings;
    m.doc() = "Readers of ECLIPSE, IMEX and MoReS files, in the scopes eclipse, imex and mores.";

    // Messages of the readers can carry text of the files (section names): they reach Python
    // as RuntimeError decoded as Latin-1, like every other text of the files. pybind11's own
    // exceptions go on to its translators.
    py::register_local_exception_translator([](std::exception_ptr p_error) {
        try {
            std::rethrow_exception(p_error);
        } catch (const py::builtin_exception&) {
            throw;
        } catch (const std::runtime_error& p_failure) {
            py::set_error(PyExc_RuntimeError, latin1(p_failure.what()));
        }
    });
    // Registered last, so tried first: the core's exceptions become kelvara's error classes.
    py::register_local_exception_translator(&TranslateCoreExceptions);

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
}

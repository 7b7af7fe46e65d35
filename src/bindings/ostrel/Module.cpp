// The module _ostrel: the host side's feeders, the mask vector and, later, the core's arrays and
// grid records. Each area registers itself from a file of its own.
#include "bindings/Common.h"
#include "bindings/ostrel/Registration.h"

PYBIND11_MODULE(_ostrel, m) {
    using namespace kelvara::bindings;
    m.doc() = "Feeders and builders: the sinks that readers pour values into.";
    RegisterCoreExceptions(m);
    RegisterArrays(m);
    RegisterFeeders(m);
    RegisterCharVector(m);
    RegisterGridFunctions(m);
    RegisterTopologies(m);
    RegisterGridRecords(m);
}

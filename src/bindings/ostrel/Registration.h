#pragma once

// The areas of the _ostrel module, one registration function each, called by the module body in
// this order.
#include "bindings/Common.h"

namespace kelvara::bindings {

// PreconditionError, PostconditionError, AvailabilityError and their translation.
void RegisterCoreExceptions(py::module_& m);
// Array, the core's typed arrays.
void RegisterArrays(py::module_& m);
// ArrayFeeder, the 1D and 3D builders and CompleteCornersBuilder.
void RegisterFeeders(py::module_& m);
// CharVector, the mask type of the readers.
void RegisterCharVector(py::module_& m);
// GridFunction.
void RegisterGridFunctions(py::module_& m);
// HandleMapper, ReservoirTopology and ReservoirSelectionTopology.
void RegisterTopologies(py::module_& m);
// The grid description records and the connection feeder.
void RegisterGridRecords(py::module_& m);

}  // namespace kelvara::bindings

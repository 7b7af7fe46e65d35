#include "core/grid_function/IGridFunction.h"

#include "core/pattern/Assert.h"

namespace ostrel::core {

IGridFunction::~IGridFunction() = default;
IScalarGridFunction::~IScalarGridFunction() = default;

std::shared_ptr<IGridFunction> IGridFunction::deep_copy() const {
    std::shared_ptr<IGridFunction> result = copy();
    result->make_unique();
    return result;
}

bool IGridFunction::do_change_location(LocationType) {
    OSTREL_NOT_AVAILABLE(*this, " is not available for ", "core/grid_function/IGridFunction",
                         "\nCan't change this GridFunction location.");
}

void IGridFunction::describe(std::ostream& p_stream, std::string p_prefix,
                             std::string p_class_name) const {
    (void)p_class_name;
    IOstrelObject::describe(p_stream, p_prefix, "GridFunction");
    const ElementShape shape = result_shape();
    p_stream << p_prefix << "  Accepted Handles: " << accepted_handles_text(accepted_handles())
             << "\n";
    p_stream << p_prefix << "  Location: " << static_cast<unsigned int>(location()) << "\n";
    p_stream << p_prefix << "  Result Scalar Type: " << scalar_type_name(result_scalar_type())
             << "\n";
    p_stream << p_prefix << "  Result Shape: " << extent_text(shape[0], shape[1]) << "\n";
    p_stream << p_prefix << "  Number of Elements: ";
    const unsigned int elements = number_of_elements();
    if (elements == infinite_elements) {
        p_stream << "(infinity)";
    } else {
        p_stream << elements;
    }
    p_stream << "\n";
}

}  // namespace ostrel::core

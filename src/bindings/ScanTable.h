#pragma once

// What the catalogue scans of unformatted and formatted files hand to Python, in one form: the
// table of their sections as NumPy arrays and lists of names, their problem as a tuple, and the
// item type a read is asked for, and the checked read of a section into its array.
#include <pybind11/numpy.h>

#include <string>
#include <vector>

#include "bindings/Common.h"
#include "eclipse/ItemType.h"
#include "eclipse/TypedRead.h"

namespace kelvara::bindings {

template <class T>
py::array_t<T> to_array(const std::vector<T>& p_values) {
    return py::array_t<T>(static_cast<py::ssize_t>(p_values.size()), p_values.data());
}

inline py::list to_texts(const std::vector<std::string>& p_texts) {
    py::list out(p_texts.size());
    for (std::size_t i = 0; i < p_texts.size(); ++i) out[i] = latin1(p_texts[i]);
    return out;
}

// None, or (message, byte, section name, section position).
template <class Scanner>
py::object ScanProblem(const Scanner& p_scanner) {
    const auto& problem = p_scanner.problem();
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position,
                          latin1(p_scanner.problem_section()),
                          p_scanner.problem_section_position());
}

// (positions, counts, name ids, type ids, big-endian flags, names, types).
template <class Scanner>
py::tuple ScanTable(const Scanner& p_scanner) {
    py::array_t<bool> swaps(static_cast<py::ssize_t>(p_scanner.swaps.size()));
    for (std::size_t i = 0; i < p_scanner.swaps.size(); ++i) {
        swaps.mutable_at(i) = p_scanner.swaps[i] != 0;
    }
    return py::make_tuple(to_array(p_scanner.positions), to_array(p_scanner.counts),
                          to_array(p_scanner.name_ids), to_array(p_scanner.type_ids), swaps,
                          to_texts(p_scanner.names), to_texts(p_scanner.types));
}

// The item type of a section type's four characters; ValueError for any other text.
inline eclipse::TItemType ItemType(const std::string& p_type) {
    eclipse::TItemType type;
    if (p_type.size() != 4 || !eclipse::ParseItemType(p_type.data(), type)) {
        throw py::value_error("unknown section type " + p_type);
    }
    return type;
}

// Reads a section's items into out, an array that must hold exactly count items of the type:
// p_read(void* destination) runs without the interpreter's lock and gives a problem (falsy when
// there is none, else with its message and position). None, or (message, byte).
template <class Read>
py::object ReadIntoArray(const std::string& p_type, std::int64_t p_count, py::array& p_out,
                         Read&& p_read) {
    const eclipse::TItemType type = ItemType(p_type);
    if (p_count < 0) throw py::value_error("a negative item count");
    if (!(p_out.flags() & py::array::c_style) || !p_out.writeable() ||
        p_out.nbytes() != eclipse::TypedBytes(type, p_count)) {
        throw py::value_error("the array does not fit the section's items");
    }
    // The array stays referenced by the caller's frame while the lock is released.
    void* out = p_out.mutable_data();
    decltype(p_read(type, out)) problem;
    {
        py::gil_scoped_release release;
        problem = p_read(type, out);
    }
    if (!problem) return py::none();
    return py::make_tuple(latin1(problem.message), problem.position);
}

}  // namespace kelvara::bindings

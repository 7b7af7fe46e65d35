#include "bindings/MoresBindings.h"

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "bindings/CharArg.h"
#include "bindings/FeederTries.h"
#include "bindings/FileObject.h"
#include "builder/ArrayFeeder.h"
#include "builder/CompleteCornersBuilder.h"
#include "mores/Feeds.h"

namespace kelvara::bindings {

namespace {

using ostrel::builder::ArrayFeeder;
using ostrel::builder::CompleteCornersBuilder;

// The feeder of a call by shared handle, or the call's own message.
template <class Kind>
std::shared_ptr<Kind> RequireFeeder(py::handle p_feeder, const char* p_message) {
    auto feeder = BySharedHandle<Kind>(p_feeder);
    if (!feeder) throw std::runtime_error(p_message);
    return feeder;
}

bool B64FeedArray(py::handle p_file, CharArg p_type, std::int32_t p_count, py::handle p_feeder) {
    return WithHostStream(p_file, [&](const auto& p_stream) {
        auto feeder = RequireFeeder<ArrayFeeder>(p_feeder, kUnknownArrayFeeder);
        mores::FeedArray(*p_stream, p_type.value, p_count, *feeder);
        return true;
    });
}

bool B64SliceFeedArray(py::handle p_file, CharArg p_type, std::int32_t p_count,
                       std::int32_t p_first, std::int32_t p_last, py::handle p_feeder) {
    return WithHostStream(p_file, [&](const auto& p_stream) {
        auto feeder = RequireFeeder<ArrayFeeder>(p_feeder, kUnknownArrayFeeder);
        mores::SliceFeedArray(*p_stream, p_type.value, p_count, p_first, p_last, *feeder);
        return true;
    });
}

bool B64FeedCornersArray(py::handle p_file, std::int32_t p_begin, std::int32_t p_end,
                         std::int32_t p_first, std::int32_t p_last, std::int32_t p_stride,
                         py::handle p_feeder) {
    return WithHostStream(p_file, [&](const auto& p_stream) {
        auto builder = RequireFeeder<CompleteCornersBuilder>(p_feeder, kUnknownCornersArrayFeeder);
        // A seek before the start of the file fails and leaves the stream where it stands.
        if (p_begin >= 0) p_stream->seek(p_begin);
        mores::FeedCornersArray(*p_stream, std::int64_t(p_end) - p_begin, p_first, p_last, p_stride,
                                *builder);
        return true;
    });
}

}  // namespace

void ExposeMores(py::class_<_mores::MoReSScope>& p_scope) {
    p_scope.def_static(
        "B64FeedArray", &B64FeedArray, py::arg("file"), py::arg("type"), py::arg("count"),
        py::arg("feeder"),
        "Decodes at most count base-64 characters from where the file object stands into an "
        "ArrayFeeder: type 'i' (int32) or 'd' (float64), little-endian. The first byte outside "
        "the alphabet ('=', a line end) ends the data. The file object is left at the end of "
        "the last chunk of up to 1024 characters read. Always True.");
    p_scope.def_static(
        "B64SliceFeedArray", &B64SliceFeedArray, py::arg("file"), py::arg("type"), py::arg("count"),
        py::arg("first"), py::arg("last"), py::arg("feeder"),
        "As B64FeedArray, feeding only the items whose index lies in [first, last); the whole "
        "stretch is read all the same. Always True.");
    p_scope.def_static(
        "B64FeedCornersArray", &B64FeedCornersArray, py::arg("file"), py::arg("begin"),
        py::arg("end"), py::arg("first"), py::arg("last"), py::arg("stride"), py::arg("feeder"),
        "Decodes the end - begin base-64 characters from byte begin on as doubles into a "
        "CompleteCornersBuilder, in bands: the items in [first, last), the band moving on by "
        "stride at the first item at or behind last. A negative begin reads where the file "
        "object stands. Always True.");
}

}  // namespace kelvara::bindings

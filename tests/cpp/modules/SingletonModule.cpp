// A small module of its own that holds a Singleton<Observations>, loaded and unloaded by the
// singleton tests. Built twice, as two libraries.
#include "core/pattern/Singleton.h"
#include "core/pattern/Subject.h"

using ostrel::core::Observations;
using ostrel::core::Singleton;

extern "C" __attribute__((visibility("default"))) void* module_observations() {
    return &Singleton<Observations>::instance();
}

extern "C" __attribute__((visibility("default"))) int module_singleton_count() {
    const auto& data = Singleton<Observations>::singleton_data();
    return data.singleton_count_ptr ? *data.singleton_count_ptr : -1;
}

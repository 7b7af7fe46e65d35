#include "singleton/SingletonRegistry.h"

#include <cstdlib>
#include <new>

namespace ostrel::singleton {

std::map<std::string, void*>& singleton_registry_instance() {
    // Never destroyed: modules release their singletons from end-of-process hooks, which may
    // run after this library's static destructors would have.
    static auto* registry = new std::map<std::string, void*>();
    return *registry;
}

void* request_memory_for_singleton_registry_data(std::size_t p_bytes) {
    void* memory = std::malloc(p_bytes == 0 ? 1 : p_bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void free_memory_for_singleton_registry_data(void* p_memory) { std::free(p_memory); }

}  // namespace ostrel::singleton

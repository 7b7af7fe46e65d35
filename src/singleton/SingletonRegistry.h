#pragma once

// The process-wide registry of singletons: a small library of its own, loaded once per process,
// so that separately loaded modules that each instantiate Singleton<T> find one object. The
// records that it holds live in its own memory, so that they outlast the module that made them.
#include <cstddef>
#include <map>
#include <string>

#if defined(_WIN32)
#if defined(OSTREL_SINGLETON_BUILD)
#define OSTREL_SINGLETON_API __declspec(dllexport)
#else
#define OSTREL_SINGLETON_API __declspec(dllimport)
#endif
#else
#define OSTREL_SINGLETON_API __attribute__((visibility("default")))
#endif

namespace ostrel::singleton {

// The map from a singleton's key (its type name) to its record.
OSTREL_SINGLETON_API std::map<std::string, void*>& singleton_registry_instance();

// Memory for a record, owned by the registry library.
OSTREL_SINGLETON_API void* request_memory_for_singleton_registry_data(std::size_t p_bytes);

// Frees memory from request_memory_for_singleton_registry_data.
OSTREL_SINGLETON_API void free_memory_for_singleton_registry_data(void* p_memory);

}  // namespace ostrel::singleton

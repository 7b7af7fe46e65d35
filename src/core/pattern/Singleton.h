#pragma once

// Singleton<T>: one T per process, even across modules that are loaded separately and each
// instantiate this template. Every module keeps its own copy of singleton_data() (the template
// has hidden visibility, so that its statics are never merged across modules); the object itself
// and its reference count are found through the process-wide registry, keyed by the type name of
// Singleton<T>. Each module holds one share, released by an end-of-process hook (which for a
// module that is unloaded runs when it is unloaded); the last share to go destroys the object.
// T's code must therefore live in a module that stays loaded.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <new>
#include <string>
#include <typeinfo>

#include "core/pattern/Assert.h"
#include "singleton/SingletonRegistry.h"

namespace ostrel::core {

// What the registry holds for one singleton, and what each module copies from it.
struct SingletonRecord {
    void* instance_ptr = nullptr;
    int* singleton_count_ptr = nullptr;
    bool releasing = false;
};

template <class T>
class __attribute__((visibility("hidden"))) Singleton {
  public:
    // The object, made on first use in the process.
    static T& instance() {
        access();
        return *static_cast<T*>(singleton_data().instance_ptr);
    }

    // The key under which the registry holds the object.
    static std::string registry_key() { return typeid(Singleton<T>).name(); }

    // Makes sure that this module holds a share of the object.
    static void access() {
        SingletonRecord& data = singleton_data();
        if (data.instance_ptr != nullptr) return;
        auto& registry = singleton::singleton_registry_instance();
        const std::string key = registry_key();
        auto found = registry.find(key);
        if (found != registry.end() && found->second != nullptr) {
            const auto* record = static_cast<const SingletonRecord*>(found->second);
            data = *record;
            ++*data.singleton_count_ptr;
        } else {
            data.singleton_count_ptr = new int(1);
            data.instance_ptr = new T();
            void* memory =
                singleton::request_memory_for_singleton_registry_data(sizeof(SingletonRecord));
            registry[key] = new (memory) SingletonRecord(data);
        }
        static const bool hooked = (std::atexit(&release_at_exit), true);
        (void)hooked;
    }

    // Gives up this module's share; the last share destroys the object.
    static void release() {
        SingletonRecord& data = singleton_data();
        if (data.instance_ptr == nullptr) return;
        OSTREL_POSTCONDITION(data.singleton_count_ptr, "singleton_data().singleton_count_ptr",
                             "core/pattern/Singleton",
                             "Singleton Count Ptr should be a valid pointer here.");
        OSTREL_POSTCONDITION(*data.singleton_count_ptr > 0,
                             "*singleton_data().singleton_count_ptr > 0", "core/pattern/Singleton",
                             "Singleton Count should be greater than zero here.");
        --*data.singleton_count_ptr;
        if (*data.singleton_count_ptr != 0) return;
        delete static_cast<T*>(data.instance_ptr);
        delete data.singleton_count_ptr;
        data.instance_ptr = nullptr;
        data.singleton_count_ptr = nullptr;
        auto& registry = singleton::singleton_registry_instance();
        auto found = registry.find(registry_key());
        if (found != registry.end()) {
            singleton::free_memory_for_singleton_registry_data(found->second);
            found->second = nullptr;
            registry.erase(found);
        }
    }

    // This module's copy of the record.
    static SingletonRecord& singleton_data() {
        static SingletonRecord data;
        return data;
    }

  private:
    static void release_at_exit() {
        SingletonRecord& data = singleton_data();
        try {
            data.releasing = true;
            access();
            release();
        } catch (const std::exception& p_failure) {
            std::fprintf(stderr, "%s\n", p_failure.what());
        }
        data.releasing = false;
    }
};

}  // namespace ostrel::core

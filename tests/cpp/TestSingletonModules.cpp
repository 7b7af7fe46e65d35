// Two modules that each hold a Singleton<Observations> see one object; after the first leaves,
// the second still works; after the second leaves, the key is gone from the registry.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "core/pattern/Singleton.h"
#include "core/pattern/Subject.h"

using namespace ostrel::core;

namespace {

struct Module {
    explicit Module(const char* p_path) : m_handle(dlopen(p_path, RTLD_NOW | RTLD_LOCAL)) {}
    ~Module() {
        if (m_handle) dlclose(m_handle);
    }
    void unload() {
        ASSERT_EQ(dlclose(m_handle), 0);
        m_handle = nullptr;
    }
    template <class F>
    F* function(const char* p_name) {
        return reinterpret_cast<F*>(dlsym(m_handle, p_name));
    }
    void* m_handle;
};

struct Subject : ISubject {};
struct Observer : IObserver {
    void update() override { ++updates; }
    int updates = 0;
};

}  // namespace

TEST(SingletonModules, TwoModulesShareOneObservations) {
    auto& registry = ostrel::singleton::singleton_registry_instance();
    const std::string key = Singleton<Observations>::registry_key();
    // Each test runs in a process of its own: nothing here has used the table yet.
    ASSERT_EQ(registry.count(key), 0u);

    Module first(KELVARA_SINGLETON_MODULE_A);
    Module second(KELVARA_SINGLETON_MODULE_B);
    ASSERT_NE(first.m_handle, nullptr) << dlerror();
    ASSERT_NE(second.m_handle, nullptr) << dlerror();
    auto* first_table = first.function<void*()>("module_observations");
    auto* second_table = second.function<void*()>("module_observations");
    auto* second_count = second.function<int()>("module_singleton_count");
    ASSERT_NE(first_table, nullptr);
    ASSERT_NE(second_table, nullptr);
    ASSERT_NE(first_table, second_table);  // two modules, two copies of the code

    void* table = first_table();
    EXPECT_EQ(second_table(), table);
    EXPECT_EQ(second_count(), 2);
    ASSERT_EQ(registry.count(key), 1u);

    // The table works through the second module after the first has left.
    first.unload();
    EXPECT_EQ(second_count(), 1);
    ASSERT_EQ(registry.count(key), 1u);
    auto* observations = static_cast<Observations*>(second_table());
    EXPECT_EQ(observations, table);
    Subject subject;
    Observer observer;
    observations->attach(&subject, &observer);
    observations->notify(&subject);
    EXPECT_EQ(observer.updates, 1);
    observations->detach(&subject, &observer);

    second.unload();
    EXPECT_EQ(registry.count(key), 0u);
}

#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "builder/SGridInfoAssembly.h"
#include "builder/TOstrelArray1DBuilder.h"
#include "core/Export.h"
#include "core/pattern/Contract.h"

namespace kelvara::builder {

// One target of connection values: a 1D builder of any element type, called through its virtual
// SetValueAt. An empty target passes the values of its connections over.
class OSTREL_CORE_API ConnectionTarget {
  public:
    ConnectionTarget() = default;
    template <class T>
    explicit ConnectionTarget(std::shared_ptr<ostrel::builder::TOstrelArray1DBuilder<T>> p_builder)
        : m_owner(p_builder), m_object(p_builder.get()), m_set(p_builder ? &set_on<T> : nullptr) {}

    explicit operator bool() const { return m_set != nullptr; }
    void SetValueAt(int p_index, double p_value) const { m_set(m_object, p_index, p_value); }
    const std::shared_ptr<void>& owner() const { return m_owner; }

  private:
    template <class T>
    static void set_on(void* p_object, int p_index, double p_value) {
        static_cast<ostrel::builder::TOstrelArray1DBuilder<T>*>(p_object)->SetValueAt(p_index,
                                                                                      p_value);
    }

    std::shared_ptr<void> m_owner;
    void* m_object = nullptr;
    void (*m_set)(void*, int, double) = nullptr;
};

// Sends the values of a connection block, one per connection in file order, to the target of
// each connection's grid and kind, at the connection's index. A cursor walks the assembly's
// connectionSequence; a second block needs a feeder whose cursor stands at the start again.
class OSTREL_CORE_API SConnectionArrayFeeder {
  public:
    // p_targets[grid][kind]; rows and kinds a connection names must be there.
    SConnectionArrayFeeder(std::shared_ptr<const SGridInfoAssembly> p_assembly,
                           std::vector<std::vector<ConnectionTarget>> p_targets);

    void InsertNextValue(double p_value) {
        OSTREL_CHECK_CONTRACT(m_cursor < m_sequence->size(),
                              "connection cursor inside connectionSequence");
        const TConnectionRef& ref = (*m_sequence)[m_cursor];
        OSTREL_CHECK_CONTRACT(ref.grid < m_targets.size(), "connection grid inside the targets");
        const auto& row = m_targets[ref.grid];
        OSTREL_CHECK_CONTRACT(ref.kind < row.size(), "connection kind inside the grid's targets");
        const ConnectionTarget& target = row[ref.kind];
        if (target) target.SetValueAt(ref.index, p_value);
        ++m_cursor;
    }

    std::size_t cursor() const { return m_cursor; }
    const std::vector<std::vector<ConnectionTarget>>& targets() const { return m_targets; }
    const std::shared_ptr<const SGridInfoAssembly>& assembly() const { return m_assembly; }

  private:
    std::shared_ptr<const SGridInfoAssembly> m_assembly;
    const std::vector<TConnectionRef>* m_sequence;
    std::vector<std::vector<ConnectionTarget>> m_targets;
    std::size_t m_cursor = 0;
};

}  // namespace kelvara::builder

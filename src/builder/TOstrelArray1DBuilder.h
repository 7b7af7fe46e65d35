#pragma once

#include <cstddef>
#include <memory>

#include "builder/ArrayFeeder.h"
#include "builder/GrowingBuffer.h"
#include "builder/Narrow.h"
#include "core/Export.h"

namespace ostrel::builder {

// A one-dimensional array of T filled by index (SetValueAt) or at an append cursor that starts
// at 0 (AppendValue, InsertNextValue). Inserted values are staged as doubles in a window and
// narrowed to T a window at a time; every other operation flushes the window first, so the
// order of all operations is kept. The window is made at the first insertion and grows with the
// insertions, so a builder that holds little reserves little.
template <class T>
class OSTREL_CORE_API TOstrelArray1DBuilder : public ArrayFeeder {
  public:
    explicit TOstrelArray1DBuilder(std::size_t p_size = 0, T p_fill = T(0));
    ~TOstrelArray1DBuilder() override;

    // Resizes to p_size elements, new ones set to the fill value.
    virtual void Resize(std::size_t p_size);
    // The value that fills the elements a resize or a store past the end creates.
    virtual T Fill() const;
    // Stores at p_index, growing with the fill value when p_index is past the end.
    virtual void SetValueAt(int p_index, double p_value);
    // Stores at the append cursor and moves it on.
    virtual void AppendValue(double p_value);

    std::size_t size() const override;
    std::size_t append_cursor() const;
    T value_at(std::size_t p_index) const;
    void copy_to(T* p_out) const;
    // Hands the values over, with their storage and without a copy, and leaves the builder
    // empty with its append cursor at 0.
    ReleasedValues<T> take_values();
    std::size_t reserved_bytes() const override;

  protected:
    void do_overflow() override;

  private:
    void do_flush();

    static constexpr std::size_t first_stage_size = 16;
    static constexpr std::size_t max_stage_size = 1024;
    std::unique_ptr<double[]> m_stage;
    std::size_t m_stage_size = 0;
    GrowingBuffer<T> m_values;
    std::size_t m_cursor = 0;
    T m_fill;
};

extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray1DBuilder<float>;
extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray1DBuilder<double>;
extern template class OSTREL_CORE_TEMPLATE_API TOstrelArray1DBuilder<int>;

}  // namespace ostrel::builder

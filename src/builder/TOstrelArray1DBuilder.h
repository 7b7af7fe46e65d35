#pragma once

#include <cstddef>

#include "builder/ArrayFeeder.h"
#include "builder/ChunkedBuffer.h"
#include "builder/Narrow.h"
#include "core/Export.h"

namespace ostrel::builder {

// A one-dimensional array of T filled by index (SetValueAt) or at an append cursor that starts
// at 0 (AppendValue, InsertNextValue). Inserted values are staged as doubles in a small window
// and narrowed to T a window at a time; every other operation flushes the window first, so the
// order of all operations is kept.
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

  protected:
    void do_overflow() override;

  private:
    void do_flush();

    static constexpr std::size_t stage_size = 1024;
    double m_stage[stage_size];
    ChunkedBuffer<T> m_values;
    std::size_t m_cursor = 0;
    T m_fill;
};

extern template class TOstrelArray1DBuilder<float>;
extern template class TOstrelArray1DBuilder<double>;
extern template class TOstrelArray1DBuilder<int>;

}  // namespace ostrel::builder

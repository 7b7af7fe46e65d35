#include "builder/TOstrelArray1DBuilder.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace ostrel::builder {

template <class T>
TOstrelArray1DBuilder<T>::TOstrelArray1DBuilder(std::size_t p_size, T p_fill) : m_fill(p_fill) {
    m_values.resize(p_size, p_fill);
}

template <class T>
TOstrelArray1DBuilder<T>::~TOstrelArray1DBuilder() = default;

template <class T>
void TOstrelArray1DBuilder<T>::do_flush() {
    const std::size_t staged = window_count();
    // A shrinking Resize may have left the cursor behind the end: the gap takes the fill.
    if (staged > 0 && m_cursor > m_values.size()) m_values.resize(m_cursor, m_fill);
    const std::size_t size = m_values.size();
    std::size_t i = 0;
    // Values that land on existing elements overwrite them; the rest are appended.
    for (; i < staged && m_cursor + i < size; ++i) {
        m_values[m_cursor + i] = Narrow<T>::apply(m_window[i]);
    }
    for (; i < staged; ++i) m_values.push_back(Narrow<T>::apply(m_window[i]));
    m_cursor += staged;
    m_next = m_window;
}

template <class T>
void TOstrelArray1DBuilder<T>::do_overflow() {
    do_flush();
    // The window doubles at each overflow until it has its full size.
    if (m_stage_size < max_stage_size) {
        m_stage_size = m_stage_size == 0 ? first_stage_size : 2 * m_stage_size;
        m_stage.reset(new double[m_stage_size]);
        m_window = m_next = m_stage.get();
        m_end = m_window + m_stage_size;
    }
}

template <class T>
void TOstrelArray1DBuilder<T>::Resize(std::size_t p_size) {
    do_flush();
    m_values.resize(p_size, m_fill);
}

template <class T>
T TOstrelArray1DBuilder<T>::Fill() const {
    return m_fill;
}

template <class T>
void TOstrelArray1DBuilder<T>::SetValueAt(int p_index, double p_value) {
    if (p_index < 0) {
        throw std::out_of_range("SetValueAt: negative index " + std::to_string(p_index));
    }
    do_flush();
    const auto index = static_cast<std::size_t>(p_index);
    if (index >= m_values.size()) m_values.resize(index + 1, m_fill);
    m_values[index] = Narrow<T>::apply(p_value);
}

template <class T>
void TOstrelArray1DBuilder<T>::AppendValue(double p_value) {
    InsertNextValue(p_value);
}

template <class T>
std::size_t TOstrelArray1DBuilder<T>::size() const {
    // Staged values past the end will extend the array when flushed.
    return std::max(m_values.size(), m_cursor + window_count());
}

template <class T>
std::size_t TOstrelArray1DBuilder<T>::append_cursor() const {
    return m_cursor + window_count();
}

template <class T>
T TOstrelArray1DBuilder<T>::value_at(std::size_t p_index) const {
    if (p_index >= m_cursor && p_index < m_cursor + window_count()) {
        return Narrow<T>::apply(m_window[p_index - m_cursor]);
    }
    return p_index < m_values.size() ? m_values[p_index] : m_fill;
}

template <class T>
void TOstrelArray1DBuilder<T>::copy_to(T* p_out) const {
    m_values.copy_to(p_out, m_values.size());
    const std::size_t staged = window_count();
    // Staged values past a shrunk end leave a gap that takes the fill, as do_flush will.
    if (staged > 0) {
        for (std::size_t i = m_values.size(); i < m_cursor; ++i) p_out[i] = m_fill;
    }
    for (std::size_t i = 0; i < staged; ++i) p_out[m_cursor + i] = Narrow<T>::apply(m_window[i]);
}

template <class T>
ReleasedValues<T> TOstrelArray1DBuilder<T>::take_values() {
    do_flush();
    m_cursor = 0;
    return m_values.release();
}

template <class T>
std::size_t TOstrelArray1DBuilder<T>::reserved_bytes() const {
    return m_values.reserved_bytes() + m_stage_size * sizeof(double);
}

template class TOstrelArray1DBuilder<float>;
template class TOstrelArray1DBuilder<double>;
template class TOstrelArray1DBuilder<int>;

}  // namespace ostrel::builder

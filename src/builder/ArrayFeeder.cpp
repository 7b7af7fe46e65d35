#include "builder/ArrayFeeder.h"

namespace ostrel::builder {

ArrayFeeder::ArrayFeeder() = default;
ArrayFeeder::~ArrayFeeder() = default;

void ArrayFeeder::do_overflow() {
    m_values.commit(window_count());
    auto space = m_values.tail_space();
    m_window = m_next = space.first;
    m_end = space.second;
}

std::size_t ArrayFeeder::size() const { return m_values.size() + window_count(); }

std::size_t ArrayFeeder::reserved_bytes() const { return m_values.reserved_bytes(); }

void ArrayFeeder::copy_to(double* p_out) const {
    // The window lies right behind the committed values, in the same storage.
    m_values.copy_to(p_out, m_values.size());
    const std::size_t pending = window_count();
    for (std::size_t i = 0; i < pending; ++i) p_out[m_values.size() + i] = m_window[i];
}

ReleasedValues<double> ArrayFeeder::take_values() {
    m_values.commit(window_count());
    reset_window();
    return m_values.release();
}

}  // namespace ostrel::builder

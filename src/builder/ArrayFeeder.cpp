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

void ArrayFeeder::copy_to(double* p_out) const {
    // The window lies inside the tail chunk, right behind the committed values.
    const std::size_t committed = m_values.size();
    m_values.copy_to(p_out, committed);
    const std::size_t pending = window_count();
    for (std::size_t i = 0; i < pending; ++i) p_out[committed + i] = m_window[i];
}

}  // namespace ostrel::builder

#pragma once

#include <algorithm>
#include <cstddef>

#include "builder/GrowingBuffer.h"
#include "core/Export.h"

namespace ostrel::builder {

// A sink of doubles in arrival order. InsertNextValue is the innermost call of every read loop:
// it is inline and not virtual, and writes into a window of free slots. Only when the window
// is full does the feeder make room through the virtual do_overflow, once per many values, so
// a derived feeder can store the values its own way.
class OSTREL_CORE_API ArrayFeeder {
  public:
    ArrayFeeder();
    virtual ~ArrayFeeder();
    ArrayFeeder(const ArrayFeeder&) = delete;
    ArrayFeeder& operator=(const ArrayFeeder&) = delete;

    void InsertNextValue(double p_value) {
        if (m_next == m_end) do_overflow();
        *m_next++ = p_value;
    }

    // Inserts p_count values in arrival order: p_fill(out, first, n) writes values first ..
    // first + n - 1 of the run to out[0 .. n-1], a window at a time, so that a loop over many
    // values takes no room test per value.
    template <class Fill>
    void InsertValues(std::size_t p_count, Fill&& p_fill) {
        std::size_t done = 0;
        while (done < p_count) {
            if (m_next == m_end) do_overflow();
            const std::size_t n =
                std::min(p_count - done, static_cast<std::size_t>(m_end - m_next));
            p_fill(m_next, done, n);
            m_next += n;
            done += n;
        }
    }

    // Number of values the feeder holds.
    virtual std::size_t size() const;
    // Copies the values collected in arrival order into p_out, which has room for size()
    // values. Derived feeders that store values their own way give their own accessors.
    void copy_to(double* p_out) const;
    // Hands the values collected over, with their storage and without a copy, and leaves the
    // feeder empty. Derived feeders hand over their own values their own way.
    ReleasedValues<double> take_values();
    // Bytes of storage the feeder holds for its values.
    virtual std::size_t reserved_bytes() const;

  protected:
    // Makes room for at least one more value and sets the window [m_next, m_end).
    virtual void do_overflow();
    // Sets an empty window, so that the next insertion calls do_overflow.
    void reset_window() { m_window = m_next = m_end = nullptr; }
    // Values written into the window since it was set.
    std::size_t window_count() const { return static_cast<std::size_t>(m_next - m_window); }

    double* m_window = nullptr;
    double* m_next = nullptr;
    double* m_end = nullptr;

  private:
    GrowingBuffer<double> m_values;
};

}  // namespace ostrel::builder

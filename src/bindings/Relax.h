#pragma once

// Host entries of cursor operations that read. When such a call ends, the cursor's stream gives
// back a large buffer that a bulk read grew, so that many idle cursors stay small.
namespace kelvara::bindings {

template <class Cursor>
struct RelaxOnReturn {
    Cursor& m_cursor;
    ~RelaxOnReturn() { m_cursor.stream().relax(); }
};

// The member function Method of the cursor, called with the stream relaxed afterwards.
template <auto Method, class Cursor, class... Args>
auto Relaxed(Cursor& p_cursor, Args... p_args) {
    RelaxOnReturn<Cursor> relax{p_cursor};
    return (p_cursor.*Method)(p_args...);
}

}  // namespace kelvara::bindings

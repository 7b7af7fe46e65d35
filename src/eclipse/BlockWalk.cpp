#include "eclipse/BlockWalk.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace kelvara::eclipse {

namespace {

// How many blocks ahead a walk asks for a length word before it reads it.
constexpr std::int64_t prefetch_blocks = 16;

// Sections up to this many bytes are passed over through the stream's buffer.
constexpr std::int32_t small_section_bytes = 64 * 1024;

// The most bytes that one split spreads its walks over.
constexpr std::int64_t split_reach = std::int64_t(8) << 20;
// Blocks walked before a long section is split among several walks.
constexpr std::int64_t split_after = 16;
// The walks beside the first one, each on a lane of its own (the first walk reads on lane 0).
constexpr int side_walks = stream::FileStream::sparse_lanes - 1;
// Fewer blocks than this left for each walk are not worth a split.
constexpr double fewest_blocks_per_walk = 32.0;
// The most bytes looked through for the start of a block.
constexpr std::int64_t widest_search = 64 * 1024;

// Passes over the whole blocks of a small section that the buffer holds or can fill, and adds
// their bytes to p_done. The next header follows closely, so reading through keeps the buffer
// on its sequential run, where the mapped view would break it. Stops, leaving the stream on the
// block, at anything the full walk must judge: a negative length or the end of the file.
template <bool Swap>
void pass_small_blocks(stream::FileStream& p_stream, std::int32_t p_total, std::int64_t& p_done) {
    while (p_done < p_total) {
        std::size_t avail;
        const char* lead = p_stream.window(4, avail);
        if (avail < 4) return;
        const std::int32_t length = stream::word_of<Swap>(lead);
        if (length < 0 || length > small_section_bytes) return;
        const std::size_t framed = static_cast<std::size_t>(length) + 8;
        p_stream.window(framed, avail);
        if (avail < framed) return;
        p_stream.consume(framed);
        p_done += length;
    }
}

// A long walk from block to block waits for each length word to arrive from memory before it
// knows where the next one lies: one fetch after another, each taking the full memory latency.
// Blocks of one length are fetched some blocks ahead on the guess of that length, which hides
// part of the wait; blocks of many lengths defeat the guess. So once the first blocks of a long
// section tell how long its blocks are, the rest is split: side walks start at evenly spaced
// points ahead, and all walks take one step in turn. The fetches of different walks do not wait
// for each other, so they overlap, and the section is crossed in a fraction of the time. Where
// the first blocks are all of one length, the side walks start where that length puts the
// blocks; otherwise each starts at the first place past its point that reads as the start of
// two blocks in a row.
//
// A side walk follows the leading length words exactly as the first walk does, and stops where
// the first walk would stop (a negative length, a block that the file cannot hold) or where it
// reaches the start of the next side walk. When the first walk lands on the start of a side
// walk, every block that the side walk found is one that the first walk would have stepped
// through with the very same length, so it takes them over, in order, and stops where it would
// have stopped. Whether the start that the side walk guessed was a true block start does not
// matter: a side walk whose start the first walk passes over is dropped, and so is one that
// another side walk passes over.
struct TSideWalk {
    std::int64_t start = 0;
    std::int64_t position = 0;
    bool alive = false;   // may still be taken over
    bool moving = false;  // still stepping
    std::vector<std::int32_t> lengths;
};

// The lengths of the blocks walked by the first walk, for the estimate of what is left.
struct TWalkedBlocks {
    std::int64_t count = 0;
    double sum = 0;
    std::int32_t longest = 0;
    bool words = true;  // every length a whole number of 4-byte words
    bool even = true;   // every length that of the first block
    std::int32_t first_length = 0;

    void add(std::int32_t p_length) {
        even = even && (count == 0 || p_length == first_length);
        if (count == 0) first_length = p_length;
        ++count;
        sum += p_length;
        longest = std::max(longest, p_length);
        words = words && p_length % 4 == 0;
    }
};

// A look for a block start from a target position on: the first place, in steps of the item
// word, where two blocks in a row, each of at most a longest length, have leading and trailing
// words that agree. Several looks go on side by side, a stretch of each in turn, so that their
// fetches overlap.
template <bool Swap>
class BlockStartLook {
  public:
    // Looks through the p_span bytes from p_target on, in a window that holds them (none: no
    // look).
    void begin(const stream::FileStream& p_stream, int p_lane, std::int64_t p_target,
               std::int64_t p_span, std::int32_t p_longest, std::size_t p_step) {
        m_target = p_target;
        m_longest = p_longest;
        m_step = p_step;
        m_at = 0;
        m_found = -1;
        m_avail = 0;
        m_view = p_stream.held(p_lane, p_target, m_avail);
        m_avail = std::min(m_avail, static_cast<std::size_t>(p_span));
        m_going = m_view != nullptr && fits(0);
        if (!m_going) return;
        for (std::size_t at = 0; at < fetch_distance && at < m_avail; at += stretch) {
            stream::fetch_ahead(m_view + at);
        }
    }
    bool going() const { return m_going; }
    // The block start found, or -1.
    std::int64_t found() const { return m_found; }

    // Looks through the next stretch of bytes, asking for one further ahead meanwhile.
    void look_on() {
        const std::size_t stop = m_at + stretch;
        if (m_avail - m_at > fetch_distance) stream::fetch_ahead(m_view + m_at + fetch_distance);
        for (; m_at < stop && fits(m_at); m_at += m_step) {
            if (starts_blocks(m_at)) {
                m_found = m_target + static_cast<std::int64_t>(m_at);
                m_going = false;
                return;
            }
        }
        m_going = fits(m_at);
    }

  private:
    static constexpr std::size_t stretch = 64;
    // How far ahead of the stretch looked through its bytes are asked for.
    static constexpr std::size_t fetch_distance = 8 * stretch;

    bool fits(std::size_t p_at) const { return p_at <= m_avail && m_avail - p_at >= 4; }
    bool starts_blocks(std::size_t p_at) const {
        // One unsigned comparison refuses negative words too: items rarely read as a length,
        // so the branch is almost never taken, and a walk through random items costs no
        // mispredicted branches.
        const std::int32_t first = stream::word_of<Swap>(m_view + p_at);
        if (static_cast<std::uint32_t>(first) > static_cast<std::uint32_t>(m_longest)) {
            return false;
        }
        const std::size_t first_end = p_at + 4 + std::size_t(first);
        if (!fits(first_end + 4) || stream::word_of<Swap>(m_view + first_end) != first) {
            return false;
        }
        const std::int32_t second = stream::word_of<Swap>(m_view + first_end + 4);
        if (static_cast<std::uint32_t>(second) > static_cast<std::uint32_t>(m_longest)) {
            return false;
        }
        const std::size_t second_end = first_end + 8 + std::size_t(second);
        return fits(second_end) && stream::word_of<Swap>(m_view + second_end) == second;
    }

    const char* m_view = nullptr;
    std::size_t m_avail = 0;
    std::size_t m_at = 0;
    std::int64_t m_target = 0;
    std::int64_t m_found = -1;
    std::int32_t m_longest = 0;
    std::size_t m_step = 4;
    bool m_going = false;
};

// Room for the lengths that a side walk of about p_blocks blocks will find: no more than a
// bounded amount at first, for an estimate from a few blocks may be far too high.
std::size_t reserved_lengths(double p_blocks) {
    constexpr double most = 1 << 16;
    return static_cast<std::size_t>(std::min(p_blocks, most)) + 16;
}

// Splits the rest of a section, whose data from p_position on still holds p_left bytes, among
// side walks; false when there is too little left.
// Kept out of the walk's loop, which it serves once a section.
template <bool Swap>
[[gnu::noinline]] bool start_side_walks(stream::FileStream& p_stream, std::int64_t p_position,
                                        std::int64_t p_left, const TWalkedBlocks& p_walked,
                                        TSideWalk (&p_sides)[side_walks], std::int64_t& p_limit) {
    const double mean = p_walked.sum / double(p_walked.count);
    if (!(mean > 0)) return false;
    const double blocks = double(p_left) / mean;
    // A split reaches no further than split_reach bytes: the walks then keep to a stretch of
    // the file that few windows hold, and a long section is split again and again.
    const double framed_left = double(p_left) + 8 * blocks;
    const double reach = std::min(framed_left, double(split_reach));
    const double per_walk = blocks * (reach / framed_left) / (side_walks + 1);
    if (per_walk < fewest_blocks_per_walk) return false;
    // Windows that the walks have left behind go, so that only the stretch around them stays
    // mapped.
    p_stream.drop_windows_behind(p_position);
    // The last side walk stops at the end of the reach; on the last split of a section, a
    // little past where the section may end, for its block count is not known closer.
    p_limit = p_position + 64 +
              (reach < framed_left ? std::int64_t(reach) : p_left + std::int64_t(12 * blocks));
    if (p_walked.even) {
        // Blocks of one length: the starts further on are where that length puts them. A
        // guess that a change of length proves wrong only loses its side walk.
        const std::int64_t framed = std::int64_t(p_walked.first_length) + 8;
        const auto per = static_cast<std::int64_t>(per_walk);
        for (int k = 0; k < side_walks; ++k) {
            TSideWalk& side = p_sides[k];
            side.start = side.position = p_position + (k + 1) * per * framed;
            side.alive = side.moving = true;
            side.lengths.clear();
            side.lengths.reserve(reserved_lengths(double(per)));
        }
        return true;
    }
    const double stretch = reach / (side_walks + 1);
    const std::int64_t longest = 2 * std::int64_t(p_walked.longest) + 64;
    const std::int32_t longest_length =
        static_cast<std::int32_t>(std::min<std::int64_t>(longest, INT32_MAX));
    const std::int64_t span = std::min<std::int64_t>(widest_search, 3 * (longest + 8));
    const std::size_t step = p_walked.words ? 4 : 1;
    std::int64_t targets[side_walks];
    for (int k = 0; k < side_walks; ++k) {
        // Block starts lie a whole number of words from the position when all lengths do.
        const std::int64_t target = p_position + std::int64_t(stretch * (k + 1));
        targets[k] = target - (target - p_position) % std::int64_t(step);
        // The walks share the windows that hold their stretches: each is mapped once, and
        // its pages are brought in once, by whichever walk comes to them.
        p_stream.hold(k + 1, targets[k]);
    }
    // Only then are the views taken, when no window moves any more.
    BlockStartLook<Swap> looks[side_walks];
    for (int k = 0; k < side_walks; ++k) {
        looks[k].begin(p_stream, k + 1, targets[k], span, longest_length, step);
    }
    for (bool going = true; going;) {
        going = false;
        for (BlockStartLook<Swap>& look : looks) {
            if (!look.going()) continue;
            look.look_on();
            going = going || look.going();
        }
    }
    bool any = false;
    std::int64_t last_start = -1;
    for (int k = 0; k < side_walks; ++k) {
        TSideWalk& side = p_sides[k];
        const std::int64_t start = looks[k].found();
        side.alive = side.moving = start > last_start;
        if (!side.alive) continue;
        last_start = side.start = side.position = start;
        side.lengths.clear();
        side.lengths.reserve(reserved_lengths(per_walk * 1.25));
        any = true;
    }
    return any;
}

// Asks for the length word some blocks ahead of the block of p_length bytes at p_position, on
// the guess that they are of its length; a wrong guess costs nothing but the hint.
inline void guess_ahead(stream::FileStream& p_stream, int p_lane, std::int64_t p_position,
                        std::int32_t p_length) {
    p_stream.prefetch_ahead(p_lane, p_position + prefetch_blocks * (std::int64_t(p_length) + 8));
}

// Reads through p_lane the length word of the block at p_position into p_length; true when the
// block is one that the first walk steps over whole: a non-negative length, and a trailing word
// inside the file of p_size bytes. Anywhere else the first walk stops.
template <bool Swap>
bool whole_block(stream::FileStream& p_stream, int p_lane, std::int64_t p_position,
                 std::int64_t p_size, std::int32_t& p_length) {
    return stream::peek_word<Swap>(p_stream, p_lane, p_position, p_length) && p_length >= 0 &&
           p_length <= p_size - p_position - 8;
}

// One step of a side walk on p_lane over the block at its position, as the first walk would
// take it; false where the first walk would stop.
template <bool Swap>
bool side_step(stream::FileStream& p_stream, int p_lane, TSideWalk& p_side, std::int64_t p_size,
               bool p_guess) {
    std::int32_t length;
    if (!whole_block<Swap>(p_stream, p_lane, p_side.position, p_size, length)) return false;
    if (p_guess) guess_ahead(p_stream, p_lane, p_side.position, length);
    p_side.lengths.push_back(length);
    p_side.position += 8 + std::int64_t(length);
    return true;
}

// The side walks after p_from that may still be taken over: the first of them, or side_walks.
int next_alive(const TSideWalk (&p_sides)[side_walks], int p_from) {
    int k = p_from + 1;
    while (k < side_walks && !p_sides[k].alive) ++k;
    return k;
}

// Each moving side walk takes a step. One that reaches the start of the next live side walk
// stops there, or, having passed over it, drops it and goes on. The last one goes on until the
// first walk takes it over, but not past p_limit.
template <bool Swap>
void step_side_walks(stream::FileStream& p_stream, TSideWalk (&p_sides)[side_walks],
                     std::int64_t p_size, std::int64_t p_limit, bool p_guess) {
    for (int k = 0; k < side_walks; ++k) {
        TSideWalk& side = p_sides[k];
        if (!side.moving) continue;
        if (!side_step<Swap>(p_stream, k + 1, side, p_size, p_guess)) {
            side.moving = false;
            continue;
        }
        const int next = next_alive(p_sides, k);
        if (next == side_walks) {
            side.moving = side.position < p_limit;
        } else if (side.position == p_sides[next].start) {
            side.moving = false;
        } else if (side.position > p_sides[next].start) {
            p_sides[next].alive = p_sides[next].moving = false;
        }
    }
}

// Walks on from p_done bytes of the blocks of a section of p_total bytes, one length word to
// the next, with side walks on long sections. Complains when the blocks do not add up.
template <bool Swap>
[[gnu::noinline]] bool jump_sparse_blocks(stream::FileStream& p_stream, std::int32_t p_total,
                                          std::int64_t p_done) {
    TBlockWalkCounts& counts = BlockWalkCounts();
    const std::int64_t size = p_stream.file()->size();
    std::int64_t position = p_stream.tell();
    TWalkedBlocks walked;
    TSideWalk sides[side_walks];
    bool split = false;
    bool may_split = true;       // false once a split was refused: too little is left
    int next_side = side_walks;  // the next side walk that the first walk may land on
    std::int64_t limit = 0;      // where the last side walk stops
    bool lagging = false;        // the stream stands behind the position
    // Whether the walks ask for words ahead on the guess of an even length: not in a section
    // split for blocks of many lengths, where the guesses would only take fetches from them.
    bool guess = true;
    while (p_total >= 1 && p_done < p_total) {
        std::int32_t length, trailing;
        if (split && whole_block<Swap>(p_stream, 0, position, size, length)) {
            // In a split section the first walk steps as the side walks do, through the lanes,
            // leaving the stream where it stands until the walk is over; anything but a whole
            // block inside the file goes to the steps below, which judge it as ever.
            if (guess) guess_ahead(p_stream, 0, position, length);
            lagging = true;
        } else {
            if (lagging) p_stream.seek(position);
            lagging = false;
            // Only the length words are read: the items in between are never fetched.
            if (!stream::read_sparse_word<Swap>(p_stream, length)) break;
            // A negative length would walk backwards, and possibly for ever: the walk ends
            // there.
            if (length < 0) break;
            // Blocks are mostly of one length, so the word some blocks ahead is asked for now,
            // on the guess that they are of this block's length.
            if (guess) guess_ahead(p_stream, 0, position, length);
            p_stream.seek(position + length + 4);
            if (!stream::read_sparse_word<Swap>(p_stream, trailing)) break;
        }
        p_done += length;
        position += std::int64_t(length) + 8;
        walked.add(length);

        if (split) {
            while (next_side < side_walks && p_done < p_total) {
                TSideWalk& side = sides[next_side];
                if (side.alive && position < side.start) break;
                if (side.alive && position == side.start) {
                    // The first walk stands where this side walk began: it takes over the
                    // blocks found there, in order, as far as the section needs them.
                    for (const std::int32_t taken : side.lengths) {
                        if (p_done >= p_total) break;
                        p_done += taken;
                        position += std::int64_t(taken) + 8;
                        ++counts.blocks_taken;
                    }
                    ++counts.walks_taken;
                }
                // Taken over, passed over or dropped: this side walk is done with.
                side.alive = side.moving = false;
                next_side = next_alive(sides, next_side);
            }
            if (p_done < p_total) step_side_walks<Swap>(p_stream, sides, size, limit, guess);
            // All side walks taken over or dropped: the section is split again further on.
            if (next_side == side_walks) split = false;
        } else if (walked.count >= split_after && may_split && p_done < p_total) {
            split =
                start_side_walks<Swap>(p_stream, position, p_total - p_done, walked, sides, limit);
            may_split = split;
            if (split) {
                guess = walked.even;
                next_side = next_alive(sides, -1);
                ++counts.splits;
            }
        }
    }
    if (lagging) p_stream.seek(position);
    if (p_done == p_total) return true;
    std::fprintf(stderr, "Error on JumpItems: %lld X %d\n", static_cast<long long>(p_done),
                 p_total);
    return false;
}

}  // namespace

bool JumpBlocks(stream::FileStream& p_stream, bool p_swap, std::int32_t p_total) {
    return stream::with_byte_order(p_swap, [&](auto p_order) {
        constexpr bool swap = decltype(p_order)::value;
        std::int64_t done = 0;
        if (p_total >= 1 && p_total <= small_section_bytes) {
            pass_small_blocks<swap>(p_stream, p_total, done);
            if (done == p_total) return true;
        }
        return jump_sparse_blocks<swap>(p_stream, p_total, done);
    });
}

TBlockWalkCounts& BlockWalkCounts() {
    thread_local TBlockWalkCounts counts;
    return counts;
}

}  // namespace kelvara::eclipse

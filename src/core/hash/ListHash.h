#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/Export.h"
#include "core/hash/SuperFastHash.h"

namespace ostrel::core {

// Maps an 8-byte key to a list of unsigned int, in two stages. The builder is an open-addressing
// table whose entries own growing lists; `build` packs every list into one array of runs (the
// count, then the values) behind a table of (key, position), and retires the builder. After
// that a lookup walks one contiguous run and allocates nothing.
class OSTREL_CORE_API ListHash {
  public:
    using Key = std::uint64_t;

    // A run of the packed form: [begin, end) holds the values of one list.
    struct Run {
        const unsigned int* begin = nullptr;
        const unsigned int* end = nullptr;
        bool empty() const { return begin == end; }
        std::size_t size() const { return static_cast<std::size_t>(end - begin); }
    };

    ListHash();
    ~ListHash();
    ListHash(const ListHash&) = delete;
    ListHash& operator=(const ListHash&) = delete;

    // The key of (selected cell, face) as the eight bytes of the two numbers in memory order.
    static Key make_key(unsigned int p_first, unsigned int p_second) {
        unsigned char bytes[8];
        std::memcpy(bytes, &p_first, 4);
        std::memcpy(bytes + 4, &p_second, 4);
        return key_from_bytes(bytes);
    }
    static Key key_from_bytes(const unsigned char* p_bytes) {
        Key key;
        std::memcpy(&key, p_bytes, 8);
        return key;
    }
    // Seven bytes 0x7F and an eighth 0x7E (empty) or 0x7D (deleted): never a real key.
    static Key empty_key();
    static Key deleted_key();
    static std::uint32_t hash_of(Key p_key) {
        unsigned char bytes[8];
        std::memcpy(bytes, &p_key, 8);
        return super_fast_hash8(bytes);
    }
    // Bucket count for a number of elements: a power of two, at least 32, whose half is greater
    // than the count.
    static std::size_t bucket_count_for(std::size_t p_elements);

    // Builder stage.
    void append(Key p_key, unsigned int p_value);
    bool erase(Key p_key);
    // The list of a key while building, or null.
    const std::vector<unsigned int>* builder_find(Key p_key) const;
    std::size_t builder_size() const { return m_count; }
    std::size_t builder_bucket_count() const { return m_buckets.size(); }

    // Packs the lists and retires the builder. A second call fails.
    void build();
    // Retires the builder without packing; used by `build`. A second call fails.
    void destroy_builder();
    bool built() const { return m_zombie_flag; }

    // Final stage: the run of a key, empty when the key is absent (or before `build`).
    Run find(Key p_key) const;
    std::size_t final_bucket_count() const { return m_final.size(); }
    const std::vector<unsigned int>& packed() const { return m_packed; }

    // Builders alive in the process.
    static long live_builder_count();

  private:
    struct Entry {
        Key key;
        std::vector<unsigned int> values;
    };
    struct FinalEntry {
        Key key;
        unsigned int position;
    };

    // Index of the key's bucket, or of the bucket where it would go (first deleted bucket on the
    // way, else the empty one that ended the search).
    std::size_t probe(Key p_key, bool& p_found) const;
    void rehash(std::size_t p_buckets);

    std::vector<Entry> m_buckets;
    std::size_t m_count = 0;
    std::size_t m_deleted = 0;
    std::vector<FinalEntry> m_final;
    std::vector<unsigned int> m_packed;
    bool m_zombie_flag = false;
};

}  // namespace ostrel::core

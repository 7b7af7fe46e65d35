#include "core/hash/ListHash.h"

#include <sstream>

#include "core/hash/ListHashFailure.h"

namespace ostrel::core {

namespace {

long s_live_builders = 0;

ListHash::Key key_of(unsigned char p_last) {
    unsigned char bytes[8] = {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, p_last};
    return ListHash::key_from_bytes(bytes);
}

}  // namespace

ListHash::Key ListHash::empty_key() {
    static const Key key = key_of(0x7E);
    return key;
}

ListHash::Key ListHash::deleted_key() {
    static const Key key = key_of(0x7D);
    return key;
}

std::size_t ListHash::bucket_count_for(std::size_t p_elements) {
    std::size_t buckets = 32;
    while (buckets / 2 <= p_elements) buckets *= 2;
    return buckets;
}

ListHash::ListHash() : m_buckets(bucket_count_for(0), Entry{empty_key(), {}}) { ++s_live_builders; }

ListHash::~ListHash() {
    if (!m_zombie_flag) {
        std::vector<Entry>().swap(m_buckets);
        --s_live_builders;
    }
}

long ListHash::live_builder_count() { return s_live_builders; }

std::size_t ListHash::probe(Key p_key, bool& p_found) const {
    const Key empty = empty_key();
    const Key deleted = deleted_key();
    const std::size_t mask = m_buckets.size() - 1;
    std::size_t index = hash_of(p_key) & mask;
    std::size_t first_deleted = m_buckets.size();
    // Steps of 1, 2, 3, ... visit every bucket of a power-of-two table within one round.
    for (std::size_t step = 1; step <= m_buckets.size(); ++step) {
        const Key here = m_buckets[index].key;
        if (here == p_key) {
            p_found = true;
            return index;
        }
        if (here == empty) break;
        if (here == deleted && first_deleted == m_buckets.size()) first_deleted = index;
        index = (index + step) & mask;
    }
    p_found = false;
    return first_deleted != m_buckets.size() ? first_deleted : index;
}

void ListHash::rehash(std::size_t p_buckets) {
    std::vector<Entry> old(p_buckets, Entry{empty_key(), {}});
    old.swap(m_buckets);
    m_deleted = 0;
    const Key empty = empty_key();
    const Key deleted = deleted_key();
    for (Entry& entry : old) {
        if (entry.key == empty || entry.key == deleted) continue;
        bool found = false;
        Entry& target = m_buckets[probe(entry.key, found)];
        target.key = entry.key;
        target.values.swap(entry.values);
    }
}

void ListHash::append(Key p_key, unsigned int p_value) {
    bool found = false;
    std::size_t index = probe(p_key, found);
    if (!found) {
        if (bucket_count_for(m_count + 1) > m_buckets.size()) {
            rehash(bucket_count_for(m_count + 1));
            index = probe(p_key, found);
        } else if (m_buckets[index].key != deleted_key() &&
                   (m_count + m_deleted + 1) * 2 >= m_buckets.size()) {
            // Deleted buckets would leave no empty one to end a search: clear them in place.
            rehash(m_buckets.size());
            index = probe(p_key, found);
        }
        Entry& entry = m_buckets[index];
        if (entry.key == deleted_key()) --m_deleted;
        entry.key = p_key;
        entry.values.clear();
        ++m_count;
    }
    m_buckets[index].values.push_back(p_value);
}

bool ListHash::erase(Key p_key) {
    bool found = false;
    const std::size_t index = probe(p_key, found);
    if (!found) return false;
    m_buckets[index].key = deleted_key();
    std::vector<unsigned int>().swap(m_buckets[index].values);
    --m_count;
    ++m_deleted;
    return true;
}

const std::vector<unsigned int>* ListHash::builder_find(Key p_key) const {
    if (m_zombie_flag) return nullptr;
    bool found = false;
    const std::size_t index = probe(p_key, found);
    return found ? &m_buckets[index].values : nullptr;
}

void ListHash::build() {
    if (m_zombie_flag) {
        throw_list_hash_failure(
            "Builder already built the structure. Do not reuse the builder, "
            "delete it.",
            __LINE__);
    }
    const Key empty = empty_key();
    const Key deleted = deleted_key();
    std::vector<FinalEntry> table(bucket_count_for(m_count), FinalEntry{empty, 0});
    const std::size_t mask = table.size() - 1;
    std::size_t total = 0;
    for (const Entry& entry : m_buckets) {
        if (entry.key != empty && entry.key != deleted) total += 1 + entry.values.size();
    }
    std::vector<unsigned int> packed;
    packed.reserve(total);
    for (const Entry& entry : m_buckets) {
        if (entry.key == empty || entry.key == deleted) continue;
        std::size_t index = hash_of(entry.key) & mask;
        for (std::size_t step = 1; table[index].key != empty; ++step) {
            index = (index + step) & mask;
        }
        table[index] = FinalEntry{entry.key, static_cast<unsigned int>(packed.size())};
        packed.push_back(static_cast<unsigned int>(entry.values.size()));
        packed.insert(packed.end(), entry.values.begin(), entry.values.end());
    }
    m_final.swap(table);
    m_packed.swap(packed);
    destroy_builder();
}

void ListHash::destroy_builder() {
    if (m_zombie_flag) {
        throw_list_hash_failure("Cannot destroy a builder already destroyed.", __LINE__);
    }
    std::vector<Entry>().swap(m_buckets);
    m_count = 0;
    m_deleted = 0;
    --s_live_builders;
    m_zombie_flag = true;
}

ListHash::Run ListHash::find(Key p_key) const {
    if (m_final.empty()) return {};
    const Key empty = empty_key();
    const std::size_t mask = m_final.size() - 1;
    std::size_t index = hash_of(p_key) & mask;
    for (std::size_t step = 1; step <= m_final.size(); ++step) {
        const FinalEntry& entry = m_final[index];
        if (entry.key == p_key) {
            const unsigned int* run = m_packed.data() + entry.position;
            return Run{run + 1, run + 1 + run[0]};
        }
        if (entry.key == empty) break;
        index = (index + step) & mask;
    }
    return {};
}

}  // namespace ostrel::core

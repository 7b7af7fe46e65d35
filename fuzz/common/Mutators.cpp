#include "Mutators.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* p_data, std::size_t p_size,
                                        std::size_t p_max_size);

namespace kelvara::fuzz {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Values that sit on the edges readers test: empty, negative, sign and width boundaries, and
// counts whose products overflow 32 bits.
constexpr std::int64_t interesting[] = {
    0,          1,          -1,         2,          3,     7,       8,           16,
    24,         255,        256,        65535,      65536, -2,      0x7FFFFFFF,  -0x7FFFFFFF - 1,
    0x20000000, 0x40000000, 0x7FFFFFF8, 0x0FFFFFFF, 2048,  1 << 24, -0x7FFFFFFE, 0x7FFFFFFE};

// Section names and types that the readers look for.
constexpr const char* keywords[] = {
    "DIMENS",  "COORDS",  "CORNERS",  "ACTNUM",   "HOSTNUM",  "LGR",      "LGRILG", "NNC1",
    "NNC2",    "NNCHEAD", "NNCL",     "NNCG",     "GRIDHEAD", "FILEHEAD", "COORD",  "ZCORN",
    "ENDGRID", "ENDLGR",  "MAPAXES",  "GRIDUNIT", "RADIAL",   "NNCHEADA", "NNA1",   "NNA2",
    "CORSNUM", "LGRNAME", "INTEHEAD", "DOUBHEAD", "SEQNUM",   "PARAMS",   "PORV",   "PRESSURE"};
constexpr const char* types[] = {"INTE", "REAL", "DOUB", "LOGI", "CHAR", "MESS", "C008", "C016"};

bool host_big_endian() {
    const std::uint16_t one = 1;
    std::uint8_t first;
    std::memcpy(&first, &one, 1);
    return first == 0;
}

std::uint32_t load_word(const std::uint8_t* p_bytes, bool p_big) {
    std::uint32_t word;
    std::memcpy(&word, p_bytes, 4);
    return p_big != host_big_endian() ? __builtin_bswap32(word) : word;
}

void store_word(std::uint8_t* p_bytes, std::uint32_t p_word, bool p_big) {
    if (p_big != host_big_endian()) p_word = __builtin_bswap32(p_word);
    std::memcpy(p_bytes, &p_word, 4);
}

void append_word(Bytes& p_out, std::uint32_t p_word, bool p_big) {
    std::uint8_t bytes[4];
    store_word(bytes, p_word, p_big);
    p_out.insert(p_out.end(), bytes, bytes + 4);
}

// A file taken apart: a few leading bytes of parameters, the payloads of its frames, and what
// could not be taken apart.
struct Framed {
    Bytes head;
    std::vector<Bytes> payloads;
    Bytes tail;
    bool big = true;
};

// ECLIPSE records: length, payload, the same length again, in one byte order for the file.
Framed parse_eclipse(const std::uint8_t* p_data, std::size_t p_size) {
    Framed framed;
    if (p_size >= 4) {
        const std::uint32_t big = load_word(p_data, true), little = load_word(p_data, false);
        framed.big = big <= little;
    }
    std::size_t pos = 0;
    while (pos + 8 <= p_size) {
        const std::uint32_t length = load_word(p_data + pos, framed.big);
        if (length > p_size - pos - 8 || load_word(p_data + pos + 4 + length, framed.big) != length)
            break;
        framed.payloads.emplace_back(p_data + pos + 4, p_data + pos + 4 + length);
        pos += length + 8;
    }
    framed.tail.assign(p_data + pos, p_data + p_size);
    return framed;
}

Bytes write_eclipse(const Framed& p_framed) {
    Bytes out;
    for (const Bytes& payload : p_framed.payloads) {
        append_word(out, static_cast<std::uint32_t>(payload.size()), p_framed.big);
        out.insert(out.end(), payload.begin(), payload.end());
        append_word(out, static_cast<std::uint32_t>(payload.size()), p_framed.big);
    }
    out.insert(out.end(), p_framed.tail.begin(), p_framed.tail.end());
    return out;
}

// IMEX blocks behind a byte whose value modulo 3 names the frame form (0 bare, 1 record,
// 2 marked) and whose bit 7 asks for little-endian records.
constexpr std::uint8_t marker[4] = {0x7F, 0xFF, 0xFF, 0xFF};

Framed parse_imex(const std::uint8_t* p_data, std::size_t p_size) {
    Framed framed;
    if (p_size == 0) return framed;
    framed.head.assign(p_data, p_data + 1);
    const int form = p_data[0] % 3;
    framed.big = form == 0 || (form == 1 && (p_data[0] & 0x80) == 0);
    if (form == 2) framed.big = host_big_endian();
    const std::size_t header = form == 1 ? 12 : form == 2 ? 8 : 4;
    const std::size_t trailer = form == 1 ? 4 : 0;
    std::size_t pos = 1;
    while (pos + header <= p_size) {
        const std::uint8_t* at = p_data + pos;
        if (form == 1 && std::memcmp(at + 4, marker, 4) != 0) break;
        if (form == 2 && std::memcmp(at, marker, 4) != 0) break;
        const std::uint32_t size = load_word(at + header - 4, framed.big);
        // A record frame whose trailing word would lie past the end is no frame either.
        const std::size_t room = p_size - pos - header;
        if (room < trailer || size > room - trailer) break;
        framed.payloads.emplace_back(at + header, at + header + size);
        pos += header + size + trailer;
    }
    framed.tail.assign(p_data + pos, p_data + p_size);
    return framed;
}

Bytes write_imex(const Framed& p_framed) {
    Bytes out(p_framed.head);
    if (out.empty()) return out;
    const int form = out[0] % 3;
    for (const Bytes& payload : p_framed.payloads) {
        const auto size = static_cast<std::uint32_t>(payload.size());
        if (form == 1) {
            append_word(out, size + 8, p_framed.big);
            out.insert(out.end(), marker, marker + 4);
        } else if (form == 2) {
            out.insert(out.end(), marker, marker + 4);
        }
        append_word(out, size, p_framed.big);
        out.insert(out.end(), payload.begin(), payload.end());
        if (form == 1) append_word(out, 0xAABBCCDD, true);
    }
    out.insert(out.end(), p_framed.tail.begin(), p_framed.tail.end());
    return out;
}

// Base-64 text behind four bytes of parameters: the bytes it decodes to are mutated and the text
// is written again, now and then with a line end or a stray byte inside it.
constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

Bytes decode_b64(const std::uint8_t* p_text, std::size_t p_size, std::size_t& p_used) {
    Bytes out;
    std::uint32_t bits = 0;
    int held = 0;
    std::size_t i = 0;
    for (; i < p_size; ++i) {
        const char* at = std::strchr(alphabet, p_text[i]);
        if (p_text[i] == 0 || at == nullptr) break;
        bits = (bits << 6) | static_cast<std::uint32_t>(at - alphabet);
        held += 6;
        if (held >= 8) {
            held -= 8;
            out.push_back(static_cast<std::uint8_t>(bits >> held));
        }
    }
    p_used = i;
    return out;
}

Bytes encode_b64(const Bytes& p_bytes, bool p_padding) {
    Bytes out;
    std::size_t i = 0;
    for (; i + 3 <= p_bytes.size(); i += 3) {
        const std::uint32_t v = (p_bytes[i] << 16) | (p_bytes[i + 1] << 8) | p_bytes[i + 2];
        for (int s = 18; s >= 0; s -= 6) out.push_back(alphabet[(v >> s) & 63]);
    }
    const std::size_t rest = p_bytes.size() - i;
    if (rest > 0) {
        std::uint32_t v = p_bytes[i] << 16;
        if (rest == 2) v |= p_bytes[i + 1] << 8;
        out.push_back(alphabet[(v >> 18) & 63]);
        out.push_back(alphabet[(v >> 12) & 63]);
        if (rest == 2) out.push_back(alphabet[(v >> 6) & 63]);
        if (p_padding) out.insert(out.end(), rest == 1 ? 2 : 1, '=');
    }
    return out;
}

class Mutator {
  public:
    Mutator(unsigned int p_seed, std::size_t p_max_size) : m_random(p_seed), m_max(p_max_size) {}

    std::size_t below(std::size_t p_n) { return p_n == 0 ? 0 : m_random() % p_n; }
    bool chance(int p_percent) { return below(100) < static_cast<std::size_t>(p_percent); }

    // Byte mutations of libFuzzer inside p_bytes, which may grow by up to a quarter.
    void bytes(Bytes& p_bytes) {
        if (p_bytes.empty()) p_bytes.push_back(static_cast<std::uint8_t>(below(256)));
        const std::size_t size = p_bytes.size();
        const std::size_t room = std::max(size, std::min(m_max, size + size / 4 + 16));
        p_bytes.resize(room);
        p_bytes.resize(LLVMFuzzerMutate(p_bytes.data(), size, room));
    }

    // One 32-bit word of p_bytes set to an interesting value, or nudged by a little.
    void word(Bytes& p_bytes, bool p_big) {
        if (p_bytes.size() < 4) return;
        const std::size_t at = below(p_bytes.size() / 4) * 4;
        std::uint32_t value;
        if (chance(70)) {
            value = static_cast<std::uint32_t>(
                interesting[below(sizeof interesting / sizeof interesting[0])]);
        } else {
            value =
                load_word(p_bytes.data() + at, p_big) + static_cast<std::uint32_t>(below(9)) - 4;
        }
        store_word(p_bytes.data() + at, value, p_big);
    }

    // The frames of p_framed, changed in one way.
    void frames(Framed& p_framed, bool p_eclipse) {
        auto& list = p_framed.payloads;
        if (list.empty()) {
            bytes(p_framed.tail);
            return;
        }
        const std::size_t at = below(list.size());
        Bytes& payload = list[at];
        switch (below(p_eclipse ? 9 : 7)) {
            case 0:
                bytes(payload);
                break;
            case 1:
            case 2:
                word(payload, p_framed.big);
                break;
            case 3:
                if (total(p_framed) + payload.size() + 8 <= m_max)
                    list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), Bytes(payload));
                break;
            case 4:
                list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            case 5:
                if (at + 1 < list.size()) std::swap(list[at], list[at + 1]);
                break;
            case 6: {
                // A frame split in two at a word boundary, as long sections are written.
                if (payload.size() < 8) break;
                const std::size_t cut = (1 + below(payload.size() / 4 - 1)) * 4;
                Bytes second(payload.begin() + static_cast<std::ptrdiff_t>(cut), payload.end());
                payload.resize(cut);
                list.insert(list.begin() + static_cast<std::ptrdiff_t>(at) + 1, std::move(second));
                break;
            }
            case 7:
                header(p_framed);
                break;
            default:
                // A header inserted before a frame, with a count that matches what follows.
                if (total(p_framed) + 24 <= m_max) {
                    Bytes made(16, ' ');
                    const char* name = keywords[below(sizeof keywords / sizeof keywords[0])];
                    std::memcpy(made.data(), name, std::strlen(name));
                    store_word(made.data() + 8, static_cast<std::uint32_t>(payload.size() / 4),
                               p_framed.big);
                    std::memcpy(made.data() + 12, "INTE", 4);
                    list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), std::move(made));
                }
                break;
        }
    }

  private:
    // A header (a 16-byte record) with a new name, count or type.
    void header(Framed& p_framed) {
        std::vector<std::size_t> headers;
        for (std::size_t i = 0; i < p_framed.payloads.size(); ++i)
            if (p_framed.payloads[i].size() == 16) headers.push_back(i);
        if (headers.empty()) return;
        Bytes& made = p_framed.payloads[headers[below(headers.size())]];
        switch (below(3)) {
            case 0: {
                const char* name = keywords[below(sizeof keywords / sizeof keywords[0])];
                std::memset(made.data(), ' ', 8);
                std::memcpy(made.data(), name, std::min<std::size_t>(8, std::strlen(name)));
                break;
            }
            case 1:
                store_word(
                    made.data() + 8,
                    static_cast<std::uint32_t>(
                        chance(50) ? interesting[below(sizeof interesting / 8)]
                                   : load_word(made.data() + 8, p_framed.big) + below(5) - 2),
                    p_framed.big);
                break;
            default:
                std::memcpy(made.data() + 12, types[below(sizeof types / sizeof types[0])], 4);
                break;
        }
    }

    static std::size_t total(const Framed& p_framed) {
        std::size_t sum = p_framed.head.size() + p_framed.tail.size();
        for (const Bytes& payload : p_framed.payloads) sum += payload.size() + 16;
        return sum;
    }

    std::minstd_rand m_random;
    std::size_t m_max;
};

std::size_t put(const Bytes& p_out, std::uint8_t* p_data, std::size_t p_max_size) {
    const std::size_t size = std::min(p_out.size(), p_max_size);
    // An empty result has no bytes to copy, and maybe no storage to copy from.
    if (size != 0) std::memcpy(p_data, p_out.data(), size);
    return size;
}

}  // namespace

std::size_t Mutate(Format p_format, std::uint8_t* p_data, std::size_t p_size,
                   std::size_t p_max_size, unsigned int p_seed) {
    Mutator mutator(p_seed, p_max_size);
    // Plain byte mutations now and then, and always for formats without frames.
    if (p_format == Format::raw || mutator.chance(15))
        return LLVMFuzzerMutate(p_data, p_size, p_max_size);
    switch (p_format) {
        case Format::eclipse: {
            Framed framed = parse_eclipse(p_data, p_size);
            // Now and then the other byte order.
            if (mutator.chance(3)) framed.big = !framed.big;
            mutator.frames(framed, true);
            return put(write_eclipse(framed), p_data, p_max_size);
        }
        case Format::imex: {
            Framed framed = parse_imex(p_data, p_size);
            if (framed.head.empty() || mutator.chance(3)) {
                framed.head.assign(1, static_cast<std::uint8_t>(mutator.below(256)));
            }
            mutator.frames(framed, false);
            return put(write_imex(framed), p_data, p_max_size);
        }
        default: {
            // Four bytes of parameters, then the text.
            if (p_size <= 4 || mutator.chance(10))
                return LLVMFuzzerMutate(p_data, p_size, p_max_size);
            std::size_t used = 0;
            Bytes decoded = decode_b64(p_data + 4, p_size - 4, used);
            if (decoded.size() >= 4 && mutator.chance(60)) {
                mutator.word(decoded, false);
            } else {
                mutator.bytes(decoded);
            }
            Bytes out(p_data, p_data + 4);
            if (mutator.chance(10))
                out[mutator.below(4)] = static_cast<std::uint8_t>(mutator.below(256));
            Bytes text = encode_b64(decoded, mutator.chance(70));
            if (mutator.chance(10) && !text.empty())
                text.insert(text.begin() + static_cast<std::ptrdiff_t>(mutator.below(text.size())),
                            mutator.chance(50) ? '\n' : '*');
            out.insert(out.end(), text.begin(), text.end());
            out.insert(out.end(), p_data + 4 + used, p_data + p_size);
            return put(out, p_data, p_max_size);
        }
    }
}

}  // namespace kelvara::fuzz

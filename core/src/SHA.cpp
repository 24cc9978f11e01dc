#include "fus/P_LogMacros.h"
#include "fus/P_SHA.h"

#include <algorithm>
#include <cstring>

namespace fus {

namespace {

constexpr std::array<uint32_t, 5> START{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

constexpr uint32_t rotateLeft(uint32_t word, unsigned bits) {
    return (word << bits) | (word >> (32 - bits));
}

uint32_t readBigEndian(const unsigned char* bytes) {
    return uint32_t{bytes[0]} << 24U | uint32_t{bytes[1]} << 16U | uint32_t{bytes[2]} << 8U |
           uint32_t{bytes[3]};
}

void writeBigEndian(unsigned char* bytes, uint32_t word) {
    for (unsigned i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>(word >> (24 - 8 * i));
    }
}

/// The rounds by twenties: a constant and a function each.
constexpr uint32_t CONSTANTS[] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

template <unsigned Twenty>
constexpr uint32_t mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (Twenty == 0) {
        return d ^ (b & (c ^ d)); // the bits of c or d, as b chooses
    } else if constexpr (Twenty == 2) {
        return (b & c) + (d & (b ^ c)); // the majority; the terms share no bit
    } else {
        return b ^ c ^ d;
    }
}

/// A block's way into the chain. The round is a template parameter, so that every index and the
/// rotation of the five words is settled by the compiler: over half of the speed is owed to that.
/// Of the 80 words of the schedule only the last 16 are kept.
class Compression {
public:
    Compression(std::array<uint32_t, 5>& chain, const unsigned char* block) : m_block(block) {
        auto [a, b, c, d, e] = chain;
        twentyRounds<0>(a, b, c, d, e);
        twentyRounds<1>(a, b, c, d, e);
        twentyRounds<2>(a, b, c, d, e);
        twentyRounds<3>(a, b, c, d, e);
        chain = {chain[0] + a, chain[1] + b, chain[2] + c, chain[3] + d, chain[4] + e};
    }

private:
    template <unsigned Twenty>
    void twentyRounds(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d, uint32_t& e) {
        fiveRounds<20 * Twenty>(a, b, c, d, e);
        fiveRounds<20 * Twenty + 5>(a, b, c, d, e);
        fiveRounds<20 * Twenty + 10>(a, b, c, d, e);
        fiveRounds<20 * Twenty + 15>(a, b, c, d, e);
    }

    /// After five rounds each word is back in its own place.
    template <unsigned First>
    void fiveRounds(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d, uint32_t& e) {
        round<First>(a, b, c, d, e);
        round<First + 1>(e, a, b, c, d);
        round<First + 2>(d, e, a, b, c);
        round<First + 3>(c, d, e, a, b);
        round<First + 4>(b, c, d, e, a);
    }

    template <unsigned Round>
    void round(uint32_t a, uint32_t& b, uint32_t c, uint32_t d, uint32_t& e) {
        e += rotateLeft(a, 5) + mix<Round / 20>(b, c, d) + CONSTANTS[Round / 20] + word<Round>();
        b = rotateLeft(b, 30);
    }

    template <unsigned Round>
    uint32_t word() {
        uint32_t& current = m_words[Round % 16];
        if constexpr (Round < 16) {
            current = readBigEndian(&m_block[size_t{Round} * 4]);
        } else {
            current = rotateLeft(m_words[(Round - 3) % 16] ^ m_words[(Round - 8) % 16] ^
                                     m_words[(Round - 14) % 16] ^ current,
                                 1);
        }
        return current;
    }

    const unsigned char* m_block;
    uint32_t m_words[16];
};

} // namespace

void SHA1::init() {
    FUS_LOG(DEBUG, "SHA1: init.");
    m_chain = START;
    m_bitsLow = 0;
    m_bitsHigh = 0;
    m_block.fill(0);
    m_digest.fill(0);
}

void SHA1::addData(const void* data, size_t size) {
    FUS_LOG(DEBUG, "SHA1: adding %u bytes of data.", static_cast<unsigned>(size));
    take(static_cast<const unsigned char*>(data), size);
}

void SHA1::close() {
    FUS_LOG(DEBUG, "SHA1: closing.");
    std::array<unsigned char, 8> bits{};
    writeBigEndian(&bits[0], m_bitsHigh);
    writeBigEndian(&bits[4], m_bitsLow);
    constexpr std::array<unsigned char, BLOCK_SIZE> PADDING{0x80};
    const size_t lengthAt = BLOCK_SIZE - bits.size();
    const size_t used = bytesInBlock();
    take(PADDING.data(), (used < lengthAt ? lengthAt : lengthAt + BLOCK_SIZE) - used);
    take(bits.data(), bits.size());
    for (size_t i = 0; i < m_chain.size(); ++i) {
        writeBigEndian(&m_digest[4 * i], m_chain[i]);
    }
    m_closed = true;
}

void SHA1::count(size_t bytes) {
    const auto low = static_cast<uint32_t>(bytes << 3U);
    m_bitsLow += low;
    m_bitsHigh += static_cast<uint32_t>(bytes >> 29U) + (m_bitsLow < low ? 1U : 0U);
}

void SHA1::take(const unsigned char* data, size_t size) {
    size_t used = bytesInBlock();
    count(size);
    while (size > 0) {
        if (used == 0 && size >= BLOCK_SIZE) { // in place
            Compression(m_chain, data);
            data += BLOCK_SIZE;
            size -= BLOCK_SIZE;
            continue;
        }
        const size_t part = std::min(size, BLOCK_SIZE - used);
        std::memcpy(&m_block[used], data, part);
        used = (used + part) % BLOCK_SIZE;
        data += part;
        size -= part;
        if (used == 0) {
            Compression(m_chain, m_block.data());
        }
    }
}

} // namespace fus

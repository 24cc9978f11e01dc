#pragma once

#include <cctype>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace fus::test {

/// Bytes as they stand on the wire, written by hand.
using Bytes = std::vector<unsigned char>;

/// Bytes from hexadecimal digits; blanks may stand between them: hex("00 0A 04 59").
inline Bytes hex(const std::string& digits) {
    std::string kept;
    for (const char c : digits) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0) {
            kept.push_back(c);
        }
    }
    if (kept.size() % 2 != 0) {
        throw std::invalid_argument("half a byte in: " + digits);
    }
    Bytes out;
    for (std::size_t i = 0; i < kept.size(); i += 2) {
        out.push_back(static_cast<unsigned char>(std::stoul(kept.substr(i, 2), nullptr, 16)));
    }
    return out;
}

inline Bytes zeroes(std::size_t n) {
    return Bytes(n, 0);
}

/// The characters, without a terminating null.
inline Bytes text(const std::string& characters) {
    return Bytes(characters.begin(), characters.end());
}

inline Bytes u8(std::uint32_t v) {
    return {static_cast<unsigned char>(v)};
}

inline Bytes le16(std::uint32_t v) {
    return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8U)};
}

inline Bytes be16(std::uint32_t v) {
    return {static_cast<unsigned char>(v >> 8U), static_cast<unsigned char>(v)};
}

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes& operator+=(Bytes& a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes le32(std::uint32_t v) {
    return le16(v) + le16(v >> 16U);
}

inline Bytes be32(std::uint32_t v) {
    return be16(v >> 16U) + be16(v);
}

inline Bytes le64(std::uint64_t v) {
    return le32(static_cast<std::uint32_t>(v)) + le32(static_cast<std::uint32_t>(v >> 32U));
}

inline std::uint32_t floatBits(float v) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

inline Bytes leFloat(float v) {
    return le32(floatBits(v));
}

inline Bytes beFloat(float v) {
    return be32(floatBits(v));
}

/// A whole packet: size, id, type, payload.
inline Bytes packet(std::uint32_t type, std::uint32_t id, const Bytes& payload = {}) {
    return be32(static_cast<std::uint32_t>(payload.size()) + 10) + be32(id) + be16(type) + payload;
}

/// "00 0A 04", for messages.
inline std::string toHex(const Bytes& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const unsigned char b : bytes) {
        out += out.empty() ? "" : " ";
        out += digits[b >> 4U];
        out += digits[b & 15U];
    }
    return out;
}

} // namespace fus::test

// Bytes in and out, by shifts. The simulator has its own, so that a fault of the library's packets
// isn't mirrored here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

using Bytes = std::vector<std::uint8_t>;

// Thrown by a read beyond the end.
struct ShortData {};

class ByteWriter {
public:
    explicit ByteWriter(Bytes& target) : m_target(target) {}

    ByteWriter& u8(std::uint32_t value) {
        m_target.push_back(static_cast<std::uint8_t>(value & 0xFFU));
        return *this;
    }
    ByteWriter& u16(std::uint32_t value) { return u8(value >> 8).u8(value); }
    ByteWriter& u32(std::uint32_t value) { return u16(value >> 16).u16(value); }
    ByteWriter& le16(std::uint32_t value) { return u8(value).u8(value >> 8); }
    ByteWriter& le32(std::uint32_t value) { return le16(value).le16(value >> 16); }
    ByteWriter& le64(std::uint64_t value) {
        return le32(static_cast<std::uint32_t>(value))
            .le32(static_cast<std::uint32_t>(value >> 32));
    }
    ByteWriter& zeros(std::size_t count) {
        m_target.resize(m_target.size() + count);
        return *this;
    }
    ByteWriter& bytes(const Bytes& source) {
        m_target.insert(m_target.end(), source.begin(), source.end());
        return *this;
    }
    ByteWriter& text(const std::string& source) {
        m_target.insert(m_target.end(), source.begin(), source.end());
        return *this;
    }
    // Exactly `width` bytes of the text, filled up with zeros.
    ByteWriter& field(const std::string& source, std::size_t width) {
        text(source.substr(0, width));
        return zeros(source.size() < width ? width - source.size() : 0);
    }

private:
    Bytes& m_target;
};

class ByteReader {
public:
    ByteReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    explicit ByteReader(const Bytes& source) : ByteReader(source.data(), source.size()) {}

    std::size_t remaining() const { return m_size - m_position; }

    std::uint32_t u8() { return *take(1); }
    std::uint32_t u16() {
        const std::uint8_t* p = take(2);
        return static_cast<std::uint32_t>(p[0] << 8 | p[1]);
    }
    std::uint32_t u32() {
        const std::uint32_t high = u16();
        return high << 16 | u16();
    }
    std::uint32_t le16() {
        const std::uint8_t* p = take(2);
        return static_cast<std::uint32_t>(p[1] << 8 | p[0]);
    }
    std::uint32_t le32() {
        const std::uint32_t low = le16();
        return low | le16() << 16;
    }
    std::uint64_t le64() {
        const std::uint64_t low = le32();
        return low | static_cast<std::uint64_t>(le32()) << 32;
    }
    const std::uint8_t* take(std::size_t count) {
        if (count > remaining()) {
            throw ShortData();
        }
        const std::uint8_t* p = m_data + m_position;
        m_position += count;
        return p;
    }
    void skip(std::size_t count) { take(count); }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_position = 0;
};

} // namespace simulator
} // namespace fus

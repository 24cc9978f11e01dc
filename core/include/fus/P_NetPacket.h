#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

namespace fus {

/// A bounded byte buffer with a cursor: typed reads and writes that can't leave the buffer.
///
/// A packet never grows by writing, only by `resize`. Every failing access throws ERR_INDEX and
/// leaves the cursor where it was. Not shared between threads.
class NetPacket {
public:
    /// NATIVE and LITTLE give the same bytes. The generator's packets are NETWORK, the payloads of
    /// boards LITTLE.
    enum ByteOrder : unsigned { NATIVE = 0, LITTLE = 1, NETWORK = 2 };

    /// `resize` makes no packet smaller than this.
    static constexpr std::uint32_t MIN_RESIZE = 4;

    /// A packet of `size` bytes in NETWORK order, its cursor at 0.
    /// With `takeOwnership` and data, the packet adopts `data`, which must come from
    /// `new unsigned char[...]`: it is freed by delete[]. Otherwise the packet has bytes of its
    /// own, a copy of `data`, or zeroes where that is null. Size 0 means no buffer at all; data
    /// that was handed over is then freed at once.
    explicit NetPacket(std::uint32_t size = 0, void* data = nullptr, bool takeOwnership = false);
    /// A packet with a copy of these bytes.
    static NetPacket copyOf(const void* data, std::uint32_t size);
    ~NetPacket() = default;
    NetPacket(NetPacket&& other) noexcept;
    NetPacket& operator=(NetPacket&& other) noexcept;
    NetPacket(const NetPacket&) = delete;
    NetPacket& operator=(const NetPacket&) = delete;

    unsigned char* data() { return m_data.get(); }
    const unsigned char* data() const { return m_data.get(); }
    std::uint32_t size() const { return m_size; }
    std::uint32_t position() const { return m_position; }
    /// Bytes from the cursor to the end.
    std::uint32_t remaining() const { return m_size - m_position; }
    ByteOrder byteOrder() const { return m_order; }

    /// Throws ERR_ARGUMENT above 2.
    void setByteOrder(unsigned order);

    /// Sets the size, at least MIN_RESIZE. With `keep` the common part of the bytes stays, all
    /// others are zeroes. A cursor beyond the new end is pulled back to it.
    void resize(std::uint32_t size, bool keep);

    /// Moves the cursor to `offset` from the start (whence 0), the cursor (1) or the end (2),
    /// clamped to 0..size. Another whence leaves it where it is.
    void seek(int offset, int whence);

    /// The byte at `index`, without moving the cursor.
    std::uint8_t at(std::uint32_t index) const {
        if (index >= m_size) {
            throwBounds(1, index);
        }
        return m_data[index];
    }

    std::uint8_t read8() { return *take(1); }
    std::uint16_t read16() { return load16(take(2)); }
    std::uint32_t read32() { return load32(take(4)); }
    /// 32 bits, taken as an IEEE 754 single.
    float readFloat();
    /// A value of `width` 1, 2 or 4 bytes; another width throws ERR_INDEX "packet read size".
    std::uint32_t read(std::uint32_t width);
    /// Copies as many of `n` bytes as there are, and returns how many; 0 for a null target.
    std::uint32_t readBytes(void* target, std::uint32_t n);

    void write8(std::uint8_t value) { *take(1) = value; }
    void write16(std::uint16_t value) { store16(take(2), value); }
    void write32(std::uint32_t value) { store32(take(4), value); }
    void writeFloat(float value);
    /// All of `count` values, as by as many calls of `write32`, but in one go.
    void writeAll32(const std::uint32_t* values, std::uint32_t count);
    /// Copies as many of `n` bytes as there is room for, and returns how many.
    std::uint32_t writeBytes(const void* source, std::uint32_t n);

private:
    /// The place of the next `n` bytes, over which the cursor then has moved.
    unsigned char* take(std::uint32_t n) {
        if (m_size - m_position < n) {
            throwBounds(n, m_position);
        }
        unsigned char* place = m_data.get() + m_position;
        m_position += n;
        return place;
    }

    [[noreturn]] void throwBounds(std::uint32_t width, std::uint32_t position) const;

    // Written out byte by byte: compilers turn each of these lines into one load or store.

    std::uint16_t load16(const unsigned char* b) const {
        return static_cast<std::uint16_t>(m_order == NETWORK ? b[0] << 8 | b[1] : b[1] << 8 | b[0]);
    }

    std::uint32_t load32(const unsigned char* b) const {
        const std::uint32_t v[] = {b[0], b[1], b[2], b[3]};
        return m_order == NETWORK ? v[0] << 24U | v[1] << 16U | v[2] << 8U | v[3]
                                  : v[3] << 24U | v[2] << 16U | v[1] << 8U | v[0];
    }

    void store16(unsigned char* b, std::uint16_t value) const {
        const auto high = static_cast<unsigned char>(value >> 8U);
        const auto low = static_cast<unsigned char>(value);
        b[0] = m_order == NETWORK ? high : low;
        b[1] = m_order == NETWORK ? low : high;
    }

    void store32(unsigned char* b, std::uint32_t value) const {
        if (m_order == NETWORK) {
            b[0] = static_cast<unsigned char>(value >> 24U);
            b[1] = static_cast<unsigned char>(value >> 16U);
            b[2] = static_cast<unsigned char>(value >> 8U);
            b[3] = static_cast<unsigned char>(value);
            return;
        }
        b[0] = static_cast<unsigned char>(value);
        b[1] = static_cast<unsigned char>(value >> 8U);
        b[2] = static_cast<unsigned char>(value >> 16U);
        b[3] = static_cast<unsigned char>(value >> 24U);
    }

    std::unique_ptr<unsigned char[]> m_data;
    std::uint32_t m_size = 0;
    std::uint32_t m_position = 0; // never above m_size
    ByteOrder m_order = NETWORK;
};

} // namespace fus

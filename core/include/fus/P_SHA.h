#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace fus {

/// A hash that is fed piece by piece. Used once: fed, closed, read.
class SHAContext {
public:
    SHAContext() = default;
    SHAContext(const SHAContext&) = delete;
    SHAContext& operator=(const SHAContext&) = delete;

    /// The data may be null if the size is 0. Not after `close`.
    virtual void addData(const void* data, size_t size) = 0;
    /// Ends the message and makes the digest.
    virtual void close() = 0;
    /// [byte]
    virtual unsigned digestSize() const = 0;
    virtual ~SHAContext() = default;
    /// So many bytes, which live as long as the object; null until `close` has run.
    virtual const unsigned char* digest() const = 0;

protected:
    bool m_closed = false;
};

/// SHA-1 as of FIPS 180. `init` comes first.
class SHA1 : public SHAContext {
public:
    /// Makes it ready for a message. What was closed stays so.
    void init();
    void addData(const void* data, size_t size) override;
    void close() override;
    unsigned digestSize() const override { return DIGEST_SIZE; }
    const unsigned char* digest() const override { return m_closed ? m_digest.data() : nullptr; }

private:
    static constexpr unsigned DIGEST_SIZE = 20;
    static constexpr size_t BLOCK_SIZE = 64;

    size_t bytesInBlock() const { return m_bitsLow / 8 % BLOCK_SIZE; }
    void count(size_t bytes);
    void take(const unsigned char* data, size_t size);

    std::array<uint32_t, 5> m_chain{};
    // Of the whole message.
    uint32_t m_bitsLow = 0;
    uint32_t m_bitsHigh = 0;
    std::array<unsigned char, BLOCK_SIZE> m_block{};
    std::array<unsigned char, DIGEST_SIZE> m_digest{};
};

} // namespace fus

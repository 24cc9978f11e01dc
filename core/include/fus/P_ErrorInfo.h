#pragma once

#include <cstdint>
#include <string>

namespace fus {

class NetPacket;

/// The error record that a generator of protocol V3 sends as its answer: a hardware code, what it
/// refers to, and a text.
class ErrorInfo {
public:
    /// Decodes the payload of an `ANSWER_ERROR_MSGV3` from the packet's cursor on; the packet is
    /// switched to network order. A payload without room for the fixed part throws ERR_INDEX. A
    /// text length that can't be right is replaced by what is there.
    explicit ErrorInfo(NetPacket& payload);

    /// The value of a `HardwareCode`.
    std::uint32_t code() const { return m_code; }
    std::uint32_t argument() const { return m_argument; }
    /// Type of the board that reports: a `HardwareID`, or anything that a faulty generator sends.
    std::uint8_t boardType() const { return m_boardType; }
    std::uint8_t address() const { return m_address; }
    /// All of it in one line: "code: 0x..., arg: ..., board: ... #..., msg: ...".
    const std::string& message() const { return m_message; }

private:
    std::uint32_t m_code;
    std::uint32_t m_argument;
    std::uint8_t m_boardType;
    std::uint8_t m_address;
    std::string m_message;
};

} // namespace fus

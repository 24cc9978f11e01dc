#include "fus/MechanicalStatus.h"

#include "fus/P_LogMacros.h"
#include "fus/P_MProtocol.h"

#include <sstream>

namespace fus {

namespace {

unsigned char byteOf(std::uint32_t code, unsigned shift) {
    return static_cast<unsigned char>(code >> shift);
}

} // namespace

MechanicalStatus::MechanicalStatus(unsigned char module, unsigned char errorCode,
                                   unsigned char actuator, unsigned char argument)
    : m_module(module), m_errorCode(errorCode), m_actuator(actuator), m_argument(argument) {}

MechanicalStatus::MechanicalStatus(std::uint32_t rawCode)
    : MechanicalStatus(byteOf(rawCode, 24), byteOf(rawCode, 16), byteOf(rawCode, 8),
                       byteOf(rawCode, 0)) {}

std::uint32_t MechanicalStatus::rawCode() const {
    return std::uint32_t{m_module} << 24U | std::uint32_t{m_errorCode} << 16U |
           std::uint32_t{m_actuator} << 8U | std::uint32_t{m_argument};
}

const char* MechanicalStatus::message() const {
    const char* const text = mprotocol::mechErrorText(m_errorCode);
    return text != nullptr ? text : "Unknown error";
}

void MechanicalStatus::log() const {
    FUS_LOG(INFO, "  Status[0x%08X]: mod=0x%02X err=0x%02X act=%d arg=%d msg=%s", rawCode(),
            static_cast<unsigned>(m_module), static_cast<unsigned>(m_errorCode), m_actuator,
            m_argument, message());
}

std::string MechanicalStatus::toString() const {
    std::ostringstream out;
    out << std::hex << "Status[0x" << rawCode() << "]:"
        << " mod=0x" << unsigned{m_module} << " err=" << unsigned{m_errorCode}
        << " act=" << unsigned{m_actuator} << " arg=" << unsigned{m_argument}
        << " msg=" << message() << ".";
    return out.str();
}

} // namespace fus

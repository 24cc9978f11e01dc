#include "fus/HardwareCode.h"

#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MProtocol.h"

#include <cstddef>
#include <cstdio>
#include <iterator>
#include <string>

namespace fus {

namespace {

struct Subcode {
    unsigned char code;
    const char* text;
};

constexpr Subcode COMMUNICATION_ERRORS[] = {
    {1, "Nothing received."},
    {65, "'half transfer' interrupt without 'transfer complete' interrupt."},
    {66, "Hardware error on the reception DMA."},
    {67, "Bad CRC header (on the slave)."},
    {68, "Bad CRC data (on the slave)."},
    {69, "Bad frame mode."},
    {70, "Cannot do a read and broadcast command."},
    {71, "Write size too large."},
    {72, "Read size too large."},
    {73, "The main thread is not in idle mode, another command is probably being executed."},
    {74, "Received command but 'recv' state machine is CRS_M2S_HDR."},
    {75, "The value of the 'recv' machine state is not in idle mode."},
    {76, "The value of the 'recv' machine state is unknown."},
    {77, "Error when doing ioctl() to get the fill ID function."},
    {78, "Unable to read"},
    {129, "data[0] and data[3] are different (old comm. protocol version)."},
    {130, "Size too large."},
    {131, "Size of the received command is zero."},
    {132, "CRC error (slave->master)."},
    {133, "Unknown slave->master error."},
    {134, "Unexpected slave->master error."},
    {135, "Generic NACK error (old V2 protocol)."},
};

constexpr Subcode INTERPRETER_ERRORS[] = {
    {1, "No handler found for this command (slave)."},
    {2, "Unknown command (slave)."},
    {3, "Bad input size (slave)."},
    {4, "Bad output size (slave)."},
    {5, "Output size too large (slave)."},
    {6, "Unknown value of the 'exec' state machine (slave)."},
    {20, "Input size does not match (master)."},
    {21, "Output size does not match (master)."},
    {22, "Unrecognised command or unexpected response (master)."},
};

constexpr Subcode GENERIC_ERRORS[] = {
    {1, "Unknown get/set parameter."},
    {2, "Read-only parameter."},
    {3, "Write-only parameter."},
    {4, "Corrupted data."},
    {5, "Corrupted parameter."},
    {6, "Error erasing flash sector."},
    {7, "Error writing flash sector."},
    {8, "Unknown flash sector size."},
    {9, "Incorrect parameter."},
    {10, "NULL pointer."},
    {11, "Buffer size."},
    {12, "Subsystem not initialized."},
    {13, "Unaligned data."},
    {14, "Unknown error (?!)."},
    {15, "Generic error."},
    {16, "Check error."},
    {17, "Edit while exec."},
    {18, "Nothing to execute."},
    {19, "Cannot switch mode."},
    {20, "Unavailable hardware."},
    {21, "Unavailable data."},
    {22, "Out-of-range or malloc or div-by-0 or readback."},
};

struct Family {
    unsigned char firstType;
    unsigned char lastType;
    FUSError error;
    // Null for the mechanical family, which composes its text.
    const char* text;
    const Subcode* subcodes = nullptr;
    size_t subcodeCount = 0;
};

constexpr Family FAMILIES[] = {
    {0, 0, ERR_GENERATOR, "Ok"},
    {16, 16, ERR_GENERATOR, "Internal communication error between boards. ", COMMUNICATION_ERRORS,
     std::size(COMMUNICATION_ERRORS)},
    {17, 17, ERR_GENERATOR, "Board command interpreter error. ", INTERPRETER_ERRORS,
     std::size(INTERPRETER_ERRORS)},
    {18, 18, ERR_BOARD_BUSY, "Timeout expired (and board still busy on async. command)."},
    {19, 19, ERR_BOARD, "Generic board error. ", GENERIC_ERRORS, std::size(GENERIC_ERRORS)},
    {32, 39, ERR_MECHANICS, nullptr},
    {40, 40, ERR_BOARD, "Board measure threshold surpassed."},
    {41, 41, ERR_BOARD, "SNT board error."},
    {48, 48, ERR_BOARD, "AMP board error."},
    {49, 49, ERR_BOARD, "UPB board error."},
};

constexpr Family UNKNOWN_FAMILY = {50, 255, ERR_GENERATOR, "Unknown error"};

// The generator reports a stop by the user in the shape of an error.
constexpr unsigned USER_STOP_CODES[] = {0x38030000, 0x38030001};
// The board keeps the details of an asynchronous failure in its status.
constexpr unsigned ASYNC_MECHANICAL_ERROR = 0x220000FF;

const Family& familyOf(unsigned char type) {
    for (const Family& family : FAMILIES) {
        if (type >= family.firstType && type <= family.lastType) {
            return family;
        }
    }
    return UNKNOWN_FAMILY;
}

const char* subcodeText(const Family& family, unsigned char code) {
    for (size_t i = 0; i < family.subcodeCount; ++i) {
        if (family.subcodes[i].code == code) {
            return family.subcodes[i].text;
        }
    }
    return "";
}

std::string hexadecimal(unsigned value) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%x", value);
    return digits;
}

std::string mechanicalText(const HardwareCode& code) {
    if (code.rawCode() == ASYNC_MECHANICAL_ERROR) {
        return "Asynchronous mechanical error (ask status for details).";
    }
    std::string text = "Mechanical error on axis " + std::to_string(code.extra0()) + ": ";
    if (const char* known = mprotocol::mechErrorText(code.errorCode())) {
        text += known;
    } else {
        text += "Unknown code (0x" + hexadecimal(code.rawCode()) + ")";
    }
    if (code.extra1() != 0) {
        text += ", with argument: " + std::to_string(code.extra1()) + ".";
    }
    return text;
}

} // namespace

unsigned char HardwareCode::mechanicalError() const {
    requireMechanical();
    return errorCode();
}

unsigned char HardwareCode::mechanicalActuator() const {
    requireMechanical();
    return extra0();
}

void HardwareCode::requireMechanical() const {
    if (getCorrespondingFUSError() != ERR_MECHANICS) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

Message HardwareCode::message() const {
    const Family& family = familyOf(errorType());
    const std::string text = family.text != nullptr
                                 ? family.text + std::string(subcodeText(family, errorCode()))
                                 : mechanicalText(*this);
    return Message(text.c_str(), text.size());
}

unsigned HardwareCode::getCorrespondingFUSError() const noexcept {
    for (const unsigned userStop : USER_STOP_CODES) {
        if (m_rawCode == userStop) {
            return ERR_USER_STOP;
        }
    }
    return familyOf(errorType()).error;
}

} // namespace fus

// What the simulated hardware says no with.
#pragma once

#include "fus/Export.h"

#include <cstdarg>
#include <cstdint>
#include <string>

namespace fus {
namespace simulator {

// Codes as the boards report them: family, code, two extra bytes.
constexpr std::uint32_t NO_BOARD = 0x10010000; // nothing received
constexpr std::uint32_t UNKNOWN_BOARD_COMMAND = 0x11020000;
constexpr std::uint32_t BAD_BOARD_INPUT = 0x11030000; // bad input size (slave)
constexpr std::uint32_t BAD_INPUT_SIZE = 0x11140000;  // input size does not match (master)
constexpr std::uint32_t UNKNOWN_COMMAND = 0x11160000;
constexpr std::uint32_t UNKNOWN_PARAMETER = 0x13010000;
constexpr std::uint32_t READ_ONLY_PARAMETER = 0x13020000;
constexpr std::uint32_t WRITE_ONLY_PARAMETER = 0x13030000;
constexpr std::uint32_t INCORRECT_PARAMETER = 0x13090000;
constexpr std::uint32_t BUFFER_SIZE = 0x130B0000;
constexpr std::uint32_t GENERIC_ERROR = 0x130F0000;
constexpr std::uint32_t CHECK_ERROR = 0x13100000;
constexpr std::uint32_t EDIT_WHILE_EXEC = 0x13110000;
constexpr std::uint32_t NOTHING_TO_EXECUTE = 0x13120000;
constexpr std::uint32_t CANNOT_SWITCH = 0x13130000;
constexpr std::uint32_t UNAVAILABLE_HARDWARE = 0x13140000;
constexpr std::uint32_t UNAVAILABLE_DATA = 0x13150000;
constexpr std::uint32_t OUT_OF_RANGE = 0x13160000;

// Thrown while a command is carried out; becomes the error answer of the generation, or a board's
// refusal.
struct Refusal {
    std::uint32_t code = 0;
    std::uint32_t argument = 0;
    std::string text;
};

[[noreturn]] void refuse(std::uint32_t code, std::uint32_t argument, const char* format, ...)
    FUS_PRINTF_FORMAT(3, 4);

std::string formatted(const char* format, ...) FUS_PRINTF_FORMAT(1, 2);
std::string formattedList(const char* format, std::va_list arguments);

} // namespace simulator
} // namespace fus

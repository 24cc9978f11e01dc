// The generator parameters of protocol 2, each in its own form.
#pragma once

#include "Bytes.h"
#include "Hardware.h"

namespace fus {
namespace simulator {

// Take the payload of a command. Throw a Refusal, or ShortData.
// The payload of the answer.
Bytes readGeneratorParameter(Hardware& hardware, const Bytes& payload);
void writeGeneratorParameter(Hardware& hardware, const Bytes& payload);

// A parameter of one byte, the words of a list; throw a Refusal for any other.
std::uint8_t generatorByte(const Hardware& hardware, unsigned id);
std::vector<std::uint32_t> generatorList(Hardware& hardware, unsigned id);

// A 16-bit count and a byte for each channel, as all protocols have it.
void appendChannelStates(const Hardware& hardware, Bytes& target);
void writeChannelStates(Hardware& hardware, ByteReader& reader);

void needEnd(const ByteReader& reader);

} // namespace simulator
} // namespace fus

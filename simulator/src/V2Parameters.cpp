#include "V2Parameters.h"

#include "Parameters.h"
#include "Refusal.h"

#include "fus/P_GProtocol.h"

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

const GeneratorParameterRow& findRow(unsigned id) {
    const GeneratorParameterRow* row = findGeneratorParameterRow(id);
    if (!row) {
        refuse(UNKNOWN_PARAMETER, id, "Unknown parameter %u.", id);
    }
    return *row;
}

Quantity quantityOf(Form form) {
    return form == Form::TEMPERATURES ? Quantity::TEMPERATURE
           : form == Form::CURRENTS   ? Quantity::CURRENT
                                      : Quantity::VOLTAGE;
}

unsigned readPeripheral(ByteReader& reader) {
    const unsigned peripheral = reader.u8();
    if (peripheral >= PERIPHERAL_COUNT) {
        refuse(OUT_OF_RANGE, peripheral, "Bad peripheral %u.", peripheral);
    }
    return peripheral;
}

void appendList(Hardware& hardware, const GeneratorParameterRow& row, Bytes& target) {
    const std::vector<std::uint32_t> values = generatorList(hardware, row.id);
    ByteWriter writer(target);
    writer.u16(static_cast<std::uint32_t>(values.size()));
    for (std::uint32_t value : values) {
        row.form == Form::TEMPERATURES ? writer.u16(value) : writer.u32(value);
    }
}

void writeList(Hardware& hardware, const GeneratorParameterRow& row, ByteReader& reader) {
    if (!row.isThreshold) {
        refuse(READ_ONLY_PARAMETER, row.id, "Parameter %u can't be written.", row.id);
    }
    std::vector<std::uint32_t> values(reader.u16());
    for (std::uint32_t& value : values) {
        value = row.form == Form::TEMPERATURES ? reader.u16() : reader.u32();
    }
    needEnd(reader);
    if (!hardware.setThresholds(quantityOf(row.form), values)) {
        refuse(BAD_INPUT_SIZE, row.id, "Bad number of values: %zu.", values.size());
    }
}

void writeByte(Hardware& hardware, const GeneratorParameterRow& row, std::uint32_t value) {
    if (row.id != V2_MULTIPLEXER) {
        hardware.writeParameter(HWID_PROCESSOR, 0, row.boardParameter, value);
    } else if (hardware.description().hasMultiplexer) {
        hardware.setValue(HWID_PROCESSOR, 0, row.id, value);
    } else {
        refuse(UNAVAILABLE_HARDWARE, row.id, "There is no multiplexer.");
    }
}

} // namespace

void needEnd(const ByteReader& reader) {
    if (reader.remaining() != 0) {
        refuse(BAD_INPUT_SIZE, 0, "%zu bytes too many.", reader.remaining());
    }
}

void appendChannelStates(const Hardware& hardware, Bytes& target) {
    const std::vector<bool> states = hardware.channelStates();
    ByteWriter writer(target);
    writer.u16(static_cast<std::uint32_t>(states.size()));
    for (bool state : states) {
        writer.u8(state ? 1 : 0);
    }
}

void writeChannelStates(Hardware& hardware, ByteReader& reader) {
    const std::size_t count = reader.u16();
    if (count != hardware.description().channelCount || count != reader.remaining()) {
        refuse(BAD_INPUT_SIZE, static_cast<std::uint32_t>(count), "Bad number of channels: %zu.",
               count);
    }
    std::vector<bool> states(count);
    for (std::size_t i = 0; i < count; ++i) {
        states[i] = reader.u8() != 0;
    }
    hardware.setManualChannelStates(states);
}

std::uint8_t generatorByte(const Hardware& hardware, unsigned id) {
    const GeneratorParameterRow& row = findRow(id);
    if (row.form != Form::BYTE || !hardware.description().isV2()) {
        refuse(UNKNOWN_PARAMETER, id, "Parameter %u isn't a byte.", id);
    }
    return static_cast<std::uint8_t>(hardware.upb(row.boardParameter ? row.boardParameter : id));
}

std::vector<std::uint32_t> generatorList(Hardware& hardware, unsigned id) {
    const GeneratorParameterRow& row = findRow(id);
    const bool isList =
        row.form == Form::SUPPLIES || row.form == Form::TEMPERATURES || row.form == Form::CURRENTS;
    if (!isList || !hardware.description().isV2()) {
        refuse(UNKNOWN_PARAMETER, id, "Parameter %u isn't a list.", id);
    }
    return hardware.readings(quantityOf(row.form), row.isThreshold);
}

Bytes readGeneratorParameter(Hardware& hardware, const Bytes& payload) {
    ByteReader reader(payload);
    const GeneratorParameterRow& row = findRow(reader.u16());
    Bytes answer;
    ByteWriter writer(answer);
    writer.u16(row.id);
    switch (row.form) {
    case Form::BYTE:
        writer.u8(generatorByte(hardware, row.id));
        break;
    case Form::CHANNELS:
        appendChannelStates(hardware, answer);
        break;
    case Form::PERIPHERAL: {
        const unsigned peripheral = readPeripheral(reader);
        writer.u8(peripheral).u8(hardware.upb(row.boardParameter + peripheral) != 0 ? 1 : 0);
        break;
    }
    case Form::RAMP:
        writer.u16(0).u32(static_cast<std::uint32_t>(hardware.upb(row.boardParameter)));
        break;
    default:
        appendList(hardware, row, answer);
        break;
    }
    needEnd(reader);
    return answer;
}

void writeGeneratorParameter(Hardware& hardware, const Bytes& payload) {
    ByteReader reader(payload);
    const GeneratorParameterRow& row = findRow(reader.u16());
    std::uint32_t value = 0;
    switch (row.form) {
    case Form::BYTE:
        value = reader.u8();
        needEnd(reader);
        writeByte(hardware, row, value);
        break;
    case Form::CHANNELS:
        writeChannelStates(hardware, reader);
        break;
    case Form::PERIPHERAL: {
        const unsigned peripheral = readPeripheral(reader);
        value = reader.u8();
        needEnd(reader);
        hardware.writeParameter(HWID_PROCESSOR, 0, row.boardParameter + peripheral, value);
        break;
    }
    case Form::RAMP:
        reader.skip(2);
        value = reader.u32();
        needEnd(reader);
        hardware.writeParameter(HWID_PROCESSOR, 0, row.boardParameter, value);
        break;
    default:
        writeList(hardware, row, reader);
        break;
    }
}

} // namespace simulator
} // namespace fus

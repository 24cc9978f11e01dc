#include "fus/P_GeneratorParameters.h"

#include "fus/FloatArray.h"
#include "fus/P_Connection.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

namespace fus {

using namespace gprotocol;

NetPacket parameters::makePayload(GeneratorParam id, unsigned size) {
    NetPacket payload(2 + size);
    payload.write16(id);
    return payload;
}

void parameters::requireBytes(const NetPacket* answer, unsigned size) {
    if (answer == nullptr || answer->remaining() < size) {
        FUS_THROW(ERR_PACKET);
    }
}

std::unique_ptr<NetPacket> parameters::ask(Connection& connection, GeneratorParam id,
                                           const NetPacket& payload) {
    auto answer =
        connection.awaitAnswer(connection.sendCommand(CMD_PARAM_GET, payload), ANSWER_PARAM);
    requireBytes(answer.get(), 2);
    if (answer->read16() != id) {
        FUS_THROW(ERR_PACKET);
    }
    return answer;
}

std::unique_ptr<NetPacket> parameters::ask(Connection& connection, GeneratorParam id) {
    return ask(connection, id, makePayload(id, 0));
}

void parameters::tell(Connection& connection, const NetPacket& payload) {
    connection.awaitAnswer(connection.sendCommand(CMD_PARAM_SET, payload), ANSWER_OK);
}

unsigned parameters::readPaddedLong(Connection& connection, GeneratorParam id) {
    const auto answer = ask(connection, id);
    requireBytes(answer.get(), 6);
    answer->read16(); // means nothing
    return answer->read32();
}

void parameters::writePaddedLong(Connection& connection, GeneratorParam id, unsigned value) {
    NetPacket payload = makePayload(id, 6);
    payload.write16(0);
    payload.write32(value);
    tell(connection, payload);
}

void parameters::readValues(Connection& connection, GeneratorParam id, const ValueForm& form,
                            FloatArray& values) {
    const auto answer = ask(connection, id);
    requireBytes(answer.get(), 2);
    const unsigned count = answer->read16();
    requireBytes(answer.get(), count * form.width);
    values.resize(count, false);
    for (unsigned i = 0; i < count; ++i) {
        values.set(i, form.fromWord(answer->read(form.width)));
    }
}

void parameters::writeValues(Connection& connection, GeneratorParam id, const ValueForm& form,
                             const FloatArray& values) {
    const auto count = static_cast<unsigned>(values.size());
    NetPacket payload = makePayload(id, 2 + count * form.width);
    payload.write16(static_cast<std::uint16_t>(count));
    for (unsigned i = 0; i < count; ++i) {
        const std::uint32_t word = form.toWord(values.get(i));
        if (form.width == 2) {
            payload.write16(static_cast<std::uint16_t>(word));
        } else {
            payload.write32(word);
        }
    }
    tell(connection, payload);
}

} // namespace fus

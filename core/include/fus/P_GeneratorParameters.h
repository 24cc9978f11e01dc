#pragma once

#include "fus/P_GeneratorSettingsTables.h"

#include <memory>

namespace fus {

class Connection;
class FloatArray;
class NetPacket;

/// Parameters of a generator before protocol 3.0 that take more than a byte. All block for at most
/// the default answer time-out (ERR_TIMEOUT); ERR_PACKET for an answer that isn't the one asked
/// for.
namespace parameters {

/// A packet that starts with the id and has room for `size` more bytes.
NetPacket makePayload(GeneratorParam id, unsigned size);

/// ERR_PACKET unless there are so many more bytes to read. A null answer has none.
void requireBytes(const NetPacket* answer, unsigned size);

/// Sends `CMD_PARAM_GET` with a payload that starts with the id, and gives the answer, the cursor
/// behind its id.
std::unique_ptr<NetPacket> ask(Connection& connection, GeneratorParam id, const NetPacket& payload);
/// The same with nothing but the id.
std::unique_ptr<NetPacket> ask(Connection& connection, GeneratorParam id);
/// Sends `CMD_PARAM_SET` and waits for the acknowledgement.
void tell(Connection& connection, const NetPacket& payload);

unsigned readPaddedLong(Connection& connection, GeneratorParam id);
void writePaddedLong(Connection& connection, GeneratorParam id, unsigned value);

/// Resizes `values` to the count of the answer.
void readValues(Connection& connection, GeneratorParam id, const ValueForm& form,
                FloatArray& values);
void writeValues(Connection& connection, GeneratorParam id, const ValueForm& form,
                 const FloatArray& values);

} // namespace parameters
} // namespace fus

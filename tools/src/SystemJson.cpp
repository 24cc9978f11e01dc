// What is known about a generator, for programs.

#include "SystemReport.h"

#include "JsonWriter.h"
#include "Text.h"

namespace fus::tool {

namespace {

void write(JsonWriter& json, const MeasureInfo& measure) {
    json.beginObject()
        .member("name", measure.name)
        .member("unit", measure.unit)
        .member("bytes", measure.bytes)
        .member("lowerADC", measure.lowerADC)
        .member("upperADC", measure.upperADC)
        .member("lower", measure.lower)
        .member("upper", measure.upper)
        .endObject();
}

void writeChannelMeasure(JsonWriter& json, const MeasureInfo& measure) {
    json.beginObject()
        .member("name", measure.name)
        .member("unit", measure.unit)
        .member("bytes", measure.bytes)
        .endObject();
}

void write(JsonWriter& json, const BoardData& board) {
    json.beginObject()
        .member("type", board.typeName())
        .member("address", board.address)
        .member("active", board.active)
        .member("hardware", board.hardware.toString())
        .member("firmware", board.firmware.toString())
        .member("uniqueId", board.uniqueId)
        .member("firmwareCRC", board.crc)
        .member("firmwareSize", board.firmwareSize)
        .member("firmwareBuilt", board.buildTime)
        .member("firmwareRevision", board.revision);
    json.key("measures").beginArray();
    for (const MeasureInfo& measure : board.measures) {
        write(json, measure);
    }
    json.endArray();
    if (board.type == gprotocol::BOARD_AMPLIFIER) {
        json.key("channelMeasures").beginArray();
        for (const MeasureInfo& measure : board.channelMeasures) {
            writeChannelMeasure(json, measure);
        }
        json.endArray();
    }
    json.endObject();
}

void write(JsonWriter& json, const ModeLimits& mode) {
    json.beginObject().member("mode", mode.name).member("available", mode.available);
    if (mode.available) {
        json.member("minShooting", mode.minShooting)
            .member("maxShooting", mode.maxShooting)
            .member("minTotal", mode.minTotal)
            .member("maxTotal", mode.maxTotal)
            .member("maxTrajectoryDelay", mode.maxTrajectoryDelay)
            .member("maxTrajectorySize", mode.maxTrajectorySize);
    }
    json.endObject();
}

void writeOptional(JsonWriter& json, const char* name, const std::optional<unsigned>& number) {
    json.key(name);
    if (number) {
        json.value(*number);
    } else {
        json.null();
    }
}

void write(JsonWriter& json, const MechanicsInfo& mechanics) {
    json.beginObject();
    writeOptional(json, "maxAxes", mechanics.maxAxes);
    writeOptional(json, "maxMoves", mechanics.maxMoves);
    json.member("status", mechanics.status).key("axes").beginArray();
    for (const AxisInfo& axis : mechanics.axes) {
        json.beginObject()
            .member("encoder", axis.position)
            .member("originFound", axis.originFound)
            .member("motorDetected", axis.motorDetected)
            .endObject();
    }
    json.endArray().endObject();
}

template <class Rows>
void writeList(JsonWriter& json, const char* name, const Rows& rows) {
    json.key(name).beginArray();
    for (const auto& row : rows) {
        write(json, row);
    }
    json.endArray();
}

} // namespace

void writeJsonReport(const SystemInfo& info, const Address& address, std::ostream& out) {
    JsonWriter json(out, 2);
    json.beginObject()
        .member("host", address.host)
        .member("port", unsigned{address.port})
        .member("protocol", info.protocol.toString());
    json.key("simulator");
    if (info.kind == gprotocol::GEN_UNKNOWN) {
        json.null();
    } else {
        json.value(info.kind == gprotocol::GEN_SIMULATOR);
    }
    json.member("channels", info.channels)
        .member("channelMeasures", info.channelMeasures)
        .member("buffers", info.buffers)
        .member("triggerInput", info.triggerInput)
        .member("multiplexer", info.multiplexer)
        .member("shotRamp", info.shotRamp)
        .member("maxRamp", info.maxRamp)
        .member("minTrajectoryDelay", info.minTrajectoryDelay)
        .member("minRepeatShotDelay", info.minRepeatShotDelay);
    writeList(json, "boards", info.boards);
    writeList(json, "modes", info.modes);
    json.key("mechanics");
    if (info.mechanics) {
        write(json, *info.mechanics);
    } else {
        json.null();
    }
    json.endObject();
    out << '\n';
}

} // namespace fus::tool

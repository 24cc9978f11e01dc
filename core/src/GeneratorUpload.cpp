#include "fus/Generator.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_TrajectoryUpload.h"

#include <optional>

namespace fus {

namespace {

using namespace gprotocol;

void logRequest(const UploadRequest& request, unsigned shots, bool canEdit) {
    // Named outside the macro: an unknown mode is reported also where this line is not wanted.
    const char* elec = elecExecModeName(request.elecMode);
    const char* trig = triggerModeName(request.trigMode);
    const char* mech = mechExecModeName(request.mechMode);
    FUS_LOG(INFO,
            "sendTrajectory (buf=%u, traj=%d shots, elecMode=%s(%d), trigMode=%s(%d), "
            "mechMode=%s(%d), flags=%u, slice=%d, canEdit=%d)",
            request.buffer, shots, elec, request.elecMode, trig, request.trigMode, mech,
            request.mechMode, request.flags, request.canSlice, canEdit);
}

void send(Connection& connection, unsigned short command, const NetPacket& packet) {
    connection.awaitAnswer(connection.sendCommand(command, packet), ANSWER_OK);
}

} // namespace

void Generator::sendTrajectory(unsigned buffer, ElectronicTrajectory& trajectory,
                               ElecExecMode elecMode, TriggerMode trigMode, MechExecMode mechMode,
                               unsigned execFlags, bool canSlice, bool canEdit) {
    const UploadRequest request{buffer, elecMode, trigMode, mechMode, execFlags, canSlice};
    logRequest(request, trajectory.size(), canEdit);
    const auto connection = m_private->upcalls.getConnection();
    TrajectoryUpload upload(connection->config(), trajectory, request, m_private->secure);
    upload.checkRequest();
    upload.takeLimits();

    std::optional<ElectronicTrajectory> copy;
    ElectronicTrajectory& working = canEdit ? trajectory : copy.emplace(trajectory);
    upload.prepareShots(working);
    send(*connection, upload.command(), upload.makePacket(working));

    const auto session = m_private->session();
    const std::lock_guard<std::mutex> lock(m_private->recordMutex);
    session->record(buffer).onSend(working, elecMode, trigMode, mechMode, upload.flags());
}

void Generator::clearBuffer(unsigned buffer) const {
    FUS_LOG(INFO, "clearBuffer(%d)", buffer);
    const auto connection = m_private->upcalls.getConnection();
    const GeneratorConfig& config = connection->config();
    if (m_private->secure) {
        requireBuffer(config, buffer);
    }
    send(*connection, uploadCommand(config), TrajectoryUpload::makeClearPacket(config, buffer));
}

void Generator::clearBuffers() const {
    const unsigned buffers = getBufferCount();
    for (unsigned i = 0; i < buffers; ++i) {
        clearBuffer(i);
    }
}

} // namespace fus

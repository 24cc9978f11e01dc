#include "fus/Generator.h"

#include "fus/FUSEvent.h"
#include "fus/P_ErrorInfo.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"
#include "fus/P_TextCursor.h"

#include <string>

namespace fus {

namespace {

/// What an asynchronous packet holds.
enum ResultType : unsigned char {
    SHOT_RESULT = 29,
    SHOT_ERROR = 30,
    TEXT_RESULT = 31,  // of an execution, protocol V2
    BINARY_RESULT = 32 // of an execution, protocol V3
};

/// No generator takes so many shots; their indices stay below.
constexpr unsigned SHOT_INDEX_END = 4096;

constexpr unsigned EXACT = 0xFFFFFFFF;
constexpr unsigned FAMILY = 0xFF000000;
constexpr unsigned ANY_BOARD = 0;

/// The first row whose masked code and board fit tells the status.
struct CodeRow {
    unsigned mask;
    unsigned code;
    unsigned hwid;
    ExecResult::Status status;
};

constexpr CodeRow CODE_ROWS[] = {
    {FAMILY, 0x10000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {FAMILY, 0x11000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {FAMILY, 0x13000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {EXACT, 0x28000100, gprotocol::HWID_AMPLIFIER, ExecResult::EXEC_STOP_AMPLIFIER_TEMP},
    {EXACT, 0x28000101, gprotocol::HWID_AMPLIFIER, ExecResult::EXEC_STOP_AMPLIFIER_CURRENT},
    {FAMILY, 0x28000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {EXACT, 0x29000101, ANY_BOARD, ExecResult::EXEC_STOP_WATCHDOG},
    {FAMILY, 0x29000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {EXACT, 0x38000000, ANY_BOARD, ExecResult::EXEC_OK_CONTINUE},
    {EXACT, 0x38000001, ANY_BOARD, ExecResult::EXEC_OK_FINISHED},
    {EXACT, 0x38020000, ANY_BOARD, ExecResult::EXEC_STOP_MECHANICAL_ERROR},
    {EXACT, 0x38020001, ANY_BOARD, ExecResult::EXEC_STOP_TIMING},
    {EXACT, 0x38030000, ANY_BOARD, ExecResult::EXEC_STOP_BY_USER},
    {EXACT, 0x38030001, ANY_BOARD, ExecResult::EXEC_STOP_BY_USER},
    {EXACT, 0x38030100, ANY_BOARD, ExecResult::EXEC_STOP_TRIGGER_INPUT},
    {EXACT, 0x38030200, ANY_BOARD, ExecResult::EXEC_STOP_HEARTBEAT},
    {FAMILY, 0x38000000, ANY_BOARD, ExecResult::EXEC_STOP_INTERNAL_ERROR},
};

/// A range of V2 codes with one status.
struct TextCodeRow {
    int first;
    int last;
    ExecResult::Status status;
};

constexpr int TEXT_CODE_SUCCESS = 1030;

constexpr TextCodeRow TEXT_CODE_ROWS[] = {
    {1031, 1031, ExecResult::EXEC_STOP_AMPLIFIER_TEMP},
    {1032, 1032, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {1033, 1034, ExecResult::EXEC_STOP_BY_USER},
    {1035, 1038, ExecResult::EXEC_STOP_INTERNAL_ERROR},
    {1039, 1039, ExecResult::EXEC_STOP_AMPLIFIER_CURRENT},
    {1040, 1040, ExecResult::EXEC_STOP_MECHANICAL_ERROR},
    {1041, 1041, ExecResult::EXEC_STOP_TIMING},
    {1042, 1042, ExecResult::EXEC_STOP_TRIGGER_INPUT},
    {1043, 1051, ExecResult::EXEC_STOP_INTERNAL_ERROR},
};

std::string restOf(const NetPacket& packet) {
    const unsigned char* begin = packet.data() + packet.position();
    return std::string(begin, begin + packet.remaining());
}

/// "<code>message"; the code is 0 where there is none.
struct CodedText {
    explicit CodedText(const std::string& text) {
        TextCursor cursor(text.c_str());
        if (cursor.skipTo('<') && !cursor.readInt(&code, '>', 0)) {
            code = 0;
        }
        if (cursor.text() != nullptr) {
            message = cursor.text() + cursor.position();
        }
    }

    std::int32_t code = 0;
    std::string message;
};

bool isSuccess(ExecResult::Status status) {
    return status == ExecResult::EXEC_OK_CONTINUE || status == ExecResult::EXEC_OK_FINISHED;
}

} // namespace

ExecResult::Status statusFromCode(unsigned rawCode, unsigned hwid) {
    for (const CodeRow& row : CODE_ROWS) {
        if ((rawCode & row.mask) == row.code && (row.hwid == ANY_BOARD || row.hwid == hwid)) {
            return row.status;
        }
    }
    FUS_LOG(ERROR, "Unknown execution code (0x%08X)", rawCode);
    return ExecResult::EXEC_STOP_INTERNAL_ERROR;
}

ExecResult::Status statusFromTextCode(int code, unsigned remain) {
    if (code == TEXT_CODE_SUCCESS) {
        return remain != 0 ? ExecResult::EXEC_OK_CONTINUE : ExecResult::EXEC_OK_FINISHED;
    }
    for (const TextCodeRow& row : TEXT_CODE_ROWS) {
        if (code >= row.first && code <= row.last) {
            return row.status;
        }
    }
    FUS_LOG(ERROR, "Unknown execution code (%d)", code);
    return ExecResult::EXEC_STOP_INTERNAL_ERROR;
}

AsyncResult::AsyncResult(unsigned executionID, NetPacket& packet)
    : id(executionID), channels(packet.read32()), duration(packet.read32()), shot(packet.read32()),
      gap(static_cast<int>(packet.read32())), remain(packet.read32()),
      generatorError(packet.read8()), amplifierError(packet.read8()), type(packet.read8()) {
    packet.read8();
    packet.read32();
}

void AsyncResult::complete(const TrajectoryBufferInfo& record) {
    total = record.executionCount();
    if (shot >= SHOT_INDEX_END) {
        FUS_LOG(ERROR, "Bad shot index: %u", shot);
        FUS_THROW(ERR_PACKET);
    }
    if (remain > total) {
        FUS_LOG(ERROR, "Bad remaining count: %u", remain);
        FUS_THROW(ERR_PACKET);
    }
    execIndex = remain < total ? total - remain - 1 : 0;
    withBoards = (record.executionFlags() & gprotocol::EXEC_FLAG_ADD_BOARD_MEASURES) != 0;
    withMechanics = record.mechanicalExecutionMode() != gprotocol::EXEC_MECH_NONE;
}

void Generator::handleAsyncAnswer(unsigned id, unsigned short /*type*/, NetPacket& packet) {
    AsyncResult result(id, packet);
    std::shared_ptr<const GeneratorSession> session;
    const TrajectoryBufferInfo* record = nullptr;
    m_private->startsUnderWay.waitFor(id);
    {
        const MutexLocker lock(m_private->resultsMutex);
        session = m_private->session();
        record = session->findExecution(id);
    }
    if (record == nullptr) {
        FUS_LOG(ERROR,
                "Unexpected async packet (supposed execID: %u): type %d, index %u, remain %u", id,
                result.type, result.shot, result.remain);
        FUS_THROW(ERR_PACKET);
    }
    result.complete(*record);
    switch (result.type) {
    case SHOT_RESULT:
        return m_private->handleShotResult(result, session->layout(), packet);
    case SHOT_ERROR:
        return m_private->handleShotError(result, packet);
    case TEXT_RESULT:
        return m_private->handleTextResult(result, packet);
    case BINARY_RESULT:
        return m_private->handleBinaryResult(result, packet);
    default:
        return;
    }
}

void Generator::Private::handleShotError(const AsyncResult& result, NetPacket& packet) {
    const std::string text = restOf(packet);
    FUS_LOG(ERROR, "Shot result (execId=%u, exec#=%u(total=%u), shot=%u) error: %s", result.id,
            result.execIndex, result.total, result.shot, text.c_str());
    upcalls.notifyListeners(new ExecEvent(result.id, result.execIndex, 0,
                                          ExecResult::EXEC_STOP_INTERNAL_ERROR, text.c_str()));
}

void Generator::Private::handleTextResult(const AsyncResult& result, NetPacket& packet) {
    static constexpr char FORMAT[] = "Execution result (traj=%u, exec=%u(total=%u), remain=%u, "
                                     "rawcode=%d) code=%d msg=%s";
    const CodedText text(restOf(packet));
    const ExecResult::Status status = statusFromTextCode(text.code, result.remain);
    if (isSuccess(status)) {
        FUS_LOG(INFO, FORMAT, result.id, result.execIndex, result.total - 1, result.remain,
                text.code, status, text.message.c_str());
        upcalls.notifyListeners(new ExecEvent(result.id, result.execIndex, result.remain));
        if (result.withMechanics && result.remain == 0) {
            upcalls.notifyListeners(new MechMotionEvent(result.id));
        }
        return;
    }
    FUS_LOG(ERROR, FORMAT, result.id, result.execIndex, result.total - 1, result.remain, text.code,
            status, text.message.c_str());
    upcalls.notifyListeners(
        new ExecEvent(result.id, result.execIndex, result.remain, status, text.message.c_str()));
    if (result.withMechanics) {
        const bool byUser = status == ExecResult::EXEC_STOP_BY_USER;
        upcalls.notifyListeners(new MechMotionEvent(result.id, byUser ? mprotocol::USER_STOP
                                                                      : mprotocol::ERROR_INTERNAL));
    }
}

void Generator::Private::handleBinaryResult(const AsyncResult& result, NetPacket& packet) {
    static constexpr char FORMAT[] = "Execution result (traj=%u, exec=%u(total=%u), remain=%d) "
                                     "status=0x%X/%s msg=%s";
    const ErrorInfo info(packet);
    const ExecResult::Status status = statusFromCode(info.code(), info.boardType());
    const char* name = ExecResult::statusToString(status);
    if (isSuccess(status)) {
        FUS_LOG(INFO, FORMAT, result.id, result.execIndex, result.total - 1, result.remain,
                info.code(), name, info.message().c_str());
        // The event goes by what remains, the motion by the code.
        upcalls.notifyListeners(new ExecEvent(result.id, result.execIndex, result.remain));
        if (result.withMechanics && status == ExecResult::EXEC_OK_FINISHED) {
            upcalls.notifyListeners(new MechMotionEvent(result.id));
        }
        return;
    }
    FUS_LOG(ERROR, FORMAT, result.id, result.execIndex, result.total - 1, result.remain,
            info.code(), name, info.message().c_str());
    upcalls.notifyListeners(
        new ExecEvent(result.id, result.execIndex, result.remain, status, info.message().c_str()));
    if (result.withMechanics) {
        upcalls.notifyListeners(new MechMotionEvent(result.id, HardwareCode(info.code()),
                                                    MechMotionEvent::RESULT_FROM_CODE));
    }
}

} // namespace fus

#include "Session.h"

#include "BoardCommands.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::uint32_t MAX_COMMAND_SIZE = 64U << 20; // header included
constexpr std::size_t READ_SIZE = 65536;
constexpr unsigned SLICE_MS = 50;
// A client that stops within a packet, or that doesn't close after its good-bye, is cut off.
constexpr std::chrono::seconds PATIENCE{5};
// After what ends the link, a client has so long to close it by itself.
constexpr std::chrono::seconds FAREWELL{2};

} // namespace

Session::Session(std::shared_ptr<Machine> machine, Surroundings& surroundings,
                 platform::Socket socket)
    : m_machine(std::move(machine)), m_surroundings(surroundings),
      m_outlet(std::make_shared<Outlet>(socket, surroundings.faults)),
      m_commands(*m_machine, surroundings), m_lastInput(Clock::now()) {
    m_surroundings.journal.clientCame();
    m_thread = std::thread([this] { run(); });
}

Session::~Session() {
    cut();
    m_thread.join();
}

void Session::note(const char* format, ...) const {
    if (!m_surroundings.log) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const std::string line = formattedList(format, arguments);
    va_end(arguments);
    m_surroundings.log(line);
}

void Session::run() {
    note("client connected");
    if (sendWelcome()) {
        serve();
    }
    m_ending = true;
    m_outlet->cut();
    m_machine->executor.stopAndWait(STOP_ABANDONED);
    m_surroundings.mot.clientGone();
    note("client gone");
    m_surroundings.journal.clientGone();
    m_over = true;
}

void Session::serve() {
    Bytes buffer(READ_SIZE);
    while (sendLateAnswers()) {
        const int count = m_outlet->receive(buffer.data(), buffer.size(), sliceMs());
        if (count < 0) {
            return;
        }
        if (count > 0) {
            receive(buffer.data(), static_cast<std::size_t>(count));
        }
        if (!handleInput()) {
            return;
        }
        if (count > 0) {
            m_lastInput = Clock::now(); // not when it came: a command may have waited since
        }
        if (m_lateAnswers.empty() && Clock::now() > m_leaveAt) {
            note("the generator ends the link");
            return;
        }
        if (isStuck()) {
            note("the client has stopped halfway: cut off");
            return;
        }
    }
}

// The length of the INI text, and the text itself, ahead of any packet.
bool Session::sendWelcome() {
    const std::string& text = m_machine->hardware.description().wireText;
    Bytes welcome;
    ByteWriter(welcome).u32(static_cast<std::uint32_t>(text.size())).text(text);
    return m_outlet->send(welcome);
}

unsigned Session::sliceMs() const {
    Clock::duration slice = std::chrono::milliseconds(SLICE_MS);
    for (const LateAnswer& answer : m_lateAnswers) {
        slice = std::min(slice, answer.due - Clock::now());
    }
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(slice).count();
    return ms < 0 ? 0 : static_cast<unsigned>(ms + 1);
}

bool Session::sendLateAnswers() {
    std::vector<LateAnswer> waiting;
    waiting.swap(m_lateAnswers);
    bool sent = true;
    for (LateAnswer& late : waiting) {
        if (late.due > Clock::now()) {
            m_lateAnswers.push_back(std::move(late));
        } else {
            sent = sendAnswer(late.answer) && sent;
            m_leaveAt = m_isLeaving ? Clock::now() + FAREWELL : m_leaveAt;
        }
    }
    return sent;
}

bool Session::isStuck() const {
    const bool isHalfway = m_inputStart < m_input.size() || m_ending;
    return isHalfway && Clock::now() - m_lastInput > PATIENCE;
}

void Session::receive(const std::uint8_t* data, std::size_t size) {
    m_input.insert(m_input.end(), data, data + size);
}

// Takes the whole packets out of what has come. False when the link is to be cut.
bool Session::handleInput() {
    while (m_input.size() - m_inputStart >= PACKET_HEADER_SIZE) {
        ByteReader reader(m_input.data() + m_inputStart, m_input.size() - m_inputStart);
        const std::uint32_t size = reader.u32();
        if (size < PACKET_HEADER_SIZE || size > MAX_COMMAND_SIZE) {
            note("packet of %u bytes: cut off", static_cast<unsigned>(size));
            return false;
        }
        if (m_input.size() - m_inputStart < size) {
            break;
        }
        Request request;
        request.id = reader.u32();
        request.type = reader.u16();
        const std::uint8_t* payload = reader.take(size - PACKET_HEADER_SIZE);
        request.payload.assign(payload, payload + (size - PACKET_HEADER_SIZE));
        m_inputStart += size;
        if (!handlePacket(request)) {
            return false;
        }
    }
    m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(m_inputStart));
    m_inputStart = 0;
    return true;
}

bool Session::handlePacket(const Request& request) {
    if (m_ending) {
        return true; // nothing counts after good-bye
    }
    m_surroundings.journal.addCommand(request.id, request.type, request.payload);
    note("command %u, id %u, %zu bytes", request.type, static_cast<unsigned>(request.id),
         request.payload.size());
    std::optional<Fault> fault;
    if (m_surroundings.faults.any()) {
        fault = m_surroundings.faults.refusal(Occasion::of(request.type, request.payload));
    }
    try {
        return fault ? deliver(request, refusalPacket(request, *fault), false) : carryOut(request);
    } catch (const ShortData&) { // of a board command that is to be refused by its board
        return deliver(request, refusalPacket(request, Refusal{BAD_INPUT_SIZE, 0, "Too short."}),
                       false);
    } catch (const Refusal& refusal) {
        note("  refused: %s", refusal.text.c_str());
        return deliver(request, refusalPacket(request, refusal), false);
    }
}

bool Session::carryOut(const Request& request) {
    Reply reply = m_commands.carryOut(request);
    if (reply.isEnd) {
        m_ending = true;
        m_machine->executor.stopAndWait(STOP_ABANDONED);
        m_surroundings.mot.clientGone();
    }
    if (reply.isSilent && !m_surroundings.faults.has(FaultKind::ANSWER_SILENT)) {
        return true;
    }
    if (reply.waitUs > 0) {
        waitSimulated(reply.waitUs);
    }
    const bool startsJob = reply.job.has_value();
    if (startsJob) {
        reply.job->outlet = m_outlet;
        m_machine->executor.accept(std::move(*reply.job));
    }
    if (reply.endsLink) {
        leave();
    }
    const bool delivered =
        deliver(request, Packet{request.id, reply.type, std::move(reply.payload)}, startsJob);
    m_surroundings.mot.release(m_outlet, request.id);
    if (reply.isPulse) {
        m_machine->control.pulse();
    }
    return delivered;
}

// Everything is answered as before until the link is closed.
void Session::leave() {
    m_machine->executor.stopAndWait(STOP_ABANDONED);
    m_surroundings.mot.clientGone();
    m_leaveAt = Clock::now() + FAREWELL;
    m_isLeaving = true;
}

Packet Session::refusalPacket(const Request& request, const Fault& fault) const {
    const Refusal refusal{fault.value, fault.argument,
                          fault.text.empty() ? "Fault on demand." : fault.text};
    Packet packet{request.id, ANSWER_ERROR, {}};
    switch (fault.kind) {
    case FaultKind::ERROR_PLAIN:
        return packet;
    case FaultKind::BOARD_ERROR:
        packet.type = ANSWER_BOARD;
        packet.payload = refusedByBoard(request.payload, refusal);
        return packet;
    case FaultKind::ERROR_V2:
        packet.type = ANSWER_ERROR_MSG;
        break;
    case FaultKind::ERROR_V3:
        packet.type = ANSWER_ERROR_MSGV3;
        break;
    default:
        packet.type =
            m_machine->hardware.description().isV2() ? ANSWER_ERROR_MSG : ANSWER_ERROR_MSGV3;
        break;
    }
    ByteWriter writer(packet.payload);
    if (packet.type == ANSWER_ERROR_MSG) {
        writer.u16(0).text(refusal.text);
    } else {
        writer.u32(refusal.code)
            .u32(refusal.argument)
            .u8(HWID_PROCESSOR)
            .u8(0)
            .u16(static_cast<std::uint32_t>(refusal.text.size()) + 1)
            .u32(0)
            .text(refusal.text)
            .u8(0);
    }
    return packet;
}

Packet Session::refusalPacket(const Request& request, const Refusal& refusal) const {
    Fault fault;
    fault.kind = FaultKind::ERROR_ANSWER;
    fault.value = refusal.code;
    fault.argument = refusal.argument;
    fault.text = refusal.text;
    return refusalPacket(request, fault);
}

// Sends an answer as the faults will have it. A job that it acknowledges starts right behind it,
// also when the acknowledgement itself gets lost.
bool Session::deliver(const Request& request, Packet packet, bool startsJob) {
    FaultBook::Verdict verdict;
    if (m_surroundings.faults.any()) {
        verdict = m_surroundings.faults.distort(request.type, packet);
    }
    Outgoing answer;
    answer.startsJob = startsJob;
    answer.isLast = verdict.cutAt.has_value();
    if (!verdict.missing) {
        packet.appendTo(answer.data);
    }
    if (answer.isLast) {
        answer.data.resize(std::min<std::size_t>(answer.data.size(), *verdict.cutAt));
    }
    if (verdict.lateMs > 0) {
        const auto due = Clock::now() + std::chrono::milliseconds(verdict.lateMs);
        m_lateAnswers.push_back({due, std::move(answer)});
        return true;
    }
    return sendAnswer(answer);
}

bool Session::sendAnswer(const Outgoing& answer) {
    const Bytes& data = answer.data;
    if (answer.startsJob && m_surroundings.faults.has(FaultKind::RESULTS_WITH_ACK)) {
        m_machine->executor.release(data);
        return true;
    }
    if (answer.startsJob && m_surroundings.faults.has(FaultKind::RESULTS_BEFORE_ACK)) {
        m_machine->executor.release({}, data);
        return true;
    }
    const bool sent = data.empty() || m_outlet->send(data);
    if (answer.startsJob) {
        m_machine->executor.release();
    }
    return sent && !answer.isLast;
}

void Session::waitSimulated(std::uint32_t microseconds) {
    if (m_surroundings.timeScale <= 0) {
        m_machine->executor.settle();
        if (!m_machine->executor.isBusy()) {
            m_machine->hardware.rest(microseconds);
        }
    }
    const std::chrono::duration<double, std::micro> real(microseconds * m_surroundings.timeScale);
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(real);
    while (Clock::now() < end && !m_outlet->isCut()) {
        const Clock::duration slice = std::chrono::milliseconds(SLICE_MS);
        std::this_thread::sleep_for(std::min(slice, end - Clock::now()));
    }
}

} // namespace simulator
} // namespace fus

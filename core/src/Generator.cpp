#include "fus/Generator.h"

#include "fus/P_GeneratorDefinition.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <utility>

namespace fus {

namespace {

using gprotocol::BoardType;
using gprotocol::boardTypeToHardwareID;

/// No generator has nearly as many buffers; more are the word of a broken or hostile peer, and
/// must not cost us our memory.
constexpr unsigned MAX_BUFFER_RECORDS = 65536;

std::vector<unsigned> sizesOf(const MeasureList& measures) {
    std::vector<unsigned> sizes;
    sizes.reserve(measures.size());
    for (const auto& measure : measures) {
        sizes.push_back(measure->size);
    }
    return sizes;
}

unsigned recordCount(unsigned buffers) {
    if (buffers > MAX_BUFFER_RECORDS) {
        FUS_LOG(ERROR, "Too many trajectory buffers (%u), only %u can be used", buffers,
                MAX_BUFFER_RECORDS);
    }
    return std::min(buffers, MAX_BUFFER_RECORDS);
}

} // namespace

MeasureLayout::MeasureLayout(const GeneratorConfig& config)
    : channels(config.getCount(NB_CHANNELS)), boards(config.getCount(NB_ACTIVE_AMPLIFIER_BOARDS)),
      channelBytes(config.getCount(NB_AMPLIFIER_CHANNEL_MEASURES_SIZE)),
      boardBytes(config.getCount(NB_AMPLIFIER_BOARD_MEASURES_SIZE)),
      amplifierVersion(config.getVersion(VERSION_AMP_HARDWARE)),
      channelMeasures(config.getCount(NB_AMPLIFIER_CHANNEL_MEASURES)) {
    if (const PrivateBoardAMP* amplifier = config.firstActiveAmp()) {
        channelSizes = sizesOf(amplifier->channelMeasures);
        boardSizes = sizesOf(amplifier->boardMeasures);
        for (const auto& measure : amplifier->boardMeasures) {
            boardPolynomials.push_back(measure->ADCToUnit);
        }
    }
}

GeneratorSession::GeneratorSession(const GeneratorConfig& config) : m_layout(config) {
    const unsigned buffers = recordCount(config.getCount(NB_BUFFERS));
    m_records.reserve(buffers);
    for (unsigned i = 0; i < buffers; ++i) {
        m_records.push_back(std::make_unique<TrajectoryBufferInfo>(i));
    }
}

TrajectoryBufferInfo& GeneratorSession::record(unsigned buffer) const {
    if (buffer >= m_records.size()) {
        FUS_THROW_INDEX("TrajectoryBufferInfo", buffer, m_records.size());
    }
    return *m_records[buffer];
}

TrajectoryBufferInfo* GeneratorSession::findExecution(unsigned executionID) const {
    const auto found =
        std::find_if(m_records.begin(), m_records.end(), [executionID](const auto& record) {
            return record->executionID() == executionID;
        });
    return found == m_records.end() ? nullptr : found->get();
}

Generator::Private::Private(Upcalls& calls)
    : upcalls(calls), m_session(std::make_shared<const GeneratorSession>()),
      m_definition(std::make_shared<const GeneratorDefinition>()) {}

unsigned Generator::Private::count(unsigned index) const {
    return upcalls.getConnection()->config().getCount(index);
}

unsigned Generator::Private::timing(unsigned index) const {
    return upcalls.getConnection()->config().getTiming(index);
}

std::shared_ptr<const GeneratorSession> Generator::Private::session() const {
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    return m_session;
}

Generator::Generator(Upcalls& upcalls) : m_private(std::make_unique<Private>(upcalls)) {
    installConversion();
}

Generator::~Generator() {
    removeConversion(); // shot results may outlive it
}

void Generator::onConnect(const GeneratorConfig& config) {
    m_private->setSession(std::make_shared<const GeneratorSession>(config));
}

void Generator::onDisconnect() {
    m_private->endSession();
}

void Generator::setSecureMode(bool on) {
    m_private->secure = on;
    FUS_LOG(INFO, "Changing Generator secure mode: %d", on);
}

bool Generator::isInSecureMode() const {
    return m_private->secure;
}

const TrajectoryBufferInfo* Generator::getTrajectoryInfo(unsigned executionID) const {
    return m_private->session()->findExecution(executionID);
}

unsigned long long Generator::readBoardParam(BoardType type, unsigned address,
                                             unsigned short param) {
    const auto connection = m_private->upcalls.getConnection();
    return connection->readBoardParam(boardTypeToHardwareID(type), address, param);
}

void Generator::writeBoardParam(BoardType type, unsigned address, unsigned short param,
                                unsigned long long value) {
    const auto connection = m_private->upcalls.getConnection();
    connection->writeBoardParam(boardTypeToHardwareID(type), address, param, value);
}

void Generator::readBoardMeasures(BoardType type, unsigned address, FloatArray& values,
                                  bool adcOnly) {
    const auto connection = m_private->upcalls.getConnection();
    connection->readBoardMeasures(boardTypeToHardwareID(type), address, values, adcOnly);
}

unsigned Generator::readBoardThreshold(BoardType type, unsigned address, unsigned measure,
                                       bool upper) {
    const auto connection = m_private->upcalls.getConnection();
    return connection->readBoardThreshold(boardTypeToHardwareID(type), address, measure, upper);
}

void Generator::setBoardThreshold(BoardType type, unsigned address, unsigned measure, bool upper,
                                  unsigned value) {
    const auto connection = m_private->upcalls.getConnection();
    connection->setBoardThreshold(boardTypeToHardwareID(type), address, measure, upper, value);
}

bool Generator::refreshBoardsStatus() {
    return m_private->upcalls.getConnection()->refreshBoardsStatus();
}

unsigned Generator::getBoardStatus(BoardType type, unsigned address) const {
    const auto connection = m_private->upcalls.getConnection();
    return connection->getBoardStatus(boardTypeToHardwareID(type), address);
}

} // namespace fus

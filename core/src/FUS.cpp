#include "fus/FUS.h"

#include "fus/FUSEvent.h"
#include "fus/LowLevelMechanics.h"
#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_FUSPrivate.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_Network.h"

#include <algorithm>
#include <atomic>
#include <climits>

namespace fus {

using namespace gprotocol;

namespace {

std::atomic<int> g_initCounter{0};

// By type of board.
constexpr VersionType HARDWARE_VERSIONS[BOARD_TYPE_COUNT] = {
    VERSION_UPB_HARDWARE, VERSION_SNT_HARDWARE, VERSION_AMP_HARDWARE, VERSION_MOT_HARDWARE};
constexpr VersionType FIRMWARE_VERSIONS[BOARD_TYPE_COUNT] = {
    VERSION_UPB_FIRMWARE, VERSION_SNT_FIRMWARE, VERSION_AMP_FIRMWARE, VERSION_MOT_FIRMWARE};

template <class Value>
Value ofType(const Value (&values)[BOARD_TYPE_COUNT], BoardType type) {
    if (type >= BOARD_TYPE_COUNT) {
        FUS_THROW_INDEX("board type", type, BOARD_TYPE_COUNT);
    }
    return values[type];
}

template <class Record>
const Record& boardRecord(const GeneratorConfig& config, unsigned hwid, unsigned index) {
    return static_cast<const Record&>(config.boardAt(hwid, index));
}

} // namespace

void FUS::init() {
    if (!isInitialized()) {
        getInstance();
    }
}

// Whoever comes first starts the library; the others wait until it stands.
FUS& FUS::getInstance() {
    static const bool network = [] {
        g_initCounter = 1;
        Log::getInstance();
        return Network::getInstance().init(); // without it a connect fails, and says so
    }();
    static_cast<void>(network);
    static FUS instance;
    return instance;
}

bool FUS::isInitialized() {
    return g_initCounter > 0;
}

FUS::FUS() : m_private(std::make_unique<Private>()) {}

FUS::~FUS() {
    try {
        FUS_LOG(INFO, "    Deleting FUS singleton");
        m_private->clearListeners();
        m_private->disconnectSocket(ConnectEvent::REASON_DESTRUCTOR);
        m_private->dropConnection(); // left over when another thread is disconnecting
        m_private->stopEventSender();
        FUS_LOG(VERBOSE, "    FUS::~Private()");
        m_private.reset();
    } catch (...) {
        // nothing may leave a destructor at the end of the process
    }
}

void FUS::exit() {
    if (!isInitialized()) {
        return;
    }
    Private& inside = *getInstance().m_private;
    FUS_LOG(VERBOSE, "--- Shutting down FUS ---");
    inside.clearListeners();
    inside.disconnectSocket(ConnectEvent::REASON_DESTRUCTOR);
    inside.stopEventSender();
}

bool FUS::connect(const char* host, unsigned short port, unsigned timeoutMs) {
    return m_private->connect(host, port, timeoutMs);
}

void FUS::disconnect() {
    m_private->disconnectSocket(ConnectEvent::REASON_USER_REQUEST);
}

bool FUS::isConnected() const {
    return m_private->isConnected();
}

Generator& FUS::getGenerator() {
    return m_private->generator();
}

Mechanics& FUS::getMechanics() {
    return m_private->mechanics();
}

LowLevelMechanics& FUS::getLowLevelMechanics() {
    return m_private->lowLevelMechanics();
}

unsigned FUS::getTotalSent() const {
    const auto connection = m_private->connection();
    return connection ? connection->totalSent() : 0;
}

unsigned FUS::getTotalReceived() const {
    const auto connection = m_private->connection();
    return connection ? connection->totalReceived() : 0;
}

unsigned FUS::getDefaultAnswerTimeout() const {
    return g_defaultAnswerTimeout;
}

bool FUS::setDefaultAnswerTimeout(unsigned ms) {
    if (ms == TIMEOUT_INFINITE) {
        return false;
    }
    if (ms != TIMEOUT_DEFAULT) {
        constexpr unsigned MOST = UINT_MAX / ANSWER_STEP; // what is above has no multiple over it
        const unsigned steps = ms / ANSWER_STEP + (ms % ANSWER_STEP != 0 ? 1 : 0);
        g_defaultAnswerTimeout = std::clamp(steps, 1U, MOST) * ANSWER_STEP;
    }
    return true;
}

void FUS::setSecureMode(bool on) {
    m_private->generator().setSecureMode(on);
    m_private->lowLevelMechanics().setSecureMode(on);
    if (const auto connection = m_private->connection()) {
        connection->setSecureMode(on);
    }
}

bool FUS::isInSecureMode() const {
    return m_private->generator().isInSecureMode();
}

const char* FUS::getInitString() const {
    const auto connection = m_private->connection();
    return connection ? connection->lastConfig().iniText().c_str() : nullptr;
}

Version FUS::getProtocolVersion() const {
    return FUSAccess::getConstConnection(*this)->config().getVersion(VERSION_PROTOCOL);
}

Version FUS::getFirmwareVersion(BoardType type) const {
    return FUSAccess::getConstConnection(*this)->config().getVersion(
        ofType(FIRMWARE_VERSIONS, type));
}

Version FUS::getHardwareVersion(BoardType type) const {
    return FUSAccess::getConstConnection(*this)->config().getVersion(
        ofType(HARDWARE_VERSIONS, type));
}

unsigned FUS::getBoardCount(BoardType type) const {
    return FUSAccess::getConstConnection(*this)->config().getCount(ofType(BOARDS_IN_USE, type));
}

unsigned FUS::getDetectedBoardCount(BoardType type) const {
    const auto connection = FUSAccess::getConstConnection(*this);
    return connection->config().boardCount(boardTypeToHardwareID(type));
}

Board FUS::getBoard(BoardType type, unsigned index) const {
    const unsigned hwid = boardTypeToHardwareID(type);
    const auto connection = FUSAccess::getConstConnection(*this);
    return HandleMaker::board(connection->config().boardAt(hwid, index));
}

BoardUPB FUS::getBoardUPB() const {
    const auto connection = FUSAccess::getConstConnection(*this);
    return HandleMaker::board(
        boardRecord<PrivateBoardUPB>(connection->config(), HWID_PROCESSOR, 0));
}

BoardSNT FUS::getBoardSNT(unsigned index) const {
    const auto connection = FUSAccess::getConstConnection(*this);
    return HandleMaker::board(connection->config().synthesizerAt(index));
}

BoardAMP FUS::getBoardAMP(unsigned index) const {
    const auto connection = FUSAccess::getConstConnection(*this);
    return HandleMaker::board(connection->config().amplifierAt(index));
}

BoardMOT FUS::getBoardMOT() const {
    const auto connection = FUSAccess::getConstConnection(*this);
    return HandleMaker::board(
        boardRecord<PrivateBoardMOT>(connection->config(), HWID_MECHANICS, 0));
}

std::shared_ptr<const void> FUS::holdDescription() const {
    const auto connection = FUSAccess::getConstConnection(*this);
    connection->config(); // throws without an open link
    return connection;
}

GenType FUS::simulatorType() const {
    const auto connection = m_private->connection();
    return connection ? connection->lastConfig().generatorType() : GEN_UNKNOWN;
}

void FUS::registerListener(FUSListener* listener) {
    m_private->registerListener(listener);
}

unsigned FUS::unregisterListener(FUSListener* listener) {
    return m_private->unregisterListener(listener);
}

void FUS::clearListeners() {
    m_private->clearListeners();
}

std::shared_ptr<Connection> FUSAccess::getConnection(FUS& fus) {
    return fus.m_private->getConnection();
}

std::shared_ptr<const Connection> FUSAccess::getConstConnection(const FUS& fus) {
    auto connection = fus.m_private->connection();
    if (!connection) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    return connection;
}

unsigned FUSAccess::protocolVersion(const FUS& fus) {
    return getConstConnection(fus)->config().protocolNumber();
}

void FUSAccess::disconnectSocket(FUS& fus, int reason) {
    fus.m_private->disconnectSocket(reason);
}

void FUSAccess::notifyListeners(FUS& fus, FUSEvent* event) {
    fus.m_private->notifyListeners(event);
}

bool FUSAccess::waitForListeners(FUS& fus, unsigned timeoutMs) {
    const auto sender = fus.m_private->livingSender();
    return !sender || sender->waitIdle(timeoutMs);
}

void FUSAccess::abandonEventSender(FUS& fus) {
    fus.m_private->abandonEventSender();
}

} // namespace fus

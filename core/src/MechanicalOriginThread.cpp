// The thread on which all axes are searched: how it comes, works, and tells its end.

#include "fus/P_MechanicalOriginThread.h"

#include "fus/FUSEvent.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace fus {

using namespace mprotocol;

namespace {

constexpr unsigned AXIS_PAUSE = 100; // [ms], between two axes

struct ResultRow {
    FUSError error;
    MechResult result;
};

constexpr ResultRow RESULTS[] = {
    {ERR_NOT_CONNECTED, ERROR_NOT_CONNECTED}, {ERR_TIMEOUT, ERROR_TIMEOUT},
    {ERR_BOARD_BUSY, ERROR_TIMEOUT},          {ERR_MECHANICS, ERROR_MOTION},
    {ERR_MECH_NO_CONFIG, ERROR_NO_CONFIG},    {ERR_USER_STOP, USER_STOP},
};

MechResult resultOfError(FUSError error) {
    const auto row = std::find_if(std::begin(RESULTS), std::end(RESULTS),
                                  [error](const ResultRow& r) { return r.error == error; });
    return row == std::end(RESULTS) ? ERROR_INTERNAL : row->result;
}

} // namespace

MechanicalOriginThread::MechanicalOriginThread(LowLevelMechanicsPrivate& owner, OperationMark mark)
    : Thread(false, 0), m_owner(owner), m_mark(std::move(mark)) {}

MechanicalOriginThread::~MechanicalOriginThread() {
    requestStop();
    if (!cancel()) {
        wait();
    } else if (!m_done) {
        m_owner.runSearch(*this); // stopped before it began: its event is owed all the same
    }
}

std::uint32_t MechanicalOriginThread::run() {
    m_owner.runSearch(*this);
    return 0;
}

void LowLevelMechanicsPrivate::startSearchThread(const OperationMark& mark) {
    std::vector<std::unique_ptr<MechanicalOriginThread>> ended; // freed outside of the lock
    const MutexLocker lock(m_mutex);
    if (m_originThread != nullptr) {
        FUS_THROW(ERR_MECH_ORIGINS_BUSY);
    }
    const auto firstEnded = std::stable_partition(
        m_searches.begin(), m_searches.end(), [](const auto& search) { return !search->isDone(); });
    std::move(firstEnded, m_searches.end(), std::back_inserter(ended));
    m_searches.erase(firstEnded, m_searches.end());

    m_searches.push_back(std::make_unique<MechanicalOriginThread>(*this, mark));
    m_originThread = m_searches.back().get();
    if (!m_originThread->start()) {
        m_originThread->setDone(); // nobody is told of a search that never was
        m_originThread = nullptr;
        m_searches.pop_back();
        FUS_THROW(ERR_THREAD);
    }
}

void LowLevelMechanicsPrivate::runSearch(MechanicalOriginThread& thread) {
    try {
        thread.result = searchAxes(thread.mark());
    } catch (const FUSException& e) {
        thread.hardwareCode = e.hardwareCode();
        thread.result = resultOf(e, thread.mark());
    } catch (const std::exception& e) {
        FUS_LOG(EXCEPTION, "Unknown exception: %s", e.what());
    } catch (...) {
        FUS_LOG(EXCEPTION, "Unknown exception during init.");
    }
    reportSearch(thread);
}

// Behind a stop, a disconnect or another definition any error may be a consequence: an answer that
// didn't come, a motion that the board breaks off. A lost link takes the states away that a search
// needs; that it has lost them isn't the cause then.
MechResult LowLevelMechanicsPrivate::resultOf(const FUSException& error,
                                              const OperationMark& mark) const {
    const MechResult result = resultOfError(error.errorCode());
    const bool isState =
        error.errorCode() == ERR_MECH_NO_CONFIG || error.errorCode() == ERR_MECH_NO_ORIGIN;
    switch (endOf(mark)) {
    case SearchEnd::STOPPED:
        return USER_STOP;
    case SearchEnd::LINK_LOST:
        return isState ? ERROR_NOT_CONNECTED : result;
    default:
        return result;
    }
}

MechResult LowLevelMechanicsPrivate::searchAxes(const OperationMark& mark) {
    const MechanicalDefinition& definition = *mark.definition;
    FUS_LOG(INFO, "Finding origins of %d / %d actuators",
            static_cast<int>(definition.initOrder.size()),
            static_cast<int>(definition.actuators.size()));
    for (const unsigned index : definition.initOrder) {
        if (endOf(mark) != SearchEnd::NONE) {
            return endResult(mark, OK);
        }
        const OriginParams& params = definition.originParams(index);
        searchAxis({index, static_cast<unsigned>(params.initTimeout), params.firstDAC,
                    params.lastDAC, params.stepDAC, params.parkDuration != 0},
                   mark);
        pauseSearch(AXIS_PAUSE, mark);
    }
    return OK;
}

// Under the mutex, so that a listener that has the event finds no search in its way, and so that
// nothing can still happen to a search that has succeeded.
void LowLevelMechanicsPrivate::reportSearch(MechanicalOriginThread& thread) {
    const MutexLocker lock(m_mutex);
    try {
        if (thread.result == OK) {
            thread.result = endResult(thread.mark(), OK);
        }
        if (m_originThread == &thread) { // else a stop, or a later search, has decided
            store(thread.mark(), m_allOriginsFound, thread.result == OK);
        }
        const auto message = thread.hardwareCode.message();
        FUS_LOG(INFO, "Find all origins: %s (reason=%d). %s", mechResultMessage(thread.result),
                static_cast<int>(thread.result), message.c_str());
        m_upcalls.notifyListeners(new MechOriginEvent(thread.result, thread.hardwareCode));
    } catch (...) {
        freePlace(thread);
        throw;
    }
    freePlace(thread);
}

void LowLevelMechanicsPrivate::freePlace(MechanicalOriginThread& thread) noexcept {
    if (m_originThread == &thread) {
        m_originThread = nullptr;
    }
    thread.setDone();
}

} // namespace fus

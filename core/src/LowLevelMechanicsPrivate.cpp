// The state of the mechanical system: its life, what a disconnect leaves of it, what ends an
// operation, and what one needs to begin.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalOriginThread.h"

#include <memory>
#include <vector>

namespace fus {

LowLevelMechanicsPrivate::LowLevelMechanicsPrivate(Upcalls& upcalls)
    : m_upcalls(upcalls), m_starts(upcalls),
      m_definition(std::make_shared<const MechanicalDefinition>()), m_stopped(&m_mutex) {}

LowLevelMechanicsPrivate::~LowLevelMechanicsPrivate() {
    std::vector<std::unique_ptr<MechanicalOriginThread>> searches; // dies first, and waits
    const MutexLocker lock(m_mutex);
    endSearch(true);
    searches.swap(m_searches);
}

std::shared_ptr<const MechanicalDefinition> LowLevelMechanicsPrivate::definition() const {
    const MutexLocker lock(m_mutex);
    return m_definition;
}

// What is known of the board goes with the definition, behind it: nobody stores any more by then.
void LowLevelMechanicsPrivate::setDefinition(std::shared_ptr<const MechanicalDefinition> definition,
                                             bool loaded) {
    // the old one dies behind the lock, with the argument
    const MutexLocker lock(m_mutex);
    m_definition.swap(definition);
    m_definitionLoaded = loaded;
    forgetBoard();
    definition->clearOrigins();
    m_stopped.broadcast(); // a search looks whether its definition is still there
}

void LowLevelMechanicsPrivate::setSecureMode(bool on) {
    FUS_LOG(INFO, "Changing Mechanics secure mode: %d", on);
    FUS_LOG(INFO, "Changing Mechanics secure mode: %s.", on ? "ENABLED" : "DISABLED");
    m_secureMode = on;
}

// What is known of the board, and of where the axes stand.
void LowLevelMechanicsPrivate::forgetBoard() {
    const MutexLocker lock(m_mutex);
    m_configuring = false;
    m_configSent = false;
    m_allOriginsFound = false;
    m_maxActuators = 0;
    m_maxDisplacementSize = 0;
    m_logSize = 0;
    m_displacementDuration = 0;
    m_protocolVersion = 0;
    m_definition->clearOrigins();
}

void LowLevelMechanicsPrivate::cleanOnDisconnect(bool linkAlive) {
    FUS_LOG(INFO, "Cleaning (mech) on disconnection (stop)");
    const bool halt = m_configSent;
    leaveLink(linkAlive);
    if (halt) {
        try {
            haltMotion(linkAlive);
        } catch (...) {
            // the board says nothing, or is out of reach: the connection closes all the same
        }
    }
    forgetBoard();
}

// For a generator without a mechanical board. Out of secure mode a search may have begun there.
void LowLevelMechanicsPrivate::leaveConnection(bool linkAlive) {
    leaveLink(linkAlive);
    forgetBoard();
}

// From here on nothing that moves is sent over the link, and nothing that it tells is kept. All in
// one: who sees the link's end must see that it was asked for.
void LowLevelMechanicsPrivate::leaveLink(bool linkAlive) {
    const MutexLocker lock(m_mutex);
    m_closedLink = m_upcalls.connection();
    endSearch(linkAlive);
}

// --- what ends an operation ----------------------------------------------------------------------

OperationMark LowLevelMechanicsPrivate::beginOperation() const {
    const MutexLocker lock(m_mutex);
    return {m_upcalls.connection(), m_definition, m_stops};
}

LowLevelMechanicsPrivate::SearchEnd LowLevelMechanicsPrivate::endOf(const OperationMark& op) const {
    const MutexLocker lock(m_mutex);
    if (m_stops != op.stops || m_definition != op.definition) {
        return SearchEnd::STOPPED;
    }
    return isDisconnected(op) ? SearchEnd::LINK_LOST : SearchEnd::NONE;
}

bool LowLevelMechanicsPrivate::isDisconnected(const OperationMark& op) const {
    const MutexLocker lock(m_mutex);
    return op.connection != m_upcalls.connection() ||
           (op.connection && op.connection == m_closedLink.lock());
}

bool LowLevelMechanicsPrivate::isCurrent(const OperationMark& op) const {
    const MutexLocker lock(m_mutex);
    return m_definition == op.definition && !isDisconnected(op);
}

void LowLevelMechanicsPrivate::requireRunning(const OperationMark& op) const {
    switch (endOf(op)) {
    case SearchEnd::STOPPED:
        FUS_THROW(ERR_USER_STOP);
    case SearchEnd::LINK_LOST:
        FUS_THROW(ERR_NOT_CONNECTED);
    default:
        break;
    }
}

void LowLevelMechanicsPrivate::storeOrigin(const OperationMark& op, unsigned actuator,
                                           unsigned origin) {
    if (OriginParams* const params = op.definition->findOriginParams(actuator)) {
        store(op, params->origin, origin);
    }
}

// --- what an operation needs ---------------------------------------------------------------------

void LowLevelMechanicsPrivate::requireConfigSent() const {
    if (!m_configSent) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
}

void LowLevelMechanicsPrivate::requireConfigured() const {
    if (!m_configSent && !m_configuring) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
}

void LowLevelMechanicsPrivate::requireOriginsFound() const {
    if (!m_allOriginsFound) {
        FUS_THROW(ERR_MECH_NO_ORIGIN);
    }
}

void LowLevelMechanicsPrivate::requireNoSearch() const {
    const MutexLocker lock(m_mutex);
    if (m_originThread != nullptr) {
        FUS_THROW(ERR_MECH_ORIGINS_BUSY);
    }
}

} // namespace fus

// The back panel, as an application reads, sets and clears it.

#include "fus/P_FUSPrivate.h"

#include "fus/FUSEvent.h"
#include "fus/Mask1D.h"
#include "fus/P_Connection.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

namespace fus {

using namespace gprotocol;

void FUS::Private::setBackPanel(Connection& connection, const Mask1D& snt, const Mask1D& amp,
                                BackPanelStorage target) {
    connection.setBackPanelConfiguration(snt, amp, target, false);
    disconnectSocket(ConnectEvent::REASON_USER_REQUEST);
}

bool FUS::Private::hasBackPanel(Connection& connection, const GeneratorDefinition& definition,
                                BackPanelStorage source) {
    Mask1D snt;
    Mask1D amp;
    connection.readBackPanelConfiguration(snt, amp, source);
    return snt.isComparable(definition.backPanelSNT()) &&
           amp.isComparable(definition.backPanelAMP());
}

// Unlike the check at connect this one also asks for what is in use when the flash counts. What is
// compared and what is set is one connection's, whoever connects anew meanwhile.
bool FUS::Private::applyBackPanel() {
    FUS_LOG(INFO, "Applying back panel configuration from definition file...");
    const auto connection = getConnection();
    const auto definition = this->definition();
    if (definition->backPanelSNT().size() == 0 || definition->backPanelAMP().size() == 0) {
        FUS_LOG(VERBOSE, "No mask in definition, nothing to do.");
        return false;
    }
    const bool onlyRAM = definition->backPanelStorage() == BKP_RAM;
    if (hasBackPanel(*connection, *definition, BKP_RAM) &&
        (onlyRAM || hasBackPanel(*connection, *definition, BKP_FLASH))) {
        FUS_LOG(VERBOSE, "Active config is compatible with definition, nothing to do.");
        return false;
    }
    setBackPanel(*connection, definition->backPanelSNT(), definition->backPanelAMP(),
                 onlyRAM ? BKP_RAM : BKP_BOTH);
    return true;
}

void FUS::readBackPanelConfiguration(Mask1D& sntBoards, Mask1D& ampBoards,
                                     BackPanelStorage source) {
    m_private->getConnection()->readBackPanelConfiguration(sntBoards, ampBoards, source);
}

void FUS::setBackPanelConfiguration(const Mask1D& sntBoards, const Mask1D& ampBoards,
                                    BackPanelStorage target) {
    m_private->setBackPanel(*m_private->getConnection(), sntBoards, ampBoards, target);
}

void FUS::clearBackPanelConfiguration() {
    FUS_LOG(INFO, "clearBackPanelConfiguration");
    m_private->getConnection()->clearBackPanelConfiguration();
}

bool FUS::applyDefBackPanel() {
    return m_private->applyBackPanel();
}

} // namespace fus

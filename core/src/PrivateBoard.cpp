#include "fus/P_PrivateBoard.h"

#include "fus/GProtocol.h"

namespace fus {

PrivateBoard::~PrivateBoard() = default;

PrivateBoardUPB::PrivateBoardUPB() : PrivateBoard(gprotocol::HWID_PROCESSOR) {}

PrivateBoardSNT::PrivateBoardSNT() : PrivateBoard(gprotocol::HWID_SYNTHESIZER) {}

PrivateBoardAMP::PrivateBoardAMP() : PrivateBoard(gprotocol::HWID_AMPLIFIER) {}

PrivateBoardMOT::PrivateBoardMOT() : PrivateBoard(gprotocol::HWID_MECHANICS) {}

} // namespace fus

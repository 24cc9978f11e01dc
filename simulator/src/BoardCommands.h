// The commands that go through the generator to its boards.
#pragma once

#include "Bytes.h"
#include "Hardware.h"
#include "MotBoard.h"
#include "Refusal.h"

namespace fus {
namespace simulator {

// Carries the payload of a CMD_BOARD_CMD out and gives the payload of its answer. What a board
// refuses is such an answer too; a Refusal is thrown for what doesn't get as far as a board.
Bytes carryOutBoardCommand(Hardware& hardware, MotBoard& mot, const Bytes& payload);

// The answer with which the addressed board refuses this command.
Bytes refusedByBoard(const Bytes& payload, const Refusal& refusal);

} // namespace simulator
} // namespace fus

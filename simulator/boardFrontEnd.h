#pragma once

#include "simulator/Board.h"

/** The board behind this process's "/dev/i2c-2". In the simulated device (UNIT_BOARD set) its state is the file
    `BoardState::path`; otherwise it is this process's own, fresh until a test says otherwise.
*/
Board& board();

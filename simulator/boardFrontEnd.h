#pragma once

#include "simulator/Board.h"

/** The board behind the "/dev/i2c-2" of this process. In the simulated unit (UNIT_BOARD is set) the file `paths::board`
    holds its state, and all processes share it. Otherwise the board belongs to this process and begins fresh.
*/
Board& board();

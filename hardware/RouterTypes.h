#pragma once

#include <iterator>

/** The router's enumerations, and the two tables that translate audio endpoints into numbers of the FPGA. The
    underlying types are fixed, so that an enumeration can hold every number from a register or a caller.
*/

/** A clock or signal source. In the FPGA's status masks, source s is bit s - 1. Only the mute control uses bit s. */
enum CLOCKSOURCES : int
{
    CLOCK_INPUT1 = 1,
    CLOCK_INPUT2 = 2,
    CLOCK_INPUT3 = 3,
    CLOCK_INPUT4 = 4,
    CLOCK_INPUT5 = 5,
    CLOCK_INTERNAL = 6, ///< always has a signal; selecting it also turns on the internal clock generator
    CLOCK_MADI_BNC1 = 7,
    CLOCK_MADI_BNC2 = 8
};

/** The family of sample rates. The router ignores other values. */
enum SPEEDMODE : int
{
    SPEED_SINGLE = 1,
    SPEED_DOUBLE = 2,
    SPEED_QUAD = 4
};

/** The MADI mode. The router ignores other values. */
enum MADIMODE : int
{
    MADIMODE_1X = 1,
    MADIMODE_2X = 2,
    MADIMODE_4X = 4
};

/** An audio endpoint: a number from 0 to 39 that the two tables below translate. 17, 18 and 39 are only sinks, 31 to
    38 only sources, 0 is neither. Only the last ones have names.
*/
enum AUDIONAMES : int
{
    AUDIO_LAST_SOURCE = 38,
    AUDIO_LAST_SINK = 39
};

/** By endpoint: the code that a sink's register holds to carry this endpoint's signal; 0: not a source.
    The codes of 5 to 8 and 19 to 22 count down, unlike their sinks, because of the board's wiring.
*/
inline constexpr int AudionamesourceMapping[] = {
    0,                              // 0
    25, 26, 27, 28,                 // 1-4
    8,  7,  6,  5,                  // 5-8
    9,  10, 11, 12, 13, 14, 15, 16, // 9-16
    0,  0,                          // 17-18
    4,  3,  2,  1,                  // 19-22
    17, 18, 19, 20, 21, 22, 23, 24, // 23-30
    29, 30, 31, 32, 33, 34, 35, 36, // 31-38
    0                               // 39
};

/** By endpoint: the FPGA register that selects what feeds this endpoint; 0: not a sink. */
inline constexpr int AudionamesinkMapping[] = {
    0,                              // 0
    25, 26, 27, 28,                 // 1-4
    1,  2,  3,  4,                  // 5-8
    9,  10, 11, 12, 13, 14, 15, 16, // 9-16
    29, 30,                         // 17-18
    5,  6,  7,  8,                  // 19-22
    17, 18, 19, 20, 21, 22, 23, 24, // 23-30
    0,  0,  0,  0,  0,  0,  0,  0,  // 31-38
    31                              // 39
};

static_assert (std::size (AudionamesourceMapping) == AUDIO_LAST_SINK + 1);
static_assert (std::size (AudionamesinkMapping) == AUDIO_LAST_SINK + 1);

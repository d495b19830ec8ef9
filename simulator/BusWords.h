#pragma once

#include <cstdint>
#include <string>

/** Tells a trace of the bus in words for a reader. Must see the lines in their order: what a write means depends on
    the chip addressed, the channels connected and the register number before it.
*/
class BusWords
{
public:
    /** One line of the trace, such as "write 02 81", in words: "DAC 1: power down". Empty for a line that only prepares
        the next one (an address, the register number before a read). A failed call ends in " (failed: ENXIO)" and is
        never empty. Sinks and sources are the crosspoint's own numbers, decimal.
    */
    std::string describe (const std::string& line);

private:
    std::string chip() const;
    std::string write (const std::string& bytes, bool failed);
    std::string writeToSwitch (std::uint8_t mask, bool failed);

    unsigned address = 0;
    std::uint8_t mask = 0, registerNumber = 0;
};

#pragma once

#include <cstdint>
#include <string>

/** Puts the trace of the bus into words. It must get the lines in their order, because the meaning of a write depends
    on the addressed chip, the connected channels and the register number before it.
*/
class BusWords
{
public:
    /** One line of the trace in words: "write 02 81" is "DAC 1: power down". Empty for a line that only prepares the
        next one (an address, or the register number before a read), unless the call failed. The words of a failed call
        end in " (failed: ENXIO)". Sinks and sources are the crosspoint's own numbers, decimal.
    */
    std::string describe (const std::string& line);

private:
    std::string chip() const;
    std::string write (const std::string& bytes, bool failed);

    unsigned address = 0;
    std::uint8_t mask = 0, registerNumber = 0;
};

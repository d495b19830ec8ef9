#include "simulator/BusWords.h"

#include "simulator/Board.h"

#include <cstdio>
#include <iterator>
#include <sstream>
#include <vector>

namespace
{
constexpr int anyValue = -1;

const struct
{
    std::uint8_t address, registerNumber;
    int value;
    const char* words; // followed by the value where any will do
} meanings[] = {
    { Board::dacAddress, 0x02, 0x81, "power down" },
    { Board::dacAddress, 0x02, 0x80, "power up" },
    { Board::dacAddress, 0x03, anyValue, "interface configuration" },
    { Board::dacAddress, 0x06, anyValue, "filter configuration" },
    { Board::dacAddress, 0x09, 0xFF, "mute all channels" },
    { Board::dacAddress, 0x09, 0x00, "unmute all channels" },
    { Board::routerAddress, 0x22, 0xFF, "reset" },
    { Board::routerAddress, 0x23, 0xFF, "restart clock measurement" },
    { Board::routerAddress, 0x24, anyValue, "cue source and line" },
    { Board::routerAddress, 0x25, anyValue, "directions" },
    { Board::routerAddress, 0x26, 0x15, "internal clock generator on" },
    { Board::routerAddress, 0x26, 0x00, "internal clock generator off" },
    { Board::routerAddress, 0x27, anyValue, "select clock" },
    { Board::routerAddress, 0x2C, 0x01, "latch clock measurement" },
    { Board::routerAddress, 0x35, anyValue, "mute control" },
    { Board::routerAddress, 0x36, anyValue, "second source mask" },
    { Board::routerAddress, 0x3D, 0xFF, "complete the reset" },
    { Board::routerAddress, 0x5E, anyValue, "MADI transmit channels - 1" },
    { Board::routerAddress, 0x60, anyValue, "MADI control" },
    { Board::routerAddress, 0x61, anyValue, "speed and MADI modes" },
    { Board::routerAddress, 0x65, 0xFF, "clear the hold and changed latches" },
};

std::string hex (unsigned value)
{
    char text[12];
    std::snprintf (text, sizeof text, "%02X", value);
    return text;
}

std::string meaning (unsigned address, std::uint8_t number, std::uint8_t value)
{
    if (address == Board::routerAddress && number > 0 && number < BoardState::crosspointEnd)
    {
        const auto sink = "sink " + std::to_string (number);
        return value == 0 ? "disconnect " + sink : "connect source " + std::to_string (value) + " to " + sink;
    }

    for (const auto& entry : meanings)
        if (entry.address == address && entry.registerNumber == number && entry.value == value)
            return entry.words;

    for (const auto& entry : meanings)
        if (entry.address == address && entry.registerNumber == number && entry.value == anyValue)
            return std::string (entry.words) + " = " + hex (value);

    return "register " + hex (number) + " = " + hex (value);
}
}

std::string BusWords::describe (const std::string& line)
{
    const auto errorStart = line.find (" ! ");
    const bool failed = errorStart != std::string::npos;
    const auto call = line.substr (0, errorStart);
    const auto verbEnd = call.find (' ');
    const auto verb = call.substr (0, verbEnd);
    const auto rest = verbEnd == std::string::npos ? "" : call.substr (verbEnd + 1);
    std::string words;

    if (verb == "address")
    {
        // On the bus a chip stays addressed when another cannot be; away from it only the intention counts.
        if (! failed || line.compare (errorStart + 3, std::string::npos, "ENXIO") != 0)
            address = static_cast<unsigned> (std::stoul (rest, nullptr, 16));

        words = failed ? "address " + rest : "";
    }
    else if (verb == "write")
    {
        words = write (rest, failed);
    }
    else if (verb == "read")
    {
        const auto arrow = rest.find (" -> ");
        words = chip() + ": read register " + hex (registerNumber) +
                (arrow == std::string::npos ? "" : " = " + rest.substr (arrow + 4));
    }
    else
    {
        words = verb == "open" ? "open the bus" : verb == "close" ? "close descriptor " + rest : call;
    }

    return failed ? words + " (failed: " + line.substr (errorStart + 3) + ")" : words;
}

std::string BusWords::chip() const
{
    if (address == Board::muxAddress)
        return "switch";

    if (address == Board::routerAddress)
        return "router";

    const bool dac1 = (mask & BoardState::dac1Channel) != 0, dac2 = (mask & BoardState::dac2Channel) != 0;

    if (address == Board::dacAddress && (dac1 || dac2))
        return dac1 && dac2 ? "DAC 1 and DAC 2" : dac1 ? "DAC 1" : "DAC 2";

    return "address " + hex (address) + ", where nobody is connected";
}

std::string BusWords::write (const std::string& bytes, bool failed)
{
    std::istringstream text (bytes);
    const std::vector<std::string> words { std::istream_iterator<std::string> (text), {} };
    std::vector<std::uint8_t> values;

    for (const auto& word : words)
        values.push_back (static_cast<std::uint8_t> (std::stoul (word, nullptr, 16)));

    if (values.empty())
        return chip() + ": nothing written";

    if (address == Board::muxAddress)
        return writeToSwitch (values.back(), failed);

    registerNumber = values.front();

    if (values.size() == 1)
        return failed ? chip() + ": choose register " + hex (registerNumber) : "";

    if (values.size() == 2)
        return chip() + ": " + meaning (address, registerNumber, values.back());

    return chip() + ": registers from " + hex (registerNumber) + " = " + bytes.substr (bytes.find (' ') + 1);
}

std::string BusWords::writeToSwitch (std::uint8_t newMask, bool failed)
{
    if (! failed)
        mask = newMask;

    switch (newMask)
    {
    case 0: return "switch: disconnect all";
    case BoardState::dac1Channel: return "switch: connect DAC 1";
    case BoardState::dac2Channel: return "switch: connect DAC 2";
    case BoardState::dac1Channel | BoardState::dac2Channel: return "switch: connect DAC 1 and DAC 2";
    default: return "switch: connect channels " + hex (newMask);
    }
}

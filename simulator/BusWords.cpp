#include "simulator/BusWords.h"

#include <sstream>
#include <vector>

#include "hardware/CS4385Registers.h"
#include "hardware/Router_Spartan6Registers.h"
#include "simulator/Board.h"

namespace
{
namespace dac = cs4385;
namespace fpga = spartan6;

constexpr int anyValue = -1;

const struct
{
    std::uint8_t address, registerNumber;
    int value;
    const char* words; // the value follows if it is anyValue
} meanings[] = {
    { Board::dacAddress, dac::modeControl, dac::controlPortEnable | dac::powerDown, "power down" },
    { Board::dacAddress, dac::modeControl, dac::controlPortEnable, "power up" },
    { Board::dacAddress, dac::pcmControl, anyValue, "PCM control" },
    { Board::dacAddress, dac::invertControl, anyValue, "invert control" },
    { Board::dacAddress, dac::muteControl, dac::muteAll, "mute all channels" },
    { Board::dacAddress, dac::muteControl, dac::muteNone, "unmute all channels" },
    { Board::routerAddress, fpga::reset, fpga::resetNow, "reset" },
    { Board::routerAddress, fpga::measurementRestart, fpga::restartNow, "restart clock measurement" },
    { Board::routerAddress, fpga::cue, anyValue, "cue source and line" },
    { Board::routerAddress, fpga::directions, anyValue, "directions" },
    { Board::routerAddress, fpga::clockGenerator, fpga::generatorOn, "internal clock generator on" },
    { Board::routerAddress, fpga::clockGenerator, fpga::generatorOff, "internal clock generator off" },
    { Board::routerAddress, fpga::selectedClock, anyValue, "select clock" },
    { Board::routerAddress, fpga::measurementLatch, fpga::latchNow, "latch clock measurement" },
    { Board::routerAddress, fpga::muteControl, anyValue, "mute control" },
    { Board::routerAddress, fpga::secondSourceMask, anyValue, "second source mask" },
    { Board::routerAddress, fpga::afterReset, fpga::resetNow, "complete the reset" },
    { Board::routerAddress, fpga::transmitChannels, anyValue, "MADI transmit channels - 1" },
    { Board::routerAddress, fpga::madiControl, anyValue, "MADI control" },
    { Board::routerAddress, fpga::modes, anyValue, "speed and MADI modes" },
    { Board::routerAddress, fpga::holdReset, fpga::holdResetNow, "clear the hold and changed latches" },
};

std::string meaning (unsigned address, std::uint8_t number, std::uint8_t value)
{
    if (address == Board::routerAddress && number >= fpga::firstSink && number <= fpga::lastSink)
    {
        const auto sink = "sink " + std::to_string (number);
        return value == fpga::noSource ? "disconnect " + sink
                                       : "connect source " + std::to_string (value) + " to " + sink;
    }

    for (const auto& entry : meanings)
        if (entry.address == address && entry.registerNumber == number &&
            (entry.value == value || entry.value == anyValue))
            return entry.words + (entry.value == anyValue ? " = " + Board::hex (value) : "");

    return "register " + Board::hex (number) + " = " + Board::hex (value);
}

/** The DACs behind these channels of the switch, or `otherwise` for other channels. */
std::string dacsBehind (unsigned channels, const std::string& otherwise)
{
    switch (channels)
    {
    case BoardState::dac1Channel: return "DAC 1";
    case BoardState::dac2Channel: return "DAC 2";
    case BoardState::dac1Channel | BoardState::dac2Channel: return "DAC 1 and DAC 2";
    default: return otherwise;
    }
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
        // ENXIO means that the bus keeps the address before. Every other failure shows the intended address.
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
        words = chip() + ": read register " + Board::hex (registerNumber) +
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

    const unsigned connected = mask & (BoardState::dac1Channel | BoardState::dac2Channel);
    return dacsBehind (address == Board::dacAddress ? connected : 0,
                       "address " + Board::hex (address) + ", where nobody is connected");
}

std::string BusWords::write (const std::string& bytes, bool failed)
{
    std::istringstream text (bytes);
    std::vector<std::uint8_t> values;

    for (unsigned value = 0; text >> std::hex >> value;)
        values.push_back (static_cast<std::uint8_t> (value));

    if (values.empty())
        return chip() + ": nothing written";

    if (address == Board::muxAddress)
    {
        const auto channels = values.back();
        mask = failed ? mask : channels;
        return channels == 0 ? "switch: disconnect all"
                             : "switch: connect " + dacsBehind (channels, "channels " + Board::hex (channels));
    }

    registerNumber = values.front();

    if (values.size() == 1)
        return failed ? chip() + ": choose register " + Board::hex (registerNumber) : "";

    if (values.size() == 2)
        return chip() + ": " + meaning (address, registerNumber, values.back());

    return chip() + ": registers from " + Board::hex (registerNumber) + " = " +
           bytes.substr (bytes.find (' ') + 1);
}

// The chips on the I2C bus: each operation makes the right bus calls, and survives a fault at each of them.
#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <future>
#include <limits>
#include <regex>
#include <unistd.h>

#include <gtest/gtest.h>

#include "hardware/CS4385.h"
#include "hardware/Router_Spartan6.h"
#include "simulator/boardFrontEnd.h"
#include "tests/LoggedLines.h"

namespace
{
using Sleeps = std::vector<std::pair<std::int64_t, bool>>; // milliseconds, and whether the bus was locked
Sleeps sleeps;

bool isBusLocked()
{
    return ! std::async (std::launch::async,
                         [] { return juce::ScopedTryWriteLock (I2CDevice::i2cLock).isLocked(); })
                 .get();
}

std::string joined (const std::vector<std::string>& lines, const char* separator)
{
    std::string text;

    for (const auto& line : lines)
        text += line + separator;

    return text;
}

const auto begins = [] (const std::string& text, const std::string& with) { return text.rfind (with, 0) == 0; };
const auto isOpen = [] (int descriptor) { return ::fcntl (descriptor, F_GETFD) != -1; };

/** A bus in a known state, its traffic and the log. */
struct Bus : juce::Logger
{
    explicit Bus (const char* state = "configured")
    {
        juce::Logger::setCurrentLogger (this);
        board().state = {};
        EXPECT_TRUE (board().state.setUp (state));
        forget();
    }
    ~Bus() override { juce::Logger::setCurrentLogger (nullptr); }

    void logMessage (const juce::String& message) override
    {
        lines.push_back (message.toStdString());
        recordLogged (lines.back());
    }
    std::string log() const { return joined (lines, "|"); }

    void forget()
    {
        board().trace.clear();
        board().arm (BusFault::none, 0);
        lines.clear();
        sleeps.clear();
    }

    /** Makes the bus call with this number fail, counted from 1. */
    static void failCall (std::size_t call) { board().arm (BusFault::nack, static_cast<std::uint32_t> (call)); }

    static std::string raw() { return joined (board().trace, "; "); }

    /** The trace, short for the FPGA: "35?12" is register 0x35 read as 0x12, "35=FF" written. */
    static std::string transfers()
    {
        static const std::regex write ("address 5A; write (..) (..); ");
        static const std::regex read ("address 5A; write (..); read 1 -> (..); ");
        return std::regex_replace (std::regex_replace (raw(), write, "$1=$2 "), read, "$1?$2 ");
    }

    std::vector<std::string> lines; // of the log

    JUCE_DECLARE_NON_COPYABLE (Bus)
};

/** A device at an address, behind a channel of the switch or directly on the bus. */
template <typename Device, char address, char channel>
struct At : Device
{
    At()
        : Device (Board::busPath, address, channel)
    {
    }
    using Device::fd;
};

using Dac1 = At<CS4385, 0x18, 0x20>;
using Dac2 = At<CS4385, 0x18, 0x08>;
using Fpga = At<Router_Spartan6, 0x5A, 0x00>;

constexpr auto fpgaRegister = [](int number) -> auto&
{
    return board().state.router.registers[number];
};
constexpr auto clockSource = [] (int number) { return static_cast<CLOCKSOURCES> (number); };
constexpr auto audio = [] (int number) { return static_cast<AUDIONAMES> (number); };

const std::string noAnswer = "No such device or address"; // ENXIO
using Registers = std::vector<std::pair<int, int>>;       // of the FPGA, with their values

constexpr double notGuarded = -999;

struct Operation
{
    std::string name;
    Registers before;
    std::function<double (Fpga&)> call;
    std::string transfers;
    double result;
    std::string log {};
    double resultNotReady = notGuarded; // a guarded operation that is not ready makes no traffic

    bool isGuarded() const { return resultNotReady != notGuarded; }
};

// Worked out by hand from the meaning of each register. Operations such as Mute (8) are at the edges of the masks.
#define CALL(...) [] (Fpga& r) -> double { return __VA_ARGS__; }

// clang-format off
const std::vector<Operation> operations = {
    { "Connect", {}, CALL (r.Connect (audio (5), audio (19))), "05=08 05?08 ", 1 },
    { "Connect to 39", {}, CALL (r.Connect (audio (38), audio (39))), "1F=24 1F?24 ", 1 },
    { "Connect 39", {}, CALL (r.Connect (audio (39), audio (1))), "", 0 },
    { "Connect -1", {}, CALL (r.Connect (audio (-1), audio (1))), "", 0 },
    { "Connect to 40", {}, CALL (r.Connect (audio (1), audio (40))), "", 0 },
    { "Connect to -1", {}, CALL (r.Connect (audio (1), audio (-1))), "", 0 },
    { "Disconnect", {}, CALL (r.Disconnect (audio (8))), "04=00 ", 1 },
    { "Disconnect 0", {}, CALL (r.Disconnect (audio (0))), "00=00 ", 1 },
    { "Disconnect 39", {}, CALL (r.Disconnect (audio (39))), "1F=00 ", 1 },
    { "Disconnect 40", {}, CALL (r.Disconnect (audio (40))), "", 0 },
    { "Disconnect -1", {}, CALL (r.Disconnect (audio (-1))), "", 0 },
    { "SelectClock internal", { { 0x35, 0x12 }, { 0x36, 0x34 } }, CALL (r.SelectClock (CLOCK_INTERNAL)), "35?12 36?34 35=FF 36=FF 26=15 27=06 35=12 36=34 27?06 ", 1 },
    { "SelectClock 7", { { 0x35, 0 }, { 0x36, 0 } }, CALL (r.SelectClock (CLOCK_MADI_BNC1)), "35?00 36?00 35=FF 36=FF 26=00 27=07 35=00 36=00 27?07 ", 1 },
    { "SelectClock 262", { { 0x35, 0 }, { 0x36, 0 } }, CALL (r.SelectClock (clockSource (262))), "35?00 36?00 35=FF 36=FF 26=00 27=06 35=00 36=00 27?06 ", 0 },
    { "getSelectedClock", { { 0x27, 0x85 } }, CALL (r.getSelectedClock()), "27?85 ", 0x85, "", 0xFF },
    { "GetActualClockValueHz", { { 0x3B, 2 }, { 0x3C, 120 } }, CALL (r.GetActualClockValueHz()), "23=FF 23=00 2C=01 2C=00 28?00 3B?02 3C?78 29?00 2A?00 2B?00 ", 0, "", -1 },
    { "GetActualClockValue", { { 0x3B, 2 }, { 0x3C, 120 } }, CALL (r.GetActualClockValue()), "23=FF 23=00 2C=01 2C=00 28?00 3B?02 3C?78 29?00 2A?00 2B?00 ", 7, "", 7 },
    { "setDirections 0", {}, CALL (r.setDirections (0)), "25=01 ", 1 },
    { "setDirections 8", {}, CALL (r.setDirections (8)), "25=01 ", 1 },
    { "setDirections 9", {}, CALL (r.setDirections (9)), "25=03 ", 3 },
    { "setDirections 64", {}, CALL (r.setDirections (64)), "25=FF ", 255 },
    { "setDirections 65", {}, CALL (r.setDirections (65)), "25=FF ", 0x1FF },
    { "setDirections 240", {}, CALL (r.setDirections (240)), "25=FF ", 0x3FFFFFFF },
    { "setDirections 241", {}, CALL (r.setDirections (241)), "25=FF ", 0x7FFFFFFF },
    { "setDirections most", {}, CALL (r.setDirections (std::numeric_limits<int>::max())), "25=FF ", 0x7FFFFFFF },
    { "setDirections least", {}, CALL (r.setDirections (std::numeric_limits<int>::min())), "25=00 ", 0 },
    { "setDirections again", {}, CALL (r.setDirections (16), r.setDirections (16)), "25=03 ", 0 },
    { "getDirections", {}, CALL (r.getDirections() + r.getDirections()), "", 2, "DEBUG: ROUTER funtion not implemented: getDirections|" },
    { "versions", { { 0x3B, 3 }, { 0x3C, 250 } }, CALL (r.getFPGAimage_Majorversion() * 1000 + r.getFPGAimage_Minorversion()), "3B?03 3C?FA ", 3250 },
    { "getPhaseShiftinns 1", { { 0x50, 0xFF }, { 0x51, 0xFE } }, CALL (r.getPhaseShiftinns (clockSource (1))), "50?FF 51?FE ", 655340 },
    { "getPhaseShiftinns 7", { { 0x5C, 0x01 }, { 0x5D, 0x80 } }, CALL (r.getPhaseShiftinns (clockSource (7))), "5C?01 5D?80 ", 3840 },
    { "Mute 3", { { 0x35, 0x81 } }, CALL (r.Mute (clockSource (3))), "35?81 35=89 ", 1 },
    { "Mute 8", { { 0x35, 0x81 } }, CALL (r.Mute (clockSource (8))), "35?81 35=81 ", 1 },
    { "Mute -1", { { 0x35, 0x81 } }, CALL (r.Mute (clockSource (-1))), "35?81 35=81 ", 1 },
    { "Unmute 7", { { 0x35, 0xFF } }, CALL (r.Unmute (clockSource (7))), "35?FF 35=7F ", 1 },
    { "Unmute 7 of nothing else", { { 0x35, 0x80 } }, CALL (r.Unmute (clockSource (7))), "35?80 35=00 ", 1 },
    { "getMute 7", { { 0x35, 0x80 } }, CALL (r.getMute (clockSource (7))), "35?80 ", 1 },
    { "getMute 8", { { 0x35, 0xFF } }, CALL (r.getMute (clockSource (8))), "35?FF ", 0 },
    { "getglobalmute", { { 0x30, 0xFE } }, CALL (r.getglobalmute()), "30?FE ", 0 },
    { "getglobalmute on", { { 0x30, 0x01 } }, CALL (r.getglobalmute()), "30?01 ", 1 },
    { "getLockedState", { { 0x2D, 0x81 } }, CALL (r.getLockedState()), "2D?81 ", 0x81, "", 0 },
    { "getMutedtate", { { 0x63, 0x82 } }, CALL (r.getMutedtate()), "63?82 ", 0x82, "", 0 },
    { "getSignalState", { { 0x2E, 0x80 } }, CALL (r.getSignalState()), "2E?80 ", 0xA0, "", 0 },
    { "isLocked 8", { { 0x2D, 0x80 } }, CALL (r.isLocked (clockSource (8), 0)), "2D?80 ", 1, "", 0 },
    { "isLocked 9", { { 0x2D, 0xFF } }, CALL (r.isLocked (clockSource (9), 0)), "2D?FF ", 0, "", 0 },
    { "isLocked 0", { { 0x2D, 0xFF } }, CALL (r.isLocked (clockSource (0), 0)), "2D?FF ", 0, "", 0 },
    { "isLocked 8 of 0x80", {}, CALL (r.isLocked (clockSource (8), static_cast<char> (0x80))), "", 1 },
    { "isLocked 7 of 0x80", {}, CALL (r.isLocked (clockSource (7), static_cast<char> (0x80))), "", 0 },
    { "isMuted 1 of 0x01", {}, CALL (r.isMuted (clockSource (1), 1)), "", 1 },
    { "isMuted 1", { { 0x63, 0x01 } }, CALL (r.isMuted (clockSource (1), 0)), "63?01 ", 1, "", 0 },
    { "hasClockSignal internal", { { 0x2E, 0 } }, CALL (r.hasClockSignal (CLOCK_INTERNAL, 0)), "2E?00 ", 1, "", 0 },
    { "hasClockSignal 5", { { 0x2E, 0xEF } }, CALL (r.hasClockSignal (clockSource (5), 0)), "2E?EF ", 0, "", 0 },
    { "isLockLostHold", { { 0x66, 0x04 } }, CALL (r.isLockLostHold (clockSource (3))), "66?04 ", 1, "", 0 },
    { "isMutedHold", { { 0x67, 0x04 } }, CALL (r.isMutedHold (clockSource (4))), "67?04 ", 0, "", 0 },
    { "isLockedChanged", { { 0x68, 0x80 } }, CALL (r.isLockedChanged (clockSource (8))), "68?80 ", 1, "", 0 },
    { "isMutedChanged", { { 0x69, 0x01 } }, CALL (r.isMutedChanged (clockSource (1))), "69?01 ", 1, "", 0 },
    { "anyLockedChanged", { { 0x68, 0x80 } }, CALL (r.anyLockedChanged()), "68?80 ", 1, "", 0 },
    { "anyMutedChanged", { { 0x69, 0x00 } }, CALL (r.anyMutedChanged()), "69?00 ", 0, "", 0 },
    { "resetClockAndMuteHold", { { 0x66, 0xFF } }, CALL (r.resetClockAndMuteHold(), fpgaRegister (0x66)), "65=FF 65=00 ", 0, "", 0xFF },
    { "enable_madi", { { 0x60, 0x05 }, { 0x61, 0x30 } }, CALL (r.enable_madi()), "60?05 60=85 60?85 61?30 61=32 61=30 61?30 61=34 61=30 ", 1, "DEBUG: enable_madi: Old Value: 5|DEBUG: enable_madi: New Value: 85|" },
    { "disable_madi", { { 0x60, 0xFF } }, CALL (r.disable_madi()), "60?FF 60=7F 60?7F ", 1, "DEBUG: disable_madi: Old Value: ff|DEBUG: disable_madi: New Value: 7f|" },
    { "disable_madi of nothing else", { { 0x60, 0x80 } }, CALL (r.disable_madi()), "60?80 60=00 60?00 ", 1, "DEBUG: disable_madi: Old Value: 80|DEBUG: disable_madi: New Value: 0|" },
    { "disable_madi_out_BNC1", { { 0x60, 0x80 } }, CALL (r.disable_madi_out_BNC1 (true)), "60?80 60=90 60?90 ", 1, "DEBUG: disable_madi_out_BNC1: Old Value: 80|DEBUG: disable_madi_out_BNC1: New Value: 90|" },
    { "disable_madi_out_BNC2", { { 0x60, 0xB0 } }, CALL (r.disable_madi_out_BNC2 (false)), "60?B0 60=90 60?90 ", 1, "DEBUG: disable_madi_out_BNC2: Old Value: b0|DEBUG: disable_madi_out_BNC2: New Value: 90|" },
    { "getBitError_BNC1 off", {}, CALL (r.getBitError_BNC1()), "", 0 },
    { "get_number_of_rx_channels", { { 0x2E, 0x40 }, { 0x5F, 0xFF } }, CALL (r.get_number_of_rx_channels()), "2E?40 5F?FF ", 256, "", 0 },
    { "get_number_of_rx_channels, none", { { 0x2E, 0xBF } }, CALL (r.get_number_of_rx_channels()), "2E?BF ", 0, "", 0 },
    { "set_number_of_tx_channels 64", {}, CALL (r.set_number_of_tx_channels (64)), "5E=3F ", 1 },
    { "set_number_of_tx_channels 1", {}, CALL (r.set_number_of_tx_channels (1)), "5E=00 ", 1 },
    { "set_number_of_tx_channels 65", {}, CALL (r.set_number_of_tx_channels (65)), "", 0 },
    { "set_number_of_tx_channels 0", {}, CALL (r.set_number_of_tx_channels (0)), "", 0 },
    { "SetSpeedMode 1", { { 0x61, 0xFF } }, CALL (r.SetSpeedMode (SPEED_SINGLE)), "61?FF 61=CF ", 1, "", 0 },
    { "SetSpeedMode 1 of nothing else", { { 0x61, 0x30 } }, CALL (r.SetSpeedMode (SPEED_SINGLE)), "61?30 61=00 ", 1, "", 0 },
    { "SetSpeedMode 2", { { 0x61, 0xFF } }, CALL (r.SetSpeedMode (SPEED_DOUBLE)), "61?FF 61=DF ", 1, "", 0 },
    { "SetSpeedMode 4", { { 0x61, 0x00 } }, CALL (r.SetSpeedMode (SPEED_QUAD)), "61?00 61=30 ", 1, "", 0 },
    { "SetSpeedMode 3", { { 0x61, 0x00 } }, CALL (r.SetSpeedMode (static_cast<SPEEDMODE> (3))), "61?00 ", 1, "", 0 },
    { "SetMADI_MODE flag", { { 0x61, 0xC0 } }, CALL (r.SetMADI_MODE (true, MADIMODE_1X)), "61?C0 61=C8 ", 1, "", 0 },
    { "SetMADI_MODE 1X", { { 0x61, 0xFF } }, CALL (r.SetMADI_MODE (false, MADIMODE_1X)), "61?FF 61=37 ", 1, "", 0 },
    { "SetMADI_MODE 1X of nothing else", { { 0x61, 0xC8 } }, CALL (r.SetMADI_MODE (false, MADIMODE_1X)), "61?C8 61=00 ", 1, "", 0 },
    { "SetMADI_MODE 2X", { { 0x61, 0xFF } }, CALL (r.SetMADI_MODE (false, MADIMODE_2X)), "61?FF 61=77 ", 1, "", 0 },
    { "SetMADI_MODE 4X", { { 0x61, 0x08 } }, CALL (r.SetMADI_MODE (false, MADIMODE_4X)), "61?08 61=C0 ", 1, "", 0 },
    { "SetMADI_MODE 0", { { 0x61, 0x08 } }, CALL (r.SetMADI_MODE (false, static_cast<MADIMODE> (0))), "61?08 ", 1, "", 0 },
    { "CUE_set_to_internal", { { 0x24, 0xFF } }, CALL (r.CUE_set_to_internal()), "24?FF 24=F7 ", 1, "DEBUG: Setting Cue to INTERNAL: 247|" },
    { "CUE_set_to_internal of nothing else", { { 0x24, 0x08 } }, CALL (r.CUE_set_to_internal()), "24?08 24=00 ", 1, "DEBUG: Setting Cue to INTERNAL: 0|" },
    { "CUE_set_to_external", { { 0x24, 0xF7 } }, CALL (r.CUE_set_to_external()), "24?F7 24=FF ", 1, "DEBUG: Setting Cue to EXTERNAL: 255|" },
    { "CUE_Select_TDMLine 8", { { 0x24, 0xF8 } }, CALL (r.CUE_Select_TDMLine (8)), "24?F8 24=FF ", 1, "DEBUG: Selecting TDM line 8 for CUE: 255|" },
    { "CUE_Select_TDMLine 0", { { 0x24, 0x00 } }, CALL (r.CUE_Select_TDMLine (0)), "24?00 24=07 ", 1, "DEBUG: Selecting TDM line 0 for CUE: 7|" },
    { "CUE_Select_TDMLine 9", { { 0x24, 0x07 } }, CALL (r.CUE_Select_TDMLine (9)), "24?07 24=00 ", 1, "DEBUG: Selecting TDM line 9 for CUE: 0|" },
    { "CUE_Select_TDMLine 200", { { 0x24, 0x00 } }, CALL (r.CUE_Select_TDMLine (static_cast<char> (200))), "24?00 24=07 ", 1, "DEBUG: Selecting TDM line 200 for CUE: 7|" },
};
// clang-format on
#undef CALL

/** A ready router on an FPGA with these registers. */
std::unique_ptr<Fpga> readyRouter (Bus& bus, const Registers& registers = {})
{
    auto router = std::make_unique<Fpga>();
    EXPECT_EQ (1, router->resetAndInit());

    for (const auto& [number, value] : registers)
        fpgaRegister (number) = static_cast<std::uint8_t> (value);

    bus.forget();
    return router;
}

}

// This program never sleeps. Its clock only notes the time of each sleep.
extern "C" int nanosleep (const timespec* duration, timespec*)
{
    sleeps.emplace_back (duration->tv_sec * 1000 + duration->tv_nsec / 1000000, isBusLocked());
    return 0;
}

TEST (Router, makesTheBusCallsOfEachOperationAndNoneOfAGuardedOneUnlessReady)
{
    for (const auto& operation : operations)
    {
        Bus bus;
        const auto router = readyRouter (bus, operation.before);
        EXPECT_EQ (operation.result, operation.call (*router)) << operation.name;
        EXPECT_EQ (operation.transfers, Bus::transfers()) << operation.name;
        EXPECT_EQ (operation.log, bus.log()) << operation.name;
        EXPECT_FALSE (isBusLocked()) << operation.name;

        const auto notReady = readyRouter (bus, operation.before);
        Bus::failCall (1);
        notReady->getMute (clockSource (1)); // fails, because it is not guarded
        ASSERT_FALSE (notReady->isReady());
        bus.forget();
        const auto result = operation.call (*notReady);
        EXPECT_TRUE (! operation.isGuarded() || result == operation.resultNotReady)
            << operation.name << ": " << result;
        EXPECT_EQ (operation.isGuarded() || operation.transfers.empty(), Bus::raw().empty()) << operation.name;
    }
}

TEST (Router, reportsAFaultAtEveryBusCallOfEveryOperation)
{
    int pairs = 0;

    for (const auto& operation : operations)
    {
        std::vector<std::string> calls;
        {
            Bus clean;
            const auto router = readyRouter (clean, operation.before);
            operation.call (*router);
            calls = board().trace;
        }

        for (std::size_t k = 1; k <= calls.size(); ++k)
        {
            Bus bus;
            const auto router = readyRouter (bus, operation.before);
            Bus::failCall (k);
            operation.call (*router);
            const auto& call = calls[k - 1];
            const auto logged = bus.log();
            SCOPED_TRACE (operation.name + ", call " + std::to_string (k) + ": " + call + "\n" + Bus::raw() +
                          logged);
            ++pairs;

            // A transfer closes the bus if a call of a read, or the write of a frame, fails.
            const bool isFrame = begins (call, "write") && call.size() > 8;
            const bool inReading = begins (call, "read") || (begins (call, "write") && ! isFrame) ||
                                   (k + 1 < calls.size() && begins (calls[k + 1], "read"));
            EXPECT_EQ (operation.name != "resetClockAndMuteHold", logged.find (noAnswer) != std::string::npos);
            EXPECT_EQ (inReading, logged.find (noAnswer + "|ERROR: closing FPGA-Router|") != std::string::npos);
            EXPECT_FALSE (router->isReady());
            EXPECT_EQ (! (inReading || isFrame), isOpen (router->fd));
            EXPECT_FALSE (isBusLocked());

            // A new start makes the router ready.
            EXPECT_EQ (1, router->resetAndInit());
            EXPECT_TRUE (router->isReady());
        }
    }

    EXPECT_GT (pairs, 300);
}

TEST (Router, knowsTheCodesOfEveryEndpoint)
{
    // The first and the last endpoint, its first code as a source and the step to the next, and both as a sink.
    constexpr std::tuple<int, int, int, int, int, int> groups[] = {
        { 0, 0, 0, 0, 0, 0 },     { 1, 4, 25, 1, 25, 1 },  { 5, 8, 8, -1, 1, 1 },
        { 9, 16, 9, 1, 9, 1 },    { 17, 18, 0, 0, 29, 1 }, { 19, 22, 4, -1, 5, 1 },
        { 23, 30, 17, 1, 17, 1 }, { 31, 38, 29, 1, 0, 0 }, { 39, 39, 0, 0, 31, 0 }
    };

    for (const auto& [first, last, source, sourceStep, sink, sinkStep] : groups)
        for (int i = 0; i <= last - first; ++i)
        {
            EXPECT_EQ (source + i * sourceStep, AudionamesourceMapping[first + i]) << first + i;
            EXPECT_EQ (sink + i * sinkStep, AudionamesinkMapping[first + i]) << first + i;
        }
}

TEST (Router, waitsFiveSecondsForARouteWithTheBusLocked)
{
    for (const auto& [wrongReads, expected] : { std::pair<std::uint8_t, bool> { 1, true }, { 2, false } })
    {
        Bus bus;
        const auto router = readyRouter (bus);
        board().misreadCrosspoint (0x05, wrongReads);
        EXPECT_EQ (expected, router->Connect (audio (5), audio (19)));
        EXPECT_EQ (4U * 2 - 1 + 1, board().trace.size()) << Bus::raw(); // one write, two reads
        EXPECT_EQ ((Sleeps { { 5000, true } }), sleeps);
        EXPECT_TRUE (router->isReady());
    }
}

TEST (Router, waitsFiveSecondsForAClockAndRestoresTheMutesBefore)
{
    Bus bus;
    const auto router = readyRouter (bus, { { 0x27, 3 }, { 0x35, 0x11 }, { 0x36, 0x22 } });
    board().state.clockRefused = true;
    EXPECT_FALSE (router->SelectClock (clockSource (2)));
    EXPECT_EQ ("35?11 36?22 35=FF 36=FF 26=00 27=02 35=11 36=22 27?03 ", Bus::transfers());
    EXPECT_EQ ((Sleeps { { 5000, true } }), sleeps);
}

TEST (Router, measuresTheClockAgainstTheReferenceOfItsImage)
{
    // 16383 * 91.2 MHz / 48000 Hz = 31127700; 16383 * 125 MHz / 48000 = 42664062 (47999.97 Hz). The last four rows are
    // just inside and outside four percent below 44.1 kHz and above 48 kHz. The fraction is cut off first.
    constexpr std::tuple<int, int, std::uint32_t, double, int> rows[] = {
        { 2, 120, 31127700, 48000, 2 },  { 2, 121, 31127700, 65789.4, 7 },
        { 3, 0, 42664062, 48000, 2 },    { 0, 255, 33880490, 44100, 1 },
        { 3, 0, 23218538, 88200, 3 },    { 3, 0, 21332031, 96000, 4 },
        { 3, 0, 11609269, 176400, 5 },   { 3, 0, 10666015, 192000, 6 },
        { 3, 0, 1, 2047875000000.0, 7 }, { 3, 0, 0, 0, 7 },
        { 3, 0, 0x7FFFFFFF, 953.6, 7 },  { 3, 0, 0x80000000, 0, 7 },
        { 3, 0, 0xE0000001, -2, 7 },     { 3, 0, 0xC0000000, -3, 7 },
        { 3, 0, 0xA0000000, -4, 7 },     { 3, 0, 48370238, 42337.5, 1 },
        { 3, 0, 48371791, 42336.14, 7 }, { 3, 0, 41023137, 49920.00, 7 },
        { 3, 0, 41024000, 49918.95, 2 },
    };

    for (const auto& [major, minor, word, hz, code] : rows)
    {
        Bus bus;
        const auto router = readyRouter (bus, { { 0x3B, major }, { 0x3C, minor } });
        board().state.measuredWord = word;
        EXPECT_NEAR (hz, router->GetActualClockValueHz(), std::abs (hz) * 2e-6 + 0.05) << word;
        EXPECT_EQ (0U, Bus::transfers().find ("23=FF 23=00 2C=01 2C=00 28?")) << Bus::transfers();
        EXPECT_EQ (code, router->GetActualClockValue()) << word;
    }
}

TEST (Router, countsBitErrorsOfAnEnabledOutputWithASignal)
{
    Bus bus;
    const auto router =
        readyRouter (bus, { { 0x50, 0x34 }, { 0x51, 0x12 }, { 0x52, 0xCD }, { 0x53, 0xAB }, { 0x2E, 0xC0 } });
    EXPECT_EQ (0, router->getBitError_BNC1());
    EXPECT_TRUE (router->disable_madi_out_BNC1 (false));
    EXPECT_TRUE (router->disable_madi_out_BNC2 (false));
    bus.forget();
    EXPECT_EQ (0x1234, router->getBitError_BNC1());
    EXPECT_EQ (0xABCD, router->getBitError_BNC2());
    EXPECT_EQ ("2E?C0 51?12 50?34 2E?C0 53?AB 52?CD ", Bus::transfers());
    fpgaRegister (0x2E) = 0x40;
    EXPECT_EQ (0, router->getBitError_BNC2());
    Bus::failCall (2); // a request that fails switches the count off as well
    router->disable_madi_out_BNC1 (true);
    EXPECT_EQ (0, router->getBitError_BNC1());
}

TEST (Router, startsAndEndsWithTheseCalls)
{
    Bus bus;
    std::string fd;
    {
        const std::unique_ptr<Router> router = std::make_unique<Fpga>();
        EXPECT_EQ ("INFO: Router created!|INFO: Spartan6 Router created!|", bus.log());
        EXPECT_EQ (1, router->resetAndInit());
        EXPECT_EQ ("open /dev/i2c-2; address 5A; address 5A; write 22 FF; address 5A; write 3D FF; ", Bus::raw());
        fd = std::to_string (static_cast<Fpga&> (*router).fd);
        EXPECT_EQ (1, router->resetAndInit()); // closes before it opens again
        EXPECT_EQ ("close " + fd, board().trace[6]);
        board().trace.clear();
    }
    EXPECT_EQ ("close " + fd + "; close " + fd + " ! EBADF; ", Bus::raw());
    EXPECT_EQ ("DEBUG: ROUTER funtion not implemented: ~Router", bus.lines.back());
}

TEST (I2CDevice, cannotStartWithoutBusOrChip)
{
    Bus noBus ("no-bus");
    EXPECT_EQ (-1, Fpga().resetAndInit());
    EXPECT_EQ ("open error! -1", noBus.lines.at (2));

    Bus noFpga ("no-router"); // the first write fails, but does not log
    EXPECT_EQ (0, Fpga().resetAndInit());
    EXPECT_EQ ("DEBUG: FPGA reset. Done.", noFpga.lines.at (2));

    Bus noMultiplexer ("no-mux");
    EXPECT_EQ (-1, Dac1().resetAndInit());
}

TEST (Router, reportsEachUnimplementedOperationOncePerObject)
{
    struct Plain : Router
    {
        using Router::Router;
    };
    const auto any = clockSource (1);
    const auto name = audio (1);
    Bus bus;

    for (int object = 0; object < 2; ++object)
    {
        Plain router (Board::busPath, 0x5A, 0x00);
        const auto check = [&] (double result, const std::string& text, const std::function<double()>& call)
        {
            bus.forget();
            EXPECT_EQ (result, call()) << text;
            EXPECT_EQ (result, call()) << text;
            const auto operation = text.substr (0, text.find_first_of (" ("));
            EXPECT_EQ ("DEBUG: ROUTER funtion not implemented: " + operation + "|", bus.log());
            EXPECT_EQ ("", Bus::raw());
        };
        // clang-format off
#define CHECK(result, ...) check (result, #__VA_ARGS__, [&] { return router.__VA_ARGS__; })
        CHECK (0, resetAndInit()); CHECK (6, getSelectedClock()); CHECK (2, GetActualClockValue());
        CHECK (48000, GetActualClockValueHz()); CHECK (99, getFPGAimage_Majorversion());
        CHECK (999, getFPGAimage_Minorversion()); CHECK (1, getDirections()); CHECK (0, getglobalmute());
        CHECK (1, enable_madi()); CHECK (1, disable_madi()); CHECK (57, get_number_of_rx_channels());
        CHECK (9999, getBitError_BNC1()); CHECK (9999, getBitError_BNC2()); CHECK (1, reset_BitError_BNC1());
        CHECK (1, reset_BitError_BNC2()); CHECK (1, CUE_set_to_internal()); CHECK (1, CUE_set_to_external());
        CHECK (0, anyMutedChanged()); CHECK (0, anyLockedChanged()); CHECK (255, getLockedState());
        CHECK (0, getMutedtate()); CHECK (255, getSignalState()); CHECK (1, isLocked (any, 1));
        CHECK (1, hasClockSignal (any, 1)); CHECK (1, Connect (name, name)); CHECK (1, Disconnect (name));
        CHECK (1, SelectClock (any)); CHECK (1, setDirections (1)); CHECK (0, getPhaseShiftinns (any));
        CHECK (0, getMute (any)); CHECK (0, isMuted (any, 1)); CHECK (1, set_number_of_tx_channels (1));
        CHECK (1, disable_madi_out_BNC1 (true)); CHECK (1, disable_madi_out_BNC2 (true));
        CHECK (1, SetMADI_MODE (true, MADIMODE_1X)); CHECK (1, SetSpeedMode (SPEED_SINGLE));
        CHECK (1, CUE_Select_TDMLine (1)); CHECK (1, isLockLostHold (any)); CHECK (1, isLockedChanged (any));
        CHECK (1, isMutedHold (any)); CHECK (1, isMutedChanged (any)); CHECK (1, Unmute (any)); CHECK (1, Mute (any));
        CHECK (0, resetClockAndMuteHold(), 0);
#undef CHECK
        // clang-format on

        EXPECT_FALSE (router.isReady());
    }
}

TEST (Dac, isResetUnlessItHasItsConfiguration)
{
    // The values of the registers 6, 3 and 2, the registers that are read, and whether the DAC is reset.
    constexpr std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, const char*, bool> rows[] = {
        { 0x33, 0xC3, 0x80, "06 03 02 ", false },
        { 0x32, 0xC3, 0x80, "06 ", true },
        { 0x33, 0xC2, 0x80, "06 03 ", true },
        { 0x33, 0xC3, 0x81, "06 03 02 ", true }
    };

    for (const auto& [register6, register3, register2, checks, isReset] : rows)
    {
        Bus bus;
        auto& registers = board().state.dac1.registers;
        registers[6] = register6;
        registers[3] = register3;
        registers[2] = register2;
        Dac1 dac;
        EXPECT_EQ (1, dac.resetAndInit());

        std::string reads, frames;

        for (const auto& line : board().trace)
            if (begins (line, "write") && line != "write 20" && line != "write 00")
                (line.size() == 8 ? reads : frames) += line.substr (6) + " ";

        EXPECT_EQ (checks, reads);
        EXPECT_EQ (isReset ? "02 81 06 33 09 FF 03 C3 02 80 " : "", frames);
        EXPECT_EQ (isReset ? "DEBUG: DAC reset|" : "DEBUG: DAC reset not necessary|", bus.log());

        // The channel is selected once around all, and again in each transfer. No other chip is addressed.
        const auto raw = Bus::raw();
        EXPECT_TRUE (begins (raw, "open /dev/i2c-2; address 77; write 20; address 18; address 77; write 20; "
                                  "address 18; write 06; read 1 -> "))
            << raw;
        EXPECT_TRUE (juce::String (raw).endsWith ("; address 77; write 00; address 77; write 00; ")) << raw;
    }
}

TEST (Dac, mutesAndPowersDownOnlyAfterItsStart)
{
    Bus bus;
    const auto select = std::string ("address 77; write 08; address 18; ");
    const auto release = std::string ("address 77; write 00; ");
    Dac2 dac;
    EXPECT_FALSE (dac.mute (true) || dac.powerDown());
    EXPECT_EQ ("", Bus::raw());
    dac.resetAndInit();
    board().trace.clear();
    EXPECT_TRUE (dac.mute (true) && dac.mute (false) && dac.powerDown());
    EXPECT_EQ (select + "write 09 FF; " + release + select + "write 09 00; " + release + select + "write 02 81; " +
                   release,
               Bus::raw());
}

TEST (Dac, closesDescriptor0IfItWasNeverStarted)
{
    Bus bus;
    ::dup2 (2, 0); // other tests have closed it
    std::make_unique<Dac1>().reset();
    EXPECT_EQ ("close 0; close 0 ! EBADF; ", Bus::raw());
}

TEST (I2CDevice, tellsEachFaultOfATransferBehindTheMultiplexer)
{
    // {fd} is the descriptor, {E} the system's text. Address 0x18 and mask 0x20 are printed as characters.
    constexpr auto notWritten =
        "Write I2C-Error 2123: /dev/i2c-2 MUX: 32 ADR: 24 DATA: 9 wanted to write 3 but wrote -1 because {E}|";
    // Whether it is a read, the call that fails, the log, the result, whether the bus is closed.
    const std::tuple<bool, std::size_t, std::string, bool, bool> rows[] = {
        { false, 1, "address error: {fd} {E}|", true, false },
        { false, 2, "Write I2C-Error 1: {fd} -   {E}|CS4385 " + std::string (notWritten), false, true },
        { false, 3, "address error: {fd} \x18 {E}|", true, false },
        { false, 4, notWritten, false, true },
        { false, 5, "address error! /dev/i2c-2 MUX: 32 ADR: 24 {E}|", true, false },
        { false, 6, "Write I2C-Error 357833: {fd} {E}|", true, false },
        { true, 1, "address error: {fd} {E}|", false, true },
        { true, 3, "address error: {fd} \x18 {E}|", false, true },
        { true, 4, "Error while sending I2C register address: {fd} 9 {E}|", false, true },
        { true, 5, "Error while reading I2C register value: {fd} 9 {E}|", false, true },
        { true, 6, "address error! /dev/i2c-2 MUX: 32 ADR: 24 {E}|", false, true },
        { true, 7, "Write I2C-Error 357833: {fd} {E}|", false, true },
    };

    for (const auto& [isRead, call, faultLog, expectedResult, isClosed] : rows)
        for (const bool log : { true, false })
        {
            Bus bus;
            Dac1 dac;
            dac.resetAndInit();
            bus.forget();
            unsigned char bytes[] = { 0x55, 0xAA };
            Bus::failCall (call);
            const auto result = isRead ? dac.read_I2C_array (9, bytes, 2, log) : dac.write_I2C (9, bytes, 2, log);
            const auto label = "call " + std::to_string (call) + ": " + Bus::raw();

            const bool isLogged = log || (isRead && call != 4 && call != 5); // selection and release of a read
            const auto expected =
                isLogged ? juce::String ("CS4385 " + faultLog + (isRead && log ? "ERROR: closing CS4385|" : ""))
                               .replace ("{fd}", juce::String (dac.fd))
                               .replace ("{E}", noAnswer)
                         : juce::String();
            EXPECT_EQ (expected.toStdString(), bus.log()) << label;
            EXPECT_EQ (expectedResult, result) << label;
            EXPECT_EQ (isClosed, ! isOpen (dac.fd)) << label;
            EXPECT_FALSE (dac.isReady()) << label;
            EXPECT_FALSE (isBusLocked());
        }
}

TEST (Dac, logsAFaultAtEveryBusCallFromStartToPowerDown)
{
    for (const std::string state : { "configured", "fresh" })
    {
        std::vector<std::string> calls { "none" };

        for (std::size_t k = 0; k < calls.size() && ! begins (calls[k], "close"); ++k)
        {
            Bus bus (state.c_str());
            Bus::failCall (k); // 0: none
            Dac1 dac;
            dac.resetAndInit();
            dac.mute (true);
            dac.powerDown();

            if (k == 0)
                calls.insert (calls.end(), board().trace.begin(), board().trace.end());

            const auto isLogged = std::regex_search (bus.log(), std::regex (noAnswer + "|open error! -1\\|"));
            EXPECT_EQ (k > 0, isLogged) << state << ", call " << k << ": " << calls[k] << "\n" << bus.log();
        }
    }
}

TEST (I2CDevice, transfersOneTo255BytesAndReadsZeroIfItCannotAddressTheChip)
{
    Bus bus;
    const auto router = readyRouter (bus);
    std::vector<unsigned char> bytes (300, 0x5A);

    for (const int length : { 0, -1, 256, std::numeric_limits<int>::min() })
    {
        EXPECT_FALSE (router->write_I2C (1, bytes.data(), length, true)) << length;
        EXPECT_FALSE (router->read_I2C_array (1, bytes.data(), length, true)) << length;
    }

    EXPECT_FALSE (router->write_I2C (1, nullptr, 1, true));
    EXPECT_FALSE (router->read_I2C_array (1, nullptr, 1, true));
    EXPECT_EQ ("", Bus::raw());
    EXPECT_EQ ("", bus.log());
    EXPECT_TRUE (router->isReady());

    EXPECT_TRUE (router->write_I2C (0x80, bytes.data(), 255, true));
    EXPECT_EQ (std::size_t { 5 + 256 * 3 }, board().trace[1].size());
    EXPECT_TRUE (router->read_I2C_array (0x80, bytes.data(), 255, true));

    fpgaRegister (1) = 0x55;
    Bus::failCall (1);
    EXPECT_EQ (0, router->I2CDevice::read_I2C (1, true));
}

TEST (I2CDevice, failsIfAFrameArrivesInPart)
{
    Bus bus;
    const auto router = readyRouter (bus);
    board().arm (BusFault::shortCount, 2);
    unsigned char bytes[] = { 0x5A, 0x5A, 0x5A };
    EXPECT_FALSE (router->write_I2C (1, bytes, 3, true));
    EXPECT_EQ ("FPGA-Router Write I2C-Error 2123: /dev/i2c-2 MUX: 0 ADR: 90 DATA: 1 wanted to write 4 but wrote 3 "
               "because ",
               bus.lines.back());
}

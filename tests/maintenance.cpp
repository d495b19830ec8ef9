// The daemon with arguments: its traffic on the bus, its log, its exit status.
#include <cstring>
#include <regex>

#include <gtest/gtest.h>

#include "tests/Unit.h"

namespace
{
/** The frames that reached a chip, in order: "DAC1 09 FF", "FPGA 22 FF". Cleared routes are only counted. */
std::string framesIn (const std::filesystem::path& trace)
{
    // The channel of the switch, or the FPGA's address, and then the frame. A frame that failed ends with the reason.
    const std::regex frame ("(20\naddress 18|08\naddress 18|5A)\nwrite (..) (..)\n");
    const auto lines = contentOf (trace);
    std::string text;
    int cleared = 0;

    for (std::sregex_iterator found (lines.begin(), lines.end(), frame), end; found != end; ++found)
    {
        const auto& match = *found;
        const std::string chip = match[1] == "5A" ? "FPGA " : match.str (1).front() == '2' ? "DAC1 " : "DAC2 ";

        if (chip == "FPGA " && match[3] == "00")
            ++cleared;
        else
            text += chip + match.str (2) + " " + match.str (3) + ", ";
    }

    return cleared > 0 ? text + std::to_string (cleared) + " cleared" : text;
}

constexpr auto dacs = "DAC1 09 FF, DAC1 02 81, DAC2 09 FF, DAC2 02 81, ";
constexpr auto dac2 = "DAC2 09 FF, DAC2 02 81, ";
constexpr auto routes = "FPGA 22 FF, FPGA 3D FF, 40 cleared"; // the numbers 40 to 99 name no endpoint
}

UNIT_TEST (Maintenance, doesWhatItsArgumentsSayOnEachProduct)
{
    const std::string both = std::string (dacs) + routes;
    const std::string removed = "ERROR: Option removed RESETDSP. Will mute Router instead.|";
    const std::string muted = "Mute DAC1!|Mute DAC2!|";
    // Serial, arguments, exit status, log after "2 arguments!", frames.
    const std::tuple<std::string, std::string, int, std::string, std::string> rows[] = {
        { "OT123456", "RESETDSP", 1, "RESETDSP|" + muted + "DISCONNECT FPGA|" + removed, both },
        { "OT123456", "resetdsp", 0, "resetdsp|" + removed, "" },
        { "OT123456", "ResetDSP mutedac", 1, "ResetDSP|mutedac|" + muted + removed, dacs },
        { "OT123456", "mutedac MuteDAC", 1, "mutedac|MuteDAC|" + muted, dacs },
        { "OT123456", "DisconnectFPGA", 1, "DisconnectFPGA|DISCONNECT FPGA|", routes },
        { "OT123456", "DISCONNECTFPGA MUTEDAC", 1, "DISCONNECTFPGA|MUTEDAC|" + muted + "DISCONNECT FPGA|", both },
        { "OT123456", "'\"MUTEDAC\"'", 1, "\"MUTEDAC\"|" + muted, dacs },
        { "OT123456", "\"'RESETDSP'\" x", 1, "'RESETDSP'|x|" + muted + "DISCONNECT FPGA|" + removed, both },
        { "OT123456", "MUTEDACS ' MUTEDAC'", 0, "MUTEDACS| MUTEDAC|", "" },
        { "OT123456", "$(printf 'MUTE\\303\\377') '\"'", 0, "MUTE\xc3\x83\xc3\xbf|\"|", "" },
        { "OT123456", "$(printf '\\360%0300d' 7) $(printf 'abc\\342')", 0, "", "" },
        { "none", "RESETDSP", 1, "RESETDSP|" + muted + "DISCONNECT FPGA|" + removed, both },
        { "OX123456", "MUTEDAC", 1, "MUTEDAC|Mute DAC2!|", dac2 },
        { "OX123456", "RESETDSP", 1, "RESETDSP|Mute DAC2!|DISCONNECT FPGA|" + removed,
          std::string (dac2) + routes },
        { "OD123456", "MUTEDAC DISCONNECTFPGA", 1,
          "MUTEDAC|DISCONNECTFPGA|ERROR: Type DMI-ORBIS not implemented yet!|", "" },
        { "OY123456", "disconnectfpga", 1, "disconnectfpga|ERROR: Type PXRVN not implemented yet!|", "" },
        { "OZ123456", "RESETDSP", 1, "RESETDSP|ERROR: Type PXLVN not implemented yet!|", "" },
    };

    for (const auto& [serial, arguments, status, expectedLog, frames] : rows)
    {
        Unit unit (serial, "45");
        const auto run = unit.run (arguments);
        const auto label = serial + " " + arguments + "\n" + run.describe();
        EXPECT_EQ (status, run.status) << label;
        std::string log;

        for (std::size_t i = 2; i < run.messages.size(); ++i) // after the device and the log level
            log += run.messages[i] + "|";

        EXPECT_EQ ("2 arguments!|" + expectedLog, log.substr (0, 13 + expectedLog.size())) << label;
        EXPECT_EQ (frames, framesIn (unit.folder / "run/bus-trace")) << label;
        EXPECT_TRUE (run.timesOf ("ORBIStessel started").empty()) << label;

        const std::vector<std::string> fullSpeed (std::strchr ("DYZ", serial[1]) != nullptr ? 1 : 0, "0xc0000fff");
        EXPECT_EQ (fullSpeed, run.registerWrites) << label; // and it stays there
    }
}

UNIT_TEST (Maintenance, closesDac1BeforeDac2AndEachTwice)
{
    Unit unit ("OT123456", "");
    unit.run ("MUTEDAC");
    const auto trace = contentOf (unit.folder / "run/bus-trace");
    std::smatch closes;
    ASSERT_TRUE (std::regex_search (
        trace, closes, std::regex ("close (\\d+)\nclose \\1 ! EBADF\nclose (\\d+)\nclose \\2 ! EBADF\n$")))
        << trace;
    EXPECT_LT (std::stoi (closes[1]), std::stoi (closes[2]))
        << "DAC 1 is opened first, and so has the lower number";
}

UNIT_TEST (Maintenance, carriesOnWithTheChipsThatAnswer)
{
    const auto reset = [] (const std::string& dac) // the configuration of a DAC that has another one
    { return dac + " 02 81, " + dac + " 06 33, " + dac + " 09 FF, " + dac + " 03 C3, " + dac + " 02 80, "; };
    const std::pair<const char*, std::string> rows[] = {
        { "fresh", reset ("DAC1") + reset ("DAC2") + dacs + routes },
        { "no-dac1", std::string (dac2) + routes },
        { "no-router", dacs },
        { "no-mux", routes },
        { "no-bus", "" },
    };

    for (const auto& [board, frames] : rows)
    {
        Unit unit ("OT123456", "");
        const auto run = unit.run ("RESETDSP", std::string ("--board ") + board);
        EXPECT_EQ (1, run.status) << board << run.describe();
        EXPECT_EQ ("ERROR: Option removed RESETDSP. Will mute Router instead.", run.messages.back()) << board;
        EXPECT_EQ (1, run.countOf ("Mute DAC1!") * run.countOf ("Mute DAC2!") * run.countOf ("DISCONNECT FPGA"))
            << board;
        EXPECT_EQ (frames, framesIn (unit.folder / "run/bus-trace")) << board << "\n" << run.log;
    }
}

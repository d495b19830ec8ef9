// boardtool: lays out and shows the board of the simulated unit.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "hardware/CS4385Registers.h"
#include "hardware/Router_Spartan6Registers.h"
#include "simulator/Board.h"
#include "simulator/BusWords.h"
#include "simulator/paths.h"

namespace
{
namespace dac = cs4385;
namespace fpga = spartan6;

constexpr int usageError = 2;

int usage()
{
    std::cerr << "Usage: boardtool setup fresh|configured|no-dac1|no-router|no-mux|no-bus\n"
                 "       boardtool show     the registers that matter, in words\n"
                 "       boardtool trace    what went over the bus, in words\n";
    return usageError;
}

int fail (const char* path)
{
    std::perror (path);
    return 1;
}

int setUp (const std::string& name)
{
    BoardState state {};

    if (! state.setUp (name))
        return usage();

    std::ofstream file (paths::board, std::ios::binary | std::ios::trunc);
    file.write (reinterpret_cast<const char*> (&state), sizeof state);
    return file.flush() ? 0 : fail (paths::board);
}

/** Whether the part is on the board. Prints a line if it is absent. */
bool isPresent (const char* name, bool absent)
{
    if (absent)
        std::printf ("%s: absent\n", name);

    return ! absent;
}

void showDac (const char* name, const Chip& chip)
{
    if (! isPresent (name, chip.absent))
        return;

    const auto mode = chip.registers[dac::modeControl], mute = chip.registers[dac::muteControl];
    const auto* const power = (mode & dac::powerDown) != 0           ? "powered down"
                              : (mode & dac::controlPortEnable) != 0 ? "running"
                                                                     : "not configured";
    const auto* const muted = mute == dac::muteAll    ? "all channels muted"
                              : mute == dac::muteNone ? "no channel muted"
                                                      : "some channels muted";
    std::printf ("%s: %s, %s (registers", name, power, muted);

    for (const unsigned number : { dac::modeControl, dac::pcmControl, dac::invertControl, dac::muteControl })
        std::printf ("%s %u: %02X", number == dac::modeControl ? "" : ",", number, chip.registers[number]);

    std::puts (")");
}

void showRouter (const Chip& chip)
{
    if (! isPresent ("router", chip.absent))
        return;

    std::string routes;

    for (unsigned sink = fpga::firstSink; sink <= fpga::lastSink; ++sink)
        if (chip.registers[sink] != 0)
            routes += (routes.empty() ? "sink " : ", sink ") + std::to_string (sink) + " from source " +
                      std::to_string (chip.registers[sink]);

    std::printf ("router: %s\n", routes.empty() ? "no sink connected" : routes.c_str());

    constexpr std::pair<unsigned, const char*> shown[] = {
        { fpga::reset, "reset" },
        { fpga::afterReset, "reset complete" },
        { fpga::selectedClock, "clock source" },
        { fpga::madiControl, "MADI control" },
    };

    for (const auto& [number, words] : shown)
        if (chip.registers[number] != 0)
            std::printf ("router: %s (register %02X): %02X\n", words, number, chip.registers[number]);
}

int show()
{
    BoardState state {};
    std::ifstream file (paths::board, std::ios::binary);

    if (! file.read (reinterpret_cast<char*> (&state), sizeof state))
        return fail (paths::board);

    isPresent ("bus", state.busAbsent);
    isPresent ("switch", state.muxAbsent);
    showDac ("DAC 1", state.dac1);
    showDac ("DAC 2", state.dac2);
    showRouter (state.router);
    return 0;
}

/** Leaves out successful switching, because it surrounds every transfer to a DAC, and the transfer's line names the DAC. */
void showTrace()
{
    std::ifstream file (paths::busTrace); // missing if nothing has used the bus
    BusWords words;

    for (std::string line; std::getline (file, line);)
    {
        const auto text = words.describe (line);
        const bool isRoutine = text.rfind ("switch: ", 0) == 0 && text.find ("(failed") == std::string::npos;

        if (! text.empty() && ! isRoutine)
            std::cout << text << '\n';
    }
}
}

int main (int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";

    if (command == "setup" && argc == 3)
        return setUp (argv[2]);

    if (command == "show" && argc == 2)
        return show();

    if (command != "trace" || argc != 2)
        return usage();

    showTrace();
    return 0;
}

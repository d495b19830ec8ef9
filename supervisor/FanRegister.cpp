#include "supervisor/FanRegister.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "identity/Device.h"

juce::String fanAddress;
int fanPWMResolution = 0;

namespace
{
constexpr std::uint32_t pwmEnable = 0xc0000000; // bits 31 and 30 of the PWM register
constexpr double highestStoppedSpeed = 0.0001;  // fraction of full speed; at or below it the enable is off

constexpr auto writeCommand = "devmem ";
constexpr auto widthAndPrefix = " 32 0x"; // the register has 32 bits; the value is hexadecimal
constexpr auto adjustingText = "Adjusting fan speed to ";

// The handler makes ordinary calls. A call can wait for ever for a lock that the interrupted code holds, and the fan would
// then keep its speed. So SIGALRM ends the daemon, and the boot unit starts it again.
constexpr unsigned longestSignalHandling = 10; // seconds

volatile std::sig_atomic_t registerWriteRunning = 0;
volatile std::sig_atomic_t inSignalHandler = 0;

std::uint32_t toCount (float value) noexcept
{
    constexpr float firstTooLarge = 4294967296.0f; // 2^32

    if (value >= firstTooLarge)
        return std::numeric_limits<std::uint32_t>::max();

    return value > 0.0f ? static_cast<std::uint32_t> (value) : 0; // not a number: 0
}

/** Runs a command like system(), but takes no lock. system() holds a lock of the C library while it starts a command. A
    handler that interrupts it there would wait for that lock for ever, and the fan would keep its speed.
*/
int runWithoutLock (const char* command)
{
    const char* const arguments[] = { "sh", "-c", command, nullptr };
    pid_t shell = 0;
    int status = -1;

    if (::posix_spawn (&shell, "/bin/sh", nullptr, nullptr, const_cast<char**> (arguments), environ) == 0)
        while (::waitpid (shell, &status, 0) == -1 && errno == EINTR)
            ;

    return status;
}

/** Runs the command that writes the register and returns its status. The signal handler may interrupt a write. It then
    waits for the end of that write, because otherwise the older speed could be written last.
*/
int writeRegister (const juce::String& command)
{
    if (inSignalHandler != 0)
    {
        if (registerWriteRunning != 0)
            while (::waitpid (-1, nullptr, 0) == -1 && errno == EINTR) // the command's shell is the only child
                ;

        return runWithoutLock (command.toRawUTF8());
    }

    registerWriteRunning = 1;
    const auto result = std::system (command.toRawUTF8());
    registerWriteRunning = 0;
    return result;
}
}

std::uint32_t fanRegisterValue (float speed, int resolution) noexcept
{
    const auto count = toCount (static_cast<float> (resolution) * speed);
    return static_cast<double> (speed) > highestStoppedSpeed ? count | pwmEnable : count & ~pwmEnable;
}

void setFanSpeed (float speed, const juce::String& address, int resolution)
{
    if (! thisUnitHasFan())
        return;

    const auto command =
        writeCommand + address + widthAndPrefix + juce::String::toHexString (fanRegisterValue (speed, resolution));
    const auto outcome = adjustingText + juce::String (speed);

    if (writeRegister (command) == 0)
        juce::Logger::writeToLog ("INFO: " + outcome + " " + command);
    else
        juce::Logger::writeToLog ("ERROR: " + outcome + " FAILED! " + command);
}

void prepareForSignalHandler() noexcept
{
    inSignalHandler = 1;
    ::alarm (longestSignalHandling);
}

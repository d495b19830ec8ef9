// The cost of a log line, a register write and a step of the fan curve, each beside the least possible cost.
#include <algorithm>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "hardware/CS4385.h"
#include "logging/TimedFileLogger.h"
#include "simulator/boardFrontEnd.h"
#include "supervisor/FanCurve.h"

namespace
{
double smallest (const std::vector<double>& values)
{
    return *std::min_element (values.begin(), values.end());
}

/** Reports the smallest of several figures, because other programs on the machine can only add to them. */
void settings (benchmark::internal::Benchmark* one)
{
    one->ReportAggregatesOnly()->ComputeStatistics ("min", smallest);
}

/** A folder for one log. Its end deletes the folder. */
struct LogFolder
{
    LogFolder() { folder.createDirectory(); }
    ~LogFolder() { folder.deleteRecursively(); }
    LogFolder (const LogFolder&) = delete;
    LogFolder& operator= (const LogFolder&) = delete;

    juce::File folder = juce::File::createTempFile ("log");
    juce::File file = folder.getChildFile ("ORBISdaemon.log");
};

constexpr const char* messages[] = { "ERROR: Core Temperature: 91", "ERROR: Core Temperature: 92" };

void logLine (benchmark::State& state)
{
    const LogFolder log;
    TimedFileLogger logger (log.file, "", TimedFileLogger::sizeLimit);
    const juce::String texts[] = { messages[0], messages[1] };
    std::size_t turn = 0;

    for ([[maybe_unused]] auto _ : state)
        logger.logMessage (texts[turn ^= 1]); // alternate, because the log shortens repetitions
}
BENCHMARK (logLine)->Apply (settings);

void frameworkLogLine (benchmark::State& state)
{
    const LogFolder log;
    juce::FileLogger logger (log.file, "", TimedFileLogger::sizeLimit);
    const juce::String line = juce::String ("21 Nov 2026 5:17:48 : ") + messages[0];

    for ([[maybe_unused]] auto _ : state)
        logger.logMessage (line);
}
BENCHMARK (frameworkLogLine)->Apply (settings);

void logLineInC (benchmark::State& state)
{
    const LogFolder log;
    const auto path = log.file.getFullPathName().toStdString();
    const auto line = std::string ("21 Nov 2026 5:17:48 : ") + messages[0] + "\r\n";

    for ([[maybe_unused]] auto _ : state)
    {
        const int file = ::open (path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);

        if (::write (file, line.data(), line.size()) != static_cast<ssize_t> (line.size()))
            state.SkipWithError ("no room");

        ::close (file);
    }
}
BENCHMARK (logLineInC)->Apply (settings);

void filteredLine (benchmark::State& state)
{
    const LogFolder log;
    TimedFileLogger logger (log.file, "", TimedFileLogger::sizeLimit);
    logger.setLogLevel (2);
    const juce::String text ("INFO: Adjusting fan speed to 0.2 devmem 0x42010000 32 0xc0000333");

    for ([[maybe_unused]] auto _ : state)
        logger.logMessage (text);
}
BENCHMARK (filteredLine)->Apply (settings);

void statInC (benchmark::State& state)
{
    const LogFolder log;
    log.file.create();
    const auto path = log.file.getFullPathName().toStdString();
    struct stat result
    {
    };

    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize (::stat (path.c_str(), &result));
}
BENCHMARK (statInC)->Apply (settings);

constexpr unsigned char multiplexer = 0x77;
constexpr unsigned char dac = 0x18;
constexpr unsigned char channel = 0x20;
constexpr unsigned char muteRegister = 9;

void registerWrite (benchmark::State& state)
{
    board().state.setUp ("configured");
    CS4385 chip (Board::busPath, static_cast<char> (dac), static_cast<char> (channel));
    chip.resetAndInit();

    for ([[maybe_unused]] auto _ : state)
    {
        board().trace.clear();

        if (! chip.write_I2C (muteRegister, 0xFF, true))
            state.SkipWithError ("no chip");
    }
}
BENCHMARK (registerWrite)->Apply (settings);

void registerWriteInC (benchmark::State& state)
{
    board().state.setUp ("configured");
    const int bus = ::open (Board::busPath, O_RDWR);
    const unsigned char connect = channel, release = 0, frame[] = { muteRegister, 0xFF };

    for ([[maybe_unused]] auto _ : state)
    {
        board().trace.clear();

        if (::ioctl (bus, I2C_SLAVE, multiplexer) < 0 || ::write (bus, &connect, 1) != 1 ||
            ::ioctl (bus, I2C_SLAVE, dac) < 0 || ::write (bus, frame, 2) != 2 ||
            ::ioctl (bus, I2C_SLAVE, multiplexer) < 0 || ::write (bus, &release, 1) != 1)
            state.SkipWithError ("no chip");
    }

    ::close (bus);
}
BENCHMARK (registerWriteInC)->Apply (settings);

void fanStep (benchmark::State& state)
{
    FanCurve curve ({ 80.0f, 50.0f, 5.0f, 0.0f, 0.2f, 1.5f });
    float temperature = 40.0f;

    for ([[maybe_unused]] auto _ : state)
    {
        temperature = temperature < 90.0f ? temperature + 0.37f : 40.0f;
        benchmark::DoNotOptimize (curve.nextSpeed (temperature));
    }
}
BENCHMARK (fanStep)->Apply (settings);
}

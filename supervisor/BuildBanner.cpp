// The build compiles this file again after every change in the daemon (supervisor/CMakeLists.txt).
#include "supervisor/BuildBanner.h"

#include <ctime>

#include "logging/TimedFileLogger.h"
#include "supervisor/Housekeeping.h"

namespace
{
/** The local time of this binary's build, to the second. If the build set SOURCE_DATE_EPOCH, that time in UTC. */
juce::Time buildTime()
{
    std::tm parts {};
    strptime (__DATE__ " " __TIME__, "%b %d %Y %H:%M:%S", &parts);
    constexpr int firstTmYear = 1900;
    return { parts.tm_year + firstTmYear, parts.tm_mon, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec };
}
}

void appendBuildBanner (const juce::File& logFile)
{
    const auto banner = "Limit: " + juce::String (TimedFileLogger::sizeLimitKiB) +
                        " k\n Binary: " + buildTime().toString (true, true, true, true) + "\n";

    if (! logFile.appendText (banner))
        recoverFilesystem (logFile);
}

#include "logging/TimedFileLogger.h"

namespace
{
struct LevelWord
{
    const char* word;
    int lowestLevelThatWritesIt;
};

// "critical" ranks below "error" on purpose: level 1 keeps messages about a failure and drops messages about a failure
// that is coming.
constexpr LevelWord levelWords[] = {
    { "debug", 5 }, { "info", 4 }, { "warning", 3 }, { "critical", 2 }, { "error", 1 },
};

constexpr auto separator = " : ";

// A trim leaves three quarters of the limit, so that the next trim is some time away.
constexpr juce::int64 trimmedSize (juce::int64 limit)
{
    return (limit / 4) * 3;
}

juce::String stamped (const juce::String& message)
{
    return juce::Time::getCurrentTime().toString (true, true, true, true) + separator + message;
}
}

TimedFileLogger::TimedFileLogger (const juce::File& file, const juce::String& welcomeMessage,
                                  juce::int64 maxInitialFileSizeBytes)
    : juce::FileLogger (file, welcomeMessage, maxInitialFileSizeBytes)
{
}

void TimedFileLogger::logMessage (const juce::String& message)
{
    // Before the filter, so that even a dropped message keeps the file within its limit.
    trimIfTooLarge();

    if (isFilteredOut (message))
        return;

    {
        const juce::ScopedLock scopedLock (lock);
        const auto now = juce::Time::getCurrentTime();

        if (message == lastMessage)
        {
            // lastMessageTime stays, so that all repetitions count from the full line and show how long the run lasts.
            juce::FileLogger::logMessage ("+" + juce::String ((now - lastMessageTime).inSeconds(), 1) + "s");
        }
        else
        {
            lastMessage = message;
            lastMessageTime = now;
            juce::FileLogger::logMessage (stamped (message));
        }
    }

    if (lineListeners.isEmpty())
        return;

    const auto line = stamped (message);

    for (auto* listener : lineListeners)
        listener->lineLogged (line);
}

bool TimedFileLogger::isFilteredOut (const juce::String& message) const
{
    for (const auto& level : levelWords)
        if (logLevel < level.lowestLevelThatWritesIt && message.startsWithIgnoreCase (level.word))
            return true;

    return false;
}

void TimedFileLogger::trimIfTooLarge()
{
    if (getLogFile().getSize() <= maxFileSize)
        return;

    const juce::ScopedLock scopedLock (lock);
    trimFileSize (getLogFile(), trimmedSize (maxFileSize));
}

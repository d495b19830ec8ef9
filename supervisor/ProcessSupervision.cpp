#include "supervisor/ProcessSupervision.h"

#include <cstdint>
#include <cstdlib>
#include <tuple>

#include "supervisor/UsualOomScore.h"

namespace
{
constexpr auto countApplicationCommand = "pgrep -x ORBIStessel | wc -l";
constexpr auto countGuiPrefix = "pgrep -x ";
constexpr auto countGuiSuffix = " | wc -l";

constexpr auto startApplicationCommand = "nice -n -1 /home/root/ORBIStessel/ORBIStessel &";
constexpr auto stopApplicationCommand = "killall ORBIStessel";

// Meant to strip NUL characters from the application's log. But a command ends at its first NUL, so the shell gets
// "sed -i 's/", reports an error and changes nothing. Keep it, because a complete command would rewrite that log at
// every start.
constexpr char cleanApplicationLogCommand[] =
    "sed -i 's/\0//g' /home/root/ORBIStechnologies/Autosave1/ORBIStessel.log ";

constexpr auto startGuiCommand = "su root -c startx &"; // the X session starts the GUI
constexpr auto killCommand = "killall ";

constexpr auto applicationAbsentText = "ORBIStessel not running. Starting ...";
constexpr auto applicationTwiceText = "ORBIStessel two instances running. Re-Starting ...";
constexpr auto guiPrefix = "ERROR:"; // no blank after the colon, on purpose
constexpr auto guiAbsentText = " not running. Starting ...";
constexpr auto guiTwiceText = " two instances running. Re-Starting ...";
constexpr auto guiKilledText = " instance running. but shoud not. Will kill. "; // its last blank is required

constexpr int guiStartWaitMs = 10000;
constexpr int restartStorm = 5;           // application starts in a row; from this number on the GUI is killed
constexpr int longPassesPerGuiCheck = 30; // of ten seconds each
constexpr int shortPassesPerGuiCheck = 2; // of one second each, on products with a fan
constexpr int guiKillInterval = 30;       // passes
constexpr int lastPassWithoutKill = 60;

void runInShell (const juce::String& command)
{
    std::ignore = std::system (command.toRawUTF8());
}

void startInBackground (const char* command)
{
    const UsualOomScore score;
    runInShell (command);
}

void startApplication (SupervisionState& state)
{
    startInBackground (startApplicationCommand);
    ++state.restartCount;
    state.restartBackOffMs = nextBackOff (state.restartBackOffMs);
    waitMilliseconds (state.restartBackOffMs);
}

void startGui()
{
    startInBackground (startGuiCommand);
    waitMilliseconds (guiStartWaitMs);
}
}

int nextBackOff (int backOffMs) noexcept
{
    return static_cast<int> (static_cast<std::uint32_t> (backOffMs) * 2U);
}

int guiCheckInterval (bool withFan) noexcept
{
    return withFan ? shortPassesPerGuiCheck : longPassesPerGuiCheck;
}

GuiAction guiActionFor (const SupervisionState& state, bool withGui, int checkInterval) noexcept
{
    if (withGui && state.passCounter % checkInterval == 0 && state.passCounter > checkInterval &&
        state.restartCount < restartStorm)
        return GuiAction::check;

    // Removes a GUI that must not run. Takes even the right GUI down while the application cannot stay up.
    if (state.passCounter % guiKillInterval == 0 && state.passCounter > lastPassWithoutKill)
        return GuiAction::kill;

    return GuiAction::none;
}

void waitMilliseconds (int milliseconds)
{
    // Refreshes the cached counter that the next line reads. A plain sleep does not refresh it, and a wait from an old
    // counter would end too early.
    juce::Time::getMillisecondCounter();
    juce::Time::waitForMillisecondCounter (juce::Time::getApproximateMillisecondCounter() +
                                           static_cast<juce::uint32> (milliseconds));
}

CountPipe countApplications()
{
    return CountPipe (countApplicationCommand);
}

CountPipe countGuis (const juce::String& guiName)
{
    return CountPipe (countGuiPrefix + guiName + countGuiSuffix);
}

void checkApplication (int instances, SupervisionState& state)
{
    if (instances <= 0)
    {
        juce::Logger::writeToLog (applicationAbsentText);
        waitMilliseconds (state.restartBackOffMs);
        std::ignore = std::system (cleanApplicationLogCommand);
        startApplication (state);
    }
    else if (instances >= 2)
    {
        juce::Logger::writeToLog (applicationTwiceText);
        runInShell (stopApplicationCommand);
        waitMilliseconds (state.restartBackOffMs);
        startApplication (state);
    }
    else
    {
        // Resets only the count, on purpose. The back-off grows for the life of the daemon, so that an application that
        // fails often is restarted ever more slowly, even after a long time without a failure.
        state.restartCount = 0;
    }
}

void checkGui (int instances, const juce::String& guiName)
{
    if (instances <= 0)
    {
        juce::Logger::writeToLog (guiPrefix + guiName + guiAbsentText);
        startGui();
    }
    else if (instances >= 2)
    {
        juce::Logger::writeToLog (guiPrefix + guiName + guiTwiceText);
        runInShell (killCommand + guiName);
        startGui();
    }
}

void killGui (const juce::String& guiName)
{
    juce::Logger::writeToLog (guiPrefix + guiName + guiKilledText);
    runInShell (killCommand + guiName);
}

#include "supervisor/ProcessSupervision.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>

#include "identity/OrbisUtils.h"

namespace
{
constexpr auto startApplicationCommand = "nice -n -1 /home/root/ORBIStessel/ORBIStessel &";
constexpr auto stopApplicationCommand = "killall ORBIStessel";

// Meant to strip NUL characters from the application's log, but a command ends at its first NUL: the shell is given
// "sed -i 's/", complains and changes nothing. Keep it: completed, it would rewrite that log at every start.
constexpr char cleanApplicationLogCommand[] =
    "sed -i 's/\0//g' /home/root/ORBIStechnologies/Autosave1/ORBIStessel.log ";

constexpr auto startGuiCommand = "su root -c startx &"; // the X session brings the GUI up
constexpr auto killCommand = "killall ";
constexpr auto deleteTemporaryFilesCommand = "cd /home/root/ORBIStechnologies; find . -name '*_temp*' -delete";
constexpr auto recoverFilesystemCommand = "/home/root/updateFilesystem";

constexpr auto applicationAbsentText = "ORBIStessel not running. Starting ...";
constexpr auto applicationTwiceText = "ORBIStessel two instances running. Re-Starting ...";
constexpr auto guiPrefix = "ERROR:"; // no blank behind the colon
constexpr auto guiAbsentText = " not running. Starting ...";
constexpr auto guiTwiceText = " two instances running. Re-Starting ...";
constexpr auto guiKilledText = " instance running. but shoud not. Will kill. "; // with its trailing blank
constexpr auto recoveredText = "Log: Filesytem recovered.\n";

constexpr auto oomScoreFile = "/proc/self/oom_score_adj"; // proc(5)
constexpr auto usualOomScore = "0";

constexpr int guiStartWaitMs = 10000;
constexpr int restartStorm = 5;          // application starts in a row from which the GUI is taken down
constexpr int slowGuiCheckInterval = 30; // passes, of ten seconds each
constexpr int padCheckInterval = 2;      // passes, of one second each
constexpr int guiKillInterval = 30;      // passes
constexpr int lastPassWithoutKill = 60;

constexpr int generationWithPad = 2;

void runInShell (const juce::String& command)
{
    std::ignore = std::system (command.toRawUTF8());
}

/** The daemon may be protected from the kernel's out-of-memory killer, and whatever a process starts inherits its
    score. Application and GUI are what takes the memory, so they must not, nor what the recovery script may leave
    running: the daemon has the usual score while it starts them. Where a score cannot be read or written it stays as it is.
*/
class UsualOomScore
{
public:
    UsualOomScore()
    {
        std::ifstream (oomScoreFile) >> ownScore;
        set (usualOomScore);
    }

    ~UsualOomScore() { set (ownScore); }
    UsualOomScore (const UsualOomScore&) = delete;
    UsualOomScore& operator= (const UsualOomScore&) = delete;

private:
    void set (const std::string& score) const
    {
        if (ownScore != usualOomScore)
            std::ofstream (oomScoreFile) << score;
    }

    std::string ownScore;
};

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

bool hasGui (ORBIStesselTYPE type)
{
    return type == TYPE_TESSEL || OrbisUtils::getProductGeneration (type) >= generationWithPad;
}

juce::String guiProcessName (ORBIStesselTYPE type)
{
    return OrbisUtils::getProductGeneration (type) < generationWithPad ? "ORBIStesselGUI" : "ORBISpad";
}

int nextBackOff (int backOffMs) noexcept
{
    return static_cast<int> (static_cast<std::uint32_t> (backOffMs) * 2U);
}

int guiCheckInterval (int generation) noexcept
{
    return generation < generationWithPad ? slowGuiCheckInterval : padCheckInterval;
}

GuiAction guiActionFor (const SupervisionState& state, bool withGui, int checkInterval) noexcept
{
    if (withGui && state.passCounter % checkInterval == 0 && state.passCounter > checkInterval &&
        state.restartCount < restartStorm)
        return GuiAction::check;

    // Removes a GUI that must not run, and takes the right one down while the application cannot stay up.
    if (state.passCounter % guiKillInterval == 0 && state.passCounter > lastPassWithoutKill)
        return GuiAction::kill;

    return GuiAction::none;
}

void waitMilliseconds (int milliseconds)
{
    // Refreshes the cached counter that the next line starts from: a plain sleep leaves it where it was, and a wait
    // from there would end too early.
    juce::Time::getMillisecondCounter();
    juce::Time::waitForMillisecondCounter (juce::Time::getApproximateMillisecondCounter() +
                                           static_cast<juce::uint32> (milliseconds));
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
        // Only the count: the back-off keeps growing for the life of the daemon, so that an application that was
        // restarted often is restarted ever more slowly, however long it held in between.
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

void deleteTemporaryFiles()
{
    runInShell (deleteTemporaryFilesCommand);
}

void recoverFilesystem (const juce::File& logFile)
{
    const UsualOomScore score;
    runInShell (recoverFilesystemCommand);
    logFile.appendText (recoveredText);
}

#include "supervisor/Housekeeping.h"

#include <cstdlib>
#include <tuple>

#include "supervisor/UsualOomScore.h"

namespace
{
constexpr auto deleteTemporaryFilesCommand = "cd /home/root/ORBIStechnologies; find . -name '*_temp*' -delete";
constexpr auto recoverFilesystemCommand = "/home/root/updateFilesystem";
constexpr auto recoveredText = "Log: Filesytem recovered.\n"; // "Filesytem" on purpose, as in the units' logs
}

void deleteTemporaryFiles()
{
    std::ignore = std::system (deleteTemporaryFilesCommand);
}

void recoverFilesystem (const juce::File& logFile)
{
    const UsualOomScore score; // because the script may leave a program running
    std::ignore = std::system (recoverFilesystemCommand);
    logFile.appendText (recoveredText);
}

// The daemon's size and memory are measured against these programs: a JUCE console program that does nothing, and with
// KEEPS_A_LOG the smallest one that has a log and settings like the daemon. Then both wait until a signal ends them.
#include <juce_data_structures/juce_data_structures.h>
#include <unistd.h>

#ifdef KEEPS_A_LOG
static void logOneSetting()
{
    const auto folder = juce::File::getSpecialLocation (juce::File::currentExecutableFile);
    juce::FileLogger logger (folder.withFileExtension ("log"), "");
    juce::PropertiesFile::Options options;
    options.applicationName = "logger";
    const juce::PropertiesFile settings (folder.withFileExtension ("ppf"), options);
    logger.logMessage (juce::Time::getCurrentTime().toString (true, true) + settings.getValue ("LogLevel"));
}
#else
static void logOneSetting() {}
#endif

int main()
{
    logOneSetting();
    ::pause();
    return 0;
}

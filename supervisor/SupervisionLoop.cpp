#include "supervisor/SupervisionLoop.h"

#include "supervisor/Housekeeping.h"
#include "supervisor/ProcessSupervision.h"
#include "supervisor/ThermalControl.h"

namespace
{
constexpr auto noPipeText = "Could not execute pgrep command.";

constexpr int exitStatusWithoutPipe = 1;

constexpr int thermalStepsPerPass = 10;
constexpr int pauseWithFanMs = 1000; // short, so that the fan follows the temperature
constexpr int pauseWithoutFanMs = 10000;

void writeDailyTimeStamp (juce::Time& lastStamp)
{
    const auto now = juce::Time::getCurrentTime();

    if (now > lastStamp + juce::RelativeTime::days (1.0))
    {
        lastStamp = now;
        juce::Logger::writeToLog (now.toString (true, true, false, true));
    }
}

bool superviseApplication (SupervisionState& state, juce::Time& lastStamp)
{
    auto count = countApplications();

    if (! count.isOpen())
        return false;

    writeDailyTimeStamp (lastStamp); // while the shell counts
    count.forEachCount ([&state] (int instances) { checkApplication (instances, state); });
    return true;
}

bool superviseGui (const Device& device, const SupervisionState& state, int checkInterval)
{
    const auto action = guiActionFor (state, device.withGui, checkInterval);

    if (action == GuiAction::kill)
        killGui (device.guiName);

    if (action != GuiAction::check)
        return true;

    auto count = countGuis (device.guiName);

    if (! count.isOpen())
        return false;

    count.forEachCount ([&device] (int instances) { checkGui (instances, device.guiName); });
    return true;
}

void regulateFanAndPause (FanCurve& fanCurve)
{
    if (! thisUnitHasFan())
    {
        juce::Thread::sleep (pauseWithoutFanMs);
        return;
    }

    for (int step = 0; step < thermalStepsPerPass; ++step)
        thermalStep (fanCurve);

    juce::Thread::sleep (pauseWithFanMs);
}
}

int superviseForEver (const Device& device, FanCurve fanCurve)
{
    const auto checkInterval = guiCheckInterval (hasFan (device.type));
    auto lastStamp = juce::Time::getCurrentTime();
    deleteTemporaryFiles();
    SupervisionState state;

    for (;;)
    {
        ++state.passCounter;

        if (! superviseApplication (state, lastStamp) || ! superviseGui (device, state, checkInterval))
        {
            juce::Logger::writeToLog (noPipeText);
            return exitStatusWithoutPipe;
        }

        regulateFanAndPause (fanCurve);
    }
}

// log-report against the truth: random scenarios run in the simulated unit, and what the report says of the log must be what the
// unit's own programs noted. SEED and SCENARIOS choose other scenarios, and more of them. KEEP=1 prints them.
#include <cstdlib>
#include <iostream>

#include "tests/Comparison.h"

namespace
{
constexpr int shares = 2;

int numberFrom (const char* variable, int otherwise)
{
    const char* const text = std::getenv (variable);
    return text != nullptr ? std::atoi (text) : otherwise;
}
}

using ReportTruth = testing::TestWithParam<int>;

// Each instance takes a share of the scenarios, so that ctest runs them in parallel.
TEST_P (ReportTruth, isWhatTheUnitSawHappen)
{
    if (! Unit::isPossible())
        return;

    const auto seed = numberFrom ("SEED", 1), count = numberFrom ("SCENARIOS", 10);

    for (auto index = GetParam(); index < count && ! HasFailure(); index += shares)
    {
        SCOPED_TRACE ("SEED=" + std::to_string (seed + index) + " SCENARIOS=1");
        const Scenario scenario (static_cast<unsigned> (seed + index));
        Unit unit (scenario.product.serial);
        unit.with ("run/devmem-hook", Scenario::writeHook);
        const auto run = unit.runShell (scenario.script,
                                        "--board " + scenario.board + (scenario.hasDisk ? " --disk 400000" : ""));
        ASSERT_FALSE (run.events.empty()) << run.complaints;

        const Truth truth (run, std::atoll (run.output.c_str()), Unit::zone(), scenario.product.hasFan);
        unit.with ("log", run.log);
        const auto report = shell (LOG_REPORT " --json '" + (unit.folder / "log").string() + "'");
        ASSERT_EQ (0, report.status);

        if (std::getenv ("KEEP") != nullptr)
            std::cout << scenario.script << run.describe() << report.output << std::endl;

        Comparison { scenario, truth, run.log, juce::JSON::parse (report.output) }.all();
    }
}

INSTANTIATE_TEST_SUITE_P (, ReportTruth, testing::Range (0, shares));

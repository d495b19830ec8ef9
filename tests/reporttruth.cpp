// log-report against the truth: random scenarios run in the simulated unit, and what the report says of the log must be what the
// unit's own programs noted. SEED and SCENARIOS choose other scenarios, and more of them.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include <gtest/gtest.h>
#include <juce_core/juce_core.h>

#include "tests/Scenario.h"
#include "tests/Truth.h"
#include "tests/Unit.h"

namespace
{
constexpr int trimmedSize = 98304; // a trim leaves this or a little less
constexpr int shares = 2;
constexpr double aMinute = 60, longestPass = 15;

int numberFrom (const char* variable, int otherwise)
{
    const char* const text = std::getenv (variable);
    return text != nullptr ? std::atoi (text) : otherwise;
}

double secondsIn (const juce::var& isoTime)
{
    std::tm time {};
    ::strptime (isoTime.toString().toRawUTF8(), "%Y-%m-%dT%H:%M:%S", &time);
    return static_cast<double> (::timegm (&time));
}

/** A repetition tells its time to a second, a full line exactly. */
void expectTime (double truth, const juce::var& told, const std::string& what)
{
    EXPECT_TRUE (told.isString()) << what << " is not told";
    EXPECT_NEAR (std::floor (truth), secondsIn (told), 1) << what << " " << told.toString();
}

/** What follows from the application starts of a life. */
struct Starts
{
    struct Storm
    {
        double begin = 0, end = 0;
        int starts = 0;
        std::int64_t backOff = 0;
    };

    std::vector<Storm> storms;
    std::int64_t backOff = 0;
    double waited = 0, withoutAtLeast = 0, withoutAtMost = 0, longestWait = 0, heldAtLeast = 0, heldAtMost = 0;
    bool isBorderline = false; ///< a hold of nearly a minute

    void add (const Truth& truth, const Truth::Life& life);

private:
    void hold (double atMost, double atLeast)
    {
        heldAtMost = std::max (heldAtMost, atMost);
        heldAtLeast = std::max (heldAtLeast, atLeast);
    }
};

void Starts::add (const Truth& truth, const Truth::Life& life)
{
    const auto& misses = life.misses;
    const auto lifeEnd =
        truth.lines[life.lastLine + (life.endedBy == "nothing" && life.bootUnitFollowed ? 1 : 0)].steady;
    const auto untilMiss =
        (misses.empty() ? lifeEnd : truth.lines[misses[0]].steady) - truth.lines[life.firstLine].steady;
    hold (untilMiss, untilMiss);

    // A jump within the last wait hides whether it ended.
    for (const auto& jump : truth.jumps)
        isBorderline =
            isBorderline || (! misses.empty() && jump.line > misses.back() && jump.line <= life.lastLine + 1);

    double wait = 1;
    Storm storm;

    for (std::size_t i = 0; i < misses.size(); ++i)
    {
        const auto& line = truth.lines[misses[i]];
        const auto isLast = i + 1 == misses.size();
        const auto next = isLast ? lifeEnd : truth.lines[misses[i + 1]].steady;
        const auto held = next - line.steady - 3 * wait;
        storm.begin = storm.starts++ == 0 ? line.wall : storm.begin;
        storm.end = line.wall;
        const auto sinceMiss = (life.endMs - life.missTimes.back()) / 1000;
        const auto isEndTold = life.endedBy != "nothing" || life.bootUnitFollowed;
        const auto hasStarted = ! isLast || ! isEndTold || sinceMiss >= wait;
        isBorderline = isBorderline || (isLast && std::fabs (sinceMiss - wait) < 1.2);
        storm.backOff = static_cast<std::int64_t> ((hasStarted ? 2000 : 1000) * wait);
        backOff = std::max (backOff, storm.backOff);
        const auto gap = std::max (0.0, next - line.steady);
        const auto before = std::min (wait, gap);
        waited += before;
        withoutAtLeast += isLast || life.isSeen[i] ? before : gap;
        withoutAtMost += isLast || held > longestPass + 1 ? before : gap;
        longestWait = std::max (longestWait, std::min (3 * wait, gap));
        hold (gap - before, held > longestPass + 1 ? gap - before : 0);
        isBorderline = isBorderline || (! isLast && std::fabs (held - aMinute) < 2);

        wait *= 2;

        if (isLast || held >= aMinute)
        {
            if (storm.starts >= 5)
                storms.push_back (storm);

            storm = {};
        }
    }
}
/** What the report says of one scenario's log, beside the truth. */
class Comparison
{
public:
    Comparison (const Scenario& scenarioThatRan, const UnitRun& unitRun, Truth& whatHappened,
                const juce::var& report)
        : scenario (scenarioThatRan)
        , run (unitRun)
        , truth (whatHappened)
        , told (report)
        , isCut (told["missing"]["front"])
        , from (isCut ? secondsIn (told["from"]) : 0)
    {
    }

    void all()
    {
        whatIsMissing();
        counts();

        if (truth.isDiskFull || truth.isZoneChanged)
            return;

        jumps();

        lives();
        unit();

        if (areLengthsUncertain)
            return;

        heat();
        starts();
        verdict();
    }

private:
    static double number (const juce::var& value) { return static_cast<double> (value); }

    double latest() const
    {
        const auto byWall = [] (const Truth::Line& one, const Truth::Line& other)
        { return one.wall < other.wall; };
        return std::max_element (truth.lines.begin(), truth.lines.end(), byWall)->wall;
    }

    void whatIsMissing() const
    {
        EXPECT_TRUE (! isCut || (scenario.mayTrim && run.log.size() > trimmedSize - 200U))
            << "nothing was trimmed";
        if (! truth.isDiskFull && ! truth.isZoneChanged)
            expectTime (latest(), told["to"], "latest line");

        EXPECT_EQ (std::count (run.log.begin(), run.log.end(), '\n'), static_cast<int> (told["lines"]));

        EXPECT_TRUE (isCut || truth.isDiskFull || number (told["missing"]["repetitionsWithoutLine"]) == 0);

        for (const auto* const none : { "gluedLines", "longLines", "endsWithinLine" })
            EXPECT_TRUE (truth.isDiskFull || number (told["missing"][none]) == 0) << none;

        EXPECT_TRUE (truth.isDiskFull || number (told["notUnderstood"]["count"]) == 0);
    }

    /** A step back is told as far as lines show it. A step forward is told by a day stamp, if it is long enough. */
    void jumps()
    {
        std::vector<double> sizes;
        std::size_t next = 0;

        for (const auto& jump : *told["clockJumps"]["list"].getArray())
        {
            const auto size = number (jump["seconds"]);

            if (size > 0)
            {
                EXPECT_TRUE (truth.isForwardStep) << "no step forward of " << size << " s";
                areLengthsUncertain = true;
                continue;
            }

            if (size > -4 && (next == truth.jumps.size() || truth.jumps[next].to - truth.jumps[next].from < -4))
                continue; // too small for the truth

            ASSERT_LT (next, truth.jumps.size()) << "no step back of " << size << " s";
            expectTime (truth.jumps[next].from, jump["from"], "before the jump");
            expectTime (truth.jumps[next].to, jump["to"], "after the jump");
            EXPECT_NEAR (truth.jumps[next].to - truth.jumps[next].from, size, 2);
            sizes.push_back (size);
            ++next;
        }

        EXPECT_EQ (truth.jumps.size(), next) << "steps back";
        sizes.resize (truth.jumps.size());
        truth.takeOut (sizes);
    }

    void counts() const
    {
        constexpr std::array<const char*, 3> totals[] = {
            { "application", "absent", "application-absent" },
            { "application", "double", "application-double" },
            { "gui", "absent", "gui-absent" },
            { "gui", "double", "gui-double" },
            { "gui", "killed", "gui-killed" },
            { "heat", "above85", "hot" },
            { "heat", "above90", "too-hot" },
            { "fan", "writes", "fan" },
            { "fan", "failedWrites", "fan-failed" },
        };

        for (const auto& [object, member, kind] : totals)
            EXPECT_EQ (number (told["lineCounts"][kind]), number (told[object][member])) << kind;

        const auto repetitions = static_cast<int> (told["lineCounts"]["repetition"]);

        for (const auto* const kind :
             { "started", "application-absent", "application-double", "gui-absent", "gui-double", "gui-killed",
               "no-process", "fan", "fan-failed", "hot", "too-hot", "signal", "day" })
        {
            const auto count = static_cast<int> (told["lineCounts"][kind]);
            const auto all = truth.countAfter (kind, -1e12);

            if (isCut && truth.isZoneChanged)
                continue;

            if (truth.isDiskFull) // lines are lost, and the message of a repetition may be among them
            {
                EXPECT_LE (all - truth.countAfter (kind, truth.fullFrom), count) << kind;
                EXPECT_GE (all + repetitions, count) << kind;
            }
            else if (isCut)
            {
                EXPECT_LE (truth.countAfter (kind, from + 1), count) << kind;
                EXPECT_GE (truth.countAfter (kind, from - 0.001), count) << kind;
            }
            else
            {
                EXPECT_EQ (all, count) << kind;
            }
        }
    }

    void lives() const
    {
        const auto& said = *told["lives"]["list"].getArray();
        int expected = 0, bootUnitStarts = 0, lastStart = 0;

        for (int i = 0; i < static_cast<int> (truth.lives.size()); ++i)
            lastStart = truth.lives[static_cast<std::size_t> (i)].kind == "maintenance" ? lastStart : i;

        for (int i = 0; i < static_cast<int> (truth.lives.size()); ++i)
        {
            const auto& truly = truth.lives[static_cast<std::size_t> (i)];

            if (isCut && truly.begin <= from + 1)
                continue; // its begin may be cut off

            if (truly.kind == "boot-unit")
            {
                ++bootUnitStarts;
                continue;
            }

            const auto* const found = std::find_if (
                said.begin(), said.end(),
                [&truly] (const juce::var& one)
                {
                    return std::fabs (secondsIn (one["begin"]) - truly.begin) <= 1 &&
                           (one["kind"].toString() == "maintenance") == (truly.kind == "maintenance");
                });
            ASSERT_NE (said.end(), found) << "a life is missing";
            life (truly, *found, i == lastStart);
            ++expected;
        }

        const auto mayBeMore = isCut ? 2 : 0; // the one that lost its begin, and maintenance beside it
        EXPECT_LE (expected, said.size()) << "lives";
        EXPECT_GE (expected + mayBeMore, said.size()) << "lives";
        EXPECT_LE (bootUnitStarts, number (told["bootUnitStarts"]));
        EXPECT_GE (bootUnitStarts + mayBeMore, number (told["bootUnitStarts"]));
    }

    /** By the newest start that the log has, even if it is the boot unit's. */
    void unit() const
    {
        if (isCut && truth.countAfter ("started", from + 1) == 0)
            return;

        EXPECT_EQ (std::string (scenario.product.name), told["unit"]["product"].toString().toStdString());
        EXPECT_EQ (std::string (scenario.product.serial), told["unit"]["serial"].toString().toStdString());
    }

    void life (const Truth::Life& truly, const juce::var& said, bool isNewest) const
    {
        const auto isMaintenance = truly.kind == "maintenance";
        const auto hasEnd = truly.endedBy == "signal" || truly.endedBy == "no-process" || truly.bootUnitFollowed;
        const auto isOpen = isNewest && ! hasEnd && ! isMaintenance;
        expectTime (truly.begin, said["begin"], "begin of a life");
        expectTime (truth.lines[truly.lastLine].wall, said["lastLine"], "last line of a life");
        EXPECT_EQ (std::string (isOpen ? "open" : truly.endedBy), said["end"].toString().toStdString())
            << said["begin"].toString();
        EXPECT_EQ (truly.level, static_cast<int> (said["logLevel"]));
        EXPECT_EQ (std::string (scenario.product.name), said["product"].toString().toStdString());
        EXPECT_EQ (std::string (scenario.product.serial), said["serial"].toString().toStdString());
        EXPECT_EQ (std::string (scenario.product.gui), said["guiName"].toString().toStdString());

        if (isMaintenance)
        {
            for (const auto& one : *told["maintenance"]["list"].getArray())
                if (std::fabs (secondsIn (one["time"]) - truly.begin) <= 1)
                    work (truly, one);

            return;
        }

        EXPECT_EQ (truly.bootUnitFollowed, static_cast<bool> (said["bootUnitFollowed"]));
        EXPECT_EQ (hasEnd, said["endTime"].isString());

        if (hasEnd)
            expectTime (truly.end, said["endTime"], "end of a life");

        EXPECT_EQ (truly.endedBy == "signal" ? truly.signal : 0, static_cast<int> (said["signal"]));

        for (const auto* const program : { "application", "gui" })
            for (const auto* const what : { "absent", "double", "killed" })
            {
                const auto name = std::string (program) + "-" + what;
                const auto count = truly.counts.count (name) == 0 ? 0 : truly.counts.at (name);
                EXPECT_EQ (count, static_cast<int> (said[program][what])) << name << said["begin"].toString();
            }
    }

    void work (const Truth::Life& truly, const juce::var& said) const
    {
        const auto has = [] (const std::string& text, const char* part)
        { return text.find (part) != std::string::npos; };
        const auto& given = truly.arguments;
        const auto mutes = has (given, "mutedac") || has (given, "RESETDSP");
        const auto disconnects = has (given, "DISCONNECTFPGA") || has (given, "RESETDSP");
        const auto isTessel = has (scenario.product.name, "tessel");
        const auto fails = scenario.board == "no-bus" || (scenario.board == "no-dac1" && mutes && isTessel) ||
                           (scenario.board == "no-router" && disconnects);
        const auto isAllowed = ! scenario.product.hasFan;
        const std::string outcome = ! (mutes || disconnects) ? "nothing-done"
                                    : ! isAllowed            ? "refused"
                                    : fails                  ? "failed"
                                                             : "done";
        EXPECT_EQ (outcome, said["outcome"].toString().toStdString()) << given;
        expectTime (truly.begin, said["time"], "maintenance");
        EXPECT_EQ (std::string (given), said["arguments"].toString().toStdString());
        EXPECT_EQ (isAllowed && mutes && isTessel, static_cast<bool> (said["mutedDac1"])) << given;
        EXPECT_EQ (isAllowed && mutes, static_cast<bool> (said["mutedDac2"])) << given;
        EXPECT_EQ (isAllowed && disconnects, static_cast<bool> (said["disconnected"])) << given;
    }

    struct Heat
    {
        double begin, end, steadyBegin, steadyEnd, highest;
        int above85, above90;
    };

    void heat() const
    {
        if (isCut) // which readings are left? Their number is held against the truth above.
            return;

        std::vector<Heat> expected;
        auto highest = 0.0;

        for (const auto& line : truth.lines)
        {
            if (line.degrees <= 85)
                continue;

            const auto pause = expected.empty() ? 1000 : line.steady - expected.back().steadyEnd;

            if (std::fabs (pause - aMinute) < 2) // uncertain which
                return;

            if (pause >= aMinute)
                expected.push_back ({ line.wall, line.wall, line.steady, line.steady, 0, 0, 0 });

            auto& last = expected.back();
            last.end = line.wall;
            last.steadyEnd = line.steady;
            last.highest = std::max (last.highest, line.degrees);
            ++(line.degrees > 90 ? last.above90 : last.above85);
            highest = std::max (highest, line.degrees);
        }

        const auto& list = *told["heat"]["times"]["list"].getArray();
        ASSERT_EQ (expected.size(), static_cast<std::size_t> (list.size())) << "times of heat";
        EXPECT_EQ (highest, number (told["heat"]["highest"]));

        for (int i = 0; i < list.size(); ++i)
        {
            const auto& truly = expected[static_cast<std::size_t> (i)];
            expectTime (truly.begin, list[i]["begin"], "begin of heat");
            expectTime (truly.end, list[i]["end"], "end of heat");
            EXPECT_NEAR (truly.steadyEnd - truly.steadyBegin, number (list[i]["seconds"]), 2);
            EXPECT_EQ (truly.highest, number (list[i]["highest"]));
            EXPECT_EQ (truly.above85, static_cast<int> (list[i]["above85"]));
            EXPECT_EQ (truly.above90, static_cast<int> (list[i]["above90"]));
        }
    }

    void starts()
    {
        for (const auto& life : truth.lives)
        {
            if (isCut && life.begin <= from + 1 && ! life.misses.empty())
                return; // the report guesses, and says so

            if (isCut && life.begin <= from + 1)
                continue;

            if (life.kind == "supervision" || life.kind == "canned")
                expectedStarts.add (truth, life);
        }

        const auto& truly = expectedStarts;
        const auto& application = told["application"];
        const auto& list = *told["storms"]["list"].getArray();
        const auto rounding = 1.5 + 1.2 * static_cast<double> (truth.lives.size());

        if (truly.isBorderline)
            return;

        EXPECT_EQ (truly.backOff, static_cast<juce::int64> (application["backOffMs"]));
        EXPECT_NEAR (truly.waited, number (application["secondsWithoutAtLeast"]), rounding);
        EXPECT_LE (truth.isForwardStep ? 0 : truly.withoutAtLeast,
                   number (application["secondsWithoutAtMost"]) + rounding);
        EXPECT_GE (truly.withoutAtMost, number (application["secondsWithoutAtMost"]) - rounding);
        EXPECT_NEAR (truly.longestWait, number (application["longestWaitSeconds"]), 2);
        EXPECT_LE (truly.heldAtLeast, number (application["longestHeldSeconds"]) + 2);
        EXPECT_GE (truly.heldAtMost, number (application["longestHeldSeconds"]) - 2);
        ASSERT_EQ (truly.storms.size(), static_cast<std::size_t> (list.size())) << "storms";

        for (int i = 0; i < list.size(); ++i)
        {
            const auto& storm = truly.storms[static_cast<std::size_t> (i)];
            expectTime (storm.begin, list[i]["begin"], "begin of a storm");
            expectTime (storm.end, list[i]["end"], "end of a storm");
            EXPECT_EQ (storm.starts, static_cast<int> (list[i]["starts"]));
            EXPECT_EQ (storm.backOff, static_cast<juce::int64> (list[i]["backOffMs"]));
        }
    }

    void verdict() const
    {
        if (isCut || truth.isForwardStep || expectedStarts.isBorderline)
            return;

        const auto has = [this] (const char* kind) { return truth.countAfter (kind, -1e12) > 0; };
        auto act = has ("too-hot") || has ("fan-failed") || has ("no-process") || ! expectedStarts.storms.empty();
        auto look = has ("hot") || has ("application-double") || has ("gui-double") || ! truth.jumps.empty() ||
                    (has ("gui-killed") && *scenario.product.gui != 0);

        for (const auto& life : truth.lives)
        {
            const auto isAgain = [&] (const char* kind)
            { return life.counts.count (kind) != 0 && life.counts.at (kind) > 1; };
            act = act || (life.endedBy == "signal" && life.signal != 2 && life.signal != 15);
            look = look || (life.endedBy == "nothing" && life.bootUnitFollowed) ||
                   isAgain ("application-absent") || isAgain ("gui-absent");
        }

        for (const auto& work : *told["maintenance"]["list"].getArray()) // held against the truth above
        {
            act = act || work["outcome"].toString() == "failed";
            look = look || work["outcome"].toString() == "refused";
        }

        EXPECT_EQ (std::string (act    ? "act"
                                : look ? "look"
                                       : "nothing"),
                   told["verdict"].toString().toStdString());
    }

    const Scenario& scenario;
    const UnitRun& run;
    Truth& truth;
    const juce::var told;
    const bool isCut;
    const double from;
    Starts expectedStarts;
    bool areLengthsUncertain = false; ///< the report told a step forward, but not how long it was
};
}

class ReportTruth : public testing::TestWithParam<int>
{
};

// Each instance takes a share of the scenarios, so that ctest runs them in parallel.
TEST_P (ReportTruth, isWhatTheUnitSawHappen)
{
    if (! Unit::isPossible())
        return;

    const auto seed = numberFrom ("SEED", 1), count = numberFrom ("SCENARIOS", 10);

    for (auto index = GetParam(); index < count && ! HasFailure(); index += shares)
    {
        const Scenario scenario (static_cast<unsigned> (seed + index));
        SCOPED_TRACE ("SEED=" + std::to_string (seed + index) + " SCENARIOS=1");
        Unit unit (scenario.product.serial);
        unit.with ("run/devmem-hook", Scenario::writeHook);
        const auto run = unit.runShell (scenario.script,
                                        "--board " + scenario.board + (scenario.hasDisk ? " --disk 400000" : ""));
        ASSERT_FALSE (run.events.empty()) << run.complaints;
        Truth truth (run, std::atoll (run.output.c_str()), Unit::zone(), scenario.product.hasFan, 45);
        unit.with ("log", run.log);
        const auto report = (unit.folder / "report").string();
        ASSERT_EQ (
            0, std::system (
                   (LOG_REPORT " --json '" + (unit.folder / "log").string() + "' > '" + report + "'").c_str()));
        if (std::getenv ("KEEP") != nullptr)
            std::cout << scenario.script << run.describe() << contentOf (report) << std::endl;

        Comparison (scenario, run, truth, juce::JSON::parse (contentOf (report))).all();
    }
}

INSTANTIATE_TEST_SUITE_P (, ReportTruth, testing::Range (0, shares));

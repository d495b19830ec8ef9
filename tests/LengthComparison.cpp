// Lengths of time that log-report works out: heat, and the waits and holds of the application.
#include <algorithm>
#include <cmath>

#include "tests/Comparison.h"

namespace
{
constexpr double aMinute = 60, longestPass = 15;

struct Heat
{
    double begin, end, steadyBegin, steadyEnd, highest;
    int above85, above90;
};
}

/** What follows from the application starts of a life. */
struct Comparison::Starts
{
    struct Storm
    {
        double begin = 0, end = 0;
        int absent = 0, twice = 0;
        std::int64_t backOff = 0;
    };

    std::vector<Storm> storms;
    std::int64_t backOff = 0;
    double waited = 0, withoutAtLeast = 0, withoutAtMost = 0, longestWait = 0, heldAtLeast = 0, heldAtMost = 0;
    bool isBorderline = false; ///< a hold of nearly a minute, or an end near that of a wait

    void add (const Truth& truly, const Truth::Life& life);

private:
    void hold (double atMost, double atLeast)
    {
        heldAtMost = std::max (heldAtMost, atMost);
        heldAtLeast = std::max (heldAtLeast, atLeast);
    }
};

void Comparison::Starts::add (const Truth& truly, const Truth::Life& life)
{
    constexpr int leastOfAStorm = 5;
    const auto& misses = life.misses;
    const auto isEndTold = life.endedBy != "nothing" || life.bootUnitFollowed;
    const auto lifeEnd =
        truly.lines[life.lastLine + (life.endedBy == "nothing" && life.bootUnitFollowed ? 1 : 0)].steady;
    const auto untilMiss =
        (misses.empty() ? lifeEnd : truly.lines[misses[0]].steady) - truly.lines[life.firstLine].steady;
    hold (untilMiss, untilMiss);

    // A jump within the last wait hides whether it ended.
    for (const auto& jump : truly.jumps)
        isBorderline =
            isBorderline || (! misses.empty() && jump.line > misses.back() && jump.line <= life.lastLine + 1);

    double wait = 1;
    Storm storm;

    for (std::size_t i = 0; i < misses.size(); ++i)
    {
        const auto& line = truly.lines[misses[i]];
        const auto isLast = i + 1 == misses.size();
        const auto next = isLast ? lifeEnd : truly.lines[misses[i + 1]].steady;
        const auto held = next - line.steady - 3 * wait;
        const auto sinceMiss = (life.endMs - life.lastMissMs) / 1000;
        const auto hasStarted = ! isLast || ! isEndTold || sinceMiss >= wait;
        isBorderline =
            isBorderline || (isLast ? std::fabs (sinceMiss - wait) < 1.2 : std::fabs (held - aMinute) < 2);

        storm.begin = storm.absent + storm.twice == 0 ? line.wall : storm.begin;
        storm.end = line.wall;
        ++(line.kind == "application-absent" ? storm.absent : storm.twice);
        storm.backOff = static_cast<std::int64_t> ((hasStarted ? 2000 : 1000) * wait);
        backOff = std::max (backOff, storm.backOff);

        const auto gap = std::max (0.0, next - line.steady);
        const auto before = std::min (wait, gap);
        const auto mayHaveRun = isLast || held > longestPass + 1;
        waited += before;
        withoutAtLeast += isLast || life.isSeen[i] ? before : gap;
        withoutAtMost += mayHaveRun ? before : gap;
        longestWait = std::max (longestWait, std::min (3 * wait, gap));
        hold (gap - before, held > longestPass + 1 ? gap - before : 0);
        wait *= 2;

        if (isLast || held >= aMinute)
        {
            if (storm.absent + storm.twice >= leastOfAStorm)
                storms.push_back (storm);

            storm = {};
        }
    }
}

void Comparison::lengths() const
{
    if (! isCut) // which readings are left? Their number is held against the truth elsewhere.
        heat();

    Starts truly;

    for (const auto& life : truth.lives)
    {
        const auto mayBeCut = isCut && life.begin <= from + 1;

        if (mayBeCut && ! life.misses.empty())
            return; // the report guesses, and says so

        if (! mayBeCut && (life.kind == "supervision" || life.kind == "canned"))
            truly.add (truth, life);
    }

    if (truly.isBorderline)
        return;

    starts (truly);

    if (! isCut && ! truth.isForwardStep)
        verdict (! truly.storms.empty());
}

void Comparison::heat() const
{
    std::vector<Heat> expected;
    auto highest = 0.0;

    for (const auto& line : truth.lines)
    {
        if (line.degrees <= 85)
            continue;

        const auto pause = expected.empty() ? HUGE_VAL : line.steady - expected.back().steadyEnd;

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
        EXPECT_EQ (truly.above85, integer (list[i]["above85"]));
        EXPECT_EQ (truly.above90, integer (list[i]["above90"]));
    }
}

void Comparison::starts (const Starts& truly) const
{
    const auto& application = told["application"];
    const auto& list = *told["storms"]["list"].getArray();
    const auto rounding = 1.5 + 1.2 * static_cast<double> (truth.lives.size());

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
        EXPECT_EQ (storm.absent + storm.twice, integer (list[i]["starts"]));
        EXPECT_EQ (storm.absent, integer (list[i]["absent"]));
        EXPECT_EQ (storm.twice, integer (list[i]["double"]));
        EXPECT_EQ (storm.backOff, static_cast<juce::int64> (list[i]["backOffMs"]));
    }
}

void Comparison::verdict (bool hasStorm) const
{
    auto act = hasStorm || countOf ("too-hot") + countOf ("fan-failed") + countOf ("no-process") > 0;
    auto look = countOf ("hot") + countOf ("application-double") + countOf ("gui-double") > 0 ||
                ! truth.jumps.empty() || (countOf ("gui-killed") > 0 && *scenario.product.gui != 0);

    for (const auto& life : truth.lives)
    {
        act = act || (life.endedBy == "signal" && life.signal != 2 && life.signal != 15);
        look = look || (life.endedBy == "nothing" && life.bootUnitFollowed) ||
               life.countOf ("application-absent") > 1 || life.countOf ("gui-absent") > 1;
    }

    for (const auto& work : *told["maintenance"]["list"].getArray()) // held against the truth elsewhere
    {
        act = act || work["outcome"].toString() == "failed";
        look = look || work["outcome"].toString() == "refused";
    }

    EXPECT_EQ (juce::String (act ? "act" : look ? "look" : "nothing"), told["verdict"].toString());
}

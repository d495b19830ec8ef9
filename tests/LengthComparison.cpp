// What log-report works out: the waits and holds of the application, its restart storms, the verdict.
#include <algorithm>
#include <cmath>

#include "tests/Comparison.h"

namespace
{
constexpr double aMinute = 60, longestPass = 15;

/** What follows from the application starts of the lives. */
struct Starts
{
    std::vector<Object> storms;
    double backOff = 0, waited = 0, withoutAtLeast = 0, withoutAtMost = 0, longestWait = 0;
    double heldAtLeast = 0, heldAtMost = 0;
    bool isBorderline = false; ///< a hold of nearly a minute, or an end near that of a wait

    void add (const Truth& truly, const Truth::Life& life)
    {
        constexpr int leastOfAStorm = 5;
        const auto& misses = life.misses;
        const auto isKilled = life.endedBy == "nothing" && life.bootUnitFollowed;
        const auto isEndTold = life.endedBy != "nothing" || isKilled;
        const auto lineOf = [&] (std::size_t miss)
        { return truly.lines[miss < misses.size() ? misses[miss].line : life.lastLine + (isKilled ? 1 : 0)]; };
        const auto untilMiss = lineOf (0).steady - truly.lines[life.firstLine].steady;
        heldAtMost = std::max (heldAtMost, untilMiss);
        heldAtLeast = std::max (heldAtLeast, untilMiss);

        // A jump within the last wait hides whether it ended.
        for (const auto& jump : truly.jumps)
            isBorderline = isBorderline ||
                           (! misses.empty() && jump.line > misses.back().line && jump.line <= life.lastLine + 1);

        double wait = 1;
        int starts = 0, absent = 0; // of this storm

        for (std::size_t i = 0; i < misses.size(); ++i)
        {
            const auto line = lineOf (i);
            const auto isLast = i + 1 == misses.size();
            const auto gap = std::max (0.0, lineOf (i + 1).steady - line.steady);
            const auto before = std::min (wait, gap);
            const auto held = gap - 3 * wait;
            const auto sinceMiss = (life.endMs - misses[i].ms) / 1000;
            const auto hasStarted = ! isLast || ! isEndTold || sinceMiss >= wait;
            const auto backOffMs = (hasStarted ? 2000 : 1000) * wait;
            isBorderline =
                isBorderline || (isLast ? std::fabs (sinceMiss - wait) < 1.2 : std::fabs (held - aMinute) < 2);

            backOff = std::max (backOff, backOffMs);
            waited += before;
            withoutAtLeast += isLast || misses[i].isSeen ? before : gap;
            withoutAtMost += isLast || held > longestPass + 1 ? before : gap;
            longestWait = std::max (longestWait, std::min (3 * wait, gap));
            wait *= 2;
            heldAtMost = std::max (heldAtMost, gap - before);
            heldAtLeast = std::max (heldAtLeast, held > longestPass + 1 ? gap - before : 0);

            ++starts;
            absent += line.kind == "application-absent";

            if (! isLast && held < aMinute)
                continue;

            if (starts >= leastOfAStorm)
                storms.push_back ({ timeMember ("begin", lineOf (i + 1 - static_cast<std::size_t> (starts)).wall),
                                    timeMember ("end", line.wall),
                                    { "starts", starts },
                                    { "absent", absent },
                                    { "double", starts - absent },
                                    { "backOffMs", backOffMs } });

            starts = absent = 0;
        }
    }
};
}

void Comparison::lengths() const
{
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

    const auto rounding = 1.5 + 1.2 * static_cast<double> (truth.lives.size());
    const auto withoutAtLeast = truth.isForwardStep ? 0 : truly.withoutAtLeast;
    expect (told["application"],
            { { "backOffMs", truly.backOff },
              { "secondsWithoutAtLeast", truly.waited, rounding },
              between ("secondsWithoutAtMost", withoutAtLeast - rounding, truly.withoutAtMost + rounding),
              { "longestWaitSeconds", truly.longestWait, 2 },
              between ("longestHeldSeconds", truly.heldAtLeast - 2, truly.heldAtMost + 2) });

    const auto& storms = told["storms"]["list"];
    ASSERT_EQ (truly.storms.size(), static_cast<std::size_t> (storms.size())) << "storms";

    for (int i = 0; i < storms.size(); ++i)
        expect (storms[i], truly.storms[static_cast<std::size_t> (i)]);

    if (! isCut && ! truth.isForwardStep)
        verdict (! truly.storms.empty());
}

void Comparison::verdict (bool hasStorm) const
{
    auto act =
        hasStorm || truth.countOf ("too-hot") + truth.countOf ("fan-failed") + truth.countOf ("no-process") > 0;
    auto look = truth.countOf ("hot") + truth.countOf ("application-double") + truth.countOf ("gui-double") > 0 ||
                ! truth.jumps.empty() || (truth.countOf ("gui-killed") > 0 && *scenario.product.gui != 0);

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

    expect (told, { { "verdict", act ? "act" : look ? "look" : "nothing" } });
}

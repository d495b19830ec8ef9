#include "tests/Comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace
{
constexpr int trimmedSize = 98304; // a trim leaves this or a little less

void expectText (const std::string& truth, const juce::var& told)
{
    EXPECT_EQ (truth, told.toString().toStdString());
}
}

Comparison::Comparison (const Scenario& scenarioThatRan, Truth& whatHappened, const std::string& unitLog,
                        const juce::var& report)
    : scenario (scenarioThatRan)
    , truth (whatHappened)
    , log (unitLog)
    , told (report)
    , isCut (told["missing"]["front"])
    , from (isCut ? secondsIn (told["from"]) : 0)
{
}

void Comparison::all()
{
    missing();
    counts();

    if (truth.isDiskFull || truth.isZoneChanged)
        return;

    jumps();
    lives();
    unit();

    if (! areLengthsUncertain)
        lengths();
}

double Comparison::secondsIn (const juce::var& isoTime)
{
    std::tm time {};
    ::strptime (isoTime.toString().toRawUTF8(), "%Y-%m-%dT%H:%M:%S", &time);
    return static_cast<double> (::timegm (&time));
}

/** A repetition tells its time to a second, a full line exactly. */
void Comparison::expectTime (double truth, const juce::var& told, const std::string& what)
{
    EXPECT_TRUE (told.isString()) << what << " is not told";
    EXPECT_NEAR (std::floor (truth), secondsIn (told), 1) << what << " " << told.toString();
}

void Comparison::missing() const
{
    EXPECT_TRUE (! isCut || (scenario.mayTrim && log.size() > trimmedSize - 200U)) << "nothing was trimmed";
    EXPECT_EQ (std::count (log.begin(), log.end(), '\n'), integer (told["lines"]));

    if (! truth.isDiskFull && ! truth.isZoneChanged)
    {
        const auto byWall = [] (const auto& one, const auto& other) { return one.wall < other.wall; };
        expectTime (std::max_element (truth.lines.begin(), truth.lines.end(), byWall)->wall, told["to"],
                    "latest line");
    }

    if (truth.isDiskFull)
        return;

    EXPECT_TRUE (isCut || integer (told["missing"]["repetitionsWithoutLine"]) == 0);
    EXPECT_EQ (0, integer (told["notUnderstood"]["count"]));

    for (const auto* const none : { "gluedLines", "longLines", "endsWithinLine" })
        EXPECT_EQ (0, integer (told["missing"][none])) << none;
}

void Comparison::counts() const
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
        EXPECT_EQ (integer (told["lineCounts"][kind]), integer (told[object][member])) << kind;

    if (isCut && truth.isZoneChanged)
        return;

    for (const auto* const kind :
         { "started", "application-absent", "application-double", "gui-absent", "gui-double", "gui-killed",
           "no-process", "fan", "fan-failed", "hot", "too-hot", "signal", "day" })
    {
        const auto count = integer (told["lineCounts"][kind]);
        auto least = countOf (kind), most = least;

        if (truth.isDiskFull) // lines are lost, and the message of a repetition may be among them
        {
            least -= truth.countAfter (kind, truth.fullFrom);
            most += integer (told["lineCounts"]["repetition"]);
        }
        else if (isCut)
        {
            least = truth.countAfter (kind, from + 1);
            most = truth.countAfter (kind, from - 0.001);
        }

        EXPECT_LE (least, count) << kind;
        EXPECT_GE (most, count) << kind;
    }
}

/** A step back is told as far as lines show it. A step forward is told by a day stamp, if it is long enough. */
void Comparison::jumps()
{
    std::vector<double> sizes;
    std::size_t next = 0;
    const auto sizeOf = [] (const Truth::Jump& jump) { return jump.to - jump.from; };

    for (const auto& jump : *told["clockJumps"]["list"].getArray())
    {
        const auto size = number (jump["seconds"]);

        if (size > 0)
        {
            EXPECT_TRUE (truth.isForwardStep) << "no step forward of " << size << " s";
            areLengthsUncertain = true;
            continue;
        }

        if (size > -4 && (next == truth.jumps.size() || sizeOf (truth.jumps[next]) < -4))
            continue; // too small for the truth

        ASSERT_LT (next, truth.jumps.size()) << "no step back of " << size << " s";
        expectTime (truth.jumps[next].from, jump["from"], "before the jump");
        expectTime (truth.jumps[next].to, jump["to"], "after the jump");
        EXPECT_NEAR (sizeOf (truth.jumps[next]), size, 2);
        sizes.push_back (size);
        ++next;
    }

    EXPECT_EQ (truth.jumps.size(), next) << "steps back";
    sizes.resize (truth.jumps.size());
    truth.takeOut (sizes);
}

void Comparison::lives() const
{
    const auto& said = *told["lives"]["list"].getArray();
    int expected = 0, bootUnitStarts = 0;
    const auto newest = std::find_if (truth.lives.rbegin(), truth.lives.rend(),
                                      [] (const auto& one) { return one.kind != "maintenance"; });

    for (const auto& truly : truth.lives)
    {
        if (isCut && truly.begin <= from + 1)
            continue; // its begin may be cut off

        if (truly.kind == "boot-unit")
        {
            ++bootUnitStarts;
            continue;
        }

        const auto* const found =
            std::find_if (said.begin(), said.end(),
                          [&truly] (const juce::var& one)
                          {
                              return std::fabs (secondsIn (one["begin"]) - truly.begin) <= 1 &&
                                     (one["kind"].toString() == "maintenance") == (truly.kind == "maintenance");
                          });
        ASSERT_NE (said.end(), found) << "a life is missing";
        life (truly, *found, newest != truth.lives.rend() && &truly == &*newest);
        ++expected;
    }

    const auto mayBeMore = isCut ? 2 : 0; // the one that lost its begin, and maintenance beside it
    EXPECT_LE (expected, said.size()) << "lives";
    EXPECT_GE (expected + mayBeMore, said.size()) << "lives";
    EXPECT_LE (bootUnitStarts, integer (told["bootUnitStarts"]));
    EXPECT_GE (bootUnitStarts + mayBeMore, integer (told["bootUnitStarts"]));
}

void Comparison::life (const Truth::Life& truly, const juce::var& said, bool isNewest) const
{
    SCOPED_TRACE ("the life that began at " + said["begin"].toString().toStdString());
    const auto isMaintenance = truly.kind == "maintenance";
    const auto hasEnd = truly.endedBy == "signal" || truly.endedBy == "no-process" || truly.bootUnitFollowed;
    const auto isOpen = isNewest && ! hasEnd;
    expectTime (truly.begin, said["begin"], "begin");
    expectTime (truth.lines[truly.lastLine].wall, said["lastLine"], "last line");
    expectText (isOpen ? "open" : truly.endedBy, said["end"]);
    expectText (scenario.product.name, said["product"]);
    expectText (scenario.product.serial, said["serial"]);
    expectText (scenario.product.gui, said["guiName"]);
    EXPECT_EQ (truly.level, integer (said["logLevel"]));

    if (isMaintenance)
    {
        for (const auto& one : *told["maintenance"]["list"].getArray())
            if (std::fabs (secondsIn (one["time"]) - truly.begin) <= 1)
                maintenance (truly, one);

        return;
    }

    EXPECT_EQ (truly.bootUnitFollowed, static_cast<bool> (said["bootUnitFollowed"]));
    EXPECT_EQ (hasEnd, said["endTime"].isString());

    if (hasEnd)
        expectTime (truly.end, said["endTime"], "end");

    EXPECT_EQ (truly.endedBy == "signal" ? truly.signal : 0, integer (said["signal"]));

    for (const auto* const program : { "application", "gui" })
        for (const auto* const what : { "absent", "double", "killed" })
            EXPECT_EQ (truly.countOf (std::string (program) + "-" + what), integer (said[program][what]))
                << program << " " << what;
}

void Comparison::maintenance (const Truth::Life& truly, const juce::var& said) const
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
    SCOPED_TRACE (given);
    expectText (given, said["arguments"]);
    expectText (! (mutes || disconnects) ? "nothing-done"
                : ! isAllowed            ? "refused"
                : fails                  ? "failed"
                                         : "done",
                said["outcome"]);
    EXPECT_EQ (isAllowed && mutes && isTessel, static_cast<bool> (said["mutedDac1"]));
    EXPECT_EQ (isAllowed && mutes, static_cast<bool> (said["mutedDac2"]));
    EXPECT_EQ (isAllowed && disconnects, static_cast<bool> (said["disconnected"]));
}

/** By the newest start that the log has, even if it is the boot unit's. */
void Comparison::unit() const
{
    if (isCut && truth.countAfter ("started", from + 1) == 0)
        return;

    expectText (scenario.product.name, told["unit"]["product"]);
    expectText (scenario.product.serial, told["unit"]["serial"]);
}

#include "tests/Comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace
{
constexpr int trimmedSize = 98304; // a trim leaves this or a little less
}

double secondsIn (const juce::var& isoTime)
{
    std::tm time {};
    ::strptime (isoTime.toString().toRawUTF8(), "%Y-%m-%dT%H:%M:%S", &time);
    return static_cast<double> (::timegm (&time));
}

Member timeMember (const char* name, double wall)
{
    return { name, std::floor (wall), 1 };
}

Member between (const char* name, double least, double most)
{
    return { name, (least + most) / 2, (most - least) / 2 };
}

void expect (const juce::var& told, const Object& truth)
{
    for (const auto& [name, value, tolerance] : truth)
    {
        const auto& said = told[name];

        if (value.isString())
            EXPECT_EQ (value.toString(), said.toString()) << name;
        else
            EXPECT_NEAR (static_cast<double> (value),
                         said.isString() ? secondsIn (said) : static_cast<double> (said), tolerance)
                << name << ": " << said.toString();
    }
}

void Comparison::all() const
{
    EXPECT_TRUE (! isCut || (scenario.mayTrim && log.size() > trimmedSize - 200U)) << "nothing was trimmed";
    expect (told, { { "lines", static_cast<int> (std::count (log.begin(), log.end(), '\n')) } });
    counts();

    if (truth.fullFrom)
        return;

    expect (told["notUnderstood"], { { "count", 0 } });
    expect (told["missing"], { { "repetitionsWithoutLine", 0, isCut ? HUGE_VAL : 0.0 },
                               { "gluedLines", 0 },
                               { "longLines", 0 },
                               { "endsWithinLine", false } });

    if (truth.isZoneChanged)
        return;

    const auto byWall = [] (const auto& one, const auto& other) { return one.wall < other.wall; };
    expect (told, { timeMember ("to", std::max_element (truth.lines.begin(), truth.lines.end(), byWall)->wall) });
    lives();

    if (jumps())
        lengths();
}

void Comparison::counts() const
{
    // The report has the number of lines of most kinds in two places.
    constexpr std::array<const char*, 3> kinds[] = {
        { "application-absent", "application", "absent" },
        { "application-double", "application", "double" },
        { "gui-absent", "gui", "absent" },
        { "gui-double", "gui", "double" },
        { "gui-killed", "gui", "killed" },
        { "hot", "heat", "above85" },
        { "too-hot", "heat", "above90" },
        { "fan", "fan", "writes" },
        { "fan-failed", "fan", "failedWrites" },
        { "started" },
        { "no-process" },
        { "signal" },
        { "day" },
    };
    const auto& said = told["lineCounts"];

    for (const auto& [kind, object, member] : kinds)
    {
        if (object != nullptr)
            expect (told[object], { { member, static_cast<int> (said[kind]) } });

        auto least = truth.countOf (kind), most = least;

        if (truth.fullFrom) // lines are lost, and the message of a repetition may be among them
        {
            least -= truth.countOf (kind, *truth.fullFrom);
            most += static_cast<int> (said["repetition"]);
        }
        else if (isCut)
        {
            least = truth.countOf (kind, from + 1);
            most = truth.countOf (kind, from - 0.001);
        }

        if (! (isCut && truth.isZoneChanged))
            expect (said, { between (kind, least, most) });
    }
}

/** A step back is told as far as lines show it. A step forward is told by a day stamp if it is long enough, but not how
    long it was. Returns whether lengths are certain.
*/
bool Comparison::jumps() const
{
    constexpr double certain = -4; // the truth may lack a smaller step
    std::size_t next = 0;
    bool areLengthsCertain = true;

    for (const auto& jump : *told["clockJumps"]["list"].getArray())
    {
        const auto size = static_cast<double> (jump["seconds"]);
        const auto truly = next < truth.jumps.size() ? truth.jumps[next] : Truth::Jump {};

        if (size > 0)
        {
            EXPECT_TRUE (truth.isForwardStep) << "no step forward of " << size << " s";
            areLengthsCertain = false;
        }
        else if (next == truth.jumps.size() || (size > certain && truly.size() < certain))
            EXPECT_GT (size, certain) << "no step back";
        else
        {
            expect (
                jump,
                { timeMember ("from", truly.from), timeMember ("to", truly.to), { "seconds", truly.size(), 2 } });
            ++next;
        }
    }

    EXPECT_EQ (truth.jumps.size(), next) << "steps back";
    return areLengthsCertain;
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
    expect (told["lives"], { between ("count", expected, expected + mayBeMore) });
    expect (told, { between ("bootUnitStarts", bootUnitStarts, bootUnitStarts + mayBeMore) });

    // The newest start that the log has, even if it is the boot unit's.
    if (! isCut || truth.countOf ("started", from + 1) > 0)
        expect (told["unit"], { { "product", scenario.product.name }, { "serial", scenario.product.serial } });
}

void Comparison::life (const Truth::Life& truly, const juce::var& said, bool isNewest) const
{
    SCOPED_TRACE ("the life that began at " + said["begin"].toString().toStdString());
    const auto isSignal = truly.endedBy == "signal";
    const auto hasEnd = isSignal || truly.endedBy == "no-process" || truly.bootUnitFollowed;
    expect (said, { timeMember ("begin", truly.begin),
                    timeMember ("lastLine", truth.lines[truly.lastLine].wall),
                    { "end", isNewest && ! hasEnd ? "open" : truly.endedBy.c_str() },
                    hasEnd ? timeMember ("endTime", truly.end) : Member { "endTime", {} },
                    { "signal", isSignal ? truly.signal : 0 },
                    { "bootUnitFollowed", truly.bootUnitFollowed },
                    { "product", scenario.product.name },
                    { "serial", scenario.product.serial },
                    { "guiName", scenario.product.gui },
                    { "logLevel", truly.level } });

    for (const auto* const program : { "application", "gui" })
        for (const auto* const what : { "absent", "double", "killed" })
            expect (said[program], { { what, truly.countOf (std::string (program) + "-" + what) } });

    for (const auto& one : *told["maintenance"]["list"].getArray())
        if (truly.kind == "maintenance" && std::fabs (secondsIn (one["time"]) - truly.begin) <= 1)
            maintenance (truly, one);
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
    expect (said, { { "arguments", given.c_str() },
                    { "outcome", ! (mutes || disconnects) ? "nothing-done"
                                 : ! isAllowed            ? "refused"
                                 : fails                  ? "failed"
                                                          : "done" },
                    { "mutedDac1", isAllowed && mutes && isTessel },
                    { "mutedDac2", isAllowed && mutes },
                    { "disconnected", isAllowed && disconnects } });
}

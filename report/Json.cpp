#include "report/Json.h"

#include <array>

#include "report/JsonWriter.h"

namespace report
{
namespace
{
constexpr std::int64_t schema = 1; ///< grows with each change that a reader of the JSON can notice

std::optional<std::string> time (std::optional<LogTime> moment)
{
    return moment ? std::optional (isoTime (*moment)) : std::nullopt;
}

/** Rounded to the nearest second. */
std::int64_t seconds (LogTime length)
{
    return (length + (length < 0 ? -oneSecond : oneSecond) / 2) / oneSecond;
}

std::optional<std::string> ifAny (const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional (text);
}

/** {"count": all, "list": [...]}; the list is shorter than the count if it was shortened. */
template <typename Item, std::size_t half, typename Write>
void list (JsonWriter& out, std::string_view name, const Shortened<Item, half>& items, const Write& write)
{
    out.open (name, '{');
    out.member ("count", items.count());
    out.open ("list", '[');
    items.forEach (
        [&] (const Item& item)
        {
            out.open ('{');
            write (out, item);
            out.close ('}');
        });
    out.close (']');
    out.close ('}');
}

void programs (JsonWriter& out, const Programs& told)
{
    out.open ("application", '{');
    out.member ("absent", told.applicationAbsent);
    out.member ("double", told.applicationDouble);
    out.member ("backOffMs", told.backOff);
    out.member ("secondsWithoutAtLeast", seconds (told.withoutAtLeast));
    out.member ("secondsWithoutAtMost", seconds (told.withoutAtMost));
    out.member ("longestHeldSeconds", seconds (told.longestHeld));
    out.member ("longestWaitSeconds", seconds (told.longestWait));
    out.close ('}');
    out.open ("gui", '{');
    out.member ("absent", told.guiAbsent);
    out.member ("double", told.guiDouble);
    out.member ("killed", told.guiKilled);
    out.close ('}');
}

void version (JsonWriter& out, const Life& told)
{
    out.member ("version", ifAny (told.version));
    out.member ("build", ifAny (told.build));
}

void product (JsonWriter& out, const Life& told)
{
    out.member ("product", ifAny (told.product));
    out.member ("serial", ifAny (told.serial));

    if (told.hasGui)
        out.member ("guiName", told.gui);
}

void life (JsonWriter& out, const Life& told)
{
    constexpr std::array<std::string_view, 5> ends = { "open", "signal", "no-process", "itself", "nothing" };
    out.member ("line", told.line);
    out.member ("kind", told.isMaintenance ? "maintenance" : "supervision");
    out.member ("begin", time (told.begin));
    out.member ("lastLine", time (told.last));
    out.member ("end", ends[static_cast<std::size_t> (told.end)]);
    out.member ("endTime", time (told.endTime));

    if (told.end == End::signal)
        out.member ("signal", told.signal);

    if (! told.isMaintenance)
        out.member ("bootUnitFollowed", told.wasFollowedByBootUnit);

    version (out, told);
    product (out, told);
    out.member ("logLevel", told.logLevel);

    if (! told.isMaintenance)
        programs (out, told.programs);
}

void missing (JsonWriter& out, const Report& report)
{
    out.open ("missing", '{');
    out.member ("front", report.isFrontMissing);
    out.member ("repetitionsWithoutLine", report.repetitionsWithoutLine);
    out.member ("gluedLines", report.gluedLines);
    out.member ("longLines", report.longLines);
    out.member ("endsWithinLine", report.endsWithinLine);
    out.close ('}');
}

void notUnderstood (JsonWriter& out, const NotUnderstood& told)
{
    out.member ("line", told.line);
    out.member ("text", told.text);
}

void clockJump (JsonWriter& out, const ClockJump& told)
{
    out.member ("line", told.line);
    out.member ("from", isoTime (told.from));
    out.member ("to", isoTime (told.to));
    out.member ("seconds", seconds (told.size));
}

void storm (JsonWriter& out, const Storm& told)
{
    out.member ("begin", isoTime (told.begin));
    out.member ("end", isoTime (told.end));
    out.member ("seconds", seconds (told.length));
    out.member ("starts", told.absent + told.twice);
    out.member ("absent", told.absent);
    out.member ("double", told.twice);
    out.member ("backOffMs", told.backOff);
    out.member ("secondsWithoutAtLeast", seconds (told.withoutAtLeast));
    out.member ("secondsWithoutAtMost", seconds (told.withoutAtMost));
}

void timeOfHeat (JsonWriter& out, const Heat& told)
{
    out.member ("begin", isoTime (told.begin));
    out.member ("end", isoTime (told.end));
    out.member ("seconds", seconds (told.length));
    out.member ("above85", told.above85);
    out.member ("above90", told.above90);
    out.member ("highest", told.highest);
}

void heat (JsonWriter& out, const Report& report)
{
    out.open ("heat", '{');
    out.member ("above85", report.counts[Row::hot]);
    out.member ("above90", report.counts[Row::tooHot]);
    out.member ("highest", report.highest);
    list (out, "times", report.heats, timeOfHeat);
    out.close ('}');
}

void fan (JsonWriter& out, const Report& report)
{
    out.open ("fan", '{');
    out.member ("writes", report.counts[Row::fan]);
    out.member ("failedWrites", report.counts[Row::fanFailed]);

    if (! report.fan.points().empty())
    {
        out.member ("lowest", report.fan.lowest());
        out.member ("highest", report.fan.highest());
        out.member ("courseIsShortened", report.fan.isShortened());
        out.open ("course", '[');

        for (const auto& point : report.fan.points())
        {
            out.open ('{');
            out.member ("time", isoTime (point.time));
            out.member ("speed", point.value);
            out.close ('}');
        }

        out.close (']');
    }

    out.close ('}');
}

void maintenance (JsonWriter& out, const Maintenance& told)
{
    out.member ("time", isoTime (told.time));
    out.member ("arguments", told.arguments);
    out.member ("mutedDac1", told.muted[0]);
    out.member ("mutedDac2", told.muted[1]);
    out.member ("disconnected", told.disconnected);
    out.member ("failures", told.failures);
    out.member ("outcome", told.outcome());
}

void findings (JsonWriter& out, const Report& report)
{
    out.open ("findings", '[');

    for (const auto& [key, found] : report.findings)
    {
        if (found.weight == Weight::nothing)
            continue;

        const auto& row = knowledgeOf (key.first);
        out.open ('{');
        out.member ("name", row.name);
        out.member ("of", ifAny (key.second));
        out.member ("weight", nameOf (found.weight));
        out.member ("count", found.count);
        out.member ("first", time (found.first));
        out.member ("last", time (found.last));

        if (found.line > 0)
            out.member ("line", found.line);

        out.member ("text", ifAny (found.text));
        out.member ("meaning", row.meaning);
        out.member ("whatToDo", row.advice);
        out.close ('}');
    }

    out.close (']');
    out.open ("lineCounts", '{');

    for (int i = 0; i < rowCount; ++i)
        if (const auto count = report.counts[static_cast<Row> (i)]; count > 0)
            out.member (knowledgeOf (static_cast<Row> (i)).name, count);

    out.close ('}');
}
}

std::string json (const Report& report)
{
    JsonWriter out;
    out.open ('{');
    out.member ("schema", schema);
    out.member ("file", report.file);
    out.member ("bytes", report.bytes);
    out.member ("lines", report.lines);
    out.member ("verdict", nameOf (report.verdict));
    out.open ("unit", '{');
    product (out, report.unit);
    version (out, report.unit);
    out.close ('}');
    out.member ("from", time (report.from));
    out.member ("to", time (report.to));
    missing (out, report);
    list (out, "notUnderstood", report.notUnderstood, notUnderstood);
    list (out, "clockJumps", report.clockJumps, clockJump);
    list (out, "lives", report.lives, life);
    out.member ("bootUnitStarts", report.bootUnitStarts);
    programs (out, report.programs);
    list (out, "storms", report.storms, storm);
    heat (out, report);
    fan (out, report);
    list (out, "maintenance", report.maintenances, maintenance);
    findings (out, report);
    out.close ('}');
    return out.text;
}
}

// What the lines of each row tell.
#include <algorithm>

#include "report/Analysis.h"
#include "report/Findings.h"
#include "report/Printable.h"

namespace report
{
namespace
{
constexpr LogTime heatPause = oneMinute;       // without a reading, which ends a time of heat
constexpr LogTime longestPass = 2 * oneMinute; // a day stamp can be that late
constexpr std::size_t longestArguments = 500;  // bytes

void addArgument (std::string_view text, Maintenance& maintenance)
{
    auto& arguments = maintenance.arguments;

    if (arguments.size() < longestArguments)
        arguments += (arguments.empty() ? "" : " ") + printable (text);
}

bool isHardwareFailure (Row row)
{
    constexpr Row failures[] = { Row::noBus,           Row::switchNotAddressed, Row::chipNotAddressed,
                                 Row::channelNotTaken, Row::channelNotLeft,     Row::switchNotAddressedAgain,
                                 Row::writeNotTaken,   Row::registerNotTaken,   Row::valueNotGiven,
                                 Row::closed };
    return std::find (std::begin (failures), std::end (failures), row) != std::end (failures);
}
}

void Analysis::notUnderstood (std::string_view text)
{
    ++report.counts[Row::notUnderstood];
    report.notUnderstood.add ({ report.lines, printable (text) });
}

void Analysis::takeHeader (const Understood& message, std::string_view text, OpenLife& life)
{
    const auto& fields = message.fields;
    auto& told = life.life;

    switch (message.row)
    {
    case Row::version: told.version = printable (fields["version"]); break;
    case Row::build: told.build = printable (fields["date and time"]); break;
    case Row::level: told.logLevel = integerIn (fields["n"]); break;

    case Row::started:
        if (const auto time = headerTime (fields["date and time"]))
            life.reached (clock.at (*time));
        break;

    case Row::device:
        told.product = printable (fields["product"]);
        told.serial = printable (fields["serial"]);
        told.gui = printable (fields["name"]);
        told.hasGui = message.form == 0;
        hasGui = told.hasGui;
        break;

    default: break;
    }

    addFinding (report, message.row, text, fields, life.last ? std::optional (life.last->time) : std::nullopt,
                false);
}

void Analysis::takeReading (Row row, double degrees, Moment moment)
{
    report.temperature.add (moment.time, degrees);
    report.highest = std::max (report.highest.value_or (degrees), degrees);
    auto* heat = report.heats.newest();

    if (heat == nullptr || moment.steady - heat->steadyEnd >= heatPause)
        heat = &report.heats.add ({ moment.time, moment.time, 0, moment.steady, 0, 0, degrees });

    heat->end = moment.time;
    heat->length += std::max<LogTime> (moment.steady - heat->steadyEnd, 0);
    heat->steadyEnd = moment.steady;
    heat->highest = std::max (heat->highest, degrees);
    ++(row == Row::tooHot ? heat->above90 : heat->above85);
}

void Analysis::takeDay (OpenLife& life, Moment& moment)
{
    const auto busyUntil = life.application.busyUntil (life.begin.has_value());

    // The daemon compares the times of its clock, whatever jumps lie between them.
    if (life.dayStamp && busyUntil)
    {
        const auto late = moment.time - std::max (*life.dayStamp + oneDay, *busyUntil);

        if (late > longestPass)
        {
            clock.jump (clock.beforeLatest(), moment.time, late);
            moment.steady -= late;
        }
    }

    life.dayStamp = moment.time;
}

void Analysis::takeMaintenance (const Understood& message, OpenLife& life, Moment moment)
{
    auto& maintenance = life.maintenance;

    switch (message.row)
    {
    case Row::arguments:
        life.takesArguments = true;
        maintenance.time = moment.time;
        break;

    case Row::bootUnit:
        if (maintenance.arguments.empty())
            lives.decide (OpenLife::Kind::bootUnit);

        addArgument (life.message, maintenance);
        break;

    case Row::argument:
        life.kind = OpenLife::Kind::maintenance;
        addArgument (life.message, maintenance);
        break;

    case Row::mute: maintenance.muted[message.form] = true; break;
    case Row::disconnect: maintenance.disconnected = true; break;
    case Row::refused: maintenance.isRefused = true; break;

    default: maintenance.failures += isHardwareFailure (message.row) ? 1 : 0; break;
    }
}
}

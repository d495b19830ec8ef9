#include "report/Analysis.h"

#include <algorithm>
#include <cmath>

#include "report/Findings.h"
#include "report/Printable.h"

namespace report
{
namespace
{
constexpr double alarm = 85.0, highAlarm = 90.0; // degrees Celsius

/** The step of the start header that a line belongs to; -1 if to none. */
int headerStep (Row row)
{
    constexpr Row steps[] = { Row::start, Row::version,   Row::started, Row::limit,
                              Row::build, Row::recovered, Row::device,  Row::level };
    const auto* const step = std::find (std::begin (steps), std::end (steps), row);
    return step == std::end (steps) ? -1 : static_cast<int> (step - std::begin (steps));
}
}

Analysis::Analysis (std::string_view name)
{
    report.file = printable (name);
}

void Analysis::add (std::string_view block)
{
    report.bytes += static_cast<std::int64_t> (block.size());

    for (auto end = block.find ('\n'); end != std::string_view::npos; end = block.find ('\n'))
    {
        keep (block.substr (0, end));
        takeLine();
        block.remove_prefix (end + 1);
    }

    keep (block);
}

Report Analysis::finish()
{
    report.endsWithinLine = ! line.empty();

    if (report.endsWithinLine)
        takeLine();

    lives.finish();
    concludeFindings (report, hasGui);
    return std::move (report);
}

void Analysis::keep (std::string_view part)
{
    constexpr std::size_t longest = 8192; // bytes
    const auto room = longest - line.size();
    isLineWhole = isLineWhole && part.size() <= room;
    line.append (part.substr (0, room));
}

void Analysis::takeLine()
{
    ++report.lines;

    if (isLineWhole && ! line.empty() && line.back() == '\r')
        line.pop_back();

    if (isLineWhole)
    {
        takeText (line);
    }
    else
    {
        ++report.longLines;
        notUnderstood (line);
    }

    line.clear();
    isLineWhole = true;
}

void Analysis::takeText (std::string_view text)
{
    if (text.empty())
        return;

    auto stamp = findStamp (text, 0, clock.latest());

    if (! stamp || stamp->begin > 0)
        takeWithoutStamp (text.substr (0, stamp ? stamp->begin : text.size()));

    // A full disk cuts a line anywhere, and the next one follows without a line end.
    for (bool isGlued = stamp && stamp->begin > 0; stamp; isGlued = true)
    {
        report.gluedLines += isGlued ? 1 : 0;
        const auto next = findStamp (text, stamp->end, stamp->time);
        const auto end = next ? next->begin : text.size();
        takeStamped (text.substr (stamp->end, end - stamp->end), stamp->time);
        stamp = next;
    }
}

void Analysis::takeWithoutStamp (std::string_view text)
{
    const auto message = understand (text, false);
    const auto isFirst = report.counts[Row::start] == 0 && ! report.from;
    report.isFrontMissing = report.isFrontMissing || (isFirst && (! message || message->row != Row::start));

    if (! message)
        notUnderstood (text);
    else if (message->row == Row::repetition)
        takeRepetition (text, message->fields);
    else
        takeHeader (*message, text, lives.headerLine (headerStep (message->row)));
}

void Analysis::takeStamped (std::string_view text, LogTime stamp)
{
    report.isFrontMissing = report.isFrontMissing || report.counts[Row::start] == 0;
    auto moment = clock.at (stamp);
    const auto message = understand (text, true);

    if (! message && ! lives.takesArguments())
    {
        notUnderstood (text);
        return;
    }

    const auto row = message ? message->row : Row::argument;
    const auto step = headerStep (row);
    auto& life = step >= 0 ? lives.headerLine (step) : lifeOf (row);
    life.reached (moment);
    life.message = text;
    life.messageTime = stamp;
    life.sinceMessage = 0;
    takeMessage (message.value_or (Understood { row, 0, {} }), life, moment);
}

void Analysis::takeRepetition (std::string_view text, const Fields& fields)
{
    constexpr double longest = 1e11; // seconds, more than 3000 years
    const auto seconds = numberIn (fields["seconds"]);

    if (! seconds || std::fabs (*seconds) > longest)
    {
        notUnderstood (text);
        return;
    }

    const auto since = static_cast<LogTime> (std::llround (*seconds * oneSecond));
    auto* const life = lives.ofRepetition (since);
    ++report.counts[Row::repetition];

    if (life == nullptr)
    {
        ++report.repetitionsWithoutLine;
        return;
    }

    const auto time = *life->messageTime + since;

    // The number is smaller than the one before it.
    if (since < life->sinceMessage)
        clock.jump (*life->messageTime + life->sinceMessage, time, since - life->sinceMessage);

    life->sinceMessage = since;
    const auto moment = clock.atRepetition (time);
    const auto message = understand (life->message, true);
    life->reached (moment);
    takeMessage (message.value_or (Understood { Row::argument, 0, {} }), *life, moment);
}

OpenLife& Analysis::lifeOf (Row row)
{
    switch (row)
    {
    case Row::applicationAbsent:
    case Row::applicationDouble:
    case Row::guiAbsent:
    case Row::guiDouble:
    case Row::guiKilled:
    case Row::noProcess:
    case Row::hot:
    case Row::tooHot:
    case Row::day: return lives.supervision();

    case Row::fan:
    case Row::fanFailed:
    case Row::invalidSerial:
    case Row::signal: return lives.any();

    default: return lives.maintenance();
    }
}

void Analysis::takeMessage (const Understood& message, OpenLife& life, Moment moment)
{
    const auto row = message.row;

    if (row == Row::hot || row == Row::tooHot)
    {
        const auto degrees = numberIn (message.fields["t"]);

        if (! degrees || *degrees <= (row == Row::hot ? alarm : highAlarm))
        {
            notUnderstood (life.message); // the end of the number is missing
            return;
        }

        takeReading (row, *degrees, moment);
    }

    if (row != Row::argument && row != Row::bootUnit)
        life.takesArguments = false;

    const auto isAgain = life.counts[row]++ > 0;

    if (headerStep (row) >= 0)
    {
        takeHeader (message, life.message, life);
        return;
    }

    life.step = std::max (life.step, headerStep (Row::device));
    addFinding (report, row, life.message, message.fields, moment.time, isAgain);

    switch (row)
    {
    case Row::fan:
        if (const auto speed = numberIn (message.fields["speed"]))
            report.fan.add (moment.time, *speed);

        break;

    case Row::day: takeDay (life, moment); break;
    case Row::noProcess: life.life.end = End::noProcess; break;

    case Row::signal:
        life.life.end = End::signal;
        life.life.signal = integerIn (message.fields["n"]);
        break;

    case Row::applicationAbsent:
    case Row::applicationDouble: life.application.add (moment, row == Row::applicationDouble); break;

    default: break;
    }

    if (life.kind == OpenLife::Kind::maintenance || life.kind == OpenLife::Kind::bootUnit)
        takeMaintenance (message, life, moment);
}
}

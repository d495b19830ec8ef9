#include "report/Lives.h"

#include <utility>

namespace report
{
using Kind = OpenLife::Kind;

OpenLife& Lives::headerLine (int step, std::int64_t line)
{
    if (! current || step <= current->step)
        begin (line, step);

    current->step = step;
    return *current;
}

OpenLife& Lives::supervision (std::int64_t line)
{
    if (current && current->kind == Kind::undecided)
        decide (Kind::supervision);

    auto& life = current && current->kind == Kind::supervision ? current : earlier;

    if (life && life->life.end != End::open) // the header of the next start is missing
        close (life, life->life.end);

    auto& free = life ? life : current ? earlier : current;

    if (! free)
    {
        free.emplace();
        free->kind = Kind::supervision;
        free->step = lastStep;
        free->isBeginMissing = true;
        free->life.line = line;
    }

    return *free;
}

OpenLife& Lives::maintenance (std::int64_t line)
{
    if (! current || current->kind == Kind::supervision)
    {
        begin (line, lastStep);
        current->isBeginMissing = true;
    }

    if (current->kind == Kind::undecided)
        decide (Kind::maintenance);

    return *current;
}

OpenLife& Lives::any (std::int64_t line)
{
    if (current && current->kind == Kind::undecided && current->step < lastStep)
        return *current;

    if (current && (current->kind == Kind::supervision || (! earlier && current->kind != Kind::undecided)))
        return *current;

    return supervision (line);
}

OpenLife* Lives::ofRepetition (LogTime sinceMessage)
{
    const auto hasMessage = [] (const std::optional<OpenLife>& life) { return life && life->messageTime; };

    if (! hasMessage (current))
        return hasMessage (earlier) ? &*earlier : nullptr;

    // Beside maintenance, the number tells: it would be too small for the message of the earlier life.
    const auto isEarlier = hasMessage (earlier) && *earlier->messageTime + sinceMessage >= *current->messageTime;
    return isEarlier ? &*earlier : &*current;
}

OpenLife* Lives::withArguments() noexcept
{
    return current && current->takesArguments ? &*current : nullptr;
}

void Lives::isBootUnit()
{
    decide (Kind::bootUnit);
}

void Lives::begin (std::int64_t line, int step)
{
    if (current && current->kind == Kind::undecided)
        decide (Kind::supervision);

    if (current && current->kind == Kind::supervision && current->life.end == End::open)
    {
        report.switchOffs += earlier ? 1 : 0;
        close (earlier, End::silent);
        earlier = std::move (current);
    }
    else
    {
        close (current, End::itself);
    }

    current.emplace();
    current->step = step;
    current->life.line = line;
}

void Lives::decide (Kind kind)
{
    current->kind = kind;

    if (kind == Kind::maintenance)
        return;

    // The boot unit's start comes right after the end.
    const auto hasEnd = kind == Kind::bootUnit && current->life.begin;

    if (earlier)
        ++(kind == Kind::bootUnit ? report.kills : report.switchOffs);

    close (earlier, End::silent, hasEnd ? std::optional (current->begin) : std::nullopt);

    if (auto* const newest = report.lives.newest(); newest != nullptr && kind == Kind::bootUnit)
        newest->wasFollowedByBootUnit = ! newest->isMaintenance;
}

void Lives::close (std::optional<OpenLife>& open, End end, std::optional<Moment> endMoment)
{
    if (! open)
        return;

    auto& life = open->life;
    life.isMaintenance = open->kind == Kind::maintenance;

    if (life.end == End::open)
        life.end = end;

    if (life.end == End::signal || life.end == End::noProcess)
        endMoment = open->last;

    if (endMoment)
        life.endTime = endMoment->time;

    if (open->hasLast)
        life.last = open->last.time;

    if (open->kind == Kind::supervision)
    {
        const auto begin = life.begin ? std::optional<LogTime> (open->begin.steady) : std::nullopt;
        open->application.conclude (begin, endMoment.value_or (open->last).steady, endMoment.has_value(),
                                    life.programs, report);
    }

    report.programs.add (life.programs);

    if (! life.serial.empty() && life.line > report.unit.line)
        report.unit = life;

    if (open->kind == Kind::bootUnit)
        ++report.bootUnitStarts;
    else
        report.lives.add (std::move (life));

    if (open->kind == Kind::maintenance)
        report.maintenances.add (std::move (open->maintenance));

    open.reset();
}

void Lives::finish()
{
    if (current && current->kind == Kind::undecided)
        decide (Kind::supervision);

    close (earlier, End::open);
    close (current, current && current->kind == Kind::supervision ? End::open : End::itself);
}
}

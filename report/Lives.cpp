#include "report/Lives.h"

#include <algorithm>
#include <utility>

namespace report
{
using Kind = OpenLife::Kind;

namespace
{
/** Whether a life that ends now ends without a line that tells it. */
bool endsSilently (const std::optional<OpenLife>& open)
{
    return open && open->life.end == End::open;
}

void setCounts (const RowCounts& lines, Programs& programs)
{
    programs.applicationAbsent = lines[Row::applicationAbsent];
    programs.applicationDouble = lines[Row::applicationDouble];
    programs.guiAbsent = lines[Row::guiAbsent];
    programs.guiDouble = lines[Row::guiDouble];
    programs.guiKilled = lines[Row::guiKilled];
}

void addTimes (const Programs& programs, Programs& sum)
{
    sum.withoutAtLeast += programs.withoutAtLeast;
    sum.withoutAtMost += programs.withoutAtMost;
    sum.longestHeld = std::max (sum.longestHeld, programs.longestHeld);
    sum.longestWait = std::max (sum.longestWait, programs.longestWait);
    sum.backOff = std::max (sum.backOff, programs.backOff); // an absent one is the least
}
}

OpenLife& Lives::headerLine (int step)
{
    if (! current || step <= current->step)
        begin (step);

    current->step = step;
    return *current;
}

OpenLife& Lives::supervision()
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
        free->life.line = report.lines;
    }

    return *free;
}

OpenLife& Lives::maintenance()
{
    if (! current || current->kind == Kind::supervision)
    {
        begin (lastStep);
        current->isBeginMissing = true;
    }

    if (current->kind == Kind::undecided)
        decide (Kind::maintenance);

    return *current;
}

OpenLife& Lives::any()
{
    const auto isOfNewest = [this] (const OpenLife& newest)
    {
        return newest.kind == Kind::undecided ? newest.step < lastStep
                                              : newest.kind == Kind::supervision || ! earlier;
    };
    return current && isOfNewest (*current) ? *current : supervision();
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

void Lives::begin (int step)
{
    if (current && current->kind == Kind::undecided)
        decide (Kind::supervision);

    if (current && current->kind == Kind::supervision && current->life.end == End::open)
    {
        report.switchOffs += endsSilently (earlier);
        close (earlier, End::silent);
        earlier = std::move (current);
    }
    else
    {
        close (current, End::itself);
    }

    current.emplace();
    current->step = step;
    current->life.line = report.lines;
}

void Lives::decide (Kind kind)
{
    current->kind = kind;

    if (kind == Kind::maintenance)
        return;

    (kind == Kind::bootUnit ? report.kills : report.switchOffs) += endsSilently (earlier);

    // The boot unit's start comes right after the end.
    close (earlier, End::silent, kind == Kind::bootUnit ? current->begin : std::nullopt);

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

    const auto timeOf = [] (std::optional<Moment> moment)
    { return moment ? std::optional (moment->time) : std::nullopt; };
    life.begin = timeOf (open->begin);
    life.last = timeOf (open->last);
    life.endTime = timeOf (endMoment);

    if (open->kind == Kind::supervision)
        open->application.conclude (open->begin, endMoment.value_or (open->last.value_or (Moment {})),
                                    endMoment.has_value(), life.programs, report);

    setCounts (open->counts, life.programs);
    addTimes (life.programs, report.programs);

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
    setCounts (report.counts, report.programs);
}
}

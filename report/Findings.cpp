#include "report/Findings.h"

#include <algorithm>

#include "report/Printable.h"

namespace report
{
namespace
{
constexpr std::size_t mostFindings = 200;
bool holds (const Knowledge& row, std::string_view text, bool isAgain)
{
    if (row.condition == Condition::again)
        return isAgain;

    return row.condition == Condition::withText &&
           std::any_of (row.texts.begin(), row.texts.end(),
                        [text] (std::string_view given)
                        { return ! given.empty() && text.find (given) != std::string_view::npos; });
}
}

void Findings::add (Row row, std::string_view text, const Fields& fields, std::optional<LogTime> time,
                    bool isAgain)
{
    ++report.counts[row];
    const auto& knowledge = knowledgeOf (row);
    const auto weight = holds (knowledge, text, isAgain) ? knowledge.otherWeight : knowledge.weight;
    auto kind = printable (fields[row == Row::signal ? "n" : "chip"]);

    if (! fields["mask"].empty())
        kind += ", mask " + printable (fields["mask"]);

    if (report.findings.size() >= mostFindings && report.findings.count ({ row, kind }) == 0)
        kind.clear();

    auto& finding = report.findings[{ row, kind }];

    if (finding.count++ == 0 || (weight > finding.weight && knowledge.condition == Condition::withText))
    {
        finding.line = report.lines;
        finding.text = printable (text);
    }

    finding.weight = std::max (finding.weight, weight);
    finding.first = finding.first ? finding.first : time;
    finding.last = time ? time : finding.last;

    if (time && (weight != Weight::nothing || knowledge.condition == Condition::again))
        report.marks.add ({ *time, row });
}

void Findings::conclude (Row row, std::int64_t count, std::optional<LogTime> first, std::optional<LogTime> last,
                         std::int64_t line, std::string_view text)
{
    if (count > 0)
        report.findings[{ row, "" }] = { knowledgeOf (row).weight, count, first, last, line, std::string (text) };
}

void Findings::conclude (std::optional<bool> hasGui)
{
    for (const auto& [row, isKill] : { std::pair (Row::killed, true), std::pair (Row::switchedOff, false) })
    {
        std::int64_t line = 0;
        std::optional<LogTime> first, last;
        report.lives.forEach (
            [&, kill = isKill] (const Life& life)
            {
                if (life.end != End::silent || life.wasFollowedByBootUnit != kill)
                    return;

                line = line > 0 ? line : life.line;
                first = first ? first : life.last;
                last = life.last;
            });
        conclude (row, isKill ? report.kills : report.switchOffs, first, last, line, {});
    }

    const auto* jump = report.clockJumps.newest();
    conclude (Row::clockJump, report.clockJumps.count(), {},
              jump != nullptr ? std::optional (jump->to) : std::nullopt, jump != nullptr ? jump->line : 0, {});

    const auto* storm = report.storms.newest();
    conclude (Row::storm, report.storms.count(), storm != nullptr ? std::optional (storm->begin) : std::nullopt,
              storm != nullptr ? std::optional (storm->end) : std::nullopt, 0, {});

    const auto* unknown = report.notUnderstood.newest();
    conclude (Row::notUnderstood, report.notUnderstood.count(), {}, {}, unknown != nullptr ? unknown->line : 0,
              unknown != nullptr ? unknown->text : "");

    for (auto& [key, finding] : report.findings)
    {
        const auto& knowledge = knowledgeOf (key.first);

        if (knowledge.condition == Condition::withoutGui && hasGui && ! *hasGui)
            finding.weight = knowledge.otherWeight;

        report.verdict = std::max (report.verdict, finding.weight);
    }
}
}

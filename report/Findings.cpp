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

void addFinding (Report& report, Row row, std::string_view text, const Fields& fields, std::optional<LogTime> time,
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

void concludeFindings (Report& report, std::optional<bool> hasGui)
{
    const auto conclude = [&report] (Row row, std::int64_t count, Finding finding)
    {
        finding.weight = knowledgeOf (row).weight;
        finding.count = count;

        if (count > 0)
            report.findings[{ row, "" }] = std::move (finding);
    };

    Finding killed, switchedOff;
    report.lives.forEach (
        [&] (const Life& life)
        {
            if (life.end != End::silent)
                return;

            auto& finding = life.wasFollowedByBootUnit ? killed : switchedOff;
            finding.line = finding.line > 0 ? finding.line : life.line;
            finding.first = finding.first ? finding.first : life.last;
            finding.last = life.last;
        });
    conclude (Row::killed, report.kills, killed);
    conclude (Row::switchedOff, report.switchOffs, switchedOff);

    if (const auto* jump = report.clockJumps.newest())
        conclude (Row::clockJump, report.clockJumps.count(), { {}, 0, {}, jump->to, jump->line, {} });

    if (const auto* storm = report.storms.newest())
        conclude (Row::storm, report.storms.count(), { {}, 0, storm->begin, storm->end, 0, {} });

    if (const auto* unknown = report.notUnderstood.newest())
        conclude (Row::notUnderstood, report.notUnderstood.count(),
                  { {}, 0, {}, {}, unknown->line, unknown->text });

    for (auto& [key, finding] : report.findings)
    {
        const auto& knowledge = knowledgeOf (key.first);

        if (knowledge.condition == Condition::withoutGui && hasGui && ! *hasGui)
            finding.weight = knowledge.otherWeight;

        report.verdict = std::max (report.verdict, finding.weight);
    }
}
}

#include "report/TextReport.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace report
{
namespace
{
/** Collects the text: headings, and lines with a short head at the left. */
class Writer
{
public:
    explicit Writer (const Layout& layoutToUse)
        : layout (layoutToUse)
    {
    }

    void heading (const std::string& title) { text += "\n" + bold (title, layout) + "\n"; }

    void line (std::string head, const std::string& content)
    {
        constexpr std::size_t indent = 13; // the longest head and two blanks
        head = "  " + head;
        head += std::string (head.size() < indent ? indent - head.size() : 1, ' ');
        text += wrapped (head, content, layout.width);
    }

    const Layout& layout;
    std::string text;
};

constexpr std::int64_t mostShown = 12; // entries of a list; the JSON has more

/** The first entries of a list, and how many follow. A list with a title has a heading, if it is not empty. */
template <typename Item, std::size_t half, typename Write>
void list (Writer& out, const std::string& title, const Shortened<Item, half>& items, const Write& write)
{
    static_assert (2 * half >= mostShown);

    if (items.count() > 0 && ! title.empty())
        out.heading (title);

    std::int64_t number = 0;
    items.forEach (
        [&] (const Item& item)
        {
            if (number++ < mostShown)
                write (item);
        });

    if (items.count() > mostShown)
        out.line ("", std::to_string (items.count() - mostShown) + " more later, not shown");
}

std::string number (double value)
{
    char text[32];
    std::snprintf (text, sizeof text, "%.4g", value);
    return text;
}

std::string span (LogTime from, LogTime to)
{
    return logTime (from) + (to == from ? "" : " to " + logTime (to));
}

void header (Writer& out, const Report& report)
{
    const auto& unit = report.unit;
    const auto& layout = out.layout;
    out.text +=
        bold (report.file, layout) + ": " + coloured (report.verdict, textOf (report.verdict), layout) + "\n\n";
    out.line ("Unit", unit.serial.empty() ? "the log does not tell"
                                          : unit.product + ", serial " + unit.serial +
                                                (unit.hasGui ? ", GUI " + unit.gui : ", no GUI"));

    if (! unit.version.empty())
        out.line ("Daemon", "version " + unit.version + (unit.build.empty() ? "" : ", built " + unit.build));

    out.line ("Covers", counted (report.lines, "line") +
                            (report.from ? ", " + span (*report.from, *report.to) : ", none with a time"));

    const std::pair<bool, std::string> missing[] = {
        { report.isFrontMissing, "the front (the log was trimmed)" },
        { report.repetitionsWithoutLine > 0,
          "the full line of " + counted (report.repetitionsWithoutLine, "repetition") },
        { report.gluedLines > 0, "the end of " + counted (report.gluedLines, "line") + " (a full disk)" },
        { report.longLines > 0, "the rest of " + counted (report.longLines, "line") + " above 8192 bytes" },
        { report.endsWithinLine, "the end of the last line" },
    };
    std::string text;

    for (const auto& [isMissing, what] : missing)
        if (isMissing)
            text += (text.empty() ? "" : "; ") + what;

    if (! text.empty())
        out.line ("Missing", text);
}

void findings (Writer& out, const Report& report)
{
    for (const auto weight : { Weight::act, Weight::look })
        for (const auto& [key, found] : report.findings)
        {
            if (found.weight != weight)
                continue;

            const auto& row = knowledgeOf (key.first);
            out.text += "\n" + coloured (weight, textOf (weight), out.layout) + ": " +
                        bold (row.name, out.layout) + (key.second.empty() ? "" : " (" + key.second + ")") + ", " +
                        counted (found.count, "time") + "\n";

            if (found.first && found.last)
                out.line ("When", span (*found.first, *found.last));

            if (! found.text.empty())
                out.line ("Line " + std::to_string (found.line), found.text);

            out.line ("Meaning", row.meaning);

            if (*row.advice != '\0')
                out.line ("What to do", row.advice);
        }
}

std::string endText (const Life& life)
{
    switch (life.end)
    {
    case End::open: return "still runs, or ended without a line";
    case End::signal: return "ended by signal " + std::to_string (life.signal);
    case End::noProcess: return "ended: no process to be had";
    case End::itself: return "maintenance, ended by itself";
    case End::silent: break;
    }

    return life.wasFollowedByBootUnit ? "ended without a line, while the system stayed up: killed"
                                      : "ended without a line: power failure, reboot or SIGKILL";
}

void lives (Writer& out, const Report& report)
{
    const auto bootUnit =
        report.bootUnitStarts > 0 ? ", and " + counted (report.bootUnitStarts, "start") + " of the boot unit" : "";
    list (out, "Lives of the daemon: " + std::to_string (report.lives.count()) + bootUnit, report.lives,
          [&] (const Life& life)
          {
              const auto last = life.endTime ? life.endTime : life.last;
              out.line ("Line " + std::to_string (life.line),
                        (life.begin ? logTime (*life.begin) : "before the log") + " to " +
                            (last ? logTime (*last) : "an unknown time") + ": " + endText (life));
          });
}

void programs (Writer& out, const Report& report)
{
    const auto& told = report.programs;
    const auto starts = told.applicationAbsent + told.applicationDouble;

    if (starts + told.guiAbsent + told.guiDouble + told.guiKilled == 0)
        return;

    out.heading ("Application and GUI");
    out.line ("Application", "absent " + counted (told.applicationAbsent, "time") + ", double " +
                                 counted (told.applicationDouble, "time") + ", longest time held " +
                                 lengthText (told.longestHeld));
    out.line ("GUI", "absent " + counted (told.guiAbsent, "time") + ", double " +
                         counted (told.guiDouble, "time") + ", killed " + counted (told.guiKilled, "time"));

    if (starts > 0)
        out.line ("Waits", (told.backOff ? "back-off up to " + lengthText (*told.backOff) + ", longest wait " +
                                               lengthText (told.longestWait)
                                         : "the log does not tell the back-off") +
                               "; without application at least " + lengthText (told.withoutAtLeast) +
                               ", at most " + lengthText (told.withoutAtMost));

    list (out, "", report.storms,
          [&] (const Storm& storm)
          {
              out.line ("Storm", span (storm.begin, storm.end) + " (" + lengthText (storm.length) +
                                     "): " + std::to_string (storm.absent + storm.twice) + " starts (absent " +
                                     counted (storm.absent, "time") + ", double " + counted (storm.twice, "time") +
                                     "), back-off " + lengthText (storm.backOff) +
                                     ", without application at least " + lengthText (storm.withoutAtLeast) +
                                     ", at most " + lengthText (storm.withoutAtMost));
          });
}

void heat (Writer& out, const Report& report)
{
    const auto& counts = report.counts;

    if (report.heats.count() + counts[Row::fan] + counts[Row::fanFailed] == 0)
        return;

    out.heading ("Heat and fan");

    if (report.highest)
        out.line ("Readings", std::to_string (counts[Row::hot]) + " above 85 °C, " +
                                  std::to_string (counts[Row::tooHot]) + " above 90 °C, the highest " +
                                  number (*report.highest) + " °C");

    list (out, "", report.heats,
          [&] (const Heat& told)
          {
              out.line ("Hot", span (told.begin, told.end) + " (" + lengthText (told.length) + "), up to " +
                                   number (told.highest) + " °C");
          });

    if (counts[Row::fanFailed] > 0)
        out.line ("Fan", counted (counts[Row::fanFailed], "write") + " failed");

    if (! report.fan.points().empty())
        out.line ("Fan", counted (counts[Row::fan], "write") + ", " + number (100.0 * report.fan.lowest()) +
                             " to " + number (100.0 * report.fan.highest()) + " % of full speed");
}

void maintenances (Writer& out, const Report& report)
{
    list (out, "Maintenance", report.maintenances,
          [&] (const Maintenance& told)
          {
              const std::string failures =
                  told.failures > 0 ? ", " + counted (told.failures, "line") + " of failed hardware" : "";
              out.line ("At", logTime (told.time) + ": " + told.arguments + ": " + told.outcome() +
                                  (told.muted[0] ? ", DAC 1" : "") + (told.muted[1] ? ", DAC 2" : "") +
                                  (told.disconnected ? ", FPGA" : "") + failures);
          });
}

void oddities (Writer& out, const Report& report)
{
    list (out, "Jumps of the clock", report.clockJumps,
          [&] (const ClockJump& told)
          {
              out.line ("Line " + std::to_string (told.line),
                        "from " + logTime (told.from) + " to " + logTime (told.to) + ": " +
                            (told.size < 0 ? "back by at least " : "forward by at least ") +
                            lengthText (std::abs (told.size)));
          });

    list (out, "Not understood: " + counted (report.notUnderstood.count(), "line"), report.notUnderstood,
          [&] (const NotUnderstood& told) {
              out.line ("Line " + std::to_string (told.line),
                        told.text.empty() ? "(a time and no message)" : told.text);
          });
}
}

std::string_view textOf (Weight verdict) noexcept
{
    constexpr std::string_view texts[] = { "nothing to do", "look at it", "act" };
    return texts[static_cast<int> (verdict)];
}

std::string textReport (const Report& report, const Layout& layout)
{
    Writer out (layout);
    header (out, report);
    findings (out, report);
    lives (out, report);
    programs (out, report);
    heat (out, report);
    maintenances (out, report);
    oddities (out, report);
    return out.text;
}
}

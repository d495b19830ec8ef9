#include "report/Table.h"

#include <algorithm>
#include <tuple>

#include "report/Printable.h"
#include "report/TextReport.h"

namespace report
{
namespace
{
const std::vector<std::string> titles = { "Verdict", "Serial", "Last line", "Lives", "Starts", "Storms", "> 85",
                                          "> 90",    "Fan",    "Maint.",    "Clock", "?",      "Log" };
constexpr std::size_t firstNumber = 3; // from here on columns are aligned right, up to the last

std::string number (std::int64_t count)
{
    return count > 0 ? std::to_string (count) : "";
}

std::string line (const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                  const TableRow* row, const Layout& layout)
{
    std::string text;

    for (std::size_t i = 0; i + 1 < cells.size(); ++i)
    {
        if (widths[i] == 0)
            continue;

        const std::string room (widths[i] - columnsOf (cells[i]), ' ');
        const auto cell = i == 0 && row != nullptr ? coloured (row->verdict, cells[i], layout) : cells[i];
        text += (i < firstNumber ? cell + room : room + cell) + "  ";
    }

    return text + cells.back() + "\n";
}
}

TableRow tableRow (const Report& report)
{
    const auto& counts = report.counts;
    const auto& serial = report.unit.serial;
    TableRow row;
    row.verdict = report.verdict;
    row.cells = { std::string (textOf (report.verdict)),
                  serial.empty() ? "?" : serial,
                  report.to ? logTime (*report.to) : "",
                  number (report.lives.count()),
                  number (report.programs.applicationAbsent + report.programs.applicationDouble),
                  number (report.storms.count()),
                  number (counts[Row::hot]),
                  number (counts[Row::tooHot]),
                  number (counts[Row::fanFailed]),
                  number (report.maintenances.count()),
                  number (report.clockJumps.count()),
                  number (report.notUnderstood.count()),
                  report.file };

    for (const auto& [key, found] : report.findings)
    {
        row.toAct += found.weight == Weight::act ? 1 : 0;
        row.toLook += found.weight == Weight::look ? 1 : 0;
    }

    return row;
}

TableRow tableRow (const std::string& file, const std::string& why)
{
    TableRow row;
    row.cells.resize (titles.size());
    row.cells.front() = "?";
    row.cells.back() = printable (file) + ": " + why;
    return row;
}

std::string table (std::vector<TableRow> rows, const Layout& layout)
{
    std::stable_sort (rows.begin(), rows.end(),
                      [] (const TableRow& a, const TableRow& b) {
                          return std::tie (a.verdict, a.toAct, a.toLook) > std::tie (b.verdict, b.toAct, b.toLook);
                      });

    std::vector<std::size_t> widths (titles.size());

    for (std::size_t i = 0; i < titles.size(); ++i)
    {
        for (const auto& row : rows)
            widths[i] = std::max (widths[i], columnsOf (row.cells[i]));

        if (widths[i] > 0) // an empty column is left out
            widths[i] = std::max (widths[i], columnsOf (titles[i]));
    }

    auto text = bold (line (titles, widths, nullptr, layout), layout);

    for (const auto& row : rows)
        text += line (row.cells, widths, &row, layout);

    return text;
}
}

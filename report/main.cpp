// Tells what happened on a unit, from its log. ./log-report --help describes the arguments.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "report/Analysis.h"
#include "report/Json.h"
#include "report/Options.h"
#include "report/Picture.h"
#include "report/Printable.h"
#include "report/Table.h"
#include "report/TextReport.h"

namespace
{
using report::Options;
using report::Weight;

constexpr int errorStatus = 3;
constexpr std::size_t blockSize = 65536; // bytes

/** What is told of one log. */
struct Result
{
    report::TableRow row;
    std::string text;  ///< to print
    std::string error; ///< why the log cannot be read, or the picture not be drawn
};

/** Returns why the file cannot be read; empty if it was read. */
std::string read (const std::string& file, report::Analysis& analysis)
{
    auto* const input = file == "-" ? stdin : std::fopen (file.c_str(), "r");

    if (input == nullptr)
        return std::strerror (errno);

    std::vector<char> block (blockSize);

    while (const auto size = std::fread (block.data(), 1, block.size(), input))
        analysis.add ({ block.data(), size });

    std::string error = std::ferror (input) != 0 ? std::strerror (errno) : "";

    if (input != stdin)
        std::fclose (input);

    return error;
}

Result resultOf (const std::string& file, const Options& options, const report::Layout& layout)
{
    Result result;
    report::Analysis analysis (file);
    result.error = read (file, analysis);

    if (! result.error.empty())
    {
        result.row = report::tableRow (file, result.error);
        return result;
    }

    const auto told = analysis.finish();
    result.row = tableRow (told);

    if (! options.picture.empty())
        result.error = drawPicture (told, options.picture) ? "" : "gnuplot cannot draw it into " + options.picture;
    else if (options.isJson)
        result.text = json (told) + "\n";
    else if (options.logs.size() == 1)
        result.text = textReport (told, layout);

    return result;
}

/** Reads all logs, with a thread for each processor. */
std::vector<Result> readAll (const Options& options, const report::Layout& layout)
{
    const auto& logs = options.logs;
    std::vector<Result> results (logs.size());
    std::atomic<std::size_t> next { 0 };
    const auto work = [&]
    {
        for (auto i = next++; i < logs.size(); i = next++)
            results[i] = resultOf (logs[i], options, layout);
    };

    std::vector<std::thread> threads;
    const auto count = std::min<std::size_t> (std::thread::hardware_concurrency(), logs.size());

    try
    {
        while (threads.size() + 1 < count)
            threads.emplace_back (work);
    }
    catch (const std::system_error&) // fewer threads will do
    {
    }

    work();

    for (auto& thread : threads)
        thread.join();

    return results;
}

void complain (const std::string& text)
{
    std::cerr << "log-report: " << text << '\n';
}
}

int main (int argc, char** argv)
{
    const auto options = report::readOptions (argc, argv);

    if (! options.error.empty())
    {
        complain (options.error + "; see --help");
        return errorStatus;
    }

    if (options.isHelp)
    {
        std::cout << report::helpText;
        return 0;
    }

    std::signal (SIGPIPE, SIG_IGN); // a gnuplot that does not start is reported
    const auto layout = report::standardLayout();
    std::vector<report::TableRow> rows;
    auto worst = Weight::nothing;
    bool hasFailed = false;

    for (const auto& result : readAll (options, layout))
    {
        if (! result.error.empty())
            complain (report::printable (options.logs[rows.size()]) + ": " + result.error);

        std::cout << result.text;
        worst = std::max (worst, result.row.verdict);
        hasFailed = hasFailed || ! result.error.empty();
        rows.push_back (result.row);
    }

    if (options.logs.size() > 1 && ! options.isJson)
        std::cout << table (rows, layout);

    hasFailed = ! std::cout.flush() || hasFailed;
    return hasFailed ? errorStatus : options.isCheck ? static_cast<int> (worst) : 0;
}

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

#include <fcntl.h>
#include <unistd.h>

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
    Weight verdict = Weight::nothing;
    std::string text;                   ///< to print
    std::string error;                  ///< why the log cannot be read
    std::vector<report::TableRow> rows; ///< one, for a table
};

/** False with errno if it cannot be read. */
bool read (const std::string& file, report::Analysis& analysis)
{
    const auto descriptor = file == "-" ? STDIN_FILENO : ::open (file.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> block (blockSize);
    ::ssize_t size = descriptor < 0 ? -1 : 1;

    while (size > 0 || (descriptor >= 0 && size < 0 && errno == EINTR))
    {
        size = ::read (descriptor, block.data(), block.size());

        if (size > 0)
            analysis.add ({ block.data(), static_cast<std::size_t> (size) });
    }

    const auto error = errno;

    if (descriptor > STDIN_FILENO)
        ::close (descriptor);

    errno = error;
    return size == 0;
}

Result resultOf (const std::string& file, const Options& options, const report::Layout& layout)
{
    Result result;
    report::Analysis analysis (file);

    if (! read (file, analysis))
    {
        result.error = std::strerror (errno);
        result.rows.emplace_back (file, result.error);
        return result;
    }

    const auto told = analysis.finish();
    result.verdict = told.verdict;

    if (! options.picture.empty())
        result.error = drawPicture (told, options.picture) ? "" : "gnuplot cannot draw it into " + options.picture;
    else if (options.isJson)
        result.text = json (told) + "\n";
    else if (options.logs.size() > 1)
        result.rows.emplace_back (told);
    else
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
    const auto results = readAll (options, layout);

    for (std::size_t i = 0; i < results.size(); ++i)
    {
        const auto& result = results[i];
        std::cout << result.text;
        rows.insert (rows.end(), result.rows.begin(), result.rows.end());
        worst = std::max (worst, result.verdict);
        hasFailed = hasFailed || ! result.error.empty();

        if (! result.error.empty())
            complain (report::printable (options.logs[i]) + ": " + result.error);
    }

    if (options.logs.size() > 1 && ! options.isJson)
        std::cout << table (rows, layout);

    hasFailed = ! std::cout.flush() || hasFailed;
    return hasFailed ? errorStatus : options.isCheck ? static_cast<int> (worst) : 0;
}

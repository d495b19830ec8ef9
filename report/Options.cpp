#include "report/Options.h"

#include <string_view>

namespace report
{
const char* const helpText = R"(Usage: log-report [options] LOG...

Tells what happened on a unit, from the daemon's log: lives of the daemon, restarts of the application and the GUI, heat,
failed fan writes, maintenance, jumps of the clock, lines that it does not know, and what to do. Of several logs it makes a
table, the worst first. LOG is a file, or - for standard input.

  -o, --output FILE.svg  draws one log over time into FILE.svg instead; needs gnuplot
  --json                 one JSON object per log, in one line (docs/log-report.md)
  --check                sets the exit status by the worst verdict: 0 nothing to do, 1 look at it, 2 act
  --help                 this text

Exit status 0; with --check 0, 1 or 2. 3 if a log cannot be read, the picture cannot be drawn, or an option is wrong.
)";

Options readOptions (int argc, char** argv)
{
    constexpr std::string_view output = "--output";
    Options options;
    bool optionsMayCome = true;

    for (int i = 1; i < argc && options.error.empty(); ++i)
    {
        const std::string word = argv[i];

        if (! optionsMayCome || word == "-" || word.empty() || word.front() != '-')
            options.logs.push_back (word);
        else if (word == "--")
            optionsMayCome = false;
        else if (word == "--json")
            options.isJson = true;
        else if (word == "--check")
            options.isCheck = true;
        else if (word == "--help")
            options.isHelp = true;
        else if (word.compare (0, output.size() + 1, std::string (output) + "=") == 0)
            options.picture = word.substr (output.size() + 1);
        else if (word != "-o" && word != output)
            options.error = "unknown option " + word;
        else if (++i < argc)
            options.picture = argv[i];
        else
            options.error = word + " needs a file";
    }

    constexpr std::string_view ending = ".svg";
    const auto& picture = options.picture;

    if (! options.error.empty() || options.isHelp)
        return options;

    if (options.logs.empty())
        options.error = "it needs a log";
    else if (! picture.empty() &&
             (picture.size() <= ending.size() || picture.substr (picture.size() - ending.size()) != ending))
        options.error = "the output " + picture + " does not end in .svg";
    else if (! picture.empty() && options.logs.size() > 1)
        options.error = "a picture shows one log, and " + options.logs[1] + " is another";

    return options;
}
}

#pragma once

#include <string>
#include <vector>

namespace report
{
/** The command line of log-report. */
struct Options
{
    std::vector<std::string> logs; ///< files; "-" is standard input
    std::string picture;           ///< empty: none
    bool isJson = false, isCheck = false, isHelp = false;
    std::string error; ///< empty if the command line can be used
};

Options readOptions (int argc, char** argv);

extern const char* const helpText;
}

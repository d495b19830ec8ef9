#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>

/** Records messages of the daemon, one a line and without their stamps, so that tests/log-page can look for them in the
    documentation. Only ctest names a folder for them, in the environment variable LOGGED_LINES.
*/
inline void recordLogged (const std::string& messages)
{
    static std::set<std::string> logs;

    // At the end of the process, because a file that is opened during a test of the bus would be seen there. Tests run
    // in parallel, so each process has a file of its own. An empty line ends each log.
    const auto write = []
    {
        if (const char* const folder = std::getenv ("LOGGED_LINES"))
        {
            std::filesystem::create_directories (folder);
            std::ofstream file (std::filesystem::path (folder) / std::to_string (::getpid()), std::ios::app);

            for (const auto& log : logs)
                file << log << "\n\n";
        }
    };

    [[maybe_unused]] static const int registered = std::atexit (write);
    logs.insert (messages);
}

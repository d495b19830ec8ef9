#include "tests/LoggedLines.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <unistd.h>

namespace
{
/** Writes at the end of the process, because a file that is opened during a test of the bus would be seen there. */
struct Record
{
    Record() = default;
    Record (const Record&) = delete;
    Record& operator= (const Record&) = delete;

    ~Record()
    {
        const char* const folder = std::getenv ("LOGGED_LINES");

        if (folder == nullptr)
            return;

        // Tests run in parallel, so each process has a file of its own. An empty line ends each log.
        std::error_code ignored;
        std::filesystem::create_directories (folder, ignored);
        std::ofstream file (std::filesystem::path (folder) / std::to_string (::getpid()), std::ios::app);

        for (const auto& log : logs)
            file << log << "\n\n";
    }

    std::set<std::string> logs;
};
}

void recordLogged (const std::string& messages)
{
    static Record record;
    record.logs.insert (messages);
}

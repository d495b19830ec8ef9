#include "tests/Unit.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

#include "tests/LoggedLines.h"

namespace
{
const std::string simulator = "'" SIMULATOR_FOLDER "'"; // in quotation marks for the shell
constexpr auto calendarVariable = "UNIT_CALENDAR";      // "DATE ZONE", when every unit is switched on
constexpr auto defaultCalendar = "2026-05-09 09:08:07 Europe/Berlin";
const std::regex stamp ("[0-9]{1,2} [A-Z][a-z]{2} [0-9]+ [0-9]{1,2}:[0-9]{2}:[0-9]{2} : ");

// Until `await` gives up after 3000 looks, a minute and more passes on the PC.
constexpr auto commandPrelude = R"(daemon='/usr/local/bin/with-clock /home/root/ORBISdaemon/ORBISdaemon'
rest() { env -u LD_PRELOAD /usr/bin/sleep "$1"; }
await() {
    looks=0
    until eval "$1"; do
        looks=$((looks + 1))
        [ $looks -lt 3000 ] || { echo "In vain: await $1" >&2; exit 99; }
        rest 0.02
    done
}
)";

std::string calendarOfUnits()
{
    const char* const given = std::getenv (calendarVariable);
    return given != nullptr ? given : defaultCalendar;
}

std::vector<std::string> linesOf (const std::string& text)
{
    std::vector<std::string> lines;

    for (std::size_t begin = 0; begin < text.size();)
    {
        const auto end = std::min (text.find_first_of ("\r\n", begin), text.size());
        lines.push_back (text.substr (begin, end - begin));
        begin = end + (text.compare (end, 2, "\r\n") == 0 ? 2 : 1);
    }

    return lines;
}

std::vector<std::string> messagesIn (const std::string& log)
{
    std::vector<std::string> messages;

    for (const auto& line : linesOf (log))
    {
        // A full disk cuts a line anywhere, and the next one follows without a line end.
        std::sregex_token_iterator part (line.begin(), line.end(), stamp, -1);

        if (line.rfind ('+', 0) != 0)
            ++part; // what precedes the first stamp is no message

        messages.insert (messages.end(), part, {});
    }

    return messages;
}
}

std::string contentOf (const std::filesystem::path& path)
{
    std::ifstream file (path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

void expectParts (const std::string& text, const std::vector<std::string>& parts)
{
    for (const auto& part : parts)
        EXPECT_NE (std::string::npos, text.find (part)) << part << " is missing in\n" << text;
}

Outcome shell (const std::string& command)
{
    auto* const pipe = ::popen (command.c_str(), "r");
    std::string output;
    char block[4096];

    while (const auto size = std::fread (block, 1, sizeof block, pipe))
        output.append (block, size);

    const auto result = ::pclose (pipe);
    return { WIFEXITED (result) ? WEXITSTATUS (result) : 128 + WTERMSIG (result), output };
}

std::vector<std::int64_t> UnitRun::timesOf (const std::string& event) const
{
    std::vector<std::int64_t> times;

    for (const auto& candidate : events)
        if (candidate.text == event)
            times.push_back (candidate.milliseconds);

    return times;
}

int UnitRun::countOf (const std::string& message) const
{
    return static_cast<int> (std::count (messages.begin(), messages.end(), message));
}

std::string UnitRun::describe() const
{
    std::ostringstream text;
    text << "status " << status << "\nlog:\n" << log << "\nstandard error:\n" << complaints << "\nevents:\n";

    for (const auto& event : events)
        text << event.milliseconds << " " << event.text << "\n";

    return text.str();
}

Unit::Unit (const std::string& serial, const std::string& temperature)
{
    std::string pattern = std::filesystem::temp_directory_path() / "unitXXXXXX";

    if (::mkdtemp (pattern.data()) == nullptr)
        throw std::runtime_error ("no folder can be made in " + pattern);

    folder = pattern;
    EXPECT_EQ (
        0,
        shell (simulator + "/new-unit '" + folder.string() + "' '" + serial + "' '" + temperature + "'").status);
}

Unit::~Unit()
{
    std::error_code ignored;
    std::filesystem::remove_all (folder, ignored);
}

Unit& Unit::with (const std::string& path, const std::string& content)
{
    std::ofstream (folder / path, std::ios::binary) << content;
    return *this;
}

Unit& Unit::withSettings (const std::vector<std::pair<std::string, std::string>>& keysAndValues)
{
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PROPERTIES>\n";

    for (const auto& [key, value] : keysAndValues)
        xml.append ("  <VALUE name=\"").append (key).append ("\" val=\"").append (value).append ("\"/>\n");

    return with (settingsFile, xml + "</PROPERTIES>\n");
}

Unit& Unit::withUnopenableLog()
{
    std::filesystem::create_directories (folder / logFile);
    return *this;
}

Unit& Unit::at (std::int64_t milliseconds, const std::string& command)
{
    std::ofstream (folder / "run/scenario", std::ios::app) << milliseconds << ' ' << command << '\n';
    return *this;
}

UnitRun Unit::runShell (const std::string& command, const std::string& sandboxOptions)
{
    with ("run/command", commandPrelude + command + "\n");
    UnitRun result;
    const auto calendar = calendarOfUnits();
    result.status = shell ("ASAN_OPTIONS=verify_asan_link_order=0 timeout -s KILL 300 " + simulator +
                           "/sandbox --build " SANDBOX_BUILD " --date '" +
                           calendar.substr (0, calendar.rfind (' ')) + "' --zone '" + zone() + "' --dir '" +
                           folder.string() + "' " + sandboxOptions + " -- sh /run/unit/command > '" +
                           (folder / "output").string() + "' 2> '" + (folder / "complaints").string() + "'")
                        .status;

    const auto saved = folder / "run/disk"; // if the log's folder was a disk of its own
    const bool isOwnDisk = std::filesystem::exists (saved);
    result.log = contentOf (isOwnDisk ? saved / "ORBISdaemon.log" : folder / logFile);
    result.messages = messagesIn (result.log);

    if (! isOwnDisk) // which may be full, and then cuts lines anywhere
        recordLogged (std::regex_replace (result.log, stamp, ""));

    result.output = contentOf (folder / "output");
    result.complaints = contentOf (folder / "complaints");

    for (const auto& line : linesOf (contentOf (folder / "run/events")))
        result.events.push_back ({ std::stoll (line), line.substr (line.find (' ') + 1) });

    for (const auto& line : linesOf (contentOf (folder / "run/register-writes")))
        result.registerWrites.push_back (line.substr (line.rfind (' ') + 1));

    return result;
}

std::string Unit::zone()
{
    const auto calendar = calendarOfUnits();
    return calendar.substr (calendar.rfind (' ') + 1);
}

bool Unit::isPossible()
{
    static const bool possible = shell (simulator + "/sandbox --probe 2> /dev/null").status == 0;

    const char* const ci = std::getenv ("CI");

    if (! possible && ci != nullptr && std::string (ci) == "true")
        ADD_FAILURE() << "user namespaces are forbidden here";
    else if (! possible)
        [] { GTEST_SKIP() << "user namespaces are forbidden here"; }();

    return possible;
}

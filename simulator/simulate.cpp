// The program that ./simulate runs in the simulated unit. It starts the daemon, shows what happens and takes commands.
// ./simulate --help describes its options.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

#include "simulator/Display.h"
#include "simulator/paths.h"

namespace
{
constexpr auto starter = "with-clock";
constexpr auto daemonPath = "/home/root/ORBISdaemon/ORBISdaemon";
constexpr auto sensorPath = "/sys/bus/iio/devices/iio:device0/in_temp0_raw"; // here in degrees Celsius
constexpr auto stopCommand = "stop-daemon";
constexpr int lookEveryMs = 20; // of the PC's time

constexpr auto commandsPath = "/usr/local/bin/commands"; // lines "WORDS | ACTION FOR THE UNIT'S SHELL | HELP"
constexpr auto storyPath = "/usr/local/bin/story";       // about a minute in the life of a unit, as a scenario

struct Command
{
    std::string words, action, help;
};

volatile std::sig_atomic_t interrupted = 0;

std::string sensorText()
{
    std::string degrees;
    return std::ifstream (sensorPath) >> degrees ? degrees : "NaN";
}

void happensAt (std::int64_t milliseconds, const std::string& action)
{
    std::ofstream (paths::scenario, std::ios::app) << milliseconds << ' ' << action << '\n';
}

std::vector<Command> readCommandList()
{
    constexpr std::string_view separator = " | ";
    std::vector<Command> commands;
    std::ifstream file (commandsPath);

    for (std::string line; std::getline (file, line);)
    {
        const auto first = line.find (separator);
        const auto second = line.find (separator, first + 1);

        if (first != std::string::npos && second != std::string::npos)
            commands.push_back ({ line.substr (0, first),
                                  line.substr (first + separator.size(), second - first - separator.size()),
                                  line.substr (second + separator.size()) });
    }

    return commands;
}

void obey (const std::string& line)
{
    static const auto commands = readCommandList();

    for (const auto& command : commands)
    {
        if (line.rfind (command.words, 0) == 0)
        {
            happensAt (0, command.action + line.substr (command.words.size()));
            return;
        }
    }

    std::puts ("Commands:");

    for (const auto& command : commands)
        std::printf ("  %-22s %s\n", command.words.c_str(), command.help.c_str());
}

pid_t startDaemon (std::vector<char*> arguments)
{
    const pid_t pid = ::fork();

    if (pid == 0)
    {
        ::setpgid (0, 0); // so that Ctrl-C reaches only this program, which then ends the daemon
        ::dup2 (::open (paths::standardError, O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
        arguments.insert (arguments.begin(), { const_cast<char*> (starter), const_cast<char*> (daemonPath) });
        arguments.push_back (nullptr);
        ::execvp (starter, arguments.data());
        std::perror (starter);
        std::_Exit (127);
    }

    return pid;
}

void readCommands (std::string& typed, bool& open)
{
    pollfd input { STDIN_FILENO, POLLIN, 0 };

    if (::poll (&input, open ? 1 : 0, lookEveryMs) <= 0)
        return;

    char buffer[256];
    const auto count = ::read (STDIN_FILENO, buffer, sizeof buffer);
    open = count > 0;
    typed.append (buffer, static_cast<std::size_t> (std::max<ssize_t> (count, 0)));

    for (auto end = typed.find ('\n'); end != std::string::npos; end = typed.find ('\n'))
    {
        obey (typed.substr (0, end));
        typed.erase (0, end + 1);
    }
}

/** A value of NO_COLOR that is not empty forbids colours (https://no-color.org). */
bool wantsColours()
{
    const char* forbidden = std::getenv ("NO_COLOR");
    return ::isatty (STDOUT_FILENO) != 0 && (forbidden == nullptr || *forbidden == '\0');
}

int run (bool interactive, bool allLines, const std::vector<char*>& daemonArguments)
{
    std::signal (SIGINT, [] (int) { interrupted = 1; });
    const auto startTemperature = sensorText();
    Display display (wantsColours(), allLines);
    const auto pid = startDaemon (daemonArguments);
    std::string typed;
    int status = 0;

    while (::waitpid (pid, &status, WNOHANG) == 0)
    {
        readCommands (typed, interactive);
        display.look();

        if (interrupted != 0)
            ::kill (pid, SIGINT); // more than once, because a daemon that waits for a shell command ignores it
    }

    display.look();
    const auto daemonStatus = WIFEXITED (status) ? WEXITSTATUS (status) : 128 + WTERMSIG (status);
    display.summary (daemonStatus);
    std::fflush (stdout);
    std::ignore = std::system (("timeline " + startTemperature).c_str());

    if (daemonArguments.empty())
        return daemonStatus == SIGINT && display.fanIsAtFullSpeed() ? 0 : 1;

    return std::system ("printf '\\nOn the I2C bus:\\n'; boardtool trace; printf '\\nThe registers now:\\n'; "
                        "boardtool show") == 0
               ? daemonStatus
               : EXIT_FAILURE;
}
}

int main (int argc, char** argv)
{
    bool interactive = ::isatty (STDIN_FILENO) != 0;
    bool tellStory = ! interactive;
    bool allLines = false;
    int used = 1;

    for (; used < argc; ++used)
    {
        const std::string option = argv[used];

        if (option == "--demo")
        {
            tellStory = true;
        }
        else if (option == "--all-lines")
        {
            allLines = true;
        }
        else if (option == "--for" && used + 1 < argc)
        {
            happensAt (static_cast<std::int64_t> (std::atof (argv[++used]) * 1000.0), stopCommand);
            tellStory = false;
        }
        else
        {
            break;
        }
    }

    if (used < argc) // maintenance, which ends by itself
        interactive = tellStory = false;

    if (tellStory)
    {
        interactive = false;
        std::ofstream (paths::scenario, std::ios::app) << std::ifstream (storyPath).rdbuf();
    }

    if (interactive)
        std::puts ("Type a command, or help; Ctrl-C stops the daemon.");

    return run (interactive, allLines, { argv + used, argv + argc });
}

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
constexpr auto stopCommand = "pkill -INT -x ORBISdaemon";
constexpr int lookEveryMs = 20; // of the PC's time

const struct
{
    const char *words, *action, *help; // the action is for the unit's shell
} commands[] = {
    { "temperature", "temperature", "temperature T: the core's temperature in degrees Celsius" },
    { "crash application", "process crash application", "the application crashes" },
    { "crash gui", "process crash gui", "the GUI crashes" },
    { "duplicate application", "process duplicate application", "a second application is started" },
    { "duplicate gui", "process duplicate gui", "a second GUI is started" },
    { "remove sensor", "sensor remove", "the temperature files disappear" },
    { "restore sensor", "sensor restore", "the temperature files come back" },
    { "fill disk", "disk fill", "the log's disk is full" },
    { "free disk", "disk free", "the log's disk has room again" },
    { "stop", stopCommand, "ends the daemon with SIGINT, like Ctrl-C" },
};

// About a minute in the life of a unit: milliseconds since start, and a command for the unit's shell.
constexpr auto story = "18000 temperature 65\n"
                       "20000 temperature 82\n"
                       "22000 temperature 91\n"
                       "23500 temperature 60\n"
                       "25500 sensor remove\n"
                       "27500 sensor restore\n"
                       "28500 disk fill\n"
                       "29000 process crash application\n"
                       "36500 disk free\n"
                       "37000 process duplicate application\n"
                       "51000 process crash gui\n"
                       "64000 process duplicate gui\n"
                       "77000 pkill -INT -x ORBISdaemon\n";

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

void obey (const std::string& line)
{
    for (const auto& command : commands)
    {
        const std::string words = command.words;

        if (line.rfind (words, 0) == 0)
        {
            happensAt (0, command.action + line.substr (words.size()));
            return;
        }
    }

    std::puts ("Commands:");

    for (const auto& command : commands)
        std::printf ("  %-22s %s\n", command.words, command.help);
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
        std::ofstream (paths::scenario, std::ios::app) << story;
    }

    if (interactive)
        std::puts ("Type a command, or help; Ctrl-C stops the daemon.");

    return run (interactive, allLines, { argv + used, argv + argc });
}

#include "supervisor/RegisterWrite.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
constexpr auto shellPath = "/bin/sh";
constexpr int couldNotRun = -1;

// Handler, its write and the boot unit's write of full speed together stay below the 15 s after which a stop looks hung.
constexpr timespec longestWrite { 4, 0 };
constexpr timespec patienceWithInterrupted { 3, 0 };
constexpr timespec longestForcedWrite { 1, 0 };
constexpr timespec longestDying { 0, 250000000 };

// The write that a signal interrupts and the handler's own one, as process numbers; 0: none. Each leads a process group,
// because the shell may start devmem as a process of its own.
volatile std::sig_atomic_t writers[2] = { 0, 0 };
volatile std::sig_atomic_t inHandler = 0;

/** Changes the signal mask until the end of its scope. */
struct SignalMask
{
    SignalMask (int how, const sigset_t& signals) noexcept { ::sigprocmask (how, &signals, &before); }
    ~SignalMask() { ::sigprocmask (SIG_SETMASK, &before, nullptr); }
    SignalMask (const SignalMask&) = delete;
    SignalMask& operator= (const SignalMask&) = delete;

    sigset_t before {};
};

/** Ignores a signal until the end of its scope. */
struct Ignored
{
    explicit Ignored (int signumToUse) noexcept
        : signum (signumToUse)
    {
        struct sigaction ignore
        {
        };
        ignore.sa_handler = SIG_IGN;
        ::sigaction (signum, &ignore, &before);
    }
    ~Ignored() { ::sigaction (signum, &before, nullptr); }
    Ignored (const Ignored&) = delete;
    Ignored& operator= (const Ignored&) = delete;

    int signum;
    struct sigaction before
    {
    };
};

sigset_t setOf (std::initializer_list<int> signals) noexcept
{
    sigset_t set;
    ::sigemptyset (&set);

    for (const auto signum : signals)
        ::sigaddset (&set, signum);

    return set;
}

/** Starts the command and returns the number of its process, 0 if that failed. */
pid_t start (const char* command) noexcept
{
    sigset_t all;
    ::sigfillset (&all);
    const SignalMask whole (SIG_SETMASK, all); // a handler must find the number of a command that has been started

    const auto none = setOf ({}), usual = setOf ({ SIGINT, SIGQUIT });
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init (&attributes);
    ::posix_spawnattr_setflags (&attributes,
                                POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setpgroup (&attributes, 0);
    ::posix_spawnattr_setsigmask (&attributes, &none);
    ::posix_spawnattr_setsigdefault (&attributes, &usual);

    const char* const arguments[] = { "sh", "-c", command, nullptr };
    pid_t shell = 0;

    if (::posix_spawn (&shell, shellPath, nullptr, &attributes, const_cast<char**> (arguments), environ) != 0)
        shell = 0;

    writers[inHandler] = shell;
    return shell;
}

/** Waits until the process ends, at most as long as `limit`. The end of another child begins the wait anew. Returns
    whether it has ended.
*/
bool hasEnded (pid_t process, const timespec& limit, int& status) noexcept
{
    const auto childEnds = setOf ({ SIGCHLD });
    const SignalMask kept (SIG_BLOCK, childEnds); // the signal then waits for sigtimedwait
    bool inTime = true;

    for (;;)
    {
        if (::waitpid (process, &status, WNOHANG) != 0) // it has ended, or there is no such child
            return true;

        if (! inTime)
            return false;

        inTime = ::sigtimedwait (&childEnds, nullptr, &limit) != -1 || errno != EAGAIN;
    }
}

void end (pid_t process) noexcept
{
    int status = 0;
    ::kill (-process, SIGKILL);
    hasEnded (process, longestDying, status);
}

int run (const char* command) noexcept
{
    const Ignored interrupt (SIGINT), quit (SIGQUIT);
    const auto process = start (command);
    int status = couldNotRun;

    if (process != 0 && ! hasEnded (process, longestWrite, status))
    {
        end (process);
        status = couldNotRun;
    }

    writers[inHandler] = 0;
    return status;
}

// A killall by the daemon's name also hits the command's process while it still has this name.
int runTwiceIfKilled (const char* command) noexcept
{
    const auto status = run (command);
    return WIFSIGNALED (status) ? run (command) : status;
}
}

int runRegisterWrite (const char* command) noexcept
{
    if (inHandler == 0)
        return run (command);

    const auto interrupted = static_cast<pid_t> (writers[0]);
    int ignored = 0;
    const bool inTime = interrupted == 0 || hasEnded (interrupted, patienceWithInterrupted, ignored);

    if (inTime)
        writers[0] = 0; // the number may soon be another process's

    auto status = runTwiceIfKilled (command);

    if (! inTime)
    {
        if (status != 0 || ! hasEnded (interrupted, patienceWithInterrupted, ignored))
            end (interrupted);

        if (status == 0)
            status = runTwiceIfKilled (command);
    }

    return status;
}

void interruptRegisterWrite() noexcept
{
    inHandler = 1;
}

void forceRegisterWrite (const char* command) noexcept
{
    inHandler = 1;

    for (const auto writer : writers)
        if (writer != 0)
            end (static_cast<pid_t> (writer));

    for (int attempt = 0; attempt < 2; ++attempt) // the second as in runTwiceIfKilled
    {
        const auto process = start (command);
        int status = 0;

        if (process == 0 || ! hasEnded (process, longestForcedWrite, status) || ! WIFSIGNALED (status))
            break;
    }
}

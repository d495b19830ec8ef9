#include "supervisor/SignalHandler.h"

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include <juce_core/juce_core.h>

#include "supervisor/FanRegister.h"
#include "supervisor/RegisterWrite.h"

namespace
{
constexpr int hookedSignals[] = { SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV, SIGTERM };
constexpr int signalsOfPeople[] = { SIGINT, SIGQUIT, SIGTERM };
constexpr int inheritableSignals[] = { SIGCHLD, SIGALRM };

constexpr unsigned longestHandling = 10;      // seconds
constexpr unsigned longestForcedEnd = 2;      // seconds
constexpr int statusWhenLate = 128 + SIGALRM; // 142, which a shell also reports for a process that SIGALRM ended

volatile std::sig_atomic_t firstSignal = 0;

// A stack that has overflowed has no room for the handler. A page that is never used takes no memory.
constexpr std::size_t pageSize = 4096;

struct HandlerMemory
{
    char barrier[16 * pageSize]; // larger than the variables of any function
    // The kernel begins the stack anew after a crash only if the stack pointer has left it. An ARM function stores
    // registers before it moves the pointer.
    char margin[pageSize];
    char stack[256 * 1024]; // for the ordinary calls that the handler makes
};

/** Lets the handler crash if it overflows its own stack. It would otherwise overwrite what lies below it, and the
    process could then no longer end at full speed. Mapped, because a search for leaks reads all variables. Without
    memory the handler uses the stack of what it interrupts.
*/
void giveTheHandlerAStack()
{
    auto* const mapped =
        ::mmap (nullptr, sizeof (HandlerMemory), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

    if (mapped == MAP_FAILED)
        return;

    auto& memory = *static_cast<HandlerMemory*> (mapped);
    ::mprotect (memory.barrier, sizeof memory.barrier, PROT_NONE);
    stack_t stack {};
    stack.ss_sp = memory.stack;
    stack.ss_size = sizeof memory.stack;
    ::sigaltstack (&stack, nullptr);
}

/** Ends the process without any call that allocates or takes a lock. */
[[noreturn]] void endAtOnce (int status) noexcept
{
    static volatile std::sig_atomic_t isEnding = 0;

    if (isEnding == 0)
    {
        isEnding = 1;
        ::alarm (longestForcedEnd);
        forceFullFanSpeed();
    }

    ::_exit (status);
}

[[noreturn]] void endLate (int) noexcept
{
    endAtOnce (statusWhenLate);
}

// sigaction() and not signal(), because only sigaction() has these flags: the stack of its own, and SA_NODEFER, with which
// a crash inside the handler enters it a second time. Without it, the kernel would end the process.
void install (int signum, void (*handler) (int))
{
    struct sigaction action
    {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | SA_ONSTACK | SA_NODEFER;
    ::sigemptyset (&action.sa_mask);

    for (const auto kept : signalsOfPeople) // these are no sign that the handler has failed
        ::sigaddset (&action.sa_mask, kept);

    ::sigaction (signum, &action, nullptr);
}
}

void installSignalHandlers()
{
    for (const auto signum : inheritableSignals)
        std::signal (signum, SIG_DFL);

    giveTheHandlerAStack();

    for (const auto signum : hookedSignals)
        install (signum, signalHandler);

    sigset_t none;
    ::sigemptyset (&none);
    ::sigprocmask (SIG_SETMASK, &none, nullptr);
}

// Makes ordinary calls on the interrupted thread, on purpose. After a crash no main loop is left that could make them
// later, and a fan at full speed is worth more than a handler that is safe in every library call.
void signalHandler (int signum) noexcept
{
    if (firstSignal != 0)
        endAtOnce (firstSignal);

    firstSignal = signum;
    interruptRegisterWrite();
    install (SIGALRM, endLate);
    ::alarm (longestHandling);

    juce::Logger::writeToLog ("Interrupt signal (" + juce::String (signum) + ") received.");
    setFanSpeed (fullFanSpeed, fanAddress, fanPWMResolution);
    juce::Logger::setCurrentLogger (nullptr);
    std::exit (signum);
}

// Preloaded into the daemon to let it fail. UNIT_FAULT="NAME K" fails the K-th call of open, write, malloc, popen,
// posix_spawn or system. A popen fails as it does without a process or a pipe; the front end cannot reach libc's own calls
// inside it. Other names count calls of malloc: "memory K" fails all of them from the K-th on, "heap K" damages the heap
// there and raises SIGSEGV, and "stack K" overflows the stack. At the end the file `calls` holds the number of these calls.
#undef _FORTIFY_SOURCE // its inline functions have the names of our own definitions

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "simulator/frontEnd.h"
#include "simulator/paths.h"

extern "C" void* __libc_malloc (size_t size);

namespace
{
/** The call that fails, read from the environment once. In other processes than the daemon no call fails. */
struct Fault
{
    Fault()
    {
        const auto* const text = std::getenv ("UNIT_FAULT");

        if (text != nullptr && isDaemon())
            std::sscanf (text, "%15s %ld", name, &at); // NOLINT(cert-err34-c): 0 is no call
    }

    ~Fault()
    {
        if (*name == 0)
            return;

        char text[32];
        const auto length = std::snprintf (text, sizeof text, "%ld\n", calls.load());
        const auto file =
            static_cast<int> (::syscall (SYS_openat, AT_FDCWD, paths::calls, O_WRONLY | O_CREAT | O_TRUNC, 0600));
        ::syscall (SYS_write, file, text, length);
    }

    Fault (const Fault&) = delete;
    Fault& operator= (const Fault&) = delete;

    char name[16] = "";
    long at = 0;
    std::atomic<long> calls { 0 };
};

Fault& fault()
{
    static Fault value;
    return value;
}

/** Counts a call. Whether it is the one that fails; sets errno. */
bool fails (const char* call, int error)
{
    if (std::strcmp (fault().name, call) != 0 || ++fault().calls != fault().at)
        return false;

    errno = error;
    return true;
}

bool isOutOfMemory()
{
    const bool fails =
        std::strcmp (fault().name, "memory") == 0 && ++fault().calls >= fault().at && fault().at > 0;
    errno = fails ? ENOMEM : errno;
    return fails;
}

/** Overwrites the list of free blocks of each small size, as a write into a block that has been freed does. */
void damageHeap()
{
    constexpr std::size_t largest = 1024, step = 16;

    for (std::size_t size = step; size < largest; size += step)
    {
        auto* volatile block = static_cast<char*> (__libc_malloc (size));
        auto* volatile freed = block;
        std::free (block);
        std::memset (freed, 'x', sizeof (void*)); // NOLINT(clang-analyzer-unix.Malloc)
    }
}

/** Overwrites everything below the stack, down to the first page that may not be written. */
[[gnu::noinline]] void overflowStack (volatile char* callers)
{
    constexpr std::size_t frameSize = 4096;
    volatile char frame[frameSize];

    for (auto& byte : frame)
        byte = *callers;

    if (*frame != 0) // always
        overflowStack (frame);

    *callers = *frame;
}
}

extern "C"
{
    int open (const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = (flags & O_CREAT) != 0 ? va_arg (arguments, mode_t) : 0;
        va_end (arguments);

        const bool isOfSimulator = std::strncmp (path, paths::folder, std::strlen (paths::folder)) == 0;

        return ! isOfSimulator && fails ("open", EMFILE) ? -1 : LIBC (open) (path, flags, mode);
    }

    ssize_t write (int descriptor, const void* data, size_t size)
    {
        return fails ("write", ENOSPC) ? -1 : LIBC (write) (descriptor, data, size);
    }

    void* malloc (size_t size) noexcept
    {
        if (fails ("malloc", ENOMEM) || isOutOfMemory())
            return nullptr;

        if (fails ("stack", 0))
        {
            volatile char content = 'x';
            overflowStack (&content);
        }

        if (fails ("heap", 0))
        {
            damageHeap();
            std::raise (SIGSEGV);
        }

        return __libc_malloc (size);
    }

    int system (const char* command)
    {
        return fails ("system", EAGAIN) ? -1 : LIBC (system) (command);
    }

    int posix_spawn (pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                     const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment)
    {
        return fails ("posix_spawn", EAGAIN)
                   ? errno
                   : LIBC (posix_spawn) (pid, path, actions, attributes, arguments, environment);
    }

    FILE* popen (const char* command, const char* type)
    {
        return fails ("popen", EMFILE) ? nullptr : LIBC (popen) (command, type);
    }
    // The signal handler's ten seconds. They are the PC's, and hundreds of runs may need them.
    unsigned alarm (unsigned seconds) noexcept
    {
        return LIBC (alarm) (seconds > 1 ? 2 : seconds);
    }
}

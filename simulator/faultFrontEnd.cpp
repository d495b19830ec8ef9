// Preloaded into the daemon to let one call fail: UNIT_FAULT="NAME K" fails the K-th call of open, write, malloc, popen or
// system. At the end the file `calls` holds the number of these calls. A popen fails as it does without a process or a
// pipe; the front end cannot reach libc's own calls inside it.
#undef _FORTIFY_SOURCE // its inline functions have the names of our own definitions

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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

bool fails (const char* call, int error)
{
    static Fault fault;

    if (std::strcmp (fault.name, call) != 0 || ++fault.calls != fault.at)
        return false;

    errno = error;
    return true;
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
        return fails ("malloc", ENOMEM) ? nullptr : __libc_malloc (size);
    }

    int system (const char* command)
    {
        return fails ("system", EAGAIN) ? -1 : LIBC (system) (command);
    }

    FILE* popen (const char* command, const char* type)
    {
        return fails ("popen", EMFILE) ? nullptr : LIBC (popen) (command, type);
    }
}

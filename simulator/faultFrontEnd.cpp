// Preloaded into the daemon to let one call of the system fail: UNIT_FAULT="NAME K" fails the K-th call of open, write,
// malloc, popen or system. How many there were is left in /run/unit/calls. A popen fails as it does without a process
// or a pipe; libc's own calls inside it cannot be reached from here.
#undef _FORTIFY_SOURCE // its inline variants would stand in the way

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" void* __libc_malloc (size_t size);

namespace
{
/** The call to fail, read from the environment once; other processes of the device are left alone. */
struct Fault
{
    Fault()
    {
        const auto* const text = std::getenv ("UNIT_FAULT");

        if (text != nullptr && std::strcmp (program_invocation_short_name, "ORBISdaemon") == 0)
            std::sscanf (text, "%15s %ld", name, &at); // NOLINT(cert-err34-c): 0 is no call
    }

    ~Fault()
    {
        if (*name == 0)
            return;

        char text[32];
        const auto length = std::snprintf (text, sizeof text, "%ld\n", calls.load());
        const auto file = static_cast<int> (
            ::syscall (SYS_openat, AT_FDCWD, "/run/unit/calls", O_WRONLY | O_CREAT | O_TRUNC, 0600));
        ::syscall (SYS_write, file, text, length);
    }

    Fault (const Fault&) = delete;
    Fault& operator= (const Fault&) = delete;

    bool hits (const char* call, int error)
    {
        if (std::strcmp (name, call) != 0 || ++calls != at)
            return false;

        errno = error;
        return true;
    }

    char name[16] = "";
    long at = 0;
    std::atomic<long> calls { 0 };
};

bool fails (const char* call, int error)
{
    static Fault fault;
    return fault.hits (call, error);
}

template <typename Function>
Function* original (const char* name)
{
    return reinterpret_cast<Function*> (::dlsym (RTLD_NEXT, name));
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

        const bool isUnits = std::strncmp (path, "/run/unit/", 10) == 0; // the simulated device's own files

        if (! isUnits && fails ("open", EMFILE))
            return -1;

        static auto* const next = original<int (const char*, int, ...)> ("open");
        return next (path, flags, mode);
    }

    ssize_t write (int descriptor, const void* data, size_t size)
    {
        if (fails ("write", ENOSPC))
            return -1;

        static auto* const next = original<ssize_t (int, const void*, size_t)> ("write");
        return next (descriptor, data, size);
    }

    void* malloc (size_t size) noexcept
    {
        return fails ("malloc", ENOMEM) ? nullptr : __libc_malloc (size);
    }

    int system (const char* command)
    {
        if (fails ("system", EAGAIN))
            return -1;

        static auto* const next = original<int (const char*)> ("system");
        return next (command);
    }

    FILE* popen (const char* command, const char* type)
    {
        if (fails ("popen", EMFILE))
            return nullptr;

        static auto* const next = original<FILE*(const char*, const char*)> ("popen");
        return next (command, type);
    }
}

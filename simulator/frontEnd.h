#pragma once

#include <cerrno>
#include <cstring>
#include <dlfcn.h>

/** libc's own function, for a front end that defines one of the same name. A signal handler may interrupt the first use and
    use it, too, so the pointer has no guarded initialisation.
*/
#define LIBC(function)                                                                   \
    (                                                                                    \
        []                                                                               \
        {                                                                                \
            static decltype (&(function)) own = nullptr;                                 \
                                                                                         \
            if (own == nullptr)                                                          \
                own = reinterpret_cast<decltype (own)> (::dlsym (RTLD_NEXT, #function)); \
                                                                                         \
            return own;                                                                  \
        }())

/** Whether this process is the daemon. The other processes of the unit preload the front ends too. */
inline bool isDaemon()
{
    static const bool value = std::strcmp (program_invocation_short_name, "ORBISdaemon") == 0;
    return value;
}

#pragma once

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

[[noreturn]] inline void giveUp (const char* path)
{
    std::perror (path);
    std::_Exit (EXIT_FAILURE);
}

/** Maps a file that all processes of the unit share, for as long as this process lives. A new file is all zero. Ends
    the process on failure. The calls go to the kernel directly, because a front end of libc may be the caller.
*/
template <typename Content>
Content& mapSharedFile (const char* path)
{
    const auto file =
        static_cast<int> (::syscall (SYS_openat, AT_FDCWD, path, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    void* memory = MAP_FAILED;

    if (file >= 0 && ::ftruncate (file, sizeof (Content)) == 0)
        memory = ::mmap (nullptr, sizeof (Content), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);

    if (memory == MAP_FAILED)
        giveUp (path);

    ::syscall (SYS_close, file);
    return *static_cast<Content*> (memory);
}

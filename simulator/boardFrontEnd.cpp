// Puts the simulated board behind "/dev/i2c-2". A test program links this file; in the simulated unit it is preloaded into
// every process. The calls on all other files pass through to libc.
#undef _FORTIFY_SOURCE   // its inline functions have the names of our own definitions
#undef _FILE_OFFSET_BITS // with these two, the headers of a 32-bit libc give one name to two of our definitions
#undef _TIME_BITS

#include "simulator/boardFrontEnd.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <mutex>
#include <sys/ioctl.h>
#include <unistd.h>

#include "simulator/Descriptor.h"
#include "simulator/frontEnd.h"
#include "simulator/paths.h"
#include "simulator/sharedFile.h"

namespace
{
constexpr auto boardVariable = "UNIT_BOARD"; // set in the simulated unit

bool inSimulatedUnit()
{
    static const bool value = std::getenv (boardVariable) != nullptr;
    return value;
}

[[noreturn]] void giveUp (const char* path)
{
    std::perror (path);
    std::_Exit (EXIT_FAILURE);
}

void appendTraceToFile()
{
    const int fd = LIBC (open64) (paths::busTrace, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);

    for (const auto& line : board().trace)
    {
        const auto text = line + '\n';

        if (LIBC (write) (fd, text.data(), text.size()) != static_cast<ssize_t> (text.size()))
            giveUp (paths::busTrace);
    }

    board().trace.clear();
    LIBC (close) (fd);
}

std::mutex boardMutex;

/** Lets `call` use the board; returns its value with errno as the kernel would leave it. */
template <typename Call>
int onBoard (Call call)
{
    const std::lock_guard lock (boardMutex);
    const int errorBefore = errno;
    const BusResult result = call (board());

    if (inSimulatedUnit())
        appendTraceToFile();

    errno = result.value < 0 ? result.error : errorBefore;
    return result.value;
}

/** Records a call and its result on a descriptor that is not the bus, or no longer. */
int recordStale (const std::string& line, ssize_t value)
{
    return onBoard (
        [&, error = errno] (Board& theBoard) {
            return theBoard.record (line, { static_cast<int> (value), error });
        });
}

/** For a call that the board does not model. It reports on stderr and in the trace, so that the call never looks like the
    fault of a chip.
*/
int refuse (const char* what, unsigned long value, int error)
{
    char line[48];
    std::snprintf (line, sizeof line, "%s %lX", what, value);
    std::fprintf (stderr, "simulated board: %s on %s is not modelled\n", line, Board::busPath);
    return onBoard ([&] (Board& theBoard) { return theBoard.record (line, { -1, error }); });
}

int openBus (int flags)
{
    if ((flags & O_ACCMODE) != O_RDWR)
        return refuse ("open mode", static_cast<unsigned long> (flags), EACCES);

    const int descriptor = LIBC (open64) ("/dev/null", flags); // reserves a number

    if (descriptor < 0 || descriptor >= Descriptor::limit)
        giveUp (Board::busPath);

    const int result = onBoard ([descriptor] (Board& theBoard) { return theBoard.open (descriptor); });
    Descriptor use (result);

    if (result >= 0)
    {
        use.becomeBus();
        return result;
    }

    use.watch(); // the caller may go on to use the -1
    const int error = errno;
    LIBC (close) (descriptor);
    errno = error;
    return result;
}

int notedOther (int descriptor)
{
    Descriptor use (descriptor);

    if (descriptor == 0 || (descriptor > 0 && use.is (Descriptor::wasBus)))
        use.becomeOther();

    return descriptor;
}

int openAny (int directory, const char* path, int flags, mode_t mode)
{
    const bool isBus = std::strcmp (path, Board::busPath) == 0;
    return isBus ? openBus (flags) : notedOther (LIBC (openat64) (directory, path, flags, mode));
}

/** The driver of a bus that was never opened closes descriptor 0. A shell closes descriptor 0 for other reasons. */
bool closesZeroForTheBus()
{
    return ! inSimulatedUnit() || isDaemon();
}

mode_t modeArgument (int flags, va_list arguments)
{
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg (arguments, mode_t) : 0;
}
}

Board& board()
{
    // Never destroyed, because drivers with static lifetime close their descriptors at exit.
    static auto& instance =
        *new Board (inSimulatedUnit() ? mapSharedFile<BoardState> (paths::board) : *new BoardState {});
    return instance;
}

extern "C"
{
    int open (const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = modeArgument (flags, arguments);
        va_end (arguments);
        return openAny (AT_FDCWD, path, flags, mode);
    }

    int openat (int directory, const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = modeArgument (flags, arguments);
        va_end (arguments);
        return openAny (directory, path, flags, mode);
    }

    // A fortified program calls these instead.
    int __open_2 (const char* path, int flags)
    {
        return openAny (AT_FDCWD, path, flags, 0);
    }

    int __openat_2 (int directory, const char* path, int flags)
    {
        return openAny (directory, path, flags, 0);
    }

    // A program with 64-bit file offsets calls these instead.
    int open64 (const char*, int, ...) __attribute__ ((alias ("open")));
    int openat64 (int, const char*, int, ...) __attribute__ ((alias ("openat")));
    int __open64_2 (const char*, int) __attribute__ ((alias ("__open_2")));
    int __openat64_2 (int, const char*, int) __attribute__ ((alias ("__openat_2")));

    int ioctl (int descriptor, unsigned long request, ...) noexcept
    {
        va_list arguments;
        va_start (arguments, request);
        auto* const argument = va_arg (arguments, void*); // no request takes more than one
        va_end (arguments);
        const auto address = reinterpret_cast<unsigned long> (argument);
        Descriptor use (descriptor);

        if (use.is (Descriptor::isBus))
            return request == I2C_SLAVE
                       ? onBoard ([=] (Board& theBoard) { return theBoard.select (descriptor, address); })
                       : refuse ("ioctl", request, ENOTTY);

        const int result = LIBC (ioctl) (descriptor, request, argument);

        if (request != I2C_SLAVE)
            return result;

        use.watch(); // the driver of a bus that was never opened takes descriptor 0 for the bus
        return recordStale (Board::addressLine (address), result);
    }

#ifdef __arm__
    // A 32-bit program with a 64-bit clock calls this instead.
    int __ioctl_time64 (int, unsigned long, ...) noexcept __attribute__ ((alias ("ioctl")));
#endif

    ssize_t write (int descriptor, const void* data, size_t size)
    {
        const Descriptor use (descriptor);
        const auto* const bytes = static_cast<const std::uint8_t*> (data);

        if (use.is (Descriptor::isBus))
            return onBoard ([=] (Board& theBoard) { return theBoard.write (descriptor, bytes, size); });

        const auto result = LIBC (write) (descriptor, data, size);
        return use.isStale() ? recordStale (Board::writeLine (bytes, size), result) : result;
    }

    ssize_t read (int descriptor, void* data, size_t size)
    {
        const Descriptor use (descriptor);
        auto* const bytes = static_cast<std::uint8_t*> (data);

        if (use.is (Descriptor::isBus))
            return onBoard ([=] (Board& theBoard) { return theBoard.read (descriptor, bytes, size); });

        const auto result = LIBC (read) (descriptor, data, size);
        return use.isStale() ? recordStale (Board::readLine (size), result) : result;
    }

    ssize_t __read_chk (int descriptor, void* data, size_t size, size_t room)
    {
        return size <= room ? read (descriptor, data, size) : (std::abort(), -1);
    }

    int close (int descriptor)
    {
        Descriptor use (descriptor);
        const bool isBus = use.is (Descriptor::isBus);
        const bool isStale =
            use.isStale() || (descriptor == 0 && ! use.is (Descriptor::isOther) && closesZeroForTheBus());
        use.becomeClosed(); // before another open can get the number
        const int result = LIBC (close) (descriptor);

        if (isBus)
            return onBoard ([=] (Board& theBoard) { return theBoard.close (descriptor); });

        return isStale ? recordStale (Board::closeLine (descriptor), result) : result;
    }
}

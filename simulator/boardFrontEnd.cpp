// Puts the simulated board behind "/dev/i2c-2". A test program links this file; in the simulated unit it is preloaded into
// every process. The calls on all other files pass through to libc.
#undef _FORTIFY_SOURCE   // its inline functions have the names of our own definitions
#undef _FILE_OFFSET_BITS // with these two, the headers of a 32-bit libc give one name to two of our definitions
#undef _TIME_BITS

#include "simulator/boardFrontEnd.h"

#include <array>
#include <atomic>
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

#include "simulator/frontEnd.h"
#include "simulator/paths.h"
#include "simulator/sharedFile.h"

namespace
{
constexpr auto boardVariable = "UNIT_BOARD"; // set in the simulated unit

// What is known of a file descriptor.
constexpr std::uint8_t isBus = 1;
constexpr std::uint8_t isOther = 2; // another file that has the number of a closed bus
constexpr std::uint8_t wasBus = 4;  // was the bus, or was used as the bus: from now on the trace records its calls
constexpr int knownDescriptors = 1024; // numbers from here on pass through; the bus never gets one

bool isKnown (int descriptor)
{
    return descriptor >= -1 && descriptor < knownDescriptors; // -1 is the result of a failed open
}

/** Lock-free, because signal handlers read and write files too. Always 0 for a descriptor that is not known. */
std::atomic<std::uint8_t>& flagsOf (int descriptor)
{
    static std::array<std::atomic<std::uint8_t>, knownDescriptors + 1> flags {};
    static std::atomic<std::uint8_t> unknown {};
    return isKnown (descriptor) ? flags[static_cast<std::size_t> (descriptor) + 1] : unknown;
}

bool isStale (int descriptor)
{
    return flagsOf (descriptor) == wasBus;
}

bool inSimulatedUnit()
{
    static const bool value = std::getenv (boardVariable) != nullptr;
    return value;
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

    if (descriptor < 0 || descriptor >= knownDescriptors)
        giveUp (Board::busPath);

    const int result = onBoard ([descriptor] (Board& theBoard) { return theBoard.open (descriptor); });
    flagsOf (result) = result < 0 ? wasBus : isBus | wasBus; // the caller may go on to use the -1

    if (result < 0)
    {
        const int error = errno;
        LIBC (close) (descriptor);
        errno = error;
    }

    return result;
}

int notedOther (int descriptor)
{
    auto& flags = flagsOf (descriptor);

    if (descriptor == 0 || (descriptor > 0 && (flags & wasBus) != 0))
        flags = (flags & wasBus) | isOther;

    return descriptor;
}

int openAny (int directory, const char* path, int flags, mode_t mode)
{
    if (std::strcmp (path, Board::busPath) == 0)
        return openBus (flags);

    return notedOther (LIBC (openat64) (directory, path, flags, mode));
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
// A fortified program calls the names in "_2" instead, and a program with 64-bit file offsets the names with "64".
#define DEFINE_OPEN(name, directory, ...)                           \
    int name (__VA_ARGS__, ...)                                     \
    {                                                               \
        va_list arguments;                                          \
        va_start (arguments, flags);                                \
        const auto mode = modeArgument (flags, arguments);          \
        va_end (arguments);                                         \
        return openAny (directory, path, flags, mode);              \
    }                                                               \
    int __##name##_2 (__VA_ARGS__)                                  \
    {                                                               \
        return openAny (directory, path, flags, 0);                 \
    }                                                               \
    int name##64(__VA_ARGS__, ...) __attribute__ ((alias (#name))); \
    int __##name##64_2(__VA_ARGS__) __attribute__ ((alias ("__" #name "_2")));

    DEFINE_OPEN (open, AT_FDCWD, const char* path, int flags)
    DEFINE_OPEN (openat, directory, int directory, const char* path, int flags)

    int ioctl (int descriptor, unsigned long request, ...) noexcept
    {
        va_list arguments;
        va_start (arguments, request);
        auto* const argument = va_arg (arguments, void*); // no request takes more than one
        va_end (arguments);
        const auto address = reinterpret_cast<unsigned long> (argument);

        if ((flagsOf (descriptor) & isBus) != 0)
            return request == I2C_SLAVE
                       ? onBoard ([=] (Board& theBoard) { return theBoard.select (descriptor, address); })
                       : refuse ("ioctl", request, ENOTTY);

        const int result = LIBC (ioctl) (descriptor, request, argument);

        if (request != I2C_SLAVE)
            return result;

        if (isKnown (descriptor)) // the driver of a bus that was never opened takes descriptor 0 for the bus
            flagsOf (descriptor) |= wasBus;

        return recordStale ("address " + Board::hex (address), result);
    }

#ifdef __arm__
    // A 32-bit program with a 64-bit clock calls this instead.
    int __ioctl_time64 (int, unsigned long, ...) noexcept __attribute__ ((alias ("ioctl")));
#endif

    ssize_t write (int descriptor, const void* data, size_t size)
    {
        const auto* const bytes = static_cast<const std::uint8_t*> (data);

        if ((flagsOf (descriptor) & isBus) != 0)
            return onBoard ([=] (Board& theBoard) { return theBoard.write (descriptor, bytes, size); });

        const auto result = LIBC (write) (descriptor, data, size);
        return isStale (descriptor) ? recordStale ("write" + Board::hex (bytes, size), result) : result;
    }

    ssize_t read (int descriptor, void* data, size_t size)
    {
        auto* const bytes = static_cast<std::uint8_t*> (data);

        if ((flagsOf (descriptor) & isBus) != 0)
            return onBoard ([=] (Board& theBoard) { return theBoard.read (descriptor, bytes, size); });

        const auto result = LIBC (read) (descriptor, data, size);
        return isStale (descriptor) ? recordStale ("read " + std::to_string (size), result) : result;
    }

    ssize_t __read_chk (int descriptor, void* data, size_t size, size_t room)
    {
        return size <= room ? read (descriptor, data, size) : (std::abort(), -1);
    }

    int close (int descriptor)
    {
        auto& flags = flagsOf (descriptor);
        const auto before = flags.fetch_and (wasBus); // before another open can get the number
        const int result = LIBC (close) (descriptor);

        if ((before & isBus) != 0)
            return onBoard ([=] (Board& theBoard) { return theBoard.close (descriptor); });

        const bool closesZero = descriptor == 0 && (before & isOther) == 0 && closesZeroForTheBus();
        return before == wasBus || closesZero ? recordStale ("close " + std::to_string (descriptor), result)
                                              : result;
    }
}

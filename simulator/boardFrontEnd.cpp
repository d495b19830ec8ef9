// Puts the simulated board behind "/dev/i2c-2": linked into a test program, or preloaded into every process of the
// simulated device. Every other file is libc's own business and passes through.
#undef _FORTIFY_SOURCE   // its inline variants would stand in the way of our own definitions
#undef _FILE_OFFSET_BITS // with these, a 32-bit C library's headers give one name to two of our definitions
#undef _TIME_BITS

#include "simulator/boardFrontEnd.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <mutex>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
constexpr auto boardVariable = "UNIT_BOARD"; // set in the simulated device
constexpr auto tracePath = "/run/unit/bus-trace";
constexpr auto daemonName = "ORBISdaemon";

template <typename Function>
Function* original (const char* name)
{
    return reinterpret_cast<Function*> (::dlsym (RTLD_NEXT, name));
}

int realOpen (const char* path, int flags, mode_t mode = 0)
{
    static auto* const next = original<int (const char*, int, ...)> ("open64");
    return next (path, flags, mode);
}

int realClose (int descriptor)
{
    static auto* const next = original<int (int)> ("close");
    return next (descriptor);
}

ssize_t realWrite (int descriptor, const void* data, size_t size)
{
    static auto* const next = original<ssize_t (int, const void*, size_t)> ("write");
    return next (descriptor, data, size);
}

ssize_t realRead (int descriptor, void* data, size_t size)
{
    static auto* const next = original<ssize_t (int, void*, size_t)> ("read");
    return next (descriptor, data, size);
}

bool inSimulatedDevice()
{
    static const bool value = std::getenv (boardVariable) != nullptr;
    return value;
}

/** What is known of a descriptor. Lock-free, because signal handlers read and write files as well. */
class Descriptor
{
public:
    enum : std::uint8_t
    {
        isBus = 1,
        isOther = 2, ///< a file that was given the number of a closed bus, which must not be taken for the bus
        wasBus = 4   ///< or was taken for it: what is done to this number from now on belongs to the trace
    };

    static constexpr int limit = 1024; ///< a number from here on passes through; the bus never gets one

    explicit Descriptor (int number)
        : flags (number >= -1 && number < limit ? known[static_cast<std::size_t> (number) + 1] : unknown)
    {
    }

    bool is (std::uint8_t flag) const { return (flags & flag) != 0; }
    bool isStale() const { return is (wasBus) && ! is (isBus) && ! is (isOther); }

    void becomeBus() { flags = isBus | wasBus; }
    void becomeOther() { flags = static_cast<std::uint8_t> ((flags & wasBus) | isOther); }
    void becomeClosed() { flags = flags & wasBus; }
    void watch()
    {
        if (&flags != &unknown)
            flags |= wasBus;
    }

private:
    static inline std::array<std::atomic<std::uint8_t>, limit + 1> known {}; // from -1, a failed open's result
    static inline std::atomic<std::uint8_t> unknown {}; // stays 0: no file is noted or watched under it
    std::atomic<std::uint8_t>& flags;
};

[[noreturn]] void giveUp (const char* path)
{
    std::perror (path);
    std::_Exit (EXIT_FAILURE);
}

BoardState& stateInFile()
{
    const int fd = realOpen (BoardState::path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);

    if (fd < 0 || ::ftruncate (fd, sizeof (BoardState)) != 0) // a new file is all zero: a fresh board
        giveUp (BoardState::path);

    auto* const memory = ::mmap (nullptr, sizeof (BoardState), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    realClose (fd);

    if (memory == MAP_FAILED)
        giveUp (BoardState::path);

    return *static_cast<BoardState*> (memory);
}

void appendTraceToFile()
{
    const int fd = realOpen (tracePath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);

    for (const auto& line : board().trace)
    {
        const auto text = line + '\n';

        if (realWrite (fd, text.data(), text.size()) != static_cast<ssize_t> (text.size()))
            giveUp (tracePath);
    }

    board().trace.clear();
    realClose (fd);
}

std::mutex boardMutex;

/** Lets `call` use the board; returns its value with errno as the kernel would leave it. */
template <typename Call>
int onBoard (Call call)
{
    const std::lock_guard lock (boardMutex);
    const int errorBefore = errno;
    const BusResult result = call (board());

    if (inSimulatedDevice())
        appendTraceToFile();

    errno = result.value < 0 ? result.error : errorBefore;
    return result.value;
}

/** Records a call that was made on a descriptor that is not, or no longer, the bus, with the result that it had. */
int recordStale (const std::string& line, ssize_t value)
{
    return onBoard (
        [&, error = errno] (Board& theBoard) {
            return theBoard.record (line, { static_cast<int> (value), error });
        });
}

/** Says so on stderr and in the trace: a call that the board does not model must never look like a fault of a chip. */
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

    const int descriptor = realOpen ("/dev/null", flags); // for a number that is nobody else's

    if (descriptor < 0 || descriptor >= Descriptor::limit)
        giveUp (Board::busPath);

    const int result = onBoard ([descriptor] (Board& theBoard) { return theBoard.open (descriptor); });
    Descriptor use (result);

    if (result >= 0)
    {
        use.becomeBus();
        return result;
    }

    use.watch(); // who keeps the -1 and uses it
    const int error = errno;
    realClose (descriptor);
    errno = error;
    return result;
}

bool isBusPath (const char* path)
{
    return std::strcmp (path, Board::busPath) == 0;
}

int notedOther (int descriptor)
{
    Descriptor use (descriptor);

    if (descriptor == 0 || (descriptor > 0 && use.is (Descriptor::wasBus)))
        use.becomeOther();

    return descriptor;
}

int openAny (const char* path, int flags, mode_t mode)
{
    return isBusPath (path) ? openBus (flags) : notedOther (realOpen (path, flags, mode));
}

int openAnyAt (int directory, const char* path, int flags, mode_t mode)
{
    static auto* const next = original<int (int, const char*, int, ...)> ("openat64");
    return isBusPath (path) ? openBus (flags) : notedOther (next (directory, path, flags, mode));
}

/** A device that was never opened closes descriptor 0; a shell does so for its own reasons. */
bool closesZeroForTheBus()
{
    return ! inSimulatedDevice() || std::strcmp (program_invocation_short_name, daemonName) == 0;
}

mode_t modeArgument (int flags, va_list arguments)
{
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg (arguments, mode_t) : 0;
}
}

Board& board()
{
    // Never destroyed: devices with static lifetime close their descriptors at exit.
    static auto& instance = *new Board (inSimulatedDevice() ? stateInFile() : *new BoardState {});
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
        return openAny (path, flags, mode);
    }

    int open64 (const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = modeArgument (flags, arguments);
        va_end (arguments);
        return openAny (path, flags, mode);
    }

    int openat (int directory, const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = modeArgument (flags, arguments);
        va_end (arguments);
        return openAnyAt (directory, path, flags, mode);
    }

    int openat64 (int directory, const char* path, int flags, ...)
    {
        va_list arguments;
        va_start (arguments, flags);
        const auto mode = modeArgument (flags, arguments);
        va_end (arguments);
        return openAnyAt (directory, path, flags, mode);
    }

    // What a fortified program calls instead.
    int __open_2 (const char* path, int flags)
    {
        return openAny (path, flags, 0);
    }
    int __open64_2 (const char* path, int flags)
    {
        return openAny (path, flags, 0);
    }
    int __openat_2 (int directory, const char* path, int flags)
    {
        return openAnyAt (directory, path, flags, 0);
    }
    int __openat64_2 (int directory, const char* path, int flags)
    {
        return openAnyAt (directory, path, flags, 0);
    }

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

        static auto* const next = original<int (int, unsigned long, ...)> ("ioctl");
        const int result = next (descriptor, request, argument);

        if (request != I2C_SLAVE)
            return result;

        use.watch(); // a device that was never opened takes descriptor 0 for the bus
        return recordStale (Board::addressLine (address), result);
    }

#ifdef __arm__
    // What a 32-bit program with a 64-bit clock calls instead.
    int __ioctl_time64 (int descriptor, unsigned long request, ...) noexcept
    {
        va_list arguments;
        va_start (arguments, request);
        auto* const argument = va_arg (arguments, void*);
        va_end (arguments);
        return ioctl (descriptor, request, argument);
    }
#endif

    ssize_t write (int descriptor, const void* data, size_t size)
    {
        const Descriptor use (descriptor);
        const auto* const bytes = static_cast<const std::uint8_t*> (data);

        if (use.is (Descriptor::isBus))
            return onBoard ([=] (Board& theBoard) { return theBoard.write (descriptor, bytes, size); });

        const auto result = realWrite (descriptor, data, size);
        return use.isStale() ? recordStale (Board::writeLine (bytes, size), result) : result;
    }

    ssize_t read (int descriptor, void* data, size_t size)
    {
        const Descriptor use (descriptor);
        auto* const bytes = static_cast<std::uint8_t*> (data);

        if (use.is (Descriptor::isBus))
            return onBoard ([=] (Board& theBoard) { return theBoard.read (descriptor, bytes, size); });

        const auto result = realRead (descriptor, data, size);
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
        use.becomeClosed(); // before the number can be handed out anew
        const int result = realClose (descriptor);

        if (isBus)
            return onBoard ([=] (Board& theBoard) { return theBoard.close (descriptor); });

        return isStale ? recordStale (Board::closeLine (descriptor), result) : result;
    }
}

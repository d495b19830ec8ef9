#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/** What the board's front end knows of a file descriptor. Lock-free, because signal handlers read and write files too. */
class Descriptor
{
public:
    enum : std::uint8_t
    {
        isBus = 1,
        isOther = 2, ///< another file that has the number of a closed bus
        wasBus = 4   ///< was the bus, or was used as the bus: from now on the trace records calls on this number
    };

    static constexpr int limit = 1024; ///< numbers from here on pass through; the bus never gets one

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
    static inline std::array<std::atomic<std::uint8_t>, limit + 1>
        known {};                                       // from -1, the result of a failed open
    static inline std::atomic<std::uint8_t> unknown {}; // of all other numbers; stays 0
    std::atomic<std::uint8_t>& flags;
};

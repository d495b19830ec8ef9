#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/Router_Spartan6Registers.h"

/** A chip with a register pointer: the first byte written sets it, every further byte read or written advances it. */
struct Chip
{
    bool absent;
    std::uint8_t pointer;
    std::uint8_t registers[256];
};

/** What goes wrong on the bus from the moment of `Board::arm`. */
enum class BusFault : std::uint8_t
{
    none,
    nack,       ///< the k-th call fails with ENXIO
    shortCount, ///< the k-th call, if it is a write or read, takes or delivers one byte less than asked
    lockUp      ///< the k-th call and all after it fail with ETIMEDOUT
};

/** The whole state of the board, in a fixed layout for a file. All zero is the board after power-on, complete and
    without faults.
*/
struct BoardState
{
    static constexpr std::size_t crosspointEnd = spartan6::lastSink + 1;
    static constexpr std::uint8_t dac1Channel = 0x20, dac2Channel = 0x08;
    static constexpr std::uint8_t wrongForEver = 255;

    bool busAbsent; ///< there is no bus node: opening it fails with ENOENT
    bool muxAbsent;
    std::uint8_t muxMask; ///< the channels that are connected
    Chip dac1, dac2, router;

    std::uint32_t measuredWord;             ///< what writing 0x01 to router register 0x2C puts into 0x28-0x2B
    bool clockRefused;                      ///< writes of 0x27 are lost: it reads its old value
    std::uint8_t wrongReads[crosspointEnd]; ///< how often each crosspoint register still reads back wrong

    BusFault fault;
    std::uint32_t faultAt; ///< k, from 1
    std::uint32_t calls;   ///< open, address, write and read calls since the fault was armed

    /** Puts the board into the state of this name: "fresh"; "configured" (as the application leaves it); "no-dac1",
        "no-router", "no-mux" and "no-bus" (configured, but without this part). Another name returns false and changes
        nothing.
    */
    bool setUp (std::string_view name);
};

/** The kernel's answer: a count, or -1 and the errno. */
struct BusResult
{
    int value;
    int error;
};

/** The bus behind an i2c-dev descriptor: an I2C switch at 0x77, two DACs at 0x18 behind its channels 0x20 and 0x08, and
    the FPGA router at 0x5A. Knows nothing of libc's calls. One thread at a time.

    Each call leaves one line in the trace:

        open /dev/i2c-2
        address 77
        write 02 81
        read 2 -> 33 C3
        close 3

    Addresses and data are upper-case hexadecimal, two digits a byte. Counts and descriptors are decimal. The line of a
    failed call ends in " ! " and the errno's name ("read 1 ! ENXIO"). The line of a call that takes or delivers less
    than asked ends in " ! short" ("read 2 -> 33 ! short", "read 1 ! short").
*/
class Board
{
public:
    static constexpr auto busPath = "/dev/i2c-2";
    static constexpr std::uint8_t muxAddress = 0x77, dacAddress = 0x18, routerAddress = 0x5A;

    /** The state must outlive the board. */
    explicit Board (BoardState& boardState)
        : state (boardState)
    {
    }

    /** Returns `descriptor`, which is then open, or -1. */
    BusResult open (int descriptor);

    /** I2C_SLAVE: 0, or -1 with EINVAL for more than 7 bits. Only the transfer shows that a chip is absent. */
    BusResult select (int descriptor, unsigned long address);

    /** A write without acknowledgement changes nothing. All bytes of a short write arrive, except the last. */
    BusResult write (int descriptor, const std::uint8_t* data, std::size_t size);
    BusResult read (int descriptor, std::uint8_t* data, std::size_t size);

    /** No fault counts or fails this call. -1 with EBADF for a descriptor that is not open. */
    BusResult close (int descriptor);

    /** The fault happens at the k-th call from now (from 1), of open, select, write and read together. */
    void arm (BusFault fault, std::uint32_t k);

    /** The crosspoint register (0x01 to 0x1F) reads back wrong so many times (or `BoardState::wrongForEver`). */
    void misreadCrosspoint (std::uint8_t sinkRegister, std::uint8_t times = BoardState::wrongForEver);

    /** Adds a line to the trace, also for a call that never reached the bus (the close of a stale descriptor). */
    BusResult record (std::string line, BusResult result);

    static std::string hex (unsigned long value);                        ///< at least two digits
    static std::string hex (const std::uint8_t* data, std::size_t size); ///< with a space before each byte

    BoardState& state;
    std::vector<std::string> trace;

private:
    int errorOfNextCall();
    int errorOfTransfer (int descriptor);
    std::size_t countOfTransfer (std::size_t size) const;
    BusResult recordTransfer (std::string line, std::size_t size, std::size_t count);
    std::vector<Chip*> answering (std::uint8_t address);
    bool somebodyAnswers (std::uint8_t address);
    void storeInRouter (std::uint8_t number, std::uint8_t value);
    std::uint8_t loadFrom (Chip& chip);

    std::map<int, std::uint8_t> addresses; // of each open descriptor
};

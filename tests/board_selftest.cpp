// The simulated board itself, because other tests rely on its answers.
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "simulator/boardFrontEnd.h"

namespace
{
constexpr int bus = 3; // any number, because the model only compares it
using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

struct SimulatedBoard : testing::Test
{
    void write (const Bytes& bytes) { model.write (bus, bytes.data(), bytes.size()); }

    BoardState state {};
    Board model { state };
};

TEST_F (SimulatedBoard, doesWhatTheRouterDoesOnAWrite)
{
    // The register, its value before, pairs of register and value that are written, and its value after them.
    const std::tuple<const char*, std::uint8_t, std::uint8_t, Bytes, std::uint8_t> rows[] = {
        { "reset clears the last route", 0x1F, 7, { 0x22, 0xFF }, 0 },
        { "reset leaves what is no route", 0x20, 7, { 0x22, 0xFF }, 7 },
        { "another value resets nothing", 0x1F, 7, { 0x22, 0x00 }, 7 },
        { "hold release alone clears nothing", 0x69, 1, { 0x65, 0x00 }, 1 },
        { "no measurement without the latch", 0x28, 9, { 0x2C, 0x00 }, 9 },
        { "BNC1 errors at the pulse's end", 0x51, 5, { 0x61, 0x02, 0x61, 0x00 }, 0 },
        { "BNC1 errors not before", 0x51, 5, { 0x61, 0x02 }, 5 },
        { "BNC1's pulse leaves BNC2", 0x52, 5, { 0x61, 0x02, 0x61, 0x00 }, 5 },
        { "BNC2 errors at the pulse's end", 0x53, 5, { 0x61, 0x04, 0x61, 0x00 }, 0 },
    };

    for (const auto& [what, number, before, writes, after] : rows)
    {
        state.setUp ("fresh");
        state.router.registers[number] = before;
        model.open (bus);
        model.select (bus, 0x5A);

        for (std::size_t i = 0; i < writes.size(); i += 2)
            write ({ writes[i], writes[i + 1] });

        EXPECT_EQ (state.router.registers[number], after) << what;
    }
}

TEST_F (SimulatedBoard, failsTheCallThatATestChooses)
{
    const std::string begin[] = { "open /dev/i2c-2", "address 5A", "write 05 07 08" };
    const std::tuple<BusFault, std::uint32_t, Lines> rows[] = {
        { BusFault::shortCount, 3, { begin[0], begin[1], begin[2] + " ! short", "write 05", "read 2 -> 07 00" } },
        { BusFault::shortCount, 5, { begin[0], begin[1], begin[2], "write 05", "read 2 -> 07 ! short" } },
        { BusFault::lockUp, 4, { begin[0], begin[1], begin[2], "write 05 ! ETIMEDOUT", "read 2 ! ETIMEDOUT" } },
    };

    for (const auto& [fault, k, expected] : rows)
    {
        state.setUp ("fresh");
        model.close (bus);
        model.trace.clear();
        model.arm (fault, k);
        model.open (bus);
        model.select (bus, 0x5A);
        write ({ 0x05, 0x07, 0x08 });
        write ({ 0x05 });
        std::uint8_t bytes[2] {};
        model.read (bus, bytes, 2);
        EXPECT_EQ (model.trace, expected) << "fault " << static_cast<int> (fault) << " at call " << k;
    }
}

TEST (BoardBehindTheBusNode, answersLikeTheKernel)
{
    board().state.setUp ("no-router");
    board().trace.clear();
    char byte = 0;
    const int fd = ::open ("/dev/i2c-2", O_RDWR);
    ASSERT_GE (fd, 0);
    EXPECT_EQ (::ioctl (fd, I2C_SLAVE, 0x5A), 0); // absent, but only a transfer shows that
    EXPECT_EQ (::read (fd, &byte, 1), -1);
    EXPECT_EQ (::ioctl (fd, I2C_SLAVE, 0x80), -1);
    EXPECT_EQ (errno, EINVAL);
    EXPECT_EQ (::ioctl (fd, I2C_RDWR, nullptr), -1);
    EXPECT_EQ (errno, ENOTTY);
    EXPECT_EQ (::close (fd), 0);
    EXPECT_EQ (::close (fd), -1);
    EXPECT_EQ (errno, EBADF);

    const auto closeLine = "close " + std::to_string (fd);
    EXPECT_EQ (board().trace, (Lines { "open /dev/i2c-2", "address 5A", "read 1 ! ENXIO", "address 80 ! EINVAL",
                                       "ioctl 707 ! ENOTTY", closeLine, closeLine + " ! EBADF" }));
}
}

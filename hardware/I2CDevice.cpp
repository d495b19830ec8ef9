#include "hardware/I2CDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace
{
constexpr unsigned char multiplexerAddress = 0x77;
constexpr int longestTransfer = 255; // bytes, without the register number

constexpr auto openErrorText = "open error! ";
constexpr auto addressErrorText = "address error: ";
constexpr auto releaseAddressErrorText = "address error! ";

// The numbers are fixed tags, not error codes. They tell the three failing writes apart in the log of a unit.
constexpr auto selectErrorText = "Write I2C-Error 1: ";
constexpr auto releaseErrorText = "Write I2C-Error 357833: ";
constexpr auto writeErrorText = "Write I2C-Error 2123: ";

constexpr auto sendRegisterErrorText = "Error while sending I2C register address: ";
constexpr auto readErrorText = "Error while reading I2C register value: ";
constexpr auto closingText = "ERROR: closing ";

// Two log lines print this byte as a character, even if it is unprintable, because existing logs look like that. A zero
// byte prints nothing.
constexpr juce::juce_wchar asCharacter (unsigned char code) noexcept
{
    return static_cast<juce::juce_wchar> (code);
}

int selectAddress (int fd, unsigned char address)
{
    // The kernel reads an unsigned long. The upper half of a narrower argument would be undefined.
    return ::ioctl (fd, I2C_SLAVE, static_cast<unsigned long> (address));
}

bool isTransferable (const unsigned char* data, int len)
{
    return data != nullptr && len > 0 && len <= longestTransfer;
}
}

juce::ReadWriteLock I2CDevice::i2cLock;

I2CDevice::I2CDevice (std::string path, char chipAddress, char channelMask)
    : busPath (std::move (path))
    , address (static_cast<unsigned char> (chipAddress))
    , muxMask (static_cast<unsigned char> (channelMask))
{
    // Protects no field. It delays construction until a running transfer has ended.
    const juce::ScopedWriteLock lock (i2cLock);
}

I2CDevice::~I2CDevice()
{
    const juce::ScopedWriteLock lock (i2cLock);
    ::close (fd); // unconditional, on purpose: even descriptor 0 that was never opened, or a closed one
}

bool I2CDevice::isReady()
{
    return ready;
}

/** Logs one failed step if `log`, clears the ready flag and returns false. Arguments may contain strerror (errno),
    because they are evaluated right after the failing call. Without `log` it allocates nothing.
*/
template <typename... Parts>
bool I2CDevice::fail (bool log, const Parts&... parts)
{
    if (log)
    {
        juce::String line;
        (line << ... << parts);
        juce::Logger::writeToLog (line);
    }

    ready = false;
    return false;
}

bool I2CDevice::init_transfer (bool log)
{
    auto ok = true;

    // A failed step does not end the sequence, because the chip may be connected even if the multiplexer is silent.
    if (muxMask != 0)
    {
        if (selectAddress (fd, multiplexerAddress) < 0)
            ok = fail (log, deviceName, " ", addressErrorText, fd, " ", std::strerror (errno));

        if (::write (fd, &muxMask, 1) != 1)
            ok = fail (log, deviceName, " ", selectErrorText, fd, " - ", asCharacter (muxMask), " ",
                       std::strerror (errno));
    }

    if (selectAddress (fd, address) < 0)
        ok = fail (log, deviceName, " ", addressErrorText, fd, " ", asCharacter (address), " ",
                   std::strerror (errno));

    return ok;
}

bool I2CDevice::deinit_transfer (bool log)
{
    if (muxMask == 0)
        return true;

    auto ok = true;

    if (selectAddress (fd, multiplexerAddress) < 0)
        ok = fail (log, deviceName, " ", releaseAddressErrorText, busPath, " MUX: ", muxMask, " ADR: ", address,
                   " ", std::strerror (errno));

    if (::write (fd, &muxIdle, 1) != 1)
        ok = fail (log, deviceName, " ", releaseErrorText, fd, " ", std::strerror (errno));

    return ok;
}

bool I2CDevice::write_I2C (unsigned char reg, unsigned char* data, int len, bool log)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isTransferable (data, len))
        return false;

    init_transfer (log); // result ignored on purpose: a mute is tried even if the multiplexer seems dead

    std::array<unsigned char, longestTransfer + 1> frame {};
    frame[0] = reg;
    std::copy_n (data, len, frame.begin() + 1);
    const auto frameLength = len + 1;

    auto ok = true;
    const auto written = static_cast<int> (::write (fd, frame.data(), static_cast<size_t> (frameLength)));

    if (written != frameLength)
        ok = fail (log, deviceName, " ", writeErrorText, busPath, " MUX: ", muxMask, " ADR: ", address,
                   " DATA: ", reg, " wanted to write ", frameLength, " but wrote ", written, " because ",
                   written == -1 ? std::strerror (errno) : "");

    deinit_transfer (log); // result ignored on purpose: a failed release shows only in the ready flag

    if (! ok)
        ::close (fd);

    return ok;
}

bool I2CDevice::write_I2C (unsigned char reg, unsigned char value, bool log)
{
    return write_I2C (reg, &value, 1, log);
}

bool I2CDevice::read_I2C_array (unsigned char reg, unsigned char* buf, int len, bool log)
{
    const juce::ScopedWriteLock lock (i2cLock);

    if (! isTransferable (buf, len))
        return false;

    // On purpose, selection and release of a read always log, unlike those of a write: the cause of an untrustworthy
    // value must be in the log.
    auto ok = init_transfer (true);

    if (ok)
    {
        buf[0] = reg;

        if (::write (fd, buf, 1) != 1)
            ok = fail (log, deviceName, " ", sendRegisterErrorText, fd, " ", buf[0], " ", std::strerror (errno));

        if (::read (fd, buf, static_cast<size_t> (len)) != len)
            ok = fail (log, deviceName, " ", readErrorText, fd, " ", buf[0], " ", std::strerror (errno));
    }

    if (! deinit_transfer (true))
        ok = false;

    if (! ok)
    {
        fail (log, closingText, deviceName);
        ::close (fd);
    }

    return ok;
}

unsigned char I2CDevice::read_I2C (unsigned char reg, bool log)
{
    unsigned char value = 0;
    read_I2C_array (reg, &value, 1, log);
    return value;
}

bool I2CDevice::openAndSelect()
{
    if (ready)
    {
        ::close (fd);
        ready = false;
    }

    fd = ::open (busPath.c_str(), O_RDWR);

    if (fd < 0)
        return fail (true, openErrorText, fd);

    ready = init_transfer (true);
    return ready;
}

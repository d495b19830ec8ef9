#pragma once

#include <string>

#include <juce_core/juce_core.h>

/** The base of every chip on the unit's I2C bus. A transfer selects the chip's multiplexer channel, makes plain write()
    and read() calls on a Linux i2c-dev node, and releases the channel.

    Nothing is thrown, retried or waited for. A failed step makes the device not ready. Then only resetAndInit() makes
    it usable again. A close keeps the descriptor's number, so a device may close that number several times.
*/
class I2CDevice
{
public:
    /** Serialises the bus traffic of the whole process. All chips share one node and one multiplexer, and its
        selection must not change during another chip's transfer. Always locked for writing. Re-entrant.
    */
    static juce::ReadWriteLock i2cLock;

    /** Creates a closed device, not ready, without bus traffic. Takes i2cLock. `busPath` is the bus node, `address` the
        chip's 7-bit address, `muxMask` its multiplexer channel (one bit per channel; 0: directly on the bus).
    */
    I2CDevice (std::string busPath, char address, char muxMask);

    /** Takes i2cLock and closes the descriptor unconditionally: descriptor 0 if the device was never opened, and a
        second time if a subclass has already closed it.
    */
    virtual ~I2CDevice();

    /** Opens the bus and brings the chip into a known state. Returns 1 if every step succeeded, 0 if a transfer failed
        after the chip was addressed, -1 if the chip could not be addressed.
    */
    virtual int resetAndInit() = 0;

    /** True if the bus is open and no step has failed since it was opened. Takes no lock. */
    virtual bool isReady();

    /** Selects the chip's multiplexer channel and addresses the chip. The caller holds i2cLock. False, with the device
        no longer ready, if any step failed. The later steps still run. Each failed step logs a line if `log`.
        Success does not make the device ready.
    */
    bool init_transfer (bool log);

    /** Disconnects all multiplexer channels. True without traffic for a chip directly on the bus. The caller holds
        i2cLock. Failures as for init_transfer. The bus stays addressed to the multiplexer.
    */
    bool deinit_transfer (bool log);

    /** Writes `len` bytes (1 to 255) to consecutive registers from `reg` on, in one frame, even if selecting or
        addressing failed. Takes i2cLock. False, with the device no longer ready and its descriptor closed, if the
        frame was not written whole. False without traffic for a null pointer or another length. A failed selection
        or release shows only in isReady(), not in the result. Logs failures only if `log`.
    */
    bool write_I2C (unsigned char reg, unsigned char* data, int len, bool log);

    /** Writes one register, as above. */
    bool write_I2C (unsigned char reg, unsigned char value, bool log);

    /** Reads `len` bytes (1 to 255) from register `reg` on: one write of the register number, then one read.
        Takes i2cLock. False, with the device no longer ready and its descriptor closed, if any step failed, the
        release included. False without traffic for a null pointer or another length.

        The register number is sent from `buf`, so it stays in the first byte if the read delivers nothing.
        `log` does not apply to selection and release: their failures are always logged.
    */
    bool read_I2C_array (unsigned char reg, unsigned char* buf, int len, bool log);

    /** Returns one register's value. A failure shows only in isReady(). The value then means nothing; it is 0 if the
        chip could not be addressed.
    */
    unsigned char read_I2C (unsigned char reg, bool log);

protected:
    /** The first half of every resetAndInit(): closes a ready device, opens the bus node and addresses the chip.
        The caller holds i2cLock. False, with a log line and not ready, if opening or addressing failed. After a
        failed addressing the bus stays open and the multiplexer is not released.
    */
    bool openAndSelect();

    static constexpr int openFailed = -1; ///< resetAndInit's result if openAndSelect failed

    int fd = 0; ///< result of the last open, kept after a close
    const std::string busPath;
    const unsigned char address; // unsigned like char on the unit, so that a PC sends and logs the same numbers
    const unsigned char muxMask;
    bool ready = false;
    juce::String deviceName;         ///< begins the log lines; set by the subclass's constructor
    const unsigned char muxIdle = 0; ///< the mask after a transfer: all channels off

private:
    template <typename... Parts>
    bool fail (bool log, const Parts&... parts);

    JUCE_DECLARE_NON_COPYABLE (I2CDevice)
};

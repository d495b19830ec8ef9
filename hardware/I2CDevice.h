#pragma once

#include <string>

#include <juce_core/juce_core.h>

/** The base of every chip on the unit's I2C bus: register transfers made of plain write() and read() calls on a
    Linux i2c-dev node, each one bracketed by selecting and releasing the chip's channel of the multiplexer.

    Nothing is thrown, retried or waited for. A failed step makes the device not ready, and from then on only
    resetAndInit() makes it usable again. The descriptor's number is kept after a close, so a device closes the
    number that it holds, 0 if it was never opened, more than once: see the destructors.
*/
class I2CDevice
{
public:
    /** Serialises the bus traffic of the whole process: all chips share one node and one multiplexer, whose
        selection must not move within another chip's transfer. Only ever locked for writing; re-entrant.
    */
    static juce::ReadWriteLock i2cLock;

    /** A closed device, not ready. `busPath` is the bus node, `address` the chip's 7-bit address, `muxMask` the
        multiplexer channel that it sits behind, one bit per channel; 0: directly on the bus. No bus traffic.
    */
    I2CDevice (std::string busPath, char address, char muxMask);

    /** Takes i2cLock and closes the descriptor, whatever it is: descriptor 0 if the device was never opened, and
        once more what a subclass has already closed.
    */
    virtual ~I2CDevice();

    /** Opens the bus and brings the chip into a known state: 1 if every step succeeded, 0 if a transfer failed
        after the chip had been addressed, -1 if it did not come so far.
    */
    virtual int resetAndInit() = 0;

    /** Whether the bus is open and no step has failed since. Takes no lock. */
    virtual bool isReady();

    /** Selects the chip's multiplexer channel and addresses the chip. The caller holds i2cLock. False, with the
        device no longer ready, if any step failed; the steps after it are made all the same, and each failed one
        has a line if `log`. Success does not make the device ready.
    */
    bool init_transfer (bool log);

    /** Disconnects all multiplexer channels; true without any traffic for a chip that is not behind it. The caller
        holds i2cLock. Failures as for init_transfer. The bus stays addressed to the multiplexer.
    */
    bool deinit_transfer (bool log);

    /** Writes `len` bytes (1 to 255) to consecutive registers starting at `reg`, in one frame, also if selecting or
        addressing failed. Takes i2cLock. False, with the device no longer ready and its descriptor closed, if the
        frame was not written whole; false without any traffic for a null pointer or another length. A failed
        selection or release leaves the result alone and shows only in isReady(). Lines only if `log`.
    */
    bool write_I2C (unsigned char reg, unsigned char* data, int len, bool log);

    /** The same for one register. */
    bool write_I2C (unsigned char reg, unsigned char value, bool log);

    /** Reads `len` bytes (1 to 255) starting at register `reg`: one write of the register number, then one read.
        Takes i2cLock. False, with the device no longer ready and its descriptor closed, if any step failed, the
        release included; false without any traffic for a null pointer or another length.

        The buffer doubles as the address frame, so after a failed read its first byte is the register number.
        `log` is for the lines of the two bus calls; selection and release are always logged.
    */
    bool read_I2C_array (unsigned char reg, unsigned char* buf, int len, bool log);

    /** One register's value. After a failure, which shows only in isReady(), a value of no meaning: 0 if the chip
        could not even be addressed.
    */
    unsigned char read_I2C (unsigned char reg, bool log);

protected:
    /** The first half of every resetAndInit(): closes a ready device, opens the bus node and addresses the chip.
        The caller holds i2cLock. False, with a line and not ready, if either fails; a bus that could be opened
        then stays open and selected.
    */
    bool openAndSelect();

    static constexpr int openFailed = -1; ///< resetAndInit's result if openAndSelect failed

    int fd = 0; ///< as of the last open, kept after a close
    const std::string busPath;
    const unsigned char address; // unsigned, as char is on the unit: a PC then calls and logs the same
    const unsigned char muxMask;
    bool ready = false;
    juce::String deviceName;         ///< heads the log lines; assigned by the subclass's constructor
    const unsigned char muxIdle = 0; ///< the mask after a transfer: all channels off

private:
    template <typename... Parts>
    bool fail (bool log, const Parts&... parts);

    JUCE_DECLARE_NON_COPYABLE (I2CDevice)
};

#pragma once

#include "hardware/I2CDevice.h"
#include "hardware/RouterTypes.h"

/** The interface to the FPGA that routes the unit's audio: the crosspoint, clock selection, MADI and status.

    Every operation except read_I2C has a harmless default. It logs once per object that it is not implemented and
    returns a fixed value, without lock or bus traffic. A concrete router overrides the operations of its hardware and
    documents their locks and failure results. Create only concrete routers; they may be deleted through this class.
*/
class Router : public I2CDevice
{
public:
    /** Arguments as for I2CDevice. Logs a line. */
    Router (std::string busPath, char address, char muxMask);

    /** Reports itself as not implemented, even below a concrete router. */
    ~Router() override;

    int resetAndInit() override { return notImplemented (__func__, 0); }

    /** `state` here, in hasClockSignal and in isMuted: a status byte that was read before, or 0 to read it now. */
    virtual bool isLocked (CLOCKSOURCES /*source*/, char /*state*/ = 0) { return notImplemented (__func__, true); }
    virtual bool hasClockSignal (CLOCKSOURCES /*source*/, char /*state*/ = 0)
    {
        return notImplemented (__func__, true);
    }

    /** Connect feeds `sink` from `source`. Disconnect feeds it from nothing. */
    virtual bool Connect (AUDIONAMES /*source*/, AUDIONAMES /*sink*/) { return notImplemented (__func__, true); }
    virtual bool Disconnect (AUDIONAMES /*sink*/) { return notImplemented (__func__, true); }

    virtual bool SelectClock (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }
    virtual CLOCKSOURCES getSelectedClock() { return notImplemented (__func__, CLOCK_INTERNAL); }

    /** The measured rate as a code: 1 = 44.1 kHz, 2 = 48, 3 = 88.2, 4 = 96, 5 = 176.4, 6 = 192, 7 = none of these. */
    virtual int GetActualClockValue() { return notImplemented (__func__, 2); }
    virtual float GetActualClockValueHz() { return notImplemented (__func__, 48000.0f); }

    using I2CDevice::read_I2C;

    /** One register's value, with errors logged. */
    virtual unsigned char read_I2C (unsigned char reg) { return read_I2C (reg, true); }

    virtual int getFPGAimage_Majorversion() { return notImplemented (__func__, 99); }
    virtual int getFPGAimage_Minorversion() { return notImplemented (__func__, 999); }

    virtual int setDirections (int /*count*/) { return notImplemented (__func__, 1); }
    virtual int getDirections() { return notImplemented (__func__, 1); }

    /** In nanoseconds. */
    virtual int getPhaseShiftinns (CLOCKSOURCES /*source*/) { return notImplemented (__func__, 0); }

    /** getMute tells what Mute and Unmute have set. isMuted and getglobalmute tell what the FPGA does. */
    virtual bool getMute (CLOCKSOURCES /*source*/) { return notImplemented (__func__, false); }
    virtual bool isMuted (CLOCKSOURCES /*source*/, char /*state*/ = 0) { return notImplemented (__func__, false); }
    virtual bool getglobalmute() { return notImplemented (__func__, false); }

    virtual bool enable_madi() { return notImplemented (__func__, true); }
    virtual bool disable_madi() { return notImplemented (__func__, true); }
    virtual int get_number_of_rx_channels() { return notImplemented (__func__, 57); }
    virtual bool set_number_of_tx_channels (int /*count*/) { return notImplemented (__func__, true); }
    virtual bool disable_madi_out_BNC1 (bool /*disable*/) { return notImplemented (__func__, true); }
    virtual bool disable_madi_out_BNC2 (bool /*disable*/) { return notImplemented (__func__, true); }
    virtual int getBitError_BNC1() { return notImplemented (__func__, 9999); }
    virtual int getBitError_BNC2() { return notImplemented (__func__, 9999); }
    virtual bool reset_BitError_BNC1() { return notImplemented (__func__, true); }
    virtual bool reset_BitError_BNC2() { return notImplemented (__func__, true); }
    virtual bool SetMADI_MODE (bool /*flag*/, MADIMODE /*mode*/) { return notImplemented (__func__, true); }
    virtual bool SetSpeedMode (SPEEDMODE /*mode*/) { return notImplemented (__func__, true); }

    /** Select the source of the cue (monitoring) output and its TDM line, 1 to 8. */
    virtual bool CUE_set_to_internal() { return notImplemented (__func__, true); }
    virtual bool CUE_set_to_external() { return notImplemented (__func__, true); }
    virtual bool CUE_Select_TDMLine (char /*line*/) { return notImplemented (__func__, true); }

    /** Clears the latches that the following operations read. A "Hold" latch is set by an event, a "Changed" latch by
        a change of state. It stays set until it is cleared.
    */
    virtual void resetClockAndMuteHold() { reportNotImplemented (__func__); }
    virtual bool anyMutedChanged() { return notImplemented (__func__, false); }
    virtual bool anyLockedChanged() { return notImplemented (__func__, false); }
    virtual bool isLockLostHold (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }
    virtual bool isLockedChanged (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }
    virtual bool isMutedHold (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }
    virtual bool isMutedChanged (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }

    /** Status masks: source s is bit s - 1. The spelling of getMutedtate is required, because its callers use it. */
    virtual unsigned char getLockedState() { return notImplemented<unsigned char> (__func__, 0xFF); }
    virtual unsigned char getMutedtate() { return notImplemented<unsigned char> (__func__, 0); }
    virtual unsigned char getSignalState() { return notImplemented<unsigned char> (__func__, 0xFF); }

    virtual bool Unmute (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }
    virtual bool Mute (CLOCKSOURCES /*source*/) { return notImplemented (__func__, true); }

protected:
    // No operation reads these. They stay for the other applications that share this class.
    int reserved1 = 0;
    int reserved2 = 0;
    bool reserved3 = false;
    bool reserved4 = false;

private:
    void reportNotImplemented (const char* operation);

    template <typename Result>
    Result notImplemented (const char* operation, Result result)
    {
        reportNotImplemented (operation);
        return result;
    }

    juce::StringArray notImplementedReported; ///< the operations that have logged their line

    JUCE_DECLARE_NON_COPYABLE (Router)
};

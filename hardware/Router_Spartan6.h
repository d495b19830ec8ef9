#pragma once

#include "hardware/Router.h"

/** The router of this unit: byte-wide registers of a Spartan-6 FPGA, directly on the bus.

    Every operation except the three of the cue holds i2cLock for its whole sequence. While the device is not ready, an
    operation marked "guarded" returns the stated value without traffic. The others still try their transfers; with a
    dead bus their values mean nothing, and isReady() is false. Status masks and latches are guarded with 0 and false.
    A source outside 1 to 8 has no bit in them and is false.
*/
class Router_Spartan6 : public Router
{
public:
    /** As Router's, with one more log line. No bus traffic. Call resetAndInit() before any other operation. */
    Router_Spartan6 (std::string busPath, char address, char muxMask);

    /** Closes the descriptor. I2CDevice then closes it a second time. */
    ~Router_Spartan6() override;

    /** Opens the bus and resets the FPGA. Returns 1; 0 if a write failed; -1, not ready, if it could not be reached. */
    int resetAndInit() override;

    /** True if the device is ready and the sink's register reads back as written. If the first read differs, waits 5 s
        with the lock held and reads once more. False without traffic for a source outside 0 to 38 or a sink outside
        0 to 39. An endpoint that is no source disconnects `sink`.
    */
    bool Connect (AUDIONAMES source, AUDIONAMES sink) override;

    /** Returns the ready flag after the write; false without traffic for a sink outside 0 to 39. An endpoint that is no
        sink writes 0 to register 0.
    */
    bool Disconnect (AUDIONAMES sink) override;

    /** Switches the clock with everything muted, then waits 5 s with the lock held. True if the device is ready and the
        FPGA then confirms the source. Every number is sent, as its low 8 bits.
    */
    bool SelectClock (CLOCKSOURCES source) override;

    /** Guarded, even before it takes the lock: 0xFF. */
    CLOCKSOURCES getSelectedClock() override;

    /** Guarded: 7. */
    int GetActualClockValue() override;

    /** In Hz. Guarded: -1. The FPGA's error reports are -2, -3, -4 and 0. 0 can also mean that there is nothing to
        measure.
    */
    float GetActualClockValueHz() override;

    int getFPGAimage_Majorversion() override;
    int getFPGAimage_Minorversion() override;

    /** Enables the first `count` directions in groups of eight, one bit per group. Returns the mask and writes its low
        byte. The mask has 1 bit for -6 to 8, one more for each further eight, up to 31 bits, and none below -6.
        Returns 0 without traffic if `count` equals the count of the last call.
    */
    int setDirections (int count) override;

    /** The phase of source 1 to 7. For another number the calculation, in 8 bits, leads to unrelated registers.
        Reading has no effect on the FPGA.
    */
    int getPhaseShiftinns (CLOCKSOURCES source) override;

    /** Mute and Unmute are always true. A source outside 0 to 7 has no bit in the mute control: they rewrite it
        unchanged, and getMute is false.
    */
    bool Mute (CLOCKSOURCES source) override;
    bool Unmute (CLOCKSOURCES source) override;
    bool getMute (CLOCKSOURCES source) override;
    bool getglobalmute() override;

    /** A `state` other than 0 is tested as given, without traffic or lock, even while the device is not ready. */
    bool isLocked (CLOCKSOURCES source, char state = 0) override;
    bool hasClockSignal (CLOCKSOURCES source, char state = 0) override;
    bool isMuted (CLOCKSOURCES source, char state = 0) override;

    unsigned char getLockedState() override;
    unsigned char getMutedtate() override;
    unsigned char getSignalState() override;

    void resetClockAndMuteHold() override;
    bool anyMutedChanged() override;
    bool anyLockedChanged() override;
    bool isLockLostHold (CLOCKSOURCES source) override;
    bool isLockedChanged (CLOCKSOURCES source) override;
    bool isMutedHold (CLOCKSOURCES source) override;
    bool isMutedChanged (CLOCKSOURCES source) override;

    /** Always true. Enabling also resets both bit-error counters. */
    bool enable_madi() override;
    bool disable_madi() override;

    /** 0 while the first BNC input has no signal. */
    int get_number_of_rx_channels() override;

    /** True; false without traffic for a count outside 1 to 64. */
    bool set_number_of_tx_channels (int count) override;

    /** True if the output reads back as requested. The request turns getBitError on or off, even if it fails. */
    bool disable_madi_out_BNC1 (bool disable) override;
    bool disable_madi_out_BNC2 (bool disable) override;

    /** 0 to 65535. 0 unless the last request enabled the output and the input of this BNC has a signal. */
    int getBitError_BNC1() override;
    int getBitError_BNC2() override;

    /** Always true. */
    bool reset_BitError_BNC1() override;
    bool reset_BitError_BNC2() override;

    /** Guarded: false. True when ready, even for a mode that is ignored. With `flag`, sets the flag and keeps the mode.
        Without, sets a known mode and clears the flag.
    */
    bool SetMADI_MODE (bool flag, MADIMODE mode) override;

    /** Guarded: false. True when ready, even for a mode that is ignored. */
    bool SetSpeedMode (SPEEDMODE mode) override;

    /** Return the ready flag after the write. No lock covers read and write, so another thread may come in between. */
    bool CUE_set_to_internal() override;
    bool CUE_set_to_external() override;

    /** As the two above. Lines count modulo 8: line 0 is line 8 and line 9 is line 1. */
    bool CUE_Select_TDMLine (char line) override;

private:
    // Of these, only readIfReady holds i2cLock for its whole sequence.
    unsigned char readIfReady (unsigned char reg);
    unsigned char modify (unsigned char reg, int bitsToClear, int bitsToSet);
    void pulse (unsigned char reg, unsigned char value, bool log);
    unsigned char changeMadiControl (const char* operation, int bitsToClear, int bitsToSet);
    bool disableMadiOutput (const char* operation, int offBit, bool disable);
    int readBitErrors (CLOCKSOURCES input, unsigned char highByte, unsigned char lowByte);
    void resetBitErrors (int resetBit);

    CLOCKSOURCES selectedClock = CLOCK_INTERNAL; ///< the last source that the FPGA confirmed to SelectClock
    int directionsCache = -1;                    ///< the last count; -1 at first, a count that callers do not use
    bool bnc1OutputEnabled = false;              ///< as last requested
    bool bnc2OutputEnabled = false;

    JUCE_DECLARE_NON_COPYABLE (Router_Spartan6)
};

#pragma once

#include "hardware/Router.h"

/** The router of this unit: byte-wide registers of a Spartan-6 FPGA, directly on the bus.

    Every operation but the three of the cue holds i2cLock for its whole sequence. Those marked "guarded" return the
    value given, without traffic, while the device is not ready; all others try their transfers all the same, and
    with a dead bus their values mean nothing: isReady() tells. Status masks and latches are guarded with 0 and
    false; a source outside 1 to 8 has no bit in them and is false.
*/
class Router_Spartan6 : public Router
{
public:
    /** As Router's, with one more line. No bus traffic; resetAndInit() comes before any use. */
    Router_Spartan6 (std::string busPath, char address, char muxMask);

    /** Closes the descriptor, which I2CDevice then closes a second time. */
    ~Router_Spartan6() override;

    /** Opens the bus and resets the FPGA: 1, or 0 if a write failed; -1, not ready, if it could not be reached. */
    int resetAndInit() override;

    /** True if the sink's register reads back as written. If it does not at first, the FPGA has 5 s to get there,
        and all bus traffic of the process waits with it. False without traffic for a source above 38 or negative or
        a sink outside 0 to 39. An endpoint that is no source disconnects the sink.
    */
    bool Connect (AUDIONAMES source, AUDIONAMES sink) override;

    /** The ready flag afterwards; false without traffic for a sink outside 0 to 39. What is no sink writes 0 to
        register 0.
    */
    bool Disconnect (AUDIONAMES sink) override;

    /** Switches the clock with everything muted, waits 5 s, holding the lock, and returns whether the FPGA confirms
        the source. Any number is handed to it, in 8 bits.
    */
    bool SelectClock (CLOCKSOURCES source) override;

    /** Guarded, before the lock is even taken: 0xFF. */
    CLOCKSOURCES getSelectedClock() override;

    /** Guarded: 7. */
    int GetActualClockValue() override;

    /** In Hz; 0 if there is nothing to measure. Guarded: -1. -2, -3, -4 and again 0 are the FPGA's error reports. */
    float GetActualClockValueHz() override;

    int getFPGAimage_Majorversion() override;
    int getFPGAimage_Minorversion() override;

    /** Enables the first `count` directions, in groups of eight: one bit a group. Returns the mask: 1 bit for 0 to 8, one
        more for every further eight, up to 31 bits; none below -6. Its low byte is written. 0, without traffic, if
        `count` is that of the last call.
    */
    int setDirections (int count) override;

    /** The phase of source 1 to 7. For any other number the value means nothing: that of the register pair to which
        the same arithmetic leads in 8 bits. Reading has no effect on the FPGA.
    */
    int getPhaseShiftinns (CLOCKSOURCES source) override;

    /** Always true. Sources outside 0 to 7 have no bit in the mute control: it is rewritten unchanged. */
    bool Mute (CLOCKSOURCES source) override;
    bool Unmute (CLOCKSOURCES source) override;
    bool getMute (CLOCKSOURCES source) override;
    bool getglobalmute() override;

    /** A `state` other than 0 is tested as it is, without traffic and lock, also while not ready. */
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

    /** False without traffic for a count outside 1 to 64, else true. */
    bool set_number_of_tx_channels (int count) override;

    /** Whether the output reads back as asked for. Its bit errors count from then on, or not, even if it does not. */
    bool disable_madi_out_BNC1 (bool disable) override;
    bool disable_madi_out_BNC2 (bool disable) override;

    /** 0 to 65535; 0 unless the output was last enabled and the input of the same BNC has a signal. */
    int getBitError_BNC1() override;
    int getBitError_BNC2() override;

    /** Always true. */
    bool reset_BitError_BNC1() override;
    bool reset_BitError_BNC2() override;

    /** Guarded: false. True when ready, also for a mode that is ignored. With `flag` only the flag is set, and the
        mode stays; without, a known mode is set and the flag cleared.
    */
    bool SetMADI_MODE (bool flag, MADIMODE mode) override;

    /** Guarded: false. True when ready, also for a mode that is ignored. */
    bool SetSpeedMode (SPEEDMODE mode) override;

    /** The ready flag afterwards. No lock over the sequence: another thread may come between its read and write. */
    bool CUE_set_to_internal() override;
    bool CUE_set_to_external() override;

    /** As the other two. Lines count modulo 8, so line 0 is line 8 and line 9 is line 1. */
    bool CUE_Select_TDMLine (char line) override;

private:
    // None of these takes a lock over its sequence, except readIfReady.
    unsigned char readIfReady (unsigned char reg);
    unsigned char modify (unsigned char reg, int bitsToClear, int bitsToSet);
    void pulse (unsigned char reg, unsigned char value, bool log);
    unsigned char changeMadiControl (const char* operation, int bitsToClear, int bitsToSet);
    bool disableMadiOutput (const char* operation, int offBit, bool disable);
    int readBitErrors (CLOCKSOURCES input, unsigned char highByte, unsigned char lowByte);
    void resetBitErrors (int resetBit);

    CLOCKSOURCES selectedClock = CLOCK_INTERNAL; ///< the last one that SelectClock saw confirmed
    int directionsCache = -1;       ///< the last count set; -1: none, so that the first one is written
    bool bnc1OutputEnabled = false; ///< as last asked for; none until then: no bit errors
    bool bnc2OutputEnabled = false;

    JUCE_DECLARE_NON_COPYABLE (Router_Spartan6)
};

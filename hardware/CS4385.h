#pragma once

#include "hardware/I2CDevice.h"

/** One CS4385 eight-channel DAC: checked and, if need be, reset to the board's configuration, muted, powered down.
    Every operation holds i2cLock for its whole sequence, so that no other chip moves the multiplexer within it.
*/
class CS4385 : public I2CDevice
{
public:
    /** As I2CDevice's. No bus traffic. */
    CS4385 (std::string busPath, char address, char muxMask);

    /** Closes the descriptor, which the base then closes a second time. */
    ~CS4385() override;

    /** Opens the bus and, unless the chip already holds the board's configuration, writes it with all channels
        muted. A chip that holds it gets no write: its channels stay as muted as they are.
        1, or 0 if a transfer failed; -1, not ready, if the bus or the chip could not be reached.
    */
    int resetAndInit() override;

    /** Mutes or unmutes all eight channels. The ready flag afterwards; false without traffic if not ready. */
    bool mute (bool on);

    /** Powers the converter down; only resetAndInit() powers it up again. Results as mute. */
    bool powerDown();

private:
    bool isConfigured();

    JUCE_DECLARE_NON_COPYABLE (CS4385)
};

#pragma once

#include "hardware/I2CDevice.h"

/** One CS4385 eight-channel DAC. Every operation holds i2cLock for its whole sequence, so that no other chip's
    transfer changes the multiplexer meanwhile.
*/
class CS4385 : public I2CDevice
{
public:
    /** Arguments as for I2CDevice. No bus traffic. */
    CS4385 (std::string busPath, char address, char muxMask);

    /** Closes the descriptor. I2CDevice then closes it a second time. */
    ~CS4385() override;

    /** Opens the bus and checks the chip's configuration. If it differs from the board's, writes the board's
        configuration and mutes all channels. Otherwise writes nothing and keeps the mute state.
        Returns 1; 0 if a transfer failed; -1, not ready, if the bus or the chip could not be reached.
    */
    int resetAndInit() override;

    /** Mutes or unmutes all eight channels. Returns the ready flag after the write; false without traffic if the
        device was not ready.
    */
    bool mute (bool on);

    /** Powers the converter down. Only resetAndInit() powers it up again. Results as for mute. */
    bool powerDown();

private:
    bool isConfigured();

    JUCE_DECLARE_NON_COPYABLE (CS4385)
};

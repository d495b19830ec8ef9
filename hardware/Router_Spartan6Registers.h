#pragma once

/** The registers of the FPGA router, each followed by its fields and values. In a status mask, source s of CLOCKSOURCES
    is bit s - 1.
*/
namespace spartan6
{
// The crosspoint: each of its registers holds the source code of one sink.
constexpr unsigned char firstSink = 0x01;
constexpr unsigned char lastSink = 0x1F;
constexpr unsigned char noSource = 0x00;

constexpr unsigned char reset = 0x22; ///< write only: resetNow
constexpr unsigned char resetNow = 0xFF;

constexpr unsigned char measurementRestart = 0x23; ///< write only: restartNow, then 0
constexpr unsigned char restartNow = 0xFF;

constexpr unsigned char cue = 0x24;
constexpr unsigned char cueLine = 0x07; ///< TDM line - 1
constexpr unsigned char cueExternal = 0x08;

constexpr unsigned char directions = 0x25; ///< one bit for each group of eight directions

constexpr unsigned char clockGenerator = 0x26;
constexpr unsigned char generatorOn = 0x15;
constexpr unsigned char generatorOff = 0x00;

constexpr unsigned char selectedClock = 0x27; ///< a CLOCKSOURCES value

constexpr unsigned char measurement = 0x28; ///< the measurement word: four registers, most significant byte first
constexpr unsigned char measurementBytes = 4;

constexpr unsigned char measurementLatch = 0x2C; ///< write only: latchNow, then 0
constexpr unsigned char latchNow = 0x01;

constexpr unsigned char locked = 0x2D;        ///< status mask
constexpr unsigned char signalPresent = 0x2E; ///< status mask
constexpr unsigned char internalClockPresent = 0x20;

constexpr unsigned char globalMute = 0x30;
constexpr unsigned char globalMuteActive = 0x01;

// The mute control counts from bit 0 = "none", unlike every status mask: source s is bit s, not s - 1.
constexpr unsigned char muteControl = 0x35;
constexpr unsigned char secondSourceMask = 0x36;
constexpr unsigned char allSources = 0xFF;

constexpr unsigned char imageMajor = 0x3B;
constexpr unsigned char imageMinor = 0x3C;

constexpr unsigned char afterReset = 0x3D; ///< write only: resetNow again, after the reset

constexpr unsigned char phaseShift = 0x50; ///< of source 1: high byte, then low byte; the other sources follow

// The odd register holds the high byte, unlike in the phase-shift pairs, which share these numbers.
constexpr unsigned char bnc1ErrorsLow = 0x50;
constexpr unsigned char bnc1ErrorsHigh = 0x51;
constexpr unsigned char bnc2ErrorsLow = 0x52;
constexpr unsigned char bnc2ErrorsHigh = 0x53;

constexpr unsigned char transmitChannels = 0x5E; ///< count - 1
constexpr unsigned char receiveChannels = 0x5F;  ///< count - 1

constexpr unsigned char madiControl = 0x60;
constexpr unsigned char madiEnabled = 0x80;
constexpr unsigned char bnc1OutputOff = 0x10;
constexpr unsigned char bnc2OutputOff = 0x20;

constexpr unsigned char modes = 0x61;
constexpr unsigned char bnc1ErrorsReset = 0x02; ///< pulse: set, then clear
constexpr unsigned char bnc2ErrorsReset = 0x04;
constexpr unsigned char madiFlag = 0x08;
constexpr unsigned char speedMode = 0x30;
constexpr unsigned char speedModeShift = 4;
constexpr unsigned char madiMode = 0xC0;
constexpr unsigned char madiModeShift = 6;

constexpr unsigned char muted = 0x63; ///< status mask

constexpr unsigned char holdReset = 0x65; ///< write only: holdResetNow, then 0; clears the four latches
constexpr unsigned char holdResetNow = 0xFF;
constexpr unsigned char lockLostHold = 0x66;  ///< status mask, latched
constexpr unsigned char mutedHold = 0x67;     ///< status mask, latched
constexpr unsigned char lockedChanged = 0x68; ///< status mask, latched
constexpr unsigned char mutedChanged = 0x69;  ///< status mask, latched
}

#pragma once

/** The registers of the CS4385 that this board uses, each followed by its fields and values. */
namespace cs4385
{
constexpr unsigned char modeControl = 0x02;
constexpr unsigned char controlPortEnable = 0x80;
constexpr unsigned char powerDown = 0x01;

constexpr unsigned char pcmControl = 0x03;
constexpr unsigned char boardPcmControl = 0xC3; ///< fixed by the board's audio path

constexpr unsigned char invertControl = 0x06;
constexpr unsigned char boardInvertControl = 0x33; ///< fixed by the board's audio path

constexpr unsigned char muteControl = 0x09; ///< one bit per output channel
constexpr unsigned char muteAll = 0xFF;
constexpr unsigned char muteNone = 0x00;
}

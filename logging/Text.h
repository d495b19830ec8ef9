#pragma once

#include <juce_core/juce_core.h>

/** Bytes from outside as text: the serial, the sensor, the settings, the arguments. The framework's own test of what is
    UTF-8 differs between its versions 7 and 8, and the latter takes bytes for text that would make it read past the end.
*/

/** Whether these bytes, up to the first NUL, can be decoded as UTF-8 up to U+10FFFF: each first byte is followed by as
    many continuation bytes as it announces. Surrogates and longer forms than needed are taken.
*/
bool isUtf8 (const char* bytes, int size) noexcept;

/** UTF-8, or UTF-16 behind its byte order mark; other bytes count as Windows-1252. */
juce::String textOf (const void* data, int size);

/** The content of a file as textOf makes it; empty if the file cannot be read. */
juce::String textIn (const juce::File& file);

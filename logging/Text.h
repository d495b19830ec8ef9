#pragma once

#include <juce_core/juce_core.h>

// The contents of the serial's and the sensor's files become text here. Arguments use only the check. The framework's
// own check for UTF-8 differs between its versions 7 and 8, and version 8 accepts bytes that make it read past their
// end.

/** True if these bytes, up to the first NUL, can be decoded as UTF-8 up to U+10FFFF: each first byte is followed by as
    many continuation bytes as it announces. Surrogates and forms longer than needed are accepted.
*/
bool isUtf8 (const char* bytes, int size) noexcept;

/** The text in UTF-8, or in UTF-16 behind its byte order mark. Other bytes count as Windows-1252. */
juce::String textOf (const void* data, int size);

/** The content of a file, converted by textOf; empty if the file cannot be read. */
juce::String textIn (const juce::File& file);

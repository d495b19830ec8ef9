#include "logging/Text.h"

#include <algorithm>
#include <iterator>

namespace
{
struct Form
{
    unsigned mask;
    unsigned firstByte;
    int continuationBytes;
};

// RFC 3629, section 3.
constexpr Form forms[] = { { 0x80, 0x00, 0 }, { 0xe0, 0xc0, 1 }, { 0xf0, 0xe0, 2 }, { 0xf8, 0xf0, 3 } };
constexpr Form continuation { 0xc0, 0x80, 0 };
constexpr int continuationBits = 6;
constexpr unsigned lastCharacter = 0x10ffff;

constexpr bool has (const Form& form, unsigned byte) noexcept
{
    return (byte & form.mask) == form.firstByte;
}
}

bool isUtf8 (const char* bytes, int size) noexcept
{
    const auto byteAt = [&] (int index) -> unsigned { return static_cast<unsigned char> (bytes[index]); };

    for (int i = 0; i < size && bytes[i] != 0; ++i)
    {
        const auto* form = std::find_if (std::begin (forms), std::end (forms),
                                         [&] (const Form& candidate) { return has (candidate, byteAt (i)); });

        if (form == std::end (forms) || form->continuationBytes >= size - i)
            return false;

        auto character = byteAt (i) & ~form->mask;

        for (int left = form->continuationBytes; left > 0; --left)
        {
            if (! has (continuation, byteAt (++i)))
                return false;

            character = (character << continuationBits) | (byteAt (i) & ~continuation.mask);
        }

        if (character > lastCharacter)
            return false;
    }

    return true;
}

juce::String textOf (const void* data, int size)
{
    const auto* bytes = static_cast<const char*> (data);

    if (size >= 2 && (juce::CharPointer_UTF16::isByteOrderMarkLittleEndian (bytes) ||
                      juce::CharPointer_UTF16::isByteOrderMarkBigEndian (bytes)))
        return juce::String::createStringFromData (bytes, size);

    constexpr int markSize = 3;

    if (size >= markSize && juce::CharPointer_UTF8::isByteOrderMark (bytes))
    {
        bytes += markSize;
        size -= markSize;
    }

    if (isUtf8 (bytes, size))
        return { juce::CharPointer_UTF8 (bytes), juce::CharPointer_UTF8 (bytes + size) };

    juce::MemoryOutputStream text;

    for (int i = 0; i < size; ++i)
        text.appendUTF8Char (
            juce::CharacterFunctions::getUnicodeCharFromWindows1252Codepage (static_cast<juce::uint8> (bytes[i])));

    return text.toUTF8();
}

juce::String textIn (const juce::File& file)
{
    // loadFileAsString would check again if the file exists, thirty times per pass.
    juce::FileInputStream stream (file);

    if (! stream.openedOk())
        return {};

    juce::MemoryOutputStream content;
    content << stream;
    return textOf (content.getData(), static_cast<int> (content.getDataSize()));
}

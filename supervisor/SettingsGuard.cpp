#include "supervisor/SettingsGuard.h"

#include <algorithm>
#include <charconv>
#include <locale>
#include <optional>
#include <string>

#include <zlib.h>

namespace
{
constexpr std::string_view utf8Mark = "\xef\xbb\xbf";
constexpr std::string_view utf16Mark = "\xff\xfe";
constexpr std::string_view bigEndianUtf16Mark = "\xfe\xff";
constexpr std::string_view binaryMark = "PROP";
constexpr std::string_view packedMark = "CPRP";
constexpr std::size_t binaryCountSize = 4; // bytes; the count of settings, before their strings

constexpr std::string_view header = "<?xml"; // the parser ends any other "<?" at another place
constexpr std::string_view spaces = " \t\n\v\f\r";
constexpr std::string_view nameCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-:.";
constexpr std::string_view entities[] = { "amp;", "quot;", "apos;", "lt;", "gt;" };
constexpr std::size_t mostDigits = 8; // of a character's number; after more, the parser goes on at the wrong place
constexpr int deepestTag = 2;         // PROPERTIES and VALUE; for deeper tags the framework reads a null pointer

constexpr unsigned highSurrogates = 0xd800; // the first ones
constexpr unsigned lowSurrogates = 0xdc00;
constexpr unsigned behindSurrogates = 0xe000;
constexpr unsigned beyondAscii = 0x80;

bool startsWith (std::string_view text, std::string_view start)
{
    return text.substr (0, start.size()) == start;
}

// Stricter than the logging's isUtf8, because an overlong zero would end the parser's text early.
bool isStrictUtf8 (std::string_view bytes)
{
    std::mbstate_t state {};
    const auto& utf8 = std::use_facet<std::codecvt<char32_t, char, std::mbstate_t>> (std::locale::classic());
    const auto valid = utf8.length (state, bytes.data(), bytes.data() + bytes.size(), bytes.size());
    return static_cast<std::size_t> (valid) == bytes.size();
}

/** Converts UTF-16 to one byte per code unit: an ASCII character keeps its code, any other becomes beyondAscii. Nothing
    if it is not valid UTF-16.
*/
std::optional<std::string> fromUtf16 (std::string_view bytes, bool bigEndian)
{
    std::string text;
    bool lowFollows = false;

    for (; bytes.size() > 1; bytes.remove_prefix (2))
    {
        const auto first = static_cast<unsigned char> (bytes[0]);
        const auto second = static_cast<unsigned char> (bytes[1]);
        const unsigned unit = bigEndian ? first * 256U + second : second * 256U + first;

        if (lowFollows != (unit >= lowSurrogates && unit < behindSurrogates))
            return {};

        lowFollows = unit >= highSurrogates && unit < lowSurrogates;
        text += static_cast<char> (std::min (unit, beyondAscii));
    }

    return lowFollows || ! bytes.empty() ? std::nullopt : std::optional (text);
}

/** Goes through XML in the steps of the framework's parser, so that both see the same tags, texts and comments. */
class XmlWalk
{
public:
    bool isHarmless (std::string_view text)
    {
        rest = text.substr (0, text.find ('\0')); // the parser's text ends at a zero
        skipGap();

        if (startsWith (rest, header) && ! takeUpTo ("?>"))
            return false;

        for (skipGap(); ! rest.empty(); skipGap())
        {
            if (take ("</"))
            {
                depth = std::max (0, depth - 1);
                takeUpTo (">");
            }
            else if (! (take ("<") ? takeTag() : takeText()))
                return false;
        }

        return true;
    }

private:
    bool take (std::string_view start)
    {
        const bool isThere = startsWith (rest, start);
        rest.remove_prefix (isThere ? start.size() : 0);
        return isThere;
    }

    bool takeAll (std::string_view characters)
    {
        const auto length = std::min (rest.find_first_not_of (characters), rest.size());
        rest.remove_prefix (length);
        return length > 0;
    }

    bool takeUpTo (std::string_view end, std::size_t from = 0)
    {
        const auto found = rest.find (end, from);
        const bool isThere = found != std::string_view::npos;
        rest.remove_prefix (isThere ? found + end.size() : 0);
        return isThere;
    }

    // Comments count as spaces, even in tags. A comment without end stays in place; takeTag refuses it, because it has no name.
    void skipGap()
    {
        constexpr std::string_view comment = "<!--";

        do
            takeAll (spaces);
        while (startsWith (rest, comment) && takeUpTo ("-->", comment.size()));
    }

    bool takeTag()
    {
        skipGap();

        if (! takeAll (nameCharacters))
            return false;

        for (skipGap(); takeAll (nameCharacters); skipGap())
        {
            skipGap();

            if (! take ("="))
                return false;

            skipGap();

            if (! (take ("\"") ? takeQuoted ("\"") : take ("'") && takeQuoted ("'")))
                return false;
        }

        return take ("/>") || (take (">") && ++depth <= deepestTag);
    }

    bool takeQuoted (std::string_view quote)
    {
        while (! take (quote))
            if (! takeText())
                return false;

        return true;
    }

    bool takeText()
    {
        if (rest.empty())
            return false;

        if (take ("&"))
            return takeEntity();

        rest.remove_prefix (1);
        return true;
    }

    bool takeEntity()
    {
        if (take ("#"))
        {
            const int base = take ("x") ? 16 : 10;
            unsigned code = 0; // stays 0 without digits
            const auto* const last = rest.data() + std::min (rest.size(), mostDigits);
            const auto* const end = std::from_chars (rest.data(), last, code, base).ptr;
            rest.remove_prefix (static_cast<std::size_t> (end - rest.data()));
            return code > 0 && code < highSurrogates && take (";");
        }

        return std::any_of (std::begin (entities), std::end (entities),
                            [this] (auto name) { return take (name); });
    }

    std::string_view rest;
    int depth = 0; // of open tags
};

bool areHarmlessStrings (std::string_view binary)
{
    return isStrictUtf8 (binary.substr (std::min (binary.size(), binaryCountSize)));
}

bool areHarmlessPackedStrings (std::string_view packed)
{
    std::string binary (longestSettings, '\0');
    auto size = static_cast<uLongf> (binary.size());
    const auto* const source = reinterpret_cast<const Bytef*> (packed.data());
    const bool fits =
        ::uncompress (reinterpret_cast<Bytef*> (binary.data()), &size, source, packed.size()) == Z_OK;
    return fits && areHarmlessStrings (std::string_view (binary).substr (0, size));
}
}

bool isHarmlessToParse (std::string_view bytes)
{
    const auto behind = [bytes] (std::string_view mark) { return bytes.substr (mark.size()); };

    if (bytes.size() > longestSettings)
        return false;

    if (startsWith (bytes, binaryMark))
        return areHarmlessStrings (behind (binaryMark));

    if (startsWith (bytes, packedMark))
        return areHarmlessPackedStrings (behind (packedMark));

    const bool bigEndian = startsWith (bytes, bigEndianUtf16Mark);

    if (bigEndian || startsWith (bytes, utf16Mark))
    {
        const auto text = fromUtf16 (behind (utf16Mark), bigEndian);
        return text && XmlWalk().isHarmless (*text);
    }

    const auto text = startsWith (bytes, utf8Mark) ? behind (utf8Mark) : bytes;
    return isStrictUtf8 (text.substr (0, text.find ('\0'))) && XmlWalk().isHarmless (text);
}

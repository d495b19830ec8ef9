#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace report
{
/** What stood in the placeholders of a pattern. Views into the pattern and the text. */
class Fields
{
public:
    void clear() noexcept { count = 0; }

    /** A pattern has fewer placeholders than `all` has places. More are not kept. */
    void add (std::string_view name, std::string_view text) noexcept
    {
        if (count < all.size())
            all[count++] = { name, text };
    }

    /** The text in the placeholder `name`; empty if there is none. */
    std::string_view operator[] (std::string_view name) const noexcept;

private:
    struct Field
    {
        std::string_view name, text;
    };

    std::array<Field, 10> all;
    std::size_t count = 0;
};

/** Compares a whole text with a pattern of docs/log.md, such as "Device <product> Serial <serial>". A placeholder is a word
    without blanks, except: <why> and <date and time> are any text, <byte> is one byte or none, and <n>, <t>, <seconds> and the
    like are numbers.
*/
bool matches (std::string_view pattern, std::string_view text, Fields& fields);

/** The number in a placeholder. Absent if it is none, or not finite. */
std::optional<double> numberIn (std::string_view text);

/** The integer in a placeholder; 0 if it is none. */
std::int64_t integerIn (std::string_view text);
}

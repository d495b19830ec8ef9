#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace report
{
/** Writes JSON. Texts must be printable ASCII, and numbers finite. */
class JsonWriter
{
public:
    template <typename Value>
    void member (std::string_view name, const Value& value)
    {
        key (name);

        if constexpr (std::is_same_v<Value, bool>)
            text += value ? "true" : "false";
        else if constexpr (std::is_arithmetic_v<Value>)
            number (value);
        else
            quoted (value);
    }

    /** Writes nothing if the value is absent. */
    template <typename Value>
    void member (std::string_view name, const std::optional<Value>& value)
    {
        if (value)
            member (name, *value);
    }

    /** Begins an object or an array: '{' or '['. */
    void open (char bracket)
    {
        separate();
        text += bracket;
    }

    /** Begins it as a member. */
    void open (std::string_view name, char bracket)
    {
        key (name);
        text += bracket;
    }

    void close (char bracket) { text += bracket; }

    std::string text;

private:
    void key (std::string_view name)
    {
        separate();
        quoted (name);
        text += ':';
    }

    void quoted (std::string_view string)
    {
        text += '"';

        for (const auto character : string)
        {
            if (character == '"' || character == '\\')
                text += '\\';

            text += character;
        }

        text += '"';
    }

    template <typename Value>
    void number (Value value)
    {
        std::array<char, 64> digits {};
        text.append (digits.data(), std::to_chars (digits.data(), digits.data() + digits.size(), value).ptr);
    }

    void separate()
    {
        if (! text.empty() && text.back() != '{' && text.back() != '[')
            text += ',';
    }
};
}

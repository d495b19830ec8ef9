#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace report
{
/** Writes JSON. Texts must be printable ASCII. */
class JsonWriter
{
public:
    void key (std::string_view name)
    {
        value (name);
        text += ':';
        needsComma = false;
    }

    void value (std::string_view string)
    {
        separate();
        text += '"';

        for (const auto character : string)
        {
            if (character == '"' || character == '\\')
                text += '\\';

            text += character;
        }

        text += '"';
    }

    void value (const std::string& string) { value (std::string_view (string)); }
    void value (const char* string) { value (std::string_view (string)); }

    void value (bool flag)
    {
        separate();
        text += flag ? "true" : "false";
    }

    void value (std::int64_t number)
    {
        separate();
        text += std::to_string (number);
    }

    void value (double number); ///< finite

    template <typename Value>
    void member (std::string_view name, const Value& content)
    {
        key (name);
        value (content);
    }

    /** Writes nothing if the value is absent. */
    template <typename Value>
    void member (std::string_view name, const std::optional<Value>& content)
    {
        if (content)
            member (name, *content);
    }

    /** Begins an object or an array: '{' or '['. */
    void open (char bracket)
    {
        separate();
        text += bracket;
        needsComma = false;
    }

    /** Begins it as a member. */
    void open (std::string_view name, char bracket)
    {
        key (name);
        open (bracket);
    }

    void close (char bracket)
    {
        text += bracket;
        needsComma = true;
    }

    std::string text;

private:
    void separate()
    {
        if (needsComma)
            text += ',';

        needsComma = true;
    }

    bool needsComma = false;
};
}

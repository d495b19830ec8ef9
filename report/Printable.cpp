#include "report/Printable.h"

namespace report
{
std::string printable (std::string_view text)
{
    constexpr std::size_t longest = 200; // characters of the result
    constexpr auto digits = "0123456789abcdef";
    std::string result;

    for (const auto character : text)
    {
        if (result.size() >= longest)
            return result + "...";

        const auto byte = static_cast<unsigned char> (character);

        if (byte >= ' ' && byte <= '~' && byte != '\\')
            result += character;
        else
            result.append ({ '\\', 'x', digits[byte / 16], digits[byte % 16] });
    }

    return result;
}
}

#pragma once

#include <string>
#include <string_view>

namespace report
{
/** Text from outside, for a terminal or a file: each byte that is no printable ASCII character becomes \xNN, so does the
    backslash. A long text is cut and ends in "...".
*/
std::string printable (std::string_view text);
}

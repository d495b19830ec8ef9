#pragma once

#include <string>
#include <string_view>

#include "report/Knowledge.h"
#include "report/LogTime.h"

namespace report
{
/** How to write for people. */
struct Layout
{
    std::size_t width = 80; ///< columns
    bool isColoured = false;
};

/** The layout for standard output: the width of the terminal; colours only on a terminal, and never if the environment variable
    NO_COLOR is not empty.
*/
Layout standardLayout();

/** `text` in lines of at most `width` columns: the first one begins with `head`, the others with as many blanks. A longer word
    is divided. Ends with a line break.
*/
std::string wrapped (std::string_view head, std::string_view text, std::size_t width);

std::string coloured (Weight weight, std::string_view text, const Layout& layout);
std::string bold (std::string_view text, const Layout& layout);

/** A blank at which `wrapped` does not begin a new line. */
constexpr char fixedBlank = '\x1f';

/** As "2 h 30 min": the two largest units, with fixed blanks. */
std::string lengthText (LogTime length);

/** As "1 line", "3 lines". */
std::string counted (std::int64_t count, std::string_view thing);

/** The columns that UTF-8 text takes, without combining characters. */
std::size_t columnsOf (std::string_view text) noexcept;
}

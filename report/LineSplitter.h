#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace report
{
/** Cuts blocks of bytes into lines. A line ends with LF, or CR LF, or with the input. It holds at most `longest` bytes of a
    line, so the memory stays bounded.
*/
class LineSplitter
{
public:
    static constexpr std::size_t longest = 8192; ///< bytes

    struct Line
    {
        std::string_view text; ///< without its end
        bool isWhole;          ///< false if only the first `longest` bytes are there
    };

    /** Calls take (Line) for each line that ends in this block. */
    template <typename Take>
    void add (std::string_view block, const Take& take)
    {
        for (auto end = block.find ('\n'); end != std::string_view::npos; end = block.find ('\n'))
        {
            keep (block.substr (0, end));
            take (line());
            clear();
            block.remove_prefix (end + 1);
        }

        keep (block);
    }

    /** True if the input ended within a line: the last one. */
    bool hasRest() const noexcept { return ! kept.empty(); }
    Line line() const noexcept;

private:
    void keep (std::string_view part);
    void clear() noexcept;

    std::string kept;
    bool isWhole = true;
};
}

#include "report/Knowledge.h"

#include <iterator>

namespace report
{
namespace
{
constexpr Knowledge table[] = {
#include "table.inc"
};

static_assert (std::size (table) == rowCount, "not-understood must be the last row of docs/log.md");
}

const Knowledge& knowledgeOf (Row row) noexcept
{
    return table[static_cast<int> (row)];
}

std::optional<Understood> understand (std::string_view message, bool hasStamp)
{
    std::optional<Understood> best;
    std::size_t longest = 0;
    Fields fields;

    for (int i = 0; i < rowCount; ++i)
    {
        const auto& patterns = table[i].patterns;

        // <why> is any text, so the line of a longer pattern can match a shorter one too.
        for (std::size_t form = 0; form < patterns.size() && table[i].hasStamp == hasStamp; ++form)
            if (patterns[form].size() > longest && matches (patterns[form], message, fields))
            {
                best = { static_cast<Row> (i), form, fields };
                longest = patterns[form].size();
            }
    }

    return best;
}

std::string_view nameOf (Weight weight) noexcept
{
    constexpr std::string_view names[] = { "nothing", "look", "act" };
    return names[static_cast<int> (weight)];
}
}

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
    Understood result {};

    for (int i = 0; i < rowCount; ++i)
    {
        const auto& patterns = table[i].patterns;
        result.row = static_cast<Row> (i);

        for (result.form = 0; result.form < patterns.size() && ! patterns[result.form].empty(); ++result.form)
            if (table[i].hasStamp == hasStamp && matches (patterns[result.form], message, result.fields))
                return result;
    }

    return {};
}

std::string_view nameOf (Weight weight) noexcept
{
    constexpr std::string_view names[] = { "nothing", "look", "act" };
    return names[static_cast<int> (weight)];
}
}

#include "report/LineSplitter.h"

namespace report
{
LineSplitter::Line LineSplitter::line() const noexcept
{
    const auto hasReturn = isWhole && ! kept.empty() && kept.back() == '\r';
    return { std::string_view (kept).substr (0, kept.size() - (hasReturn ? 1 : 0)), isWhole };
}

void LineSplitter::keep (std::string_view part)
{
    const auto room = longest - kept.size();
    isWhole = isWhole && part.size() <= room;
    kept.append (part.substr (0, room));
}

void LineSplitter::clear() noexcept
{
    kept.clear();
    isWhole = true;
}
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

namespace report
{
/** A list with an exact count. It holds the first and the last `half` of its items, and forgets those in between. */
template <typename Item, std::size_t half>
class Shortened
{
public:
    Item& add (Item item)
    {
        ++total;

        if (first.size() < half)
            return first.emplace_back (std::move (item));

        if (last.size() == half)
            last.pop_front();

        return last.emplace_back (std::move (item));
    }

    std::int64_t count() const noexcept { return total; }
    Item* newest() noexcept { return ! last.empty() ? &last.back() : first.empty() ? nullptr : &first.back(); }

    template <typename Use>
    void forEach (const Use& use) const
    {
        for (const auto& item : first)
            use (item);

        for (const auto& item : last)
            use (item);
    }

private:
    std::deque<Item> first, last;
    std::int64_t total = 0;
};
}

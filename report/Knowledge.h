#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "report/Pattern.h"

namespace report
{
/** What a finding asks for. */
enum class Weight
{
    nothing,
    look,
    act
};

/** When a row's other weight holds. */
enum class Condition
{
    never,
    again,      ///< from the second time in one life of the daemon
    withoutGui, ///< on a product without GUI
    withText    ///< if the line contains one of the texts
};

/** The rows of the tables of docs/log.md, by their names there. */
enum class Row
{
#include "rows.inc"
};

/** A row of the tables. */
struct Knowledge
{
    const char* name = nullptr;
    std::array<std::string_view, 3> patterns; ///< the forms of the line; none for a conclusion
    bool hasStamp = false;                    ///< the line begins with date and time
    const char* meaning = nullptr;
    const char* advice = nullptr; ///< what to do; may be empty
    Weight weight = Weight::nothing;
    Weight otherWeight = Weight::nothing;
    Condition condition = Condition::never;
    std::array<std::string_view, 3> texts;
};

/** A message and the row that it belongs to. */
struct Understood
{
    Row row = Row::start;
    std::size_t form = 0; ///< which of the row's patterns
    Fields fields;        ///< views into the message
};

const Knowledge& knowledgeOf (Row row) noexcept;

/** Looks up a message: the text behind the stamp, or a whole line without a stamp. */
std::optional<Understood> understand (std::string_view message, bool hasStamp);

std::string_view nameOf (Weight weight) noexcept;

constexpr int rowCount = static_cast<int> (Row::notUnderstood) + 1; // the last row of the page
}

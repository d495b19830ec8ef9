#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "report/Clock.h"
#include "report/Lives.h"

namespace report
{
/** Reads one log, in blocks of any size, and makes its report. Takes any bytes. A line ends with LF, or CR LF, or with the log.
    The memory is bounded.
*/
class Analysis
{
public:
    /** `name` is the log's name in the report. */
    explicit Analysis (std::string_view name);

    void add (std::string_view block);

    /** At the end of the log, once. */
    Report finish();

private:
    void keep (std::string_view part);
    void takeLine();
    void takeText (std::string_view text);
    void takeWithoutStamp (std::string_view text);
    void takeStamped (std::string_view message, LogTime stamp);
    void takeRepetition (std::string_view text, const Fields& fields);
    void takeMessage (const Understood& message, OpenLife& life, Moment moment);
    OpenLife& lifeOf (Row row);
    void notUnderstood (std::string_view text);

    void takeHeader (const Understood& message, std::string_view text, OpenLife& life);
    void takeReading (Row row, double degrees, Moment moment);
    void takeDay (OpenLife& life, Moment& moment);
    void takeMaintenance (const Understood& message, OpenLife& life, Moment moment);

    Report report;
    Clock clock { report };
    Lives lives { report };
    std::string line;        ///< as far as it has come, up to a limit
    bool isLineWhole = true; ///< false beyond the limit
    std::optional<bool> hasGui;
};
}

#include "report/OpenLife.h"

namespace report
{
void OpenLife::reached (Moment moment)
{
    if (! hasLast && ! isBeginMissing)
    {
        begin = moment;
        life.begin = moment.time;
        dayStamp = moment.time;
    }

    hasLast = true;
    last = moment;
}

void OpenLife::countProgram (Row row, Moment moment)
{
    auto& programs = life.programs;
    programs.applicationAbsent += row == Row::applicationAbsent ? 1 : 0;
    programs.applicationDouble += row == Row::applicationDouble ? 1 : 0;
    programs.guiAbsent += row == Row::guiAbsent ? 1 : 0;
    programs.guiDouble += row == Row::guiDouble ? 1 : 0;
    programs.guiKilled += row == Row::guiKilled ? 1 : 0;

    if (row == Row::applicationAbsent || row == Row::applicationDouble)
        application.add (moment, row == Row::applicationDouble);
}
}

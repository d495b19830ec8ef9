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
}

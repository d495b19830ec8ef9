#pragma once

#include <string>

/** Records messages of the daemon, one a line and without their stamps, so that tests/log-page can look for them in the
    documentation. Only ctest names a folder for them, in the environment variable LOGGED_LINES.
*/
void recordLogged (const std::string& messages);

#pragma once

/** Installs signalHandler for SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV and SIGTERM. Puts aside what the parent process left:
    a signal mask, and an ignored SIGCHLD or SIGALRM.
*/
void installSignalHandlers();

/** Logs the signal, sets the fan to full speed and ends the process with the signal's number as exit status.

    This may fail: memory is short or damaged, or the interrupted code holds a lock that the handler needs. So a handler that
    is entered a second time only forces the fan to full speed, and ends with the number of the first signal. A handler that
    has not ended after ten seconds forces full speed, too, and ends with status 142.
*/
void signalHandler (int signum) noexcept;

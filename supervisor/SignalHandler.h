#pragma once

/** Hooks SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV and SIGTERM with signalHandler. */
void installSignalHandlers();

/** Logs the signal, leaves the fan at full speed and ends the process with the signal's number as exit status. */
void signalHandler (int signum);

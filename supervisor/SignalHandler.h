#pragma once

/** Installs signalHandler for SIGINT, SIGABRT, SIGFPE, SIGILL, SIGSEGV and SIGTERM. */
void installSignalHandlers();

/** Logs the signal, sets the fan to full speed and ends the process with the signal's number as exit status. */
void signalHandler (int signum);

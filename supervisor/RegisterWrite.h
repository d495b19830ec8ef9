#pragma once

// The shell command that writes the fan's register. It is run like system() runs one: SIGINT and SIGQUIT are ignored while
// it runs. Unlike system(), nothing here takes a lock or allocates, so the signal handler can call it at any moment, and a
// command that hangs is ended. system() would wait for it for ever, and with it supervision and the fan would stop.

/** Runs the command and waits for its end. A command that has not ended after four seconds is killed. Returns the status
    of its end as waitpid(2) gives it, or -1 if it could not be started or was killed for its time.

    In the signal handler, a write that the signal interrupted has three seconds to end first. If it takes longer, the
    command runs nevertheless, and once more behind that write, because otherwise the older speed could be written last.
*/
int runRegisterWrite (const char* command) noexcept;

/** Call first in the signal handler. The write that runs now is from then on the interrupted one. */
void interruptRegisterWrite() noexcept;

/** For the end of a process whose handler does not get through: kills the writes that run, starts the command and gives it
    one second.
*/
void forceRegisterWrite (const char* command) noexcept;

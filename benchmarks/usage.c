/* usage COMMAND...: runs the command and prints its processor time on standard error, in microseconds. The
   time includes the processes that the command waited for. */
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main (int argc, char** argv)
{
    const pid_t child = argc > 1 ? fork() : -1;

    if (child == 0)
    {
        execvp (argv[1], argv + 1);
        _exit (127);
    }

    struct rusage usage;

    if (child < 0 || wait4 (child, NULL, 0, &usage) != child)
        return EXIT_FAILURE;

    fprintf (stderr, "%lld\n",
             (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000LL + usage.ru_utime.tv_usec +
                 usage.ru_stime.tv_usec);
    return EXIT_SUCCESS;
}

/* loop GUI INTERVAL FAN_STEPS: the shell commands of supervision passes and nothing else. No pass can cost less.
   libpasses ends this program. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static int count (const char* command)
{
    char line[1000];
    int instances = 0;
    FILE* const pipe = popen (command, "r");

    while (fgets (line, sizeof line, pipe) != NULL)
        instances = atoi (line);

    pclose (pipe);
    return instances;
}

int main (int argc, char** argv)
{
    if (argc != 4)
        return EXIT_FAILURE;

    const int interval = atoi (argv[2]), fanSteps = atoi (argv[3]);
    char countGui[100];
    snprintf (countGui, sizeof countGui, "pgrep -x %s | wc -l", argv[1]);

    for (int pass = 1;; ++pass)
    {
        if (count ("pgrep -x ORBIStessel | wc -l") != 1)
            return EXIT_FAILURE;

        if (pass % interval == 0 && pass > interval && count (countGui) != 1)
            return EXIT_FAILURE;

        for (int step = 0; step < fanSteps; ++step)
            if (system ("devmem 0x42010000 32 0xc0000333") != 0)
                return EXIT_FAILURE;

        const struct timespec pause = { 1, 0 };
        nanosleep (&pause, NULL);
    }
}

/* regwrite ADDRESS BYTE...: writes one frame to a chip on the bus. i2cset does not work here: it first asks the adapter
   for its abilities, and the simulated board refuses that question. */
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

int main (int argc, char** argv)
{
    unsigned char frame[8];
    const int length = argc - 2;

    if (length < 1 || length > (int) sizeof frame)
        return EXIT_FAILURE;

    for (int i = 0; i < length; ++i)
        frame[i] = (unsigned char) strtol (argv[i + 2], NULL, 16);

    const int bus = open ("/dev/i2c-2", O_RDWR);

    if (bus < 0 || ioctl (bus, I2C_SLAVE, strtol (argv[1], NULL, 16)) < 0 ||
        write (bus, frame, (size_t) length) != length)
        return EXIT_FAILURE;

    return close (bus);
}

/* Stands for each tool where the outputs matter: writes the one that an option names, a page of it.
 * With WORK_MILLISECONDS it computes for as long before that.
 */

#include <fcntl.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#ifndef WORK_MILLISECONDS
#define WORK_MILLISECONDS 0
#endif

static void work(void)
{
    struct timespec used;
    do {
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    } while (used.tv_sec == 0 && used.tv_nsec < WORK_MILLISECONDS * 1000000L);
}

int main(int argc, char **argv)
{
    work();
    static char page[4096];
    for (int i = 1; i + 1 < argc; ++i) {
        if (strcmp(argv[i], "-o") && strcmp(argv[i], "--out") && strcmp(argv[i], "--output"))
            continue;
        int file = open(argv[i + 1], O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (file < 0 || write(file, page, sizeof page) != sizeof page)
            return 1;
        close(file);
    }
    return 0;
}

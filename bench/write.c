/* Stands for each tool where the outputs matter: writes the one that an option names, a page of it.
 */

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char **argv)
{
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

/* The floor of a full build: runs the commands of a file, one a line, words parted by tabs, one
 * after another. Usage: spawn FILE */
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

extern char **environ;

int main(int argc, char *argv[])
{
    char line[65536];
    FILE *file = argc == 2 ? fopen(argv[1], "r") : NULL;
    if (!file)
        return 2;
    while (fgets(line, sizeof line, file)) {
        char *words[64];
        int count = 0, status;
        pid_t child;
        line[strcspn(line, "\n")] = '\0';
        for (char *word = strtok(line, "\t"); word && count < 63; word = strtok(NULL, "\t"))
            words[count++] = word;
        words[count] = NULL;
        if (posix_spawn(&child, words[0], NULL, NULL, words, environ) != 0
            || waitpid(child, &status, 0) < 0 || status != 0)
            return 1;
    }
    return 0;
}

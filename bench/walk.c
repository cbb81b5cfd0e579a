/* The floor of a no-op build: walks a source tree and stats the source, the preprocessed and the
 * compiled file of each Lua file. Usage: walk SOURCE OBJECTS */
#include <dirent.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

static long outdated;

static int newer(const struct stat *a, const struct stat *b)
{
    return a->st_mtim.tv_sec > b->st_mtim.tv_sec
           || (a->st_mtim.tv_sec == b->st_mtim.tv_sec && a->st_mtim.tv_nsec > b->st_mtim.tv_nsec);
}

static void walk(const char *source, const char *objects)
{
    DIR *directory = opendir(source);
    struct dirent *entry;
    if (!directory)
        return;
    while ((entry = readdir(directory))) {
        char from[4096], to[4096];
        struct stat lua, lui, luo;
        size_t length = strlen(entry->d_name);
        if (entry->d_name[0] == '.')
            continue;
        snprintf(from, sizeof from, "%s/%s", source, entry->d_name);
        snprintf(to, sizeof to, "%s/%s", objects, entry->d_name);
        if (entry->d_type == DT_DIR) {
            walk(from, to);
        } else if (length > 4 && strcmp(entry->d_name + length - 4, ".lua") == 0) {
            char *last = to + strlen(to) - 1;
            if (stat(from, &lua) != 0)
                continue;
            *last = 'i';
            if (stat(to, &lui) != 0 || newer(&lua, &lui))
                ++outdated;
            *last = 'o';
            if (stat(to, &luo) != 0 || newer(&lui, &luo))
                ++outdated;
        }
    }
    closedir(directory);
}

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    walk(argv[1], argv[2]);
    return outdated != 0;
}

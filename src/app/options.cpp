#include "app/options.h"

#include "app/makeproject.h"

#include <array>
#include <cstdio>

#include <getopt.h>

namespace {

constexpr int clearObsoleteOption = 1001;
constexpr int cleanFirmwareFolderOption = 666;

constexpr std::array<option, 9> longOptions{{
        {"all", no_argument, nullptr, 'A'},
        {"verbose", no_argument, nullptr, 'v'},
        {"quiet", no_argument, nullptr, 'q'},
        {"report", no_argument, nullptr, 'R'},
        {"help", no_argument, nullptr, '?'},
        {"clearobsolete", no_argument, nullptr, clearObsoleteOption},
        {"noobsolete", no_argument, nullptr, clearObsoleteOption},
        {"cleanfirmwarefolder", no_argument, nullptr, cleanFirmwareFolderOption},
        {nullptr, no_argument, nullptr, 0},
}};

// "D" has no case below, and so prints the usage text instead of a complaint.
constexpr char shortOptions[] = "AvDqR?";

/// @return false when the usage text is due
bool applyOption(int code, Options *options)
{
    switch (code) {
    case 'A':
        options->operation = Project::Operation::BuildAll;
        return true;
    case 'v':
        ++options->verbosity;
        return true;
    case 'q':
        options->verbosity = 0;
        return true;
    case 'R':
        options->report = true;
        return true;
    case clearObsoleteOption:
        options->operation = Project::Operation::ClearObsolete;
        return true;
    case cleanFirmwareFolderOption:
        options->operation = Project::Operation::CleanFirmwareFolder;
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<Options> parseOptions(int argc, char *argv[])
{
    Options options;
    int code;
    while ((code = getopt_long(argc, argv, shortOptions, longOptions.data(), nullptr)) != -1) {
        if (!applyOption(code, &options))
            return {};
    }
    if (argc - optind > 1)
        return {};
    options.projectFile = QString::fromLocal8Bit(argv[optind]); // a null pointer ends the arguments
    return options;
}

int usage()
{
    std::fprintf(stderr, "\nUsage: %s [--all] [--clearobsolete] <projectfile>\n", myname);
    return 1;
}

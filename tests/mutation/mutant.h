#pragma once

#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

/// What the environment variable ZTMAKE_MUTANT says: the number of the one edit that is on, or the
/// path of a file of 131,072 bytes in which those are marked that the program came by.
class Mutants
{
public:
    static const Mutants &instance()
    {
        static const Mutants mutants;
        return mutants;
    }

    bool isOn(int number) const
    {
        if (m_reached)
            m_reached[number] = 1;
        return number == m_on;
    }

private:
    Mutants()
    {
        const char *setting = std::getenv("ZTMAKE_MUTANT");
        if (setting && *setting == '/') {
            const int file = open(setting, O_RDWR | O_CLOEXEC);
            void *memory = mmap(nullptr, 131'072, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            m_reached = memory == MAP_FAILED ? nullptr : static_cast<unsigned char *>(memory);
            close(file);
        } else if (setting) {
            m_on = std::atoi(setting);
        }
    }

    int m_on = -1;
    unsigned char *m_reached = nullptr;
};

// Before anything else, so that a signal handler finds it made.
inline const Mutants &allMutants = Mutants::instance();

inline bool mutant(int number)
{
    return Mutants::instance().isOn(number);
}

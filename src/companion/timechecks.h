#pragma once

#include "companion/checkedproject.h"

#include <QSet>

/// A file that builds make, and what it is made of.
struct MadeFile
{
    enum class Way {
        Copied,       ///< byte by byte
        Preprocessed, ///< without comments and blanks, and with macros carried out
        Translated,   ///< with the finished translations of a catalogue
        Other,        ///< so that nothing can be read out of it
    };

    QString input;
    QString output;
    Way way = Way::Other;
    QSet<QByteArray> macros; ///< that the preprocessor carries out
};

/// Looks for inputs that came to where they are after the outputs were made, with older times.
/// @param files  outputs that a build takes for current
void checkReplaced(CheckedProject *project, const QList<MadeFile> &files);

#include "model/filesystemspec.h"

using namespace Qt::StringLiterals;

MergeSpec::Type MergeSpec::typeFromWord(const QString &word)
{
    if (word == "Archive"_L1)
        return Type::Archive;
    if (word == "Directory"_L1)
        return Type::Directory;
    return word == "File"_L1 ? Type::File : Type::None;
}

void FilesystemSpec::clear()
{
    type = noType;
    includeBase = {};
    label.clear();
    merges.clear();
}

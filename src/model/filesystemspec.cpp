#include "model/filesystemspec.h"

void FilesystemSpec::clear()
{
    type = noType;
    includeBase = {};
    label.clear();
    merges.clear();
}

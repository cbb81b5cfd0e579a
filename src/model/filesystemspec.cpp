#include "model/filesystemspec.h"

void FilesystemSpec::clear()
{
    type = NoType;
    includeBase = {};
    label.clear();
    merges.clear();
}

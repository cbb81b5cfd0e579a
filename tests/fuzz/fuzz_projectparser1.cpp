#include "fuzztarget.h"

#include "xml/projectparser1.h"

namespace {

void checkSpec(const ProjectSpec &spec, const QString &path)
{
    Fuzz::require(spec.projectFile == path, "the project file is stored");
    for (const FilesystemSpec &filesystem : spec.filesystems) {
        Fuzz::require(filesystem.type == FilesystemSpec::romfsType, "a filesystem is a romfs");
        for (const MergeSpec &merge : filesystem.merges)
            Fuzz::require(merge.type != MergeSpec::Type::None, "a merge has a type");
    }
}

void readTwice(const QString &path)
{
    ProjectSpec spec;
    ProjectParser1 parser;
    const bool ok = parser.parseProjectFile(path, &spec);
    Fuzz::noteOutcome(parser.errorString(), spec.targets.size() + spec.filesystems.size());
    Fuzz::require(!parser.recognised(), "the reader is at rest again");
    Fuzz::require(ok == parser.errorString().isEmpty(), "a refusal has a reason, nothing else has");
    if (!ok)
        return;
    checkSpec(spec, path);

    ProjectSpec second;
    Fuzz::require(parser.parseProjectFile(path, &second) && second == spec,
                  "the same reader reads the same project again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::run(data, size, readTwice);
    return 0;
}

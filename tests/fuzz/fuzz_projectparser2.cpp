#include "fuzztarget.h"

#include "xml/projectparser2.h"

using namespace Qt::StringLiterals;

namespace {

void checkSpec(const ProjectSpec &spec)
{
    Fuzz::require(!spec.name.isEmpty(), "an accepted project has a name");
    Fuzz::require(spec.projectFile.isEmpty(), "the project file is left to the caller");
    for (const FilesystemSpec &filesystem : spec.filesystems) {
        Fuzz::require(filesystem.type == FilesystemSpec::romfsType, "a filesystem is a romfs");
        for (const MergeSpec &merge : filesystem.merges)
            Fuzz::require(merge.type != MergeSpec::Type::None, "a merge has a type");
    }
}

void readTwice(const QString &path)
{
    ProjectSpec spec;
    ProjectParser2 parser;
    const bool ok = parser.parseProjectFile(path, &spec);
    Fuzz::noteOutcome(ok ? QString() : parser.errorString(),
                      spec.targets.size() + spec.filesystems.size() + spec.languages.size());
    if (!ok) {
        Fuzz::require(parser.errorString().startsWith(u"Error reading %1, Line "_s.arg(path)),
                      "a refusal names its place");
        return;
    }
    Fuzz::require(parser.recognised(), "an accepted project is a recognised one");
    checkSpec(spec);

    ProjectSpec second;
    second.languages.append(u"left over"_s);
    ProjectParser2 secondParser;
    Fuzz::require(secondParser.parseProjectFile(path, &second) && second == spec,
                  "reading again gives the same project, whatever stood in the record");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::run(data, size, readTwice);
    return 0;
}

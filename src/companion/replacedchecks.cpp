#include "companion/contentof.h"
#include "companion/luasource.h"
#include "companion/timechecks.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QStringEncoder>
#include <QXmlStreamReader>

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 second = 1'000'000'000;

/// In nanoseconds.
struct Times
{
    qint64 modified = 0;
    qint64 changed = 0; ///< the file itself, or its name, owner or rights
    qint64 born = 0;    ///< 0: unknown
    bool isLink = false;
};

/// @param flags  AT_SYMLINK_NOFOLLOW, or 0
std::optional<Times> timesOf(const QString &path, int flags)
{
    struct statx data;
    if (statx(AT_FDCWD, QFile::encodeName(path).constData(), flags, STATX_BASIC_STATS | STATX_BTIME,
              &data)
        != 0)
        return {};
    const auto time = [](const statx_timestamp &stamp) {
        return qint64(stamp.tv_sec) * second + qint64(stamp.tv_nsec);
    };
    Times times;
    times.modified = time(data.stx_mtime);
    times.changed = time(data.stx_ctime);
    times.born = (data.stx_mask & STATX_BTIME) != 0 ? time(data.stx_btime) : 0;
    times.isLink = S_ISLNK(data.stx_mode);
    return times;
}

/// How much speaks for a replacement. What changes the time of change changes nothing else perhaps:
/// chmod, ln and mv do it, too.
enum class Sign {
    None,
    Weak,   ///< something was done in a directory on the way
    Doubt,  ///< something was done with the file, or a directory has got its name
    Strong, ///< the file, or a link to it, is new
};

Sign signIn(const std::optional<Times> &times, qint64 since)
{
    if (!times || times->changed <= since)
        return Sign::None;
    return times->born > since ? Sign::Strong : Sign::Doubt;
}

Sign signAtDirectory(const QString &path, qint64 since)
{
    const std::optional<Times> link = timesOf(path, AT_SYMLINK_NOFOLLOW);
    if (link && link->isLink)
        return signIn(link, since);
    const std::optional<Times> above = timesOf(QFileInfo(path).path(), 0);
    if (!link || !above || link->changed <= since)
        return Sign::None;
    // A new name changes the directory itself, what it holds not, and the one above it.
    const bool isRenamed = link->changed > link->modified && above->modified >= link->changed;
    return isRenamed ? Sign::Doubt : Sign::Weak;
}

/// @return what speaks for a replacement of the input on the way to it since the output was made
Sign signOf(const MadeFile &file, qint64 since)
{
    Sign sign = std::max(signIn(timesOf(file.input, AT_SYMLINK_NOFOLLOW), since),
                         signIn(timesOf(file.input, 0), since));
    // What holds both has taken the output along.
    const QString output = CheckedProject::realPath(file.output);
    QString directory = QFileInfo(file.input).path();
    while (directory != "."_L1
           && !CheckedProject::isInside(output, CheckedProject::realPath(directory))) {
        sign = std::max(sign, signAtDirectory(directory, since));
        const QString above = QFileInfo(directory).path();
        if (above == directory)
            break;
        directory = above;
    }
    return sign;
}

enum class Content { Same, Different, Unknown };

/// Macros put something else in place of their names, and headers add something: the rest of the
/// source is still there, in its order.
Content comparePreprocessed(const MadeFile &file)
{
    const LuaSource source = LuaSource::read(file.input);
    const LuaSource output = LuaSource::read(file.output);
    if (!source.hasDirectives())
        return source.tokens == output.tokens ? Content::Same : Content::Different;
    if (source.isConditional)
        return Content::Unknown;
    auto next = output.tokens.begin();
    for (const QByteArrayView token : source.tokens) {
        if (file.macros.contains(token.toByteArray()))
            continue;
        next = std::find(next, output.tokens.end(), token);
        if (next == output.tokens.end())
            return Content::Different;
        ++next;
    }
    return Content::Unknown;
}

/// @return the translations that a catalogue needs, and no tool may leave out
QStringList finishedTexts(const QString &path)
{
    QStringList texts;
    QXmlStreamReader reader(contentOf(path).value_or(QByteArray()));
    QString source;
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement())
            continue;
        if (reader.name() == "source"_L1)
            source = reader.readElementText(QXmlStreamReader::IncludeChildElements);
        if (reader.name() != "translation"_L1 || reader.attributes().hasAttribute("type"_L1)
            || reader.readNext() != QXmlStreamReader::Characters)
            continue;
        const QString text = reader.text().toString();
        if (reader.readNext() == QXmlStreamReader::EndElement && text != source
            && !text.trimmed().isEmpty())
            texts.append(text);
    }
    return reader.hasError() ? QStringList() : texts;
}

Content compareTranslated(const MadeFile &file)
{
    const QByteArray catalogue = contentOf(file.output).value_or(QByteArray());
    const QStringList texts = finishedTexts(file.input);
    const bool holdsAll = std::all_of(texts.begin(), texts.end(), [&](const QString &text) {
        QStringEncoder encoder(QStringEncoder::Utf16BE);
        const QByteArray encoded = encoder(text);
        return catalogue.contains(encoded);
    });
    return holdsAll ? Content::Unknown : Content::Different;
}

/// @return whether the output was made of what is in the input now
Content compare(const MadeFile &file)
{
    switch (file.way) {
    case MadeFile::Way::Copied:
        return contentOf(file.input) == contentOf(file.output) ? Content::Same : Content::Different;
    case MadeFile::Way::Preprocessed:
        return comparePreprocessed(file);
    case MadeFile::Way::Translated:
        return compareTranslated(file);
    case MadeFile::Way::Other:
        break;
    }
    return Content::Unknown;
}

/// @return what to say about one file; nothing when nothing is to be said
std::optional<Finding::Severity> severityFor(const MadeFile &file)
{
    // An output that was itself copied tells nothing by its times. A tool may rename it.
    const std::optional<Times> output = timesOf(file.output, 0);
    if (!output || output->born > output->modified || output->changed - output->modified > second)
        return {};
    const Sign sign = signOf(file, output->changed);
    const Content content = sign == Sign::None ? Content::Same : compare(file);
    if (content == Content::Same)
        return {};
    if (content == Content::Different || sign == Sign::Strong)
        return Finding::Severity::Warning;
    return sign == Sign::Doubt ? std::optional(Finding::Severity::Note) : std::nullopt;
}

/// @param severity  a warning, or a note
void reportProjectFile(CheckedProject *project, Finding::Severity severity)
{
    const bool isSure = severity == Finding::Severity::Warning;
    project->report(
            severity, project->opened.file, {1, 1}, "replaced-project",
            isSure ? u"Replaced by a file with an older time after objects were made with it: a "
                     "build does not notice"_s
                   : u"Perhaps replaced by a file with an older time after objects were made "
                     "with it: a build would not notice"_s,
            isSure ? u"Build with --all, or touch it."_s
                   : u"Build with --all, unless only its name or its permissions have changed."_s);
}

} // namespace

void checkReplaced(CheckedProject *project, const QList<MadeFile> &files)
{
    QMap<QString, Finding::Severity> inputs;
    for (const MadeFile &file : files) {
        const auto severity = severityFor(file);
        if (severity && inputs.value(file.input, Finding::Severity::Note) >= *severity)
            inputs.insert(file.input, *severity);
    }
    const auto ofProject = inputs.constFind(project->opened.file);
    if (ofProject != inputs.constEnd()) {
        reportProjectFile(project, *ofProject);
        inputs.erase(ofProject);
    }
    const QStringList warned = inputs.keys(Finding::Severity::Warning);
    if (!warned.isEmpty()) {
        project->warnIn(
                warned.first(), {1, 1}, "replaced-source",
                u"Replaced by a file with an older time after its object was made: a build does "
                "not notice; sources: %1"_s.arg(warned.size()),
                u"Build with --all, or touch the sources."_s);
    }
    const QStringList noted = inputs.keys(Finding::Severity::Note);
    if (!noted.isEmpty()) {
        project->report(
                Finding::Severity::Note, noted.first(), {1, 1}, "replaced-source",
                u"Perhaps replaced by a file with an older time after its object was made: a "
                "build would not notice; sources: %1"_s.arg(noted.size()),
                u"Build with --all, unless only its name or its permissions have changed."_s);
    }
}

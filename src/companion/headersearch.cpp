#include "companion/headersearch.h"

#include "companion/contentof.h"
#include "files/filestatus.h"

#include <QDir>

namespace {

QString find(const QString &name, const QStringList &directories)
{
    for (const QString &directory : directories) {
        QString path = QDir::cleanPath(QDir::isAbsolutePath(name) ? name : directory + u'/' + name);
        if (FileStatus::of(path).isRegularFile())
            return path;
    }
    return {};
}

} // namespace

Headers HeaderSearch::headersOf(const QString &source, const QStringList &directories)
{
    Headers headers;
    QSet<QString> seen;
    collect(source, 0, directories, &seen, &headers);
    return headers;
}

void HeaderSearch::collect(const QString &file, int line, const QStringList &directories,
                           QSet<QString> *seen, Headers *headers)
{
    const Lines lines = linesOf(file);
    for (const LuaSource::Inclusion &inclusion : lines.inclusions) {
        const QString header = find(inclusion.header, directories);
        if (header.isEmpty() && !lines.isConditional)
            headers->missing.append({inclusion.header, file, inclusion.line});
        if (header.isEmpty() || seen->contains(header))
            continue;
        const int first = line > 0 ? line : inclusion.line;
        seen->insert(header);
        headers->found.append({header, first});
        collect(header, first, directories, seen, headers);
    }
}

const HeaderSearch::Lines &HeaderSearch::linesOf(const QString &path)
{
    const auto known = m_lines.constFind(path);
    if (known != m_lines.constEnd())
        return *known;
    Lines &lines = m_lines[path];
    const QByteArray text = contentOf(path).value_or(QByteArray());
    if (!text.contains('#')) // neither headers nor macros, as most
        return lines;
    const LuaSource source = LuaSource::of(text);
    for (const QByteArrayView macro : source.macros)
        lines.macros.insert(macro.toByteArray());
    lines.inclusions = source.inclusions;
    lines.isConditional = source.isConditional;
    return lines;
}

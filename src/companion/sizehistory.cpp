#include "companion/sizehistory.h"

#include "build/generatedfiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QJsonObject toJson(const QString &build, const Sizes &sizes)
{
    QJsonObject numbers;
    for (auto size = sizes.begin(); size != sizes.end(); ++size)
        numbers.insert(size.key(), *size);
    return {{u"build"_s, build}, {u"sizes"_s, numbers}};
}

Sizes sizesIn(const QJsonObject &build)
{
    Sizes sizes;
    const QJsonObject numbers = build.value(u"sizes"_s).toObject();
    for (auto number = numbers.begin(); number != numbers.end(); ++number)
        sizes.insert(number.key(), number.value().toInteger());
    return sizes;
}

} // namespace

std::optional<Sizes> SizeHistory::replace(const QString &build, const Sizes &sizes)
{
    QFile file(m_file);
    const QJsonObject kept = file.open(QIODevice::ReadOnly)
                                     ? QJsonDocument::fromJson(file.readAll()).object()
                                     : QJsonObject();
    QJsonObject before = kept.value(u"last"_s).toObject();
    if (before.value(u"build"_s).toString() == build)
        before = kept.value(u"before"_s).toObject();
    const QJsonObject now{{u"last"_s, toJson(build, sizes)}, {u"before"_s, before}};
    // A copy that is cut short by a full disk counts as none.
    QString error;
    m_isKept =
            writeGeneratedFile(m_file, QJsonDocument(now).toJson(QJsonDocument::Compact), &error);
    return before.isEmpty() ? std::optional<Sizes>() : sizesIn(before);
}

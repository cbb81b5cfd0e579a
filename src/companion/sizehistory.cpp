#include "companion/sizehistory.h"

#include "build/generatedfiles.h"
#include "companion/contentof.h"

#include <QFileInfo>
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
    const QJsonObject kept =
            QJsonDocument::fromJson(contentOf(m_file).value_or(QByteArray())).object();
    QJsonObject before = kept.value(u"last"_s).toObject();
    if (before.value(u"build"_s).toString() == build)
        before = kept.value(u"before"_s).toObject();
    const QJsonObject now{{u"last"_s, toJson(build, sizes)}, {u"before"_s, before}};
    // A copy that is cut short by a full disk counts as none.
    QString error;
    const QFileInfo info(m_file);
    m_isKept = (info.isFile() || !info.exists())
               && writeGeneratedFile(m_file, QJsonDocument(now).toJson(QJsonDocument::Compact),
                                     &error);
    return before.isEmpty() ? std::optional<Sizes>() : sizesIn(before);
}

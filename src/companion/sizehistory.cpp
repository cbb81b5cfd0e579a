#include "companion/sizehistory.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

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
    QSaveFile written(m_file);
    const QJsonObject now{{u"last"_s, toJson(build, sizes)}, {u"before"_s, before}};
    m_isKept = written.open(QIODevice::WriteOnly)
               && written.write(QJsonDocument(now).toJson(QJsonDocument::Compact)) > 0
               && written.commit();
    return before.isEmpty() ? std::optional<Sizes>() : sizesIn(before);
}

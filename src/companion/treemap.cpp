#include "companion/treemap.h"

#include "companion/output.h"

#include <QRectF>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr double width = 960;
constexpr double height = 600;
constexpr double titleHeight = 28;
constexpr double labelHeight = 14;
constexpr double letterWidth = 6.6;

constexpr std::array<const char *, 6> colours{"#8dd3c7", "#bebada", "#fdb462",
                                              "#b3de69", "#80b1d3", "#fccde5"};

/// A part of a directory, the largest first.
struct Part
{
    QString name;
    const SizeTree *tree;
};

QList<Part> partsOf(const SizeTree &tree)
{
    QList<Part> parts;
    for (auto child = tree.children.begin(); child != tree.children.end(); ++child) {
        if (child->size > 0)
            parts.append({child.key(), &child.value()});
    }
    std::stable_sort(parts.begin(), parts.end(),
                     [](const Part &a, const Part &b) { return a.tree->size > b.tree->size; });
    return parts;
}

class Treemap
{
public:
    QByteArray draw(const SizeTree &tree, const QString &title)
    {
        m_svg = QString::fromLatin1(treemapBeginning);
        m_svg += u"<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %1 %2\" "
                 "font-family=\"sans-serif\" font-size=\"11\">\n"
                 "<rect width=\"%1\" height=\"%2\" fill=\"#fff\"/>\n"
                 "<text x=\"8\" y=\"19\" font-size=\"14\">%3</text>\n"_s.arg(width)
                         .arg(height)
                         .arg(printable(title).toHtmlEscaped());
        addParts(partsOf(tree), QRectF(0, titleHeight, width, height - titleHeight), {}, 0);
        m_svg += u"</svg>\n"_s;
        return m_svg.toUtf8();
    }

private:
    /// Cuts the area into two of the halves' sizes, along its longer side, and so on.
    void addParts(const QList<Part> &parts, const QRectF &area, const QString &path, int depth)
    {
        if (parts.isEmpty())
            return;
        if (parts.size() == 1) {
            addPart(parts.first(), area, path, depth);
            return;
        }
        double total = 0;
        for (const Part &part : parts)
            total += static_cast<double>(part.tree->size);
        double first = static_cast<double>(parts.first().tree->size);
        qsizetype count = 1;
        while (count + 1 < parts.size()
               && first + static_cast<double>(parts[count].tree->size) <= total / 2)
            first += static_cast<double>(parts[count++].tree->size);
        QRectF left = area;
        QRectF right = area;
        if (area.width() >= area.height()) {
            left.setWidth(area.width() * first / total);
            right.setLeft(left.right());
        } else {
            left.setHeight(area.height() * first / total);
            right.setTop(left.bottom());
        }
        addParts(parts.first(count), left, path, depth);
        addParts(parts.sliced(count), right, path, depth);
    }

    void addPart(const Part &part, const QRectF &area, const QString &path, int depth)
    {
        const QString whole = path + u'/' + part.name;
        const bool isFile = part.tree->children.isEmpty();
        m_svg +=
                u"<g><title>%1: %2 bytes</title>"
                "<rect x=\"%3\" y=\"%4\" width=\"%5\" height=\"%6\" fill=\"%7\" stroke=\"#fff\"/>"_s
                        .arg(printable(whole).toHtmlEscaped())
                        .arg(part.tree->size)
                        .arg(area.x(), 0, 'f', 1)
                        .arg(area.y(), 0, 'f', 1)
                        .arg(area.width(), 0, 'f', 1)
                        .arg(area.height(), 0, 'f', 1)
                        .arg(isFile ? QString::fromLatin1(
                                     colours[static_cast<size_t>(depth) % colours.size()])
                                    : u"#eee"_s);
        const bool hasLabel =
                area.height() >= labelHeight
                && area.width() >= static_cast<double>(part.name.size()) * letterWidth;
        if (hasLabel) {
            m_svg += u"<text x=\"%1\" y=\"%2\">%3</text>"_s.arg(area.x() + 3, 0, 'f', 1)
                             .arg(area.y() + labelHeight - 3, 0, 'f', 1)
                             .arg(printable(part.name).toHtmlEscaped());
        }
        m_svg += u"</g>\n"_s;
        const double top = hasLabel ? labelHeight : 0;
        if (!isFile)
            addParts(partsOf(*part.tree), area.adjusted(2, top, -2, -2).intersected(area), whole,
                     depth + 1);
    }

    QString m_svg;
};

} // namespace

QByteArray treemapOf(const SizeTree &tree, const QString &title)
{
    return Treemap().draw(tree, title);
}

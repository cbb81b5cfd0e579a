#include "companion/size.h"

#include "app/makeproject.h"
#include "build/generatedfiles.h"
#include "companion/contentof.h"
#include "companion/openedproject.h"
#include "companion/output.h"
#include "companion/rehearsedbuild.h"
#include "companion/sizehistory.h"
#include "companion/treemap.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

int fail(const QString &text)
{
    printMessage(text);
    return 1;
}

/// A firmware file of the last build.
struct Firmware
{
    QString path;
    QByteArray content;
};

/// @return the firmware files that a build of the project makes, as far as they are there
QList<Firmware> firmwareOf(const OpenedProject &project, QString *error)
{
    QStringList paths;
    {
        RehearsedBuild build(project.spec, project.status);
        if (!build.rehearse(Project::Operation::Build))
            *error = build.errorText();
        for (const Command &command : build.commands()) {
            if (command.displayName == "ztlink"_L1)
                paths << optionValue(command.arguments, u"--output"_s);
        }
    }
    QList<Firmware> found;
    for (const QString &path : std::as_const(paths)) {
        if (const auto content = contentOf(path))
            found.append({path, *content});
    }
    return found;
}

QString change(const std::optional<Sizes> &before, const QString &name, qint64 size)
{
    if (!before)
        return {};
    if (!before->contains(name))
        return u"  new"_s;
    const qint64 difference = size - before->value(name);
    if (difference == 0)
        return {};
    return difference > 0 ? u"  +%1"_s.arg(difference) : u"  %1"_s.arg(difference);
}

class SizePrinter
{
public:
    explicit SizePrinter(std::optional<Sizes> before) : m_before(std::move(before)) {}

    void print(const QString &name, qint64 size) const
    {
        print(size, name, change(m_before, name, size));
    }

    void printTree(const SizeTree &tree, const QString &path, int depth) const
    {
        for (auto child = tree.children.begin(); child != tree.children.end(); ++child) {
            const bool isFile = child->children.isEmpty();
            const QString whole = path + u'/' + child.key();
            const qint64 earlier = m_before ? sizeBefore(whole) : 0;
            const qint64 difference = m_before ? child->size - earlier : 0;
            QString note;
            if (difference != 0)
                note = u"  %1%2"_s.arg(difference > 0 ? u"+"_s : QString()).arg(difference);
            print(child->size,
                  QString(static_cast<qsizetype>(depth) * 2, u' ') + child.key()
                          + (isFile ? QString() : u"/"_s),
                  note);
            printTree(*child, whole, depth + 1);
        }
    }

    void printRemoved(const Sizes &now) const
    {
        if (!m_before)
            return;
        for (auto size = m_before->begin(); size != m_before->end(); ++size) {
            if (size.key().startsWith(u'/') && !now.contains(size.key()))
                print(0, size.key(), u"  -%1"_s.arg(*size));
        }
    }

private:
    /// @return what a file, or all below a directory, weighed before
    qint64 sizeBefore(const QString &path) const
    {
        qint64 total = m_before->value(path);
        for (auto size = m_before->lowerBound(path + u'/');
             size != m_before->end() && size.key().startsWith(path + u'/'); ++size)
            total += *size;
        return total;
    }

    static void print(qint64 size, const QString &name, const QString &note)
    {
        printLine(u"%1  "_s.arg(size, 10) + name + note);
    }

    std::optional<Sizes> m_before;
};

/// Tells a build from others: its firmware is linked anew each time.
QString stampOf(const QList<Firmware> &firmware)
{
    qint64 youngest = 0;
    for (const Firmware &file : firmware)
        youngest = std::max(youngest, QFileInfo(file.path).lastModified().toMSecsSinceEpoch());
    return QString::number(youngest);
}

/// @return whether a drawing may be written to @p path: nothing but an earlier one is written over
bool isFreeForTreemap(const QString &path)
{
    if (!QFileInfo::exists(path))
        return true;
    const auto content = contentOf(path);
    return content && (content->isEmpty() || content->startsWith(treemapBeginning));
}

} // namespace

int showSizes(const SizeOptions &options)
{
    OpenedProject project;
    QString error;
    if (!project.open(options.projectFile, &error))
        return fail(project.file.isEmpty() ? error : u"%1: %2"_s.arg(project.file, error));
    if (!isFreeForTreemap(options.svg))
        return fail(u"%1 is not a drawing of ztproject, and was left as it is."_s.arg(options.svg));
    const QList<Firmware> firmware = firmwareOf(project, &error);
    if (firmware.isEmpty())
        return fail(error.isEmpty() ? u"There is no firmware yet; build the project first."_s
                                    : error);

    Sizes sizes;
    for (const Firmware &file : firmware)
        sizes.insert(QFileInfo(file.path).fileName(), file.content.size());
    const auto files = filesOfFirmware(firmware.first().content);
    for (const RomfsFile &file : files.value_or(QList<RomfsFile>())) {
        sizes.insert(u'/' + file.path, file.size);
        sizes[u"files in the image"_s] += file.size;
    }

    SizeHistory history(project.spec.objectFilePath(u"ztproject-sizes.json"_s));
    const SizePrinter printer(history.replace(stampOf(firmware), sizes));
    for (const Firmware &file : firmware)
        printer.print(QFileInfo(file.path).fileName(), file.content.size());
    if (!files)
        return fail(
                u"There is no romfs image in %1, or it is encrypted."_s.arg(firmware.first().path));
    const SizeTree tree = SizeTree::of(*files);
    printer.print(u"files in the image"_s, tree.size);
    printer.printTree(tree, {}, 1);
    printer.printRemoved(sizes);
    const QString objects = project.spec.objectFilePath({});
    if (!history.isKept() && QFileInfo(objects).isDir())
        printMessage(u"Cannot save the sizes in %1."_s.arg(objects));
    const QString title =
            u"%1 %2: %3 bytes in %4 files"_s.arg(project.spec.name, project.spec.version)
                    .arg(tree.size)
                    .arg(files->size());
    const bool ok = options.svg.isEmpty()
                    || writeGeneratedFile(options.svg, treemapOf(tree, title), &error);
    return ok ? 0 : fail(error);
}

#include "companion/romfs.h"

#include "companion/schemacheck.h"
#include "companion/sizetree.h"

#include "rows.h"

#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

void putNumber(QByteArray *image, qsizetype offset, quint32 number)
{
    qToBigEndian(number, image->data() + offset);
}

QByteArray padded(const QByteArray &text)
{
    return text + QByteArray(16 - text.size() % 16, '\0');
}

/// The header of a file, and what follows it.
QByteArray file(const QByteArray &name, quint32 next, quint32 info, const QByteArray &content)
{
    QByteArray bytes(16, '\0');
    putNumber(&bytes, 0, next);
    putNumber(&bytes, 4, info);
    putNumber(&bytes, 8, static_cast<quint32>(content.size()));
    return bytes + padded(name) + (content.isEmpty() ? content : padded(content));
}

/// An image with the file "a" and the file "c" in the directory "b".
QByteArray image()
{
    QByteArray bytes = "-rom1fs-" + QByteArray(8, '\0') + padded("label");
    bytes += file("a", 80 | 2, 0, "12345"); // at 32, 48 bytes
    bytes += file("b", 0 | 1, 112, {});     // at 80, 32 bytes
    bytes += file("c", 0 | 2, 0, "12");     // at 112
    putNumber(&bytes, 8, static_cast<quint32>(bytes.size()));
    quint32 sum = 0;
    for (qsizetype offset = 0; offset < bytes.size(); offset += 4)
        sum += qFromBigEndian<quint32>(bytes.constData() + offset);
    putNumber(&bytes, 12, 0 - sum);
    return bytes;
}

QStringList paths(const std::optional<QList<RomfsFile>> &files)
{
    QStringList found;
    for (const RomfsFile &file : files.value_or(QList<RomfsFile>{{u"none"_s, 0}}))
        found << u"%1 %2"_s.arg(file.path).arg(file.size);
    return found;
}

} // namespace

class TestRomfs : public QObject
{
    Q_OBJECT

private slots:
    void filesHaveTheirPathsAndSizes()
    {
        QCOMPARE(paths(filesOfRomfs(image())), QStringList({u"a 5"_s, u"b/c 2"_s}));
    }

    void imageIsFoundInFirmware()
    {
        QCOMPARE(paths(filesOfFirmware("head -rom1fs- no image " + image() + "tail")),
                 QStringList({u"a 5"_s, u"b/c 2"_s}));
        QVERIFY(!filesOfFirmware("head -rom1fs-"));
        QVERIFY(!filesOfFirmware({}));
    }

    void shortAndDamagedImagesAreNone()
    {
        const QByteArray whole = image();
        for (qsizetype size = 0; size < whole.size(); ++size)
            QVERIFY(!filesOfRomfs(QByteArrayView(whole).first(size)));
        for (qsizetype offset = 0; offset < whole.size(); ++offset) {
            QByteArray damaged = whole;
            damaged[offset] = static_cast<char>(~damaged[offset]);
            QVERIFY(!filesOfRomfs(damaged));
        }
    }

    void directoryThatLeadsBackIsDamage()
    {
        QByteArray bytes = image();
        constexpr quint32 back = 112 - 80;
        putNumber(&bytes, 84, 80); // the directory holds itself
        putNumber(&bytes, 12, qFromBigEndian<quint32>(bytes.constData() + 12) + back);
        QVERIFY(!filesOfRomfs(bytes));
    }

    void sizesAddUpInTheTree()
    {
        const SizeTree tree = SizeTree::of(*filesOfRomfs(image()));
        QCOMPARE(tree.size, 7);
        QCOMPARE(tree.children[u"b"_s].size, 2);
        QCOMPARE(tree.children[u"b"_s].children.keys(), QStringList{u"c"_s});
    }

    void nearestWordIsSuggested_data()
    {
        Rows<QString, QString> row; // word, nearest
        row("other capitals", u"Keyfile"_s, u"KeyFile"_s);
        row("letters exchanged", u"KyeFile"_s, u"KeyFile"_s);
        row("a letter too much", u"Targett"_s, u"Target"_s);
        row("far from all", u"Colour"_s, {});
    }
    void nearestWordIsSuggested()
    {
        const auto [word, nearest] = fetch<QString, QString>();
        QCOMPARE(nearestWord(word, {u"Name"_s, u"KeyFile"_s, u"Target"_s}), nearest);
    }
};

QTEST_GUILESS_MAIN(TestRomfs)
#include "tst_romfs.moc"

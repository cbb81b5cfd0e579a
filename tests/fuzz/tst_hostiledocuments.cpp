#include <QProcess>
#include <QTemporaryFile>
#include <QtTest>

#include <functional>

namespace {

constexpr int documentSize = 500 << 10; // bytes

/// A reader, and the document in which it looks at everything.
struct Reader
{
    const char *program;
    QByteArray documentType;
    QByteArray begin; ///< up to where children are read
    QByteArray end;
    QByteArray beginText; ///< of an element whose text is kept
    QByteArray endText;
};

const Reader &reader(const QByteArray &name)
{
    static const QHash<QByteArray, Reader> readers{
            {"currentSchema",
             {PROJECTPARSER2_PROGRAM, "ZeltaProject",
              "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009/42\">"
              "<Project Name=\"x\"><Translation>",
              "</Translation></Project></ZeltaProject>", "<Language>", "</Language>"}},
            {"firstSchema",
             {PROJECTPARSER1_PROGRAM, "ZeltaProject",
              "<ZeltaProject xmlns=\"http://zelta.example/Zelta/Project/2009\">"
              "<Project><Filesystem>",
              "</Filesystem></Project></ZeltaProject>", "<Merge Type=\"File\">", "</Merge>"}},
            {"translationReport",
             {TRANSLATIONREPORTPARSER_PROGRAM, "TSREPORT", "<TSREPORT>", "</TSREPORT>", "<source>",
              "</source>"}},
    };
    return *readers.constFind(name);
}

QByteArray repeated(const QByteArray &text, qsizetype bytes)
{
    return text.repeated(bytes / text.size());
}

/// @return pieces with a running number in place of "%", @p bytes in all
QByteArray numbered(const QByteArray &piece, qsizetype bytes)
{
    QByteArray text;
    text.reserve(bytes + piece.size());
    for (int i = 0; text.size() < bytes; ++i)
        text += QByteArray(piece).replace('%', QByteArray::number(i, 36));
    return text;
}

QByteArray withChildren(const Reader &reader, const QByteArray &children)
{
    return reader.begin + children + reader.end;
}

QByteArray withDeclarations(const Reader &reader, const QByteArray &declarations,
                            const QByteArray &text = {})
{
    return "<!DOCTYPE " + reader.documentType + " [" + declarations + "]>"
           + withChildren(reader, reader.beginText + text + reader.endText);
}

/// Entities each of which is ten times the one before: 10 to the power of @p levels copies of
/// @p seed.
QByteArray expandingEntities(const char *kind, char reference, const QByteArray &seed, int levels)
{
    QByteArray declarations = QByteArray("<!ENTITY ") + kind + "a0 \"" + seed + "\">";
    for (int i = 1; i <= levels; ++i) {
        const QByteArray previous = reference + QByteArray("a") + QByteArray::number(i - 1) + ';';
        declarations += QByteArray("<!ENTITY ") + kind + 'a' + QByteArray::number(i) + " \""
                        + previous.repeated(10) + "\">";
    }
    return declarations;
}

struct Shape
{
    const char *name;
    std::function<QByteArray(const Reader &)> document;
};

QList<Shape> shapes()
{
    const auto inside = [](const char *name, const QByteArray &children) {
        return Shape{name,
                     [children](const Reader &reader) { return withChildren(reader, children); }};
    };
    const auto asText = [](const char *name, const QByteArray &text) {
        return Shape{name, [text](const Reader &reader) {
                         return withChildren(reader, reader.beginText + text + reader.endText);
                     }};
    };
    const auto declared = [](const char *name, const QByteArray &declarations,
                             const QByteArray &text = {}) {
        return Shape{name, [declarations, text](const Reader &reader) {
                         return withDeclarations(reader, declarations, text);
                     }};
    };
    return {
            inside("nestedElements", repeated("<u>", documentSize)),
            inside("siblings", repeated("<u/>", documentSize)),
            inside("openBrackets", repeated("<", documentSize)),
            inside("longName", '<' + repeated("x", documentSize) + "/>"),
            inside("longAttribute", "<u a=\"" + repeated("x", documentSize) + "\"/>"),
            inside("endlessAttribute", "<u a=\"" + repeated("x", documentSize)),
            // Not larger: the time grows with the square of the number of attributes.
            inside("manyAttributes", "<u" + numbered(" a%=\"\"", documentSize / 2) + "/>"),
            inside("manyNamespaces", "<u" + numbered(" xmlns:a%=\"%\"", documentSize) + "/>"),
            inside("longComment", "<!--" + repeated("x", documentSize) + "-->"),
            inside("comments", repeated("<!---->", documentSize)),
            inside("instructions", repeated("<?a?>", documentSize)),
            inside("blanks", repeated(" \n", documentSize)),
            asText("longText", repeated("x", documentSize)),
            asText("characterReferences", repeated("&#65;", documentSize)),
            asText("characterData", repeated("<![CDATA[x]]>", documentSize)),
            declared("entitiesOfText", expandingEntities("", '&', "ha", 12), "&a12;"),
            declared("entitiesOfNothing", expandingEntities("", '&', "", 12), "&a12;"),
            declared("parameterEntities", expandingEntities("% ", '%', "<!---->", 12) + "%a12;"),
            declared("repeatedEntity", "<!ENTITY a \"" + repeated("x", 4000) + "\">",
                     repeated("&a;", documentSize)),
            declared("entityOfItself", "<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">", "&a;"),
            declared("manyEntities", numbered("<!ENTITY a% \"\">", documentSize)),
            declared("manyDefaults",
                     "<!ATTLIST u" + numbered(" a% CDATA \"\"", documentSize / 2) + ">"),
            declared("nestedContentModel", "<!ELEMENT a " + repeated("(", documentSize)),
            declared("nestedSections", repeated("<![INCLUDE[", documentSize)),
    };
}

} // namespace

/// Documents made to exhaust a reader. Each is read in a process of its own, which ends with a
/// failure when that takes more than 64 MiB or ten seconds.
class TestHostileDocuments : public QObject
{
    Q_OBJECT

private slots:
    void isReadOrRefusedInBounds_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QByteArray>("document");
        for (const char *name : {"currentSchema", "firstSchema", "translationReport"}) {
            const Reader &from = reader(name);
            const QList<Shape> all = shapes();
            for (const Shape &shape : all) {
                QTest::addRow("%s:%s", name, shape.name)
                        << QString::fromLocal8Bit(from.program) << shape.document(from);
            }
            QTest::addRow("%s:manyRecords", name)
                    << QString::fromLocal8Bit(from.program)
                    << withChildren(from, repeated(from.beginText + from.endText, documentSize));
        }
    }

    void isReadOrRefusedInBounds()
    {
        QFETCH(const QString, program);
        QFETCH(const QByteArray, document);
        QTemporaryFile file;
        QVERIFY(file.open());
        QCOMPARE(file.write(document), document.size());
        file.close();

        QProcess process;
        process.start(program, {file.fileName()});
        QVERIFY(process.waitForFinished(60'000));
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
                 process.readAllStandardError().constData());
    }
};

QTEST_GUILESS_MAIN(TestHostileDocuments)

#include "tst_hostiledocuments.moc"

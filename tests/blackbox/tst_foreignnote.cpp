#include "interruption.h"
#include "rows.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray note = "project/obj/.unfinished";
const QByteArray everything = "ztlpp ztluac ztlpp ztluac ztmkromfs";

QByteArray bootId()
{
    QFile file(u"/proc/sys/kernel/random/boot_id"_s);
    require(file.open(QIODevice::ReadOnly), "read", "the boot id");
    return file.readAll().trimmed();
}

/// A note as the program writes it.
QByteArray naming(const QByteArrayList &outputs)
{
    QByteArray text = "ztmake-unfinished-2 " + bootId() + " - -\n";
    for (const QByteArray &output : outputs)
        text += output + '\0';
    return text + '\n';
}

/// A project that is built, with a file that nobody may touch.
class BuiltWorld : public World
{
public:
    BuiltWorld()
    {
        writeSmallProject(*this);
        require(run({"-q"}).status == 0, "build", "the project");
        write("project/precious", "precious\n", 3);
    }

    /// @return empty, or what has become of the precious file
    QByteArray harm() const
    {
        if (!exists("project/precious"))
            return "removed";
        return read("project/precious") == "precious\n" && time("project/precious") == 3
                       ? QByteArray()
                       : "changed";
    }
};

} // namespace

/// Notes in the object directory that this program has not written, or not for this purpose.
class TestForeignNote : public QObject
{
    Q_OBJECT

private slots:
    // Shows that the notes below are of the right format, too.
    void ownNoteIsFollowed()
    {
        BuiltWorld world;
        world.write(note, naming({"root/a.lui", "root/missing.lui", "missing/b.lui"}));
        const Result result = world.run({"-q"});
        SAME(result.err, "");
        SAME(names(result).join(' '), "ztlpp ztluac ztmkromfs");
        QVERIFY(!world.exists(note));
    }

    void nameThatLeadsElsewhere_data()
    {
        Rows<QByteArray> row; // name [W: the world's directory]
        row("parent directory", "../precious");
        row("parent directory, later", "root/../../precious");
        row("absolute", "W/project/precious");
        row("linked directory", "link/precious");
        row("directory linked by its absolute path", "absolute/precious");
        row("object directory", ".");
        row("its parent", "..");
        row("empty last part", "root/");
    }
    void nameThatLeadsElsewhere()
    {
        auto [name] = fetch<QByteArray>();
        BuiltWorld world;
        world.link("..", "project/obj/link");
        world.link(world.path("project"), "project/obj/absolute");
        world.write(note, naming({name.replace('W', world.path())}));
        const Result result = world.run({"-q"});
        SAME(world.harm(), "");
        SAME(result.err, "");
        SAME(names(result).join(' '), everything);
        QVERIFY(!world.exists(note));
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }

    // A link itself is an entry of the object directory; what it leads to stays.
    void outputThatIsALink()
    {
        BuiltWorld world;
        world.remove("project/obj/root/a.lui");
        world.link("../../precious", "project/obj/root/a.lui");
        world.write(note, naming({"root/a.lui"}));
        SAME(world.run({"-q"}).err, "");
        SAME(world.harm(), "");
        QCOMPARE(world.read("project/obj/root/a.lui"), "made by ztlpp\n");
    }

    void noteThatIsNoOrdinaryFile_data()
    {
        Rows<QByteArray> row; // what it is
        for (const char *what : {"link", "link to nothing", "link to a good note", "hard link",
                                 "pipe", "directory", "huge", "somebody else's"})
            row(what, what);
    }
    void noteThatIsNoOrdinaryFile()
    {
        const auto [what] = fetch<QByteArray>();
        BuiltWorld world;
        const QByteArray path = world.path(note);
        if (what == "link") {
            world.link("../precious", note);
        } else if (what == "link to nothing") {
            world.link("../nothing", note);
        } else if (what == "link to a good note") {
            world.write("project/good", naming({"root/a.lui"}));
            world.link("../good", note);
        } else if (what == "hard link") {
            world.write("project/good", naming({"root/a.lui"}));
            QCOMPARE(link(world.path("project/good").constData(), path.constData()), 0);
        } else if (what == "pipe") {
            QCOMPARE(mkfifo(path.constData(), 0666), 0);
        } else if (what == "directory") {
            world.makeDirectory(note);
        } else if (what == "huge") {
            world.write(note, naming({"root/a.lui"}) + QByteArray(2 << 20, 'x'));
        } else {
            if (geteuid() != 0)
                QSKIP("Only root can give files away.");
            world.write(note, naming({"root/a.lui"}));
            QCOMPARE(chown(path.constData(), nobody, nobody), 0);
        }
        const Result result = world.run({"-q"});
        SAME(world.harm(), "");
        QVERIFY(!world.exists("project/nothing"));
        SAME(result.err, "");
        SAME(names(result).join(' '), everything);
        QVERIFY(!world.exists(note));
        QCOMPARE(names(world.run({"-q"})), QByteArrayList{"ztmkromfs"});
    }

    // What it holds is somebody's.
    void noteThatIsADirectoryWithAFile()
    {
        BuiltWorld world;
        world.write(note + "/file");
        const Result result = world.run({"-q"});
        SAME(result.err, "[ztmake] Error writing obj/.unfinished: Directory not empty\n");
        QVERIFY(world.exists(note + "/file"));
        QVERIFY(!world.exists(note + ".new"));
    }

    void temporaryNameThatIsALink()
    {
        BuiltWorld world;
        world.link("../precious", "project/obj/.unfinished.new");
        world.setTime("project/root/a.lua", 4'000'000'000'000'000'000 / 2);
        SAME(world.run({"-q"}).err, "");
        SAME(world.harm(), "");
    }

    void noteOfAnotherBoot()
    {
        BuiltWorld world;
        world.write(note, naming({"root/a.lui"}).replace(bootId(), "another"));
        SAME(names(world.run({"-q"})).join(' '), everything);
    }
};

QTEST_GUILESS_MAIN(TestForeignNote)
#include "tst_foreignnote.moc"

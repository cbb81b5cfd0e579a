#include "luaproject.h"
#include "rows.h"

#include <clocale>

#include <langinfo.h>

/// Names in Latin-1, which are not valid UTF-8, also under a locale in which they read "grün". Qt
/// takes names for UTF-8 under any locale.
class TestLatin1 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("LOCPATH", LOCALES);
        const locale_t locale = newlocale(LC_ALL_MASK, "de_DE.ISO-8859-1", nullptr);
        QVERIFY(locale != nullptr);
        QCOMPARE(nl_langinfo_l(CODESET, locale), "ISO-8859-1");
        freelocale(locale);
    }

    void projectsInSuchADirectoryAreBuilt_data() { locales(); }
    void projectsInSuchADirectoryAreBuilt()
    {
        World world;
        prepare(&world);
        const Result plain = inShell(&world, "cd project && ../sdk/bin/ztmake -v");
        QCOMPARE(plain.status, 0);
        QVERIFY2(plain.callText().contains("ztmkromfs@"), plain.callText()); // a response file
        const Result result = inShell(&world, "rm -r project/obj project/firmware project/include/*"
                                              " project/root/usr/lib/lua/*\n"
                                              "mv project \"$d\"; cd \"$d\"; ../sdk/bin/ztmake -v");
        SAME(result.text().replace("gr\xfcn", "project"), plain.text());
    }

    void onlyTheOwnDirectoryIsClaimed_data() { locales(); }
    void onlyTheOwnDirectoryIsClaimed()
    {
        World world;
        prepare(&world);
        // Somebody else has the directory above.
        const Result result = inShell(&world, "mv project \"$d\"; exec 9<.; flock 9; cd \"$d\"\n"
                                              "timeout 60 ../sdk/bin/ztmake -q 9<&-");
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.status, 0);
    }

    void sourcesLeftOutAreCounted_data() { locales(); }
    void sourcesLeftOutAreCounted()
    {
        LuaWorld world(noPreprocess);
        world.write("project/root/a.lua");
        const Result result =
                inShell(&world, "cd project/root; echo >\"$d.lua\"; ln -s a.lua \"$d$d.lua\"\n"
                                "mkdir -p \"$d/x/.y\"; echo >\"$d/a.lua\"; echo >\"$d/x/b.LUA\"\n"
                                "echo >\"$d/x/c.txt\"; echo >\"$d/x/.y/d.lua\"; echo >\".$d.lua\"\n"
                                "cd ..; ../sdk/bin/ztmake -q");
        SAME(result.err, "[ztmake] Warning: Lua files with names that are not UTF-8 are not"
                         " compiled: 4\n");
        QCOMPARE(names(result), QByteArrayList({"ztluac", "ztmkromfs"}));
        QCOMPARE(result.status, 0);
    }

    void programInSuchADirectoryIsRefused_data() { locales(); }
    void programInSuchADirectoryIsRefused()
    {
        World world;
        prepare(&world);
        SAME(inShell(&world, "mv sdk \"$d\"; cd project; \"../$d/bin/ztmake\"").text(),
             report(1, {}, "[ztmake] The path of this program is not valid UTF-8.\n"));
    }

    void projectFileOfSuchANameIsRefused_data() { locales(); }
    void projectFileOfSuchANameIsRefused()
    {
        World world;
        prepare(&world);
        SAME(inShell(&world, "cd project; mv demo.ztp \"$d.ztp\"; ../sdk/bin/ztmake \"$d.ztp\"")
                     .text(),
             report(1, {}, "[ztmake] The name of the project file is not valid UTF-8.\n"));
    }

private:
    static void locales()
    {
        Rows<QByteArray> row; // locale
        row("UTF-8", "C.UTF-8");
        row("ISO-8859-1", "de_DE.ISO-8859-1");
    }

    /// Tools with many arguments, some of them in another directory and outside obj.
    static void prepare(World *world)
    {
        world->project(demo, tree()
                                     + "<Target Model=\"T1\"/><MTD16 Enabled=\"1\"/>"
                                       "<Translation Enabled=\"1\">"
                                     + languages({"de"}) + "</Translation>");
        world->write("project/demo.mtdef");
        world->makeDirectory("project/include");
        world->makeDirectory("project/root/usr/lib/lua");
        world->makeDirectory("project/translations");
        for (const char *name : {"a", "b", "c", "d/e"})
            world->write("project/root/" + QByteArray(name) + ".lua");
    }

    /// Runs a script in the world's directory, in which $d is "grün" in Latin-1. What bears such a
    /// name is removed afterwards: QTemporaryDir cannot.
    static Result inShell(World *world, const QByteArray &script)
    {
        const auto [locale] = fetch<QByteArray>();
        world->setVariable("LOCPATH", LOCALES);
        world->setVariable("LC_ALL", locale);
        const QByteArray whole = "d=$(printf 'gr\\374n'); top=$PWD\n" + script
                                 + "\nstatus=$?; cd \"$top\"\n"
                                   "find . -depth -name '*'\"$d\"'*' -exec rm -rf {} +\n"
                                   "exit $status";
        Result result = world->run({"-c", whole}, {.directory = "", .program = "/bin/sh"});
        if (!result.calls.isEmpty())
            result.directory = result.calls.first().directory;
        return result;
    }
};

QTEST_GUILESS_MAIN(TestLatin1)
#include "tst_latin1.moc"

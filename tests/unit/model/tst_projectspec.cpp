#include "model/projectspec.h"

#include "rows.h"

using namespace Qt::StringLiterals;

namespace {

using Change = std::function<void(ProjectSpec *)>;

/// One change for each field that takes part in comparison.
QList<std::pair<const char *, Change>> changes()
{
    return {
            {"projectFile", [](ProjectSpec *s) { s->projectFile = u"x"_s; }},
            {"projectDirectory", [](ProjectSpec *s) { s->projectDirectory = u"x"_s; }},
            {"objectDirectory", [](ProjectSpec *s) { s->objectDirectory = u"x"_s; }},
            {"outputDirectory", [](ProjectSpec *s) { s->outputDirectory = u"x"_s; }},
            {"keyFile", [](ProjectSpec *s) { s->keyFile = u"x"_s; }},
            {"tagMap", [](ProjectSpec *s) { s->tagMap = u"x"_s; }},
            {"stateFile", [](ProjectSpec *s) { s->stateFile_ = u"x"_s; }},
            {"version", [](ProjectSpec *s) { s->version = u"x"_s; }},
            {"name", [](ProjectSpec *s) { s->name = u"x"_s; }},
            {"startupFile", [](ProjectSpec *s) { s->startupFile = u"x"_s; }},
            {"interactive", [](ProjectSpec *s) { s->interactive = {1}; }},
            {"buildInstaller", [](ProjectSpec *s) { s->buildInstaller = {1}; }},
            {"includeMbr", [](ProjectSpec *s) { s->includeMbr = {1}; }},
            {"encryptInstaller", [](ProjectSpec *s) { s->encryptInstaller = {1}; }},
            {"filesystems", [](ProjectSpec *s) { s->filesystems.append(FilesystemSpec()); }},
            {"targets", [](ProjectSpec *s) { s->targets.append(TargetSpec()); }},
            {"defaultLanguage", [](ProjectSpec *s) { s->defaultLanguage = u"x"_s; }},
            {"languages", [](ProjectSpec *s) { s->languages.append(u"x"_s); }},
            {"translation", [](ProjectSpec *s) { s->translation = {0}; }},
            {"translationBaseDir", [](ProjectSpec *s) { s->translationBaseDir = u"x"_s; }},
            {"process", [](ProjectSpec *s) { s->process.strip = {1}; }},
            {"svnversion", [](ProjectSpec *s) { s->svnversion = {1}; }},
            {"verbose", [](ProjectSpec *s) { s->verbose = 1; }},
            {"mtd16", [](ProjectSpec *s) { s->mtd16 = {1}; }},
            {"mtd16Source", [](ProjectSpec *s) { s->mtd16Source = u"x"_s; }},
            {"mtd16Header", [](ProjectSpec *s) { s->mtd16Header.value = u"x"_s; }},
            {"mtd16Lua", [](ProjectSpec *s) { s->mtd16Lua.value = u"x"_s; }},
            {"sdk", [](ProjectSpec *s) { s->sdk = u"x"_s; }},
    };
}

} // namespace

class TestProjectSpec : public QObject
{
    Q_OBJECT

private slots:
    void constructedDefaults()
    {
        const ProjectSpec spec;
        QCOMPARE(spec.interactive.value, 0);
        for (const Tristate setting : {spec.buildInstaller, spec.includeMbr, spec.encryptInstaller,
                                       spec.translation, spec.svnversion, spec.mtd16})
            QCOMPARE(setting.value, -1);
        QVERIFY(spec.process == ProcessSpec());
        QCOMPARE(spec.verbose, -1);
        QCOMPARE(spec.modified, false);
        QCOMPARE(spec.mtd16Header.defaultValue, u"include/mtd16.lh"_s);
        QCOMPARE(spec.mtd16Header.value, QString());
        QCOMPARE(spec.mtd16Lua.defaultValue, u"root/usr/lib/lua/mtd16.lua"_s);
        QCOMPARE(spec.mtd16Lua.value, QString());
        QCOMPARE(spec.translationBaseDir, QString());
        QVERIFY(!spec.interactiveAfterStartup());
        QVERIFY(!spec.lupdateEnabled());
        QVERIFY(!spec.mtd16Enabled());
    }

    void accessorsAreOffUnlessOn()
    {
        for (const int value : {-1, 0, 1}) {
            ProjectSpec spec;
            spec.interactive = spec.translation = spec.mtd16 = {value};
            QCOMPARE(spec.interactiveAfterStartup(), value == 1);
            QCOMPARE(spec.lupdateEnabled(), value == 1);
            QCOMPARE(spec.mtd16Enabled(), value == 1);
        }
    }

    void clearPreparesForANewRead()
    {
        ProjectSpec spec;
        for (const auto &[field, change] : changes())
            change(&spec);
        spec.description = u"kept"_s;
        spec.modified = true;
        spec.sdkCache = u"x"_s;
        spec.clear();

        ProjectSpec expected;
        expected.interactive = {-1};
        expected.mtd16 = {0};
        expected.translationBaseDir = u"/usr/lib/lua"_s;
        expected.defaultLanguage = u"x"_s;
        expected.languages = {u"x"_s};
        expected.translation = {0};
        QVERIFY(spec == expected);
        QCOMPARE(spec.mtd16Header.value, QString());
        QCOMPARE(spec.mtd16Header.defaultValue, u"include/mtd16.lh"_s);
        QCOMPARE(spec.mtd16Lua.value, QString());
        QCOMPARE(spec.mtd16Lua.defaultValue, u"root/usr/lib/lua/mtd16.lua"_s);
        QCOMPARE(spec.description, u"kept"_s);
        QCOMPARE(spec.modified, false);
        QCOMPARE(spec.sdkCache, QString());
    }

    void clearKeepsTheProcessSpecsLupdate()
    {
        ProjectSpec spec;
        spec.process.lupdate = {0};
        spec.clear();
        QCOMPARE(spec.process.lupdate.value, 0);
    }

    void comparison_data()
    {
        Rows<int> row; // index
        const auto all = changes();
        for (int i = 0; i < all.size(); ++i)
            row(all[i].first, i);
    }
    void comparison()
    {
        const auto [index] = fetch<int>();
        const ProjectSpec base;
        ProjectSpec other;
        QVERIFY(other == base);
        changes()[index].second(&other);
        QVERIFY(!(other == base));
    }

    void cacheAndFreeFieldsAreNotCompared()
    {
        ProjectSpec spec;
        spec.sdkCache = u"x"_s;
        spec.description = u"x"_s;
        spec.modified = true;
        QVERIFY(spec == ProjectSpec());
    }

    void spelledOutDefaultsCompareEqual()
    {
        ProjectSpec spec;
        spec.mtd16Header.value = u"include/mtd16.lh"_s;
        spec.mtd16Lua.value = u"root/usr/lib/lua/mtd16.lua"_s;
        QVERIFY(spec == ProjectSpec());
    }

    void findTargetByName()
    {
        ProjectSpec spec;
        for (const int level : {1, 2, 3}) {
            TargetSpec target;
            target.model = level == 1 ? u"First"_s : u"Twice"_s;
            target.verbose = level;
            spec.targets.append(target);
        }
        QCOMPARE(spec.findTargetByName(u"first"_s), nullptr);
        QCOMPARE(spec.findTargetByName(u"Firs"_s), nullptr);
        TargetSpec *found = spec.findTargetByName(u"Twice"_s);
        QCOMPARE(found, &spec.targets[1]);
        found->verbose = 9;
        QCOMPARE(spec.targets[1].verbose, 9);
    }
};

QTEST_APPLESS_MAIN(TestProjectSpec)
#include "tst_projectspec.moc"

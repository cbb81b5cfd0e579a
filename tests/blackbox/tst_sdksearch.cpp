#include "world.h"

#include <QTest>

namespace {

const QByteArray noSdk = "[ztmake] Cannot find SDK directory.\n";

/// The SDK that a build uses, as the link names it; the error when there is none.
QByteArray usedSdk(World &world, const QByteArrayList &arguments = {}, const Start &start = {})
{
    const Result result = world.run(QByteArrayList{"-q"} + arguments, start);
    if (result.calls.isEmpty())
        return QByteArray::number(result.status) + ' ' + result.err;
    const QByteArray kernel = result.calls.last().arguments.value(1);
    return QByteArray(kernel).replace("/kernel/T1-kernel.bin", "").replace(world.path(), "$W");
}

void writeProject(World &world, const QByteArray &sdk, const QByteArray &name = "project/demo.ztp")
{
    world.project("Name=\"Demo\" SDK=\"" + sdk + '"', "<Target Model=\"T1\"/><Filesystem/>", name);
}

void setVariable(World &world, const char *name, const QByteArray &value)
{
    world.environment().insert(QLatin1String(name), QString::fromUtf8(value));
}

void writeSetting(World &world, const QByteArray &value,
                  const QByteArray &file = "home/.config/Unknown Organization/ztmake.conf")
{
    world.write(file, "[Preferences]\nZeltaSDK=" + value + '\n');
}

} // namespace

class tst_SdkSearch : public QObject
{
    Q_OBJECT

private slots:
    void namedSdkIsSearchedInOrder();
    void repositoryIsSearchedInOrder();
    void repositoryIsChosenBeforeTheSdkIn_data();
    void repositoryIsChosenBeforeTheSdkIn();
    void settingIsReadWhereItIsKept_data();
    void settingIsReadWhereItIsKept();
    void filesAreNoSdkDirectories();
    void defaultSdk_data();
    void defaultSdk();
    void absoluteSdk();
    void searchFollowsTheProjectDirectory();
    void everyOperationNeedsTheSdk_data();
    void everyOperationNeedsTheSdk();
    void sdkPrefixOfPaths_data();
    void sdkPrefixOfPaths();
};

void tst_SdkSearch::namedSdkIsSearchedInOrder()
{
    World world;
    writeProject(world, "2.1");
    world.makeDirectory("project/sdk-2.1");
    world.makeDirectory("project/2.1");
    world.makeDirectory("home/ZeltaSDK/sdk-2.1");
    setVariable(world, "ZELTADIR", world.path("tree"));
    world.makeDirectory("tree/src/sdk");

    SAME(usedSdk(world), "sdk-2.1");
    world.remove("project/sdk-2.1");
    SAME(usedSdk(world), "2.1");
    world.remove("project/2.1");
    SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
    world.remove("home/ZeltaSDK/sdk-2.1");
    world.makeDirectory("home/ZeltaSDK/2.1");
    world.makeDirectory("home/ZeltaSDK/sdk-2");
    SAME(usedSdk(world), "1 " + noSdk);
}

void tst_SdkSearch::repositoryIsSearchedInOrder()
{
    World world;
    writeProject(world, "2.1");
    for (const char *name : {"setting", "variable", "home/ZeltaSDK"})
        world.makeDirectory(QByteArray(name) + "/sdk-2.1");
    writeSetting(world, world.path("setting"));
    setVariable(world, "ZELTASDK", world.path("variable"));

    SAME(usedSdk(world), "$W/setting/sdk-2.1");
    world.remove("setting");
    SAME(usedSdk(world), "$W/variable/sdk-2.1");
    world.remove("variable");
    SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
    setVariable(world, "ZELTASDK", "");
    SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
    world.remove("home/ZeltaSDK");
    SAME(usedSdk(world), "1 " + noSdk);
}

void tst_SdkSearch::repositoryIsChosenBeforeTheSdkIn_data()
{
    QTest::addColumn<bool>("setting");
    QTest::addColumn<bool>("variable");
    QTest::newRow("setting") << true << false;
    QTest::newRow("variable") << false << true;
}

// A repository that exists is the only one searched, also when the SDK is in the next one.
void tst_SdkSearch::repositoryIsChosenBeforeTheSdkIn()
{
    QFETCH(bool, setting);
    QFETCH(bool, variable);
    World world;
    writeProject(world, "2.1");
    world.makeDirectory("empty");
    world.makeDirectory("full/sdk-2.1");
    world.makeDirectory("home/ZeltaSDK/sdk-2.1");
    if (setting) {
        writeSetting(world, world.path("empty"));
        setVariable(world, "ZELTASDK", world.path("full"));
    }
    if (variable)
        setVariable(world, "ZELTASDK", world.path("empty"));
    SAME(usedSdk(world), "1 " + noSdk);
    world.makeDirectory("empty/sdk-2.1");
    SAME(usedSdk(world), "$W/empty/sdk-2.1");
}

void tst_SdkSearch::settingIsReadWhereItIsKept_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("of the program") << QByteArray("home/.config/Unknown Organization/ztmake.conf");
    QTest::newRow("of all programs") << QByteArray("home/.config/Unknown Organization.conf");
}

void tst_SdkSearch::settingIsReadWhereItIsKept()
{
    QFETCH(QByteArray, file);
    World world;
    writeProject(world, "2.1");
    world.makeDirectory("setting/sdk-2.1");
    writeSetting(world, world.path("setting") + '/', file);
    const QByteArray before = world.tree("home");
    SAME(usedSdk(world), "$W/setting/sdk-2.1");
    SAME(world.tree("home"), before);

    world.environment().insert(QStringLiteral("XDG_CONFIG_HOME"),
                               QString::fromUtf8(world.path("config")));
    SAME(usedSdk(world), "1 " + noSdk);
    writeSetting(world, world.path("setting"), QByteArray(file).replace("home/.config", "config"));
    SAME(usedSdk(world), "$W/setting/sdk-2.1");
}

void tst_SdkSearch::filesAreNoSdkDirectories()
{
    World world;
    writeProject(world, "2.1");
    world.write("project/sdk-2.1");
    world.write("project/2.1");
    world.write("setting");
    writeSetting(world, world.path("setting"));
    setVariable(world, "ZELTASDK", world.path("setting"));
    world.makeDirectory("home/ZeltaSDK/sdk-2.1");
    SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
    world.remove("home/ZeltaSDK/sdk-2.1");
    world.write("home/ZeltaSDK/sdk-2.1");
    SAME(usedSdk(world), "1 " + noSdk);
    setVariable(world, "ZELTASDK", world.path("home/ZeltaSDK") + "//");
    world.remove("home/ZeltaSDK/sdk-2.1");
    world.makeDirectory("home/ZeltaSDK/sdk-2.1");
    SAME(usedSdk(world), "$W/home/ZeltaSDK//sdk-2.1");
}

void tst_SdkSearch::defaultSdk_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("used");

    QTest::newRow("unset") << QByteArray() << "1 " + noSdk;
    QTest::newRow("tree") << QByteArray("$W/tree") << QByteArray("$W/tree/src/sdk");
    QTest::newRow("tree with a slash") << QByteArray("$W/tree/") << QByteArray("$W/tree/src/sdk");
    QTest::newRow("relative") << QByteArray("../tree") << QByteArray("../tree/src/sdk");
    QTest::newRow("without an SDK") << QByteArray("$W/home") << "1 " + noSdk;
    QTest::newRow("the SDK itself") << QByteArray("$W/tree/src/sdk") << "1 " + noSdk;
    QTest::newRow("a file for the SDK") << QByteArray("$W/file") << "1 " + noSdk;
    QTest::newRow("missing") << QByteArray("$W/missing") << "1 " + noSdk;
}

void tst_SdkSearch::defaultSdk()
{
    QFETCH(QByteArray, variable);
    QFETCH(QByteArray, used);
    World world;
    world.makeDirectory("tree/src/sdk");
    world.write("file/src/sdk");
    world.makeDirectory("project/sdk-");
    world.makeDirectory("home/ZeltaSDK/sdk-");
    setVariable(world, "ZELTASDK", world.path("sdk"));
    if (!variable.isEmpty())
        setVariable(world, "ZELTADIR", variable.replace("$W", world.path()));
    writeProject(world, "");
    SAME(usedSdk(world), used);
    world.project("Name=\"Demo\"", "<Target Model=\"T1\"/><Filesystem/>");
    SAME(usedSdk(world), used);
    world.firstSchemaProject("Name=\"Demo\"", "<Target Model=\"T1\"/><Filesystem/>");
    SAME(usedSdk(world), used);
}

void tst_SdkSearch::absoluteSdk()
{
    World world;
    world.makeDirectory("tree/src/sdk");
    setVariable(world, "ZELTADIR", world.path("tree"));
    writeProject(world, world.path("other"));
    SAME(usedSdk(world), "1 [ztmake] SDK $W/other does not exist.\n");
    world.write("other");
    SAME(usedSdk(world), "1 [ztmake] SDK $W/other is not a directory.\n");
    world.remove("other");
    world.makeDirectory("other");
    SAME(usedSdk(world), "$W/other");
    writeProject(world, world.path("other") + '/');
    SAME(usedSdk(world), "$W/other");
}

void tst_SdkSearch::searchFollowsTheProjectDirectory()
{
    World world;
    writeProject(world, "2.1", "project/sub/demo.ztp");
    world.makeDirectory("project/sdk-2.1");
    SAME(usedSdk(world, {"sub/demo.ztp"}), "1 " + noSdk);
    world.makeDirectory("project/sub/2.1");
    SAME(usedSdk(world, {"sub/demo.ztp"}), "sub/2.1");
    world.makeDirectory("project/sub/sdk-2.1");
    SAME(usedSdk(world, {world.path("project/sub/demo.ztp")}), "$W/project/sub/sdk-2.1");
    world.project(R"(Name="Demo" SDK="2.1" ProjectDirectory="elsewhere")",
                  "<Target Model=\"T1\"/><Filesystem/>", "project/sub/demo.ztp");
    world.makeDirectory("project/elsewhere/sdk-2.1");
    SAME(usedSdk(world, {"sub/demo.ztp"}), "elsewhere/sdk-2.1");
}

void tst_SdkSearch::everyOperationNeedsTheSdk_data()
{
    QTest::addColumn<QByteArray>("operation");
    for (const char *operation : {"-R", "--all", "--clearobsolete", "--cleanfirmwarefolder"})
        QTest::newRow(operation) << QByteArray(operation);
}

void tst_SdkSearch::everyOperationNeedsTheSdk()
{
    QFETCH(QByteArray, operation);
    World world;
    world.write("project/firmware/T1-Demo-1-firmware.ztf");
    world.makeDirectory("project/translations");
    writeProject(world, "2.1");
    const QByteArray before = world.tree("project");
    SAME(world.run({operation}).text(), report(1, {}, noSdk));
    writeProject(world, "/no/sdk");
    SAME(world.run({operation}).text(), report(1, {}, "[ztmake] SDK /no/sdk does not exist.\n"));
    writeProject(world, "/dev/null");
    SAME(world.run({operation}).text(),
         report(1, {}, "[ztmake] SDK /dev/null is not a directory.\n"));
    SAME(world.tree("project"), before);
}

void tst_SdkSearch::sdkPrefixOfPaths_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("resolved");

    QTest::newRow("below the SDK") << QByteArray("$SDK/a/b") << QByteArray("2.1/a/b");
    QTest::newRow("the SDK with a slash") << QByteArray("$SDK/") << QByteArray("2.1/");
    QTest::newRow("the SDK alone") << QByteArray("$SDK") << QByteArray("2.1/");
    QTest::newRow("absolute below the SDK") << QByteArray("$SDK//a") << QByteArray("/a");
    QTest::newRow("longer word") << QByteArray("$SDKs/a") << QByteArray("'$SDKs/a'");
    QTest::newRow("lower case") << QByteArray("$sdk/a") << QByteArray("'$sdk/a'");
    QTest::newRow("not at the start") << QByteArray("./$SDK/a") << QByteArray("'./$SDK/a'");
    QTest::newRow("dots") << QByteArray("../a/./b") << QByteArray("../a/./b");
}

void tst_SdkSearch::sdkPrefixOfPaths()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, resolved);
    World world;
    world.makeDirectory("project/2.1");
    world.project(R"(Name="Demo" SDK="2.1")", "<Filesystem><Merge Type=\"Archive\"><Source>"
                                                      + source + "</Source></Merge></Filesystem>");
    SAME(world.run({"-q"}).text(),
         report(0, "ztmkromfs -x .svn -o obj/root.romfs --label root --merge " + resolved
                           + " -D /etc/version -i obj/version.txt\n"));
}

QTEST_GUILESS_MAIN(tst_SdkSearch)
#include "tst_sdksearch.moc"

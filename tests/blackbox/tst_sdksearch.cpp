#include "projects.h"
#include "rows.h"

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
    world.project("Name=\"Demo\" SDK=\"" + sdk + '"', minimal, name);
}

void writeSetting(World &world, const QByteArray &value,
                  const QByteArray &file = "home/.config/Unknown Organization/ztmake.conf")
{
    world.write(file, "[Preferences]\nZeltaSDK=" + value + '\n');
}

} // namespace

class TestSdkSearch : public QObject
{
    Q_OBJECT

private slots:
    void namedSdkIsSearchedInOrder()
    {
        World world;
        writeProject(world, "2.1");
        world.makeDirectory("project/sdk-2.1");
        world.makeDirectory("project/2.1");
        world.makeDirectory("home/ZeltaSDK/sdk-2.1");
        world.setVariable("ZELTADIR", world.path("tree"));
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

    void repositoryIsSearchedInOrder()
    {
        World world;
        writeProject(world, "2.1");
        for (const char *name : {"setting", "variable", "home/ZeltaSDK"})
            world.makeDirectory(QByteArray(name) + "/sdk-2.1");
        writeSetting(world, world.path("setting"));
        world.setVariable("ZELTASDK", world.path("variable"));

        SAME(usedSdk(world), "$W/setting/sdk-2.1");
        world.remove("setting");
        SAME(usedSdk(world), "$W/variable/sdk-2.1");
        world.remove("variable");
        SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
        world.setVariable("ZELTASDK", "");
        SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
        world.remove("home/ZeltaSDK");
        SAME(usedSdk(world), "1 " + noSdk);
    }

    // A repository that exists is the only one searched, also when the SDK is in the next one.
    void repositoryIsChosenBeforeTheSdkInIt()
    {
        World world;
        writeProject(world, "2.1");
        world.makeDirectory("home/ZeltaSDK/sdk-2.1");
        world.makeDirectory("empty");
        world.setVariable("ZELTASDK", world.path("empty"));
        SAME(usedSdk(world), "1 " + noSdk);
        world.makeDirectory("empty/sdk-2.1");
        SAME(usedSdk(world), "$W/empty/sdk-2.1");
        world.makeDirectory("setting");
        writeSetting(world, world.path("setting"));
        SAME(usedSdk(world), "1 " + noSdk);
    }

    void settingIsReadWhereItIsKept_data()
    {
        Rows<QByteArray> row; // file
        row("of the program", "home/.config/Unknown Organization/ztmake.conf");
        row("of all programs", "home/.config/Unknown Organization.conf");
    }
    void settingIsReadWhereItIsKept()
    {
        const auto [file] = fetch<QByteArray>();
        World world;
        writeProject(world, "2.1");
        world.makeDirectory("setting/sdk-2.1");
        writeSetting(world, world.path("setting") + '/', file);
        const QByteArray before = world.tree("home");
        SAME(usedSdk(world), "$W/setting/sdk-2.1");
        SAME(world.tree("home"), before);

        world.setVariable("XDG_CONFIG_HOME", world.path("config"));
        SAME(usedSdk(world), "1 " + noSdk);
        writeSetting(world, world.path("setting"),
                     QByteArray(file).replace("home/.config", "config"));
        SAME(usedSdk(world), "$W/setting/sdk-2.1");
    }

    void filesAreNoSdkDirectories()
    {
        World world;
        writeProject(world, "2.1");
        world.write("project/sdk-2.1");
        world.write("project/2.1");
        world.write("setting");
        writeSetting(world, world.path("setting"));
        world.setVariable("ZELTASDK", world.path("setting"));
        world.makeDirectory("home/ZeltaSDK/sdk-2.1");
        SAME(usedSdk(world), "$W/home/ZeltaSDK/sdk-2.1");
        world.remove("home/ZeltaSDK/sdk-2.1");
        world.write("home/ZeltaSDK/sdk-2.1");
        SAME(usedSdk(world), "1 " + noSdk);
        world.setVariable("ZELTASDK", world.path("home/ZeltaSDK") + "//");
        world.remove("home/ZeltaSDK/sdk-2.1");
        world.makeDirectory("home/ZeltaSDK/sdk-2.1");
        SAME(usedSdk(world), "$W/home/ZeltaSDK//sdk-2.1");
    }

    void defaultSdk_data()
    {
        Rows<QByteArray, QByteArray> row; // variable, used
        row("unset", {}, "1 " + noSdk);
        row("tree", "$W/tree", "$W/tree/src/sdk");
        row("relative", "../tree", "../tree/src/sdk");
        row("without an SDK", "$W/home", "1 " + noSdk);
        row("a file for the SDK", "$W/file", "1 " + noSdk);
    }
    void defaultSdk()
    {
        auto [variable, used] = fetch<QByteArray, QByteArray>();
        World world;
        world.makeDirectory("tree/src/sdk");
        world.write("file/src/sdk");
        world.makeDirectory("project/sdk-");
        world.makeDirectory("home/ZeltaSDK/sdk-");
        world.setVariable("ZELTASDK", world.path("sdk"));
        if (!variable.isEmpty())
            world.setVariable("ZELTADIR", variable.replace("$W", world.path()));
        writeProject(world, "");
        SAME(usedSdk(world), used);
        world.project("Name=\"Demo\"", minimal);
        SAME(usedSdk(world), used);
        world.firstSchemaProject("Name=\"Demo\"", minimal);
        SAME(usedSdk(world), used);
    }

    void absoluteSdk()
    {
        World world;
        world.makeDirectory("tree/src/sdk");
        world.setVariable("ZELTADIR", world.path("tree"));
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

    void searchFollowsTheProjectDirectory()
    {
        World world;
        writeProject(world, "2.1", "project/sub/demo.ztp");
        world.makeDirectory("project/sdk-2.1");
        SAME(usedSdk(world, {"sub/demo.ztp"}), "1 " + noSdk);
        world.makeDirectory("project/sub/2.1");
        SAME(usedSdk(world, {"sub/demo.ztp"}), "sub/2.1");
        world.makeDirectory("project/sub/sdk-2.1");
        SAME(usedSdk(world, {world.path("project/sub/demo.ztp")}), "$W/project/sub/sdk-2.1");
        world.project(R"(Name="Demo" SDK="2.1" ProjectDirectory="elsewhere")", minimal,
                      "project/sub/demo.ztp");
        world.makeDirectory("project/elsewhere/sdk-2.1");
        SAME(usedSdk(world, {"sub/demo.ztp"}), "elsewhere/sdk-2.1");
    }

    void everyOperationNeedsTheSdk()
    {
        World world;
        world.write("project/firmware/T1-Demo-1-firmware.ztf");
        world.makeDirectory("project/translations");
        for (const auto &[sdk, error] :
             {std::pair{"2.1", noSdk},
              {"/no/sdk", "[ztmake] SDK /no/sdk does not exist.\n"},
              {"/dev/null", "[ztmake] SDK /dev/null is not a directory.\n"}}) {
            writeProject(world, sdk);
            const QByteArray before = world.tree("project");
            for (const char *operation :
                 {"-R", "--all", "--clearobsolete", "--cleanfirmwarefolder"})
                SAME(world.run({operation}).text(), report(1, {}, error));
            SAME(world.tree("project"), before);
        }
    }
};

QTEST_GUILESS_MAIN(TestSdkSearch)
#include "tst_sdksearch.moc"

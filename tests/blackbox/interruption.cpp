#include "interruption.h"

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

QByteArray sorted(const QByteArray &lines)
{
    QByteArrayList list = lines.split('\n');
    list.removeAll({});
    std::sort(list.begin(), list.end());
    return list.isEmpty() ? QByteArray() : list.join('\n') + '\n';
}

} // namespace

void writeProject(World &world)
{
    world.project(R"(Name="Demo" Version="1" SDK="../sdk" Svnversion="1" BuildInstaller="1")",
                  R"(<Target Model="A"/>
<MTD16 Enabled="1"><Source>demo.mtdef</Source><Header>made/m.lh</Header><Lua>made/m.lua</Lua></MTD16>
<Translation Enabled="1"><Language>de</Language></Translation>
<Filesystem><Merge Type="Directory"><Source>root</Source></Merge></Filesystem>)");
    world.write("project/root/a.lua");
    world.write("project/demo.mtdef");
    world.write("project/translations/de.ts");
    world.makeDirectory("project/made");
}

void writeProjectOfTheSameDefinitions(World &world)
{
    world.write("project/other.ztp",
                world.read("project/demo.ztp")
                        .replace("<Project ", "<Project ObjectDirectory=\"other\" "));
}

void writeSmallProject(World &world, const QByteArray &process)
{
    world.project(demo + " Version=\"1\"", tree() + ::process(process));
    for (const char *name : {"a", "b"})
        world.write("project/root/"_ba + name + ".lua");
}

const QList<Step> steps{
        {"svnversion", "svnversion", "1", ""},
        {"ztmkmtd", "ztmkmtd", "1", "made/m.lh\nmade/m.lua\n"},
        {"ztlpp", "ztlpp", "1", "obj/root/a.lui\n"},
        {"ztluac", "ztluac", "1", "obj/root/a.luo\n"},
        {"ztlupdate", "ztlupdate", "1", "obj/translations/report.xml\n"},
        {"lrelease", "lrelease", "1", "obj/translations/de.qm\nobj/version.txt\n"},
        {"ztmkromfs", "ztmkromfs", "1", "obj/root.romfs\n"},
        {"ztlink", "ztlink", "1", "firmware/A-Demo-1#1234-firmware.ztf\n"},
        {"ztmkromfs, installer", "ztmkromfs", "2", "obj/installer.romfs\n"},
        {"ztlink, installer", "ztlink", "2", "firmware/A-Demo-1#1234-install.ztf\n"},
};

const QList<std::pair<const char *, int>> interruptions{
        {"SIGINT", SIGINT}, {"SIGTERM", SIGTERM}, {"SIGHUP", SIGHUP}};

QByteArray outputs(const World &world)
{
    QByteArray names;
    for (const QByteArray &name : world.tree("project").split('\n')) {
        const bool isSource = name.startsWith("root/") || name.startsWith("translations/")
                              || name.startsWith("demo.") || name.endsWith('/') || name.isEmpty();
        if (!isSource)
            names += name + (world.read("project/" + name) == "half" ? " (half)\n" : "\n");
    }
    return names;
}

QByteArray outputsOf(qsizetype step, bool after)
{
    QByteArray names;
    for (qsizetype i = 0; i < step + after; ++i) {
        // The start of the installers frees the place of the other temporary image.
        if (i != 6 || step < 8)
            names += steps[i].outputs;
    }
    // Written right before the image is packed, by no tool.
    if (step == 5 && after)
        names.replace("obj/version.txt\n", "");
    return sorted(names);
}

bool Step::isJudgedByTime() const
{
    return call == "1"_ba && tool != "svnversion"_ba && tool != "ztlupdate"_ba
           && tool != "ztmkromfs"_ba && tool != "ztlink"_ba;
}

QByteArrayList namesUpTo(qsizetype step)
{
    QByteArrayList list;
    for (qsizetype i = 0; i <= step; ++i)
        list.append(steps[i].tool);
    return list;
}

QByteArray planned(const char *call, const QByteArrayList &actions)
{
    QByteArray lines;
    for (const QByteArray &action : actions)
        lines += call + (' ' + action) + '\n';
    return lines;
}

QByteArray number(int value)
{
    return QByteArray::number(value);
}

QByteArray message(const char *signal, const char *tool)
{
    return "[ztmake] Interrupted by "_ba + signal + " while " + tool + " was running\n";
}

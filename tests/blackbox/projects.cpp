#include "projects.h"

QByteArray process(const QByteArray &children)
{
    return "<Process>" + children + "</Process>";
}

QByteArray merge(const QByteArray &type, const QByteArray &source, const QByteArray &destination,
                 const QByteArray &process)
{
    return "<Merge Type=\"" + type + "\"><Source>" + source + "</Source><Destination>" + destination
           + "</Destination>" + ::process(process) + "</Merge>\n";
}

QByteArray filesystem(const QByteArray &merges)
{
    return "<Filesystem>" + merges + "</Filesystem>";
}

QByteArray tree(const QByteArray &source)
{
    return filesystem(merge("Directory", source));
}

QByteArray languages(const QByteArrayList &names)
{
    QByteArray text;
    for (const QByteArray &name : names)
        text += "<Language>" + name + "</Language>";
    return text;
}

QByteArray preprocess(const QByteArray &name, const QByteArray &tree, const QByteArray &objects)
{
    return "ztlpp --strip --trim -I ../sdk/usr/include --out obj/" + objects + '/' + name
           + ".lui --root " + tree + " -- " + tree + '/' + name + ".lua\n";
}

QByteArray compile(const QByteArray &name, const QByteArray &objects)
{
    const QByteArray path = "obj/" + objects + '/' + name;
    return "ztluac -o " + path + ".luo -- " + path + ".lui\n";
}

QByteArray pack(const QByteArray &contents, const QByteArray &letters)
{
    return "ztmkromfs " + letters + "-x .svn -o obj/root.romfs --label root " + contents
           + "-D /etc/version -i obj/version.txt\n";
}

QByteArray linkTo(const QByteArray &model, const QByteArray &afterOutput, const QByteArray &stem)
{
    return "ztlink --kernel ../sdk/kernel/" + model + "-kernel.bin --data obj/root.romfs"
           + " --output firmware/" + (stem.isEmpty() ? model + "-Demo" : stem) + "-firmware.ztf"
           + (afterOutput.isEmpty() ? "" : " ") + afterOutput + '\n';
}

QByteArrayList names(const Result &result)
{
    QByteArrayList list;
    for (const Call &call : result.calls)
        list.append(call.name);
    return list;
}

QByteArray compilerCalls(const Result &result)
{
    const QByteArray calls = result.callText();
    return calls.left(calls.indexOf("ztmkromfs"));
}

QByteArray objectArguments(const Result &result)
{
    if (result.calls.isEmpty() || result.calls.last().name != "ztmkromfs")
        return "no image";
    const QByteArrayList arguments = result.calls.last().arguments;
    return arguments.mid(8, arguments.size() - 12).join(' ');
}

Result direct(Result result)
{
    for (Call &call : result.calls)
        call.responseFile.clear();
    return result;
}

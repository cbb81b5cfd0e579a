#include "result.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace {

bool isPlain(const QByteArray &argument)
{
    static const QByteArray plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                    "_./,:=+@%#~-";
    return !argument.isEmpty() && std::all_of(argument.begin(), argument.end(), [](char c) {
        return plain.contains(c) || static_cast<unsigned char>(c) >= 0x80;
    });
}

QByteArray quoted(const QByteArray &argument, const QByteArray &root)
{
    QByteArray shown = argument;
    if (isPlain(argument))
        return shown.replace(root, "$W");
    shown.replace('\\', "\\\\").replace('\'', "\\'").replace('\n', "\\n").replace(root, "$W");
    return '\'' + shown + '\'';
}

} // namespace

void require(bool condition, const char *what, const QByteArray &name)
{
    if (condition)
        return;
    std::fprintf(stderr, "World: cannot %s %s\n", what, name.constData());
    _exit(1);
}

QByteArray Result::callText() const
{
    QByteArray text;
    for (const Call &call : calls) {
        if (call.directory != directory)
            text += "(in " + quoted(call.directory, root) + ") ";
        text += call.name;
        if (!call.responseFile.isEmpty())
            text += '@';
        for (const QByteArray &argument : call.arguments)
            text += ' ' + quoted(argument, root);
        text += '\n';
    }
    return text;
}

QByteArray Result::text() const
{
    return report(status, callText(), err, out);
}

QByteArray report(int status, const QByteArray &calls, const QByteArray &err, const QByteArray &out)
{
    return "status " + QByteArray::number(status) + "\nstandard output:\n" + out
           + "standard error:\n" + err + "calls:\n" + calls;
}

QByteArray echoOf(const QByteArray &calls)
{
    QByteArray text;
    for (QByteArray line : calls.split('\n').mid(0, calls.count('\n'))) {
        const qsizetype blank = line.indexOf(' ');
        if (line[blank - 1] == '@')
            line.remove(blank - 1, 1);
        text += "[ztmake] " + line + '\n';
    }
    return text;
}

QByteArray difference(const QByteArray &actual, const QByteArray &expected)
{
    if (actual == expected)
        return {};
    qsizetype same = 0;
    while (same < actual.size() && same < expected.size() && actual[same] == expected[same])
        ++same;
    const qsizetype line = actual.left(same).lastIndexOf('\n') + 1;
    const auto lineOf = [line](const QByteArray &text) {
        return text.mid(line, std::max<qsizetype>(text.indexOf('\n', line), line) - line);
    };
    return "\n---- first difference, actual:\n" + lineOf(actual) + "\n---- expected:\n"
           + lineOf(expected) + "\n---- actual, whole:\n" + actual + "---- expected, whole:\n"
           + expected + "----";
}

#include "app/makeproject.h"

#include <QFileInfo>

#include <cstdio>

const char *myname = "";

void setProgramName(const char *argv0)
{
    const QString name = QFileInfo(QString::fromLocal8Bit(argv0)).completeBaseName();
    myname = qstrdup(name.toLocal8Bit().constData());
}

void printMessage(const QString &text)
{
    std::fprintf(stderr, "[%s] %s\n", myname, text.toLocal8Bit().constData());
}

void MakeProject::msg(const QString &text)
{
    m_statusLine.hide();
    printMessage(text);
    m_statusLine.resume("\n");
}

int MakeProject::showOutput(OutputStream stream, QByteArrayView text)
{
    m_statusLine.hide();
    const int error = Project::showOutput(stream, text);
    m_statusLine.resume(text);
    return error;
}

#pragma once

#include <QByteArray>

/// Who runs as the ordinary user, and owns what that user may change.
constexpr unsigned nobody = 65534;

/// How World::run starts the program.
struct Start
{
    QByteArray directory = "project"; ///< below the world
    QByteArray input = {};            ///< for its standard input
    QByteArray program = "sdk/bin/ztmake";
    bool ordinaryUser = false; ///< give up root's rights first
    qint64 fileSizeLimit = -1; ///< bytes that it can write to one file; -1: no limit
    int fileLimit = -1;        ///< files that it can have open; -1: no limit
    bool ownGroup = false;     ///< in a process group of its own
    int ignoredSignal = 0;     ///< 0: none
    int seconds = 300;         ///< when to give up

    /// To be called in the child process.
    void setUpChild() const;
};

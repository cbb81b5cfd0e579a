#pragma once

#include "projects.h"

/// A project that runs every program once, and the images' twice.
void writeProject(World &world);
/// Another project file, "other.ztp", with an object directory of its own.
void writeProjectOfTheSameDefinitions(World &world);
/// Two Lua files, compiled in two stages; nothing else.
void writeSmallProject(World &world, const QByteArray &process = {});

struct Step
{
    const char *name;
    const char *tool;
    const char *call;    ///< which of the tool's calls
    const char *outputs; ///< files in the project's directory that it makes

    bool isJudgedByTime() const;
};

/// The programs of writeProject() in the order in which they run.
extern const QList<Step> steps;
/// The signals that end a build, and their numbers.
extern const QList<std::pair<const char *, int>> interruptions;

/// The files of writeProject() other than the sources. None of them may be left half-written.
QByteArray outputs(const World &world);
/// The outputs before a step or, with @p after, after it.
QByteArray outputsOf(qsizetype step, bool after);
QByteArrayList namesUpTo(qsizetype step);
/// What a stand-in does in one of its calls.
QByteArray planned(const char *call, const QByteArrayList &actions);
QByteArray number(int value);
QByteArray message(const char *signal, const char *tool);

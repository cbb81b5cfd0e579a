#pragma once

#include "companion/finding.h"
#include "companion/openedproject.h"
#include "companion/rehearsedbuild.h"

/// A project that is being checked, and what has been found so far.
struct CheckedProject
{
    const OpenedProject &opened;
    const ProjectSpec &spec;
    const Places &places;
    QList<Finding> findings = {};

    /// Reports what makes a build fail.
    void error(const Place &place, const char *check, const QString &text, const QString &cure);
    /// Reports what a build makes wrong firmware of.
    void warn(const Place &place, const char *check, const QString &text, const QString &cure);
    /// Reports something in another file than the project's.
    void report(Finding::Severity severity, const QString &file, const Place &place,
                const char *check, const QString &text, const QString &cure);
    void warnIn(const QString &file, const Place &place, const char *check, const QString &text,
                const QString &cure);

    /// @return the merges of the image
    QList<MergeSpec> merges() const;
    /// @return where a merge, or its source, stands
    Place mergePlace(qsizetype number) const;
    Place sourcePlace(qsizetype number) const;
    /// @return the source of a merge, or another path, without links and relative parts; as it is
    /// when it does not exist
    static QString realPath(const QString &path);
    /// @return whether a path is that directory or below it, both as realPath() gives them
    static bool isInside(const QString &path, const QString &directory);
};

// The checks. Each looks at one side of a project.

/// @return whether the SDK is there, without which nothing else can be said about a build
bool checkSdk(CheckedProject *project);
/// Targets, the filesystem, the languages, and the files that they name.
void checkDescription(CheckedProject *project);
/// Values that have no effect, or another one than is meant.
void checkValues(CheckedProject *project);
/// The MTD16 definitions and what is made from them.
void checkDefinitions(CheckedProject *project);
/// The files that a build reads and writes, as they are.
void checkInputs(CheckedProject *project);
/// What merged directories hold besides sources.
void checkTrees(CheckedProject *project);
/// What a build of everything would do.
void checkBuild(CheckedProject *project);
/// What the preprocessor would do in such a build, and would not.
void checkPreprocessing(CheckedProject *project, const RehearsedBuild &build);
/// What a plain build would not notice.
/// @param areCompared  what was made is known to be right: it does not matter that its inputs are
/// newer, or seem to have been replaced
void checkTimes(CheckedProject *project, bool areCompared);
/// Outputs that a plain build would keep: makes them again in a temporary directory.
/// @return whether all that differ are found; not when the tools are missing, or after a signal
bool compareOutputs(CheckedProject *project);
/// Other project files beside this one.
void checkNeighbours(CheckedProject *project);

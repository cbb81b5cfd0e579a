#pragma once

#include "world.h"

#include <QMap>

#include <functional>

/// What is in which file.
using Files = QMap<QByteArray, QByteArray>;

/// A run in which one system call has failed, or in which something has happened right before it.
struct FaultyRun
{
    Result result;
    int count = -1;         ///< of the calls of that kind; -1: the program did not come to its end
    QByteArray description; ///< begins with what was planned, names the call and ends with the err

    /// Whether the message names the file or the program that is to blame.
    bool hasGoodMessage() const;
};

/// A project that goes through every step but svnversion: files that are compiled in two stages,
/// and files that are copied. What its tools write is made of what they read.
class FaultyProject
{
public:
    explicit FaultyProject(const QByteArray &svnversion = "0");

    Files outputs() const;
    /// Keeps what is there, to be gone back to.
    void save() { copy("project", "saved"); }
    void restore();
    /// Builds, and takes the outputs for the right ones.
    void expectOutputs();
    /// The same for the sources as they are saved.
    void saveAndExpect();
    /// As after a build of other sources, and one of these that was killed at each half output of
    /// a tool's call with that number.
    void buildAndKill(int call);

    /// Which files may be there in addition, and whether all there are may be left out.
    using Ignored = bool (*)(const QByteArray &name);

    /// @return empty, or what is wrong with the outputs
    QByteArray wrongOutputs(Ignored isIgnored = nothing) const;
    /// Builds without a fault. @return empty, or what is wrong with that
    QByteArray wrongNextBuild(Ignored isIgnored = nothing);
    /// Runs as often as there are calls of the kind, each time from what is saved; each of them
    /// fails once. After each run a plain build must make everything good.
    /// @return empty, or what is wrong with the first run in which something is
    QByteArray failEveryCall(const QByteArray &kind, const QByteArray &what,
                             const std::function<QByteArray(const FaultyRun &)> &whatIsWrong,
                             Ignored isIgnored = nothing);
    FaultyRun run(const QByteArray &kind, const QByteArray &what, int number);

    static bool nothing(const QByteArray &) { return false; }
    static bool responseFile(const QByteArray &name) { return name.startsWith("obj/args."); }

    World world;
    Files expected;

private:
    void writeSources(const QByteArray &text, qint64 time);
    void copy(const QByteArray &from, const QByteArray &to) const;
};

/// @return whether every combination is to be tried, which takes some minutes
bool triesAll();

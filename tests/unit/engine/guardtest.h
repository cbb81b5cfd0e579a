#pragma once

#include "projecttest.h"

/// A test of outputs that are made under guard, in a project with an input and an object directory.
class GuardTest : public ProjectTest
{
protected:
    void makeWorld()
    {
        makeProject();
        QVERIFY(TestFiles::write(path(u"box.ztp"_s)));
        QVERIFY(TestFiles::setModified(path(u"box.ztp"_s), {5, 600'000}));
        QVERIFY(TestFiles::write(input()));
        QVERIFY(TestFiles::setModified(input(), {1'000, 700}));
        QVERIFY(QDir().mkpath(path(u"obj/sub"_s)));
    }

    QString input() const { return path(u"input"_s); }
    QString marker() const { return path(u"obj/.unfinished"_s); }
    QString toolPath() const { return path(u"tool"_s); }
    qint64 time(const QString &name) const { return FileStatus::of(path(name)).modified().seconds; }
    QStringList objects() const
    {
        return QDir(path(u"obj"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    }
    bool write(const QString &name, qint64 seconds) const
    {
        return TestFiles::write(path(name), "x")
               && TestFiles::setModified(path(name), {seconds, 0});
    }
    /// Makes outputs by doing @p work, which returns whether they are whole.
    bool make(OutputChain chain, const std::function<bool()> &work)
    {
        const QStringList outputs = std::exchange(chain.outputs, {});
        if (!m_project->beginOutputs(&chain, outputs))
            return false;
        const bool isFinished = work();
        if (!isFinished)
            m_project->failOutputs(&chain, outputs);
        m_project->endOutputs(chain);
        return isFinished;
    }
    bool runTool(OutputChain chain)
    {
        const QStringList outputs = std::exchange(chain.outputs, {});
        const bool ok = m_project->makeOutputs(&chain, outputs, {u"tool"_s, toolPath(), outputs});
        m_project->endOutputs(chain);
        return ok;
    }
    OutputChain step(const QStringList &outputs) const
    {
        QStringList paths;
        for (const QString &output : outputs)
            paths << path(output);
        return {.input = input(), .inputStatus = FileStatus::of(input()), .outputs = paths};
    }
};

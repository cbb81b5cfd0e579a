#include "model/processspec.h"

#include "rows.h"

using namespace Qt::StringLiterals;

namespace {

ProcessSpec uniform(int value)
{
    ProcessSpec spec;
    for (Tristate *setting : {&spec.preprocess_, &spec.simplifyWhitespace_, &spec.removeComments_,
                              &spec.compile, &spec.strip, &spec.strict, &spec.lupdate})
        *setting = {value};
    return spec;
}

} // namespace

class TestProcessSpec : public QObject
{
    Q_OBJECT

private slots:
    void accessors_data()
    {
        Rows<int, bool, bool> row; // value, onByDefault, offByDefault
        row("not set", -1, true, false);
        row("false", 0, false, false);
        row("true", 1, true, true);
    }
    void accessors()
    {
        const auto [value, onByDefault, offByDefault] = fetch<int, bool, bool>();
        const ProcessSpec spec = uniform(value);
        QCOMPARE(spec.preprocess(), onByDefault);
        QCOMPARE(spec.simplifyWhitespace(), onByDefault);
        QCOMPARE(spec.removeComments(), onByDefault);
        QCOMPARE(spec.compileLua(), onByDefault);
        QCOMPARE(spec.lupdateEnabled(), onByDefault);
        QCOMPARE(spec.stripLua(), offByDefault);
        QCOMPARE(spec.strictLua(), offByDefault);
        QCOMPARE(spec.isActive(), onByDefault);
    }

    void isActiveWhenOneOfThreeIsOn()
    {
        for (Tristate ProcessSpec::*setting :
             {&ProcessSpec::preprocess_, &ProcessSpec::compile, &ProcessSpec::lupdate}) {
            ProcessSpec spec = uniform(0);
            spec.*setting = {1};
            QVERIFY(spec.isActive());
        }
        ProcessSpec others = uniform(1);
        others.preprocess_ = others.compile = others.lupdate = {0};
        QVERIFY(!others.isActive());
    }

    void clearForgetsAllButLupdate()
    {
        ProcessSpec spec = uniform(0);
        spec.include = {u"a"_s};
        spec.clear();
        ProcessSpec expected;
        expected.lupdate = {0};
        QVERIFY(spec == expected);
        QVERIFY(spec.preprocess() && spec.simplifyWhitespace() && spec.removeComments()
                && spec.compileLua());
        QVERIFY(!spec.stripLua() && !spec.strictLua());
    }

    void mergingUnsetValuesAppendsIncludesOnly()
    {
        ProcessSpec spec = uniform(1);
        spec.include = {u"a"_s};
        ProcessSpec other;
        other.include = {u"b"_s};
        spec.mergeFrom(other);
        ProcessSpec expected = uniform(1);
        expected.include = {u"a"_s, u"b"_s};
        QVERIFY(spec == expected);
    }

    void mergingSetValuesOverridesAllButLupdate()
    {
        for (const int value : {0, 1}) {
            ProcessSpec spec = uniform(1 - value);
            spec.mergeFrom(uniform(value));
            ProcessSpec expected = uniform(value);
            expected.lupdate = {1 - value};
            QVERIFY(spec == expected);
        }
    }

    void mergingTwiceDuplicatesTheIncludes()
    {
        ProcessSpec other;
        other.include = {u"a"_s};
        ProcessSpec spec;
        spec.mergeFrom(other);
        spec.mergeFrom(other);
        const QStringList expected{u"a"_s, u"a"_s};
        QCOMPARE(spec.include, expected);
    }

    void everyFieldIsCompared()
    {
        for (Tristate ProcessSpec::*setting :
             {&ProcessSpec::preprocess_, &ProcessSpec::simplifyWhitespace_,
              &ProcessSpec::removeComments_, &ProcessSpec::compile, &ProcessSpec::strip,
              &ProcessSpec::strict, &ProcessSpec::lupdate}) {
            // Unset differs from an explicit value, even where it means the same.
            for (const int value : {0, 1}) {
                ProcessSpec spec;
                spec.*setting = {value};
                QVERIFY(!(spec == ProcessSpec()));
            }
        }
        ProcessSpec spec;
        spec.include = {u"a"_s};
        QVERIFY(!(spec == ProcessSpec()));
        QVERIFY(ProcessSpec() == ProcessSpec());
    }
};

QTEST_APPLESS_MAIN(TestProcessSpec)
#include "tst_processspec.moc"

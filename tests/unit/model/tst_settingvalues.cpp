#include "model/settingvalues.h"

#include "rows.h"

using namespace Qt::StringLiterals;

class TestSettingValues : public QObject
{
    Q_OBJECT

private slots:
    void tristate_data()
    {
        Rows<int, bool, bool, bool> row; // value, isSet, isOn, isNotOff
        row("not set", -1, false, false, true);
        row("false", 0, true, false, false);
        row("true", 1, true, true, true);
    }
    void tristate()
    {
        const auto [value, isSet, isOn, isNotOff] = fetch<int, bool, bool, bool>();
        const Tristate setting{value};
        QCOMPARE(setting.isSet(), isSet);
        QCOMPARE(setting.isOn(), isOn);
        QCOMPARE(setting.isNotOff(), isNotOff);
        QCOMPARE(setting == Tristate(), value == -1);
    }

    void defaultAppliesWhileTheValueIsEmpty()
    {
        DefaultString text{u"built in"_s, {}};
        QCOMPARE(text.effectiveValue(), u"built in"_s);
        text.value = u"own"_s;
        QCOMPARE(text.effectiveValue(), u"own"_s);
    }

    void assigningTheDefaultStoresEmpty()
    {
        DefaultString text{u"built in"_s, u"own"_s};
        text.assign(u"built in"_s);
        QCOMPARE(text.value, QString());
        text.assign(u"own"_s);
        QCOMPARE(text.value, u"own"_s);
    }

    void spellingOutTheDefaultEqualsLeavingItOut()
    {
        const DefaultString omitted{u"built in"_s, {}};
        const DefaultString spelledOut{u"other"_s, u"built in"_s};
        const DefaultString own{u"built in"_s, u"own"_s};
        QVERIFY(omitted == spelledOut);
        QVERIFY(!(omitted == own));
    }
};

QTEST_APPLESS_MAIN(TestSettingValues)
#include "tst_settingvalues.moc"

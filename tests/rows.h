#pragma once

#include <QtTest>

#include <tuple>

/// Adds the rows of a test function: each has a name, and a value for each column.
template <typename... Columns>
class Rows
{
public:
    Rows() { QTest::addColumn<std::tuple<Columns...>>("row"); }

    void operator()(const QByteArray &name, const Columns &...values) const
    {
        QTest::newRow(name.constData()) << std::tuple<Columns...>(values...);
    }
};

/// @return the values of the current row, to be bound to names
template <typename... Columns>
std::tuple<Columns...> fetch()
{
    using Row = std::tuple<Columns...>;
    QFETCH(Row, row);
    return row;
}

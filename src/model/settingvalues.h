#pragma once

#include <QString>

/// A yes/no setting that the project file may leave out.
///
/// Staying unset until an accessor decides keeps an omitted setting apart from an explicit no.
struct Tristate
{
    int value = -1; ///< -1 not set, 0 false, 1 true

    bool isSet() const { return value >= 0; }
    bool isOn() const { return value > 0; }      ///< for settings that are off unless switched on
    bool isNotOff() const { return value != 0; } ///< for settings that are on unless switched off

    /// @return this setting when it is set, else @p outer, the one of the enclosing level
    Tristate orElse(Tristate outer) const { return isSet() ? *this : outer; }

    bool operator==(const Tristate &) const = default;

    /// @return the setting that a lower-case word of a project file stands for ("true", "yes", "1",
    /// "false", "no", "0"); unset for any other word
    static Tristate fromWord(const QString &word);
};

/// A text setting with a built-in default, which applies while `value` is empty.
struct DefaultString
{
    QString defaultValue;
    QString value;

    const QString &effectiveValue() const { return value.isEmpty() ? defaultValue : value; }

    /// Stores what the project file says; the default itself is stored as empty.
    void assign(const QString &text) { value = text == defaultValue ? QString() : text; }

    /// Compares the effective values: spelling out the default equals leaving it out.
    bool operator==(const DefaultString &other) const
    {
        return effectiveValue() == other.effectiveValue();
    }
};

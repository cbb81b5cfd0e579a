#pragma once

#include "model/settingvalues.h"

#include <QStringList>

/// How source files are processed: preprocessing, compilation, translation extraction.
struct ProcessSpec
{
    Tristate preprocess_;
    Tristate simplifyWhitespace_;
    Tristate removeComments_;
    QStringList include; ///< include directories for the preprocessor, in file order
    Tristate compile;
    Tristate strip;
    Tristate strict;
    Tristate lupdate; ///< no attribute of the project file sets it

    bool preprocess() const { return preprocess_.isNotOff(); }
    bool simplifyWhitespace() const { return simplifyWhitespace_.isNotOff(); }
    bool removeComments() const { return removeComments_.isNotOff(); }
    bool compileLua() const { return compile.isNotOff(); }
    bool lupdateEnabled() const { return lupdate.isNotOff(); }
    bool stripLua() const { return strip.isOn(); }
    bool strictLua() const { return strict.isOn(); }
    bool isActive() const { return preprocess() || compileLua() || lupdateEnabled(); }

    /// Forgets all settings but `lupdate`.
    void clear();

    /// Layers @p other over this record: its set values replace, its include directories are
    /// appended, `lupdate` stays.
    void mergeFrom(const ProcessSpec &other);

    bool operator==(const ProcessSpec &) const = default;
};

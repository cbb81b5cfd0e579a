#pragma once

#include <QString>

/// One line at the bottom of the terminal that says how far the build is. It is never written to
/// anything but a terminal, and it is gone while other text is written.
class StatusLine
{
public:
    /// Has no effect where standard error is no terminal, or one that cannot rewrite a line.
    void enable();

    /// @param text  empty: the line goes
    void show(const QString &text);
    /// To be called before other text is written to the terminal.
    void hide();
    /// To be called after that.
    /// @param text  what was written
    void resume(QByteArrayView text);

    /// @return @p text without control characters, its middle left out where it is wider than so
    /// many columns: a line that wraps could not be rewritten
    static QString fitted(QString text, qsizetype width);

private:
    bool m_isEnabled = false;
    bool m_isShown = false;
    bool m_isLineOpen = false; ///< other text has not ended its line yet
};

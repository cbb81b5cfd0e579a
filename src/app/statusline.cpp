#include "app/statusline.h"

#include <QByteArray>

#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int usualWidth = 80;
constexpr char eraseLine[] = "\r\x1b[K";

int terminalWidth()
{
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                           : usualWidth;
}

void write(const QByteArray &text)
{
    std::fputs(text.constData(), stderr);
}

} // namespace

QString StatusLine::fitted(QString text, qsizetype width)
{
    const QString gap = u"..."_s;
    qsizetype columns = 0;
    for (QChar &letter : text) {
        if (!letter.isPrint())
            letter = u'?';
        columns += letter.unicode() < 0x300 ? 1 : 2; // East Asian letters take two
    }
    if (columns <= width)
        return text;
    // As if all of them did when one does.
    const qsizetype room = (columns > text.size() ? width / 2 : width) - gap.size();
    if (room < 2)
        return {};
    return text.first(room - room / 2) + gap + text.last(room / 2);
}

void StatusLine::enable()
{
    const QByteArray terminal = qgetenv("TERM");
    m_isEnabled = isatty(STDERR_FILENO) == 1 && !terminal.isEmpty() && terminal != "dumb";
}

void StatusLine::show(const QString &text)
{
    if (text.isEmpty())
        return hide();
    if (!m_isEnabled || m_isLineOpen)
        return;
    write(eraseLine + fitted(text, terminalWidth() - 1).toLocal8Bit());
    m_isShown = true;
}

void StatusLine::hide()
{
    if (m_isShown)
        write(eraseLine);
    m_isShown = false;
}

void StatusLine::resume(QByteArrayView text)
{
    if (!text.isEmpty())
        m_isLineOpen = text.back() != '\n';
}

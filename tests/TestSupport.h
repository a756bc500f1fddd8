#ifndef ZRNCORE_TESTS_TESTSUPPORT_H
#define ZRNCORE_TESTS_TESTSUPPORT_H

// Shared by the test binaries: captures what the library writes on Qt's
// message channels so that tests compare whole lines.

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace ZrnTest {

/// While alive, collects every qDebug line in `debug` and every qCritical
/// line in `critical` (other channels in `other`), instead of printing them.
/// Only one may be alive at a time.
class MessageCapture
{
public:
    MessageCapture()
    {
        s_current = this;
        m_previous = qInstallMessageHandler(&MessageCapture::handler);
    }
    ~MessageCapture()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    QStringList debug;
    QStringList critical;
    QStringList other;

    void clear()
    {
        debug.clear();
        critical.clear();
        other.clear();
    }

private:
    static void handler(QtMsgType type, const QMessageLogContext&, const QString& message)
    {
        if (!s_current)
            return;
        switch (type) {
        case QtDebugMsg: s_current->debug << message; break;
        case QtCriticalMsg: s_current->critical << message; break;
        default: s_current->other << message; break;
        }
    }

    static inline MessageCapture* s_current = nullptr;
    QtMessageHandler m_previous = nullptr;
};

// The bytes of a fuzz input as lowercase hex, for failure messages that let
// the input be replayed.
inline std::string hex(const std::vector<std::uint8_t>& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::uint8_t b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

} // namespace ZrnTest

// Readable strings and string lists in test failure messages; a list prints
// one entry a line, as the diagnostic and dump lines are compared whole.
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QStringList& lines, std::ostream* os)
{
    *os << "[\n" << lines.join(QStringLiteral("\n")).toStdString() << "\n]";
}

#endif // ZRNCORE_TESTS_TESTSUPPORT_H

#ifndef ZRNCORE_TESTS_GRAPHVIZCHECK_H
#define ZRNCORE_TESTS_GRAPHVIZCHECK_H

// Runs DOT text through Graphviz's `dot -Tsvg`, for tests that must show
// that a picture is accepted. Tests skip (GTEST_SKIP) when `dot` is missing:
// scripts/test.sh installs graphviz.

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>

namespace ZrnTest {

/// True when Graphviz's `dot` is on the PATH.
inline bool haveDot()
{
    return !QStandardPaths::findExecutable(QStringLiteral("dot")).isEmpty();
}

/// Returns an empty string when `dot -Tsvg` reads `text` without an error or
/// a warning and writes an SVG, otherwise what went wrong. `dot` must exist.
inline QString dotProblems(const QString& text)
{
    QProcess dot;
    dot.start(QStringLiteral("dot"), {QStringLiteral("-Tsvg")});
    if (!dot.waitForStarted(10000))
        return QStringLiteral("dot did not start");
    dot.write(text.toUtf8());
    dot.closeWriteChannel();
    if (!dot.waitForFinished(60000))
        return QStringLiteral("dot did not finish");
    const QByteArray out = dot.readAllStandardOutput();
    const QByteArray err = dot.readAllStandardError();
    if (dot.exitStatus() != QProcess::NormalExit || dot.exitCode() != 0 || !err.isEmpty())
        return QStringLiteral("dot exit %1: %2").arg(dot.exitCode()).arg(QString::fromUtf8(err));
    if (!out.contains("<svg"))
        return QStringLiteral("dot wrote no SVG");
    return QString();
}

} // namespace ZrnTest

// Skips the test when `dot` is missing, else expects it to accept `text`.
#define EXPECT_DOT_ACCEPTS(text)                                                            \
    do {                                                                                    \
        if (!ZrnTest::haveDot())                                                            \
            GTEST_SKIP() << "Graphviz's dot is not installed; scripts/test.sh installs it"; \
        EXPECT_EQ(ZrnTest::dotProblems(text), QString()) << (text).toStdString();           \
    } while (false)

#endif // ZRNCORE_TESTS_GRAPHVIZCHECK_H

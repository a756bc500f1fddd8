#ifndef ZRNCORE_TESTS_TESTSUPPORT_H
#define ZRNCORE_TESTS_TESTSUPPORT_H

// Shared by the test binaries: captures what the library writes on Qt's
// message channels so that tests compare whole lines, reads a graph's lists
// as vectors, and replays fuzz inputs and seed corpora.

#include <ZrnCore/Graph.h>

#include <QtCore/QByteArray>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <stdexcept>
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

/// `text` as a QString (UTF-8).
inline QString s(const char* text)
{
    return QString::fromUtf8(text);
}

// ---------------------------------------------------------------- graph lists

/// The children list of `parent`, as getNode() reads it.
inline std::vector<int> childrenOf(const Morvane::Zrn::Graph& g, int parent)
{
    std::vector<int> result;
    for (int k = 0; k < g.numNodes(parent); ++k)
        result.push_back(g.getNode(k, parent));
    return result;
}

/// The destination edges of an input, in their order.
inline std::vector<int> inputDestinations(const Morvane::Zrn::Graph& g, int node, int input)
{
    std::vector<int> result;
    for (int k = 0; k < g.numInputDestinations(node, input); ++k)
        result.push_back(g.inputDestination(node, input, k));
    return result;
}

/// The destination edges of an output, in their order.
inline std::vector<int> outputDestinations(const Morvane::Zrn::Graph& g, int node, int output)
{
    std::vector<int> result;
    for (int k = 0; k < g.numOutputDestinations(node, output); ++k)
        result.push_back(g.outputDestination(node, output, k));
    return result;
}

/// The names of a node's inputs, in their order.
inline std::vector<QString> inputNames(const Morvane::Zrn::Graph& g, int node)
{
    std::vector<QString> names;
    for (int i = 0; i < g.numInputs(node); ++i)
        names.push_back(g.inputName(node, i));
    return names;
}

/// The names of a node's outputs, in their order.
inline std::vector<QString> outputNames(const Morvane::Zrn::Graph& g, int node)
{
    std::vector<QString> names;
    for (int o = 0; o < g.numOutputs(node); ++o)
        names.push_back(g.outputName(node, o));
    return names;
}

// ---------------------------------------------------------------- fuzz replays

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

/// What a fuzz target's broken check throws in a test (see ZRN_FUZZ_FAIL).
struct FuzzFailure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// A fuzz target's entry point.
using FuzzEntry = int (*)(const std::uint8_t* data, std::size_t size);

/// Runs `entry` on `bytes`; returns what broke, or an empty string.
inline std::string fuzzFailure(FuzzEntry entry, const std::vector<std::uint8_t>& bytes)
{
    try {
        entry(bytes.data(), bytes.size());
    } catch (const FuzzFailure& failure) {
        return failure.what();
    }
    return std::string();
}

/// Runs `entry` on `bytes`; when something broke, records a test failure
/// naming `label`, what broke and the input as hex, and returns false.
inline bool replayFuzzInput(FuzzEntry entry, const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    const std::string failure = fuzzFailure(entry, bytes);
    if (failure.empty())
        return true;
    ADD_FAILURE() << label << ": " << failure << "\n  input (" << bytes.size() << " bytes, hex): " << hex(bytes);
    return false;
}

/// One file of a seed corpus.
struct CorpusFile
{
    QString name;
    std::vector<std::uint8_t> bytes;
};

/// The bytes of file `name` in `folder`; records a test failure, and gives
/// no bytes, when it cannot be read.
inline std::vector<std::uint8_t> readCorpusFile(const QString& folder, const QString& name)
{
    QFile file(QDir(folder).filePath(name));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << file.fileName().toStdString();
        return {};
    }
    const QByteArray data = file.readAll();
    return std::vector<std::uint8_t>(data.begin(), data.end());
}

/// Every file of the seed corpus in `folder`, in name order.
inline std::vector<CorpusFile> readCorpus(const QString& folder)
{
    std::vector<CorpusFile> files;
    for (const QString& name : QDir(folder).entryList(QDir::Files, QDir::Name))
        files.push_back(CorpusFile{name, readCorpusFile(folder, name)});
    return files;
}

} // namespace ZrnTest

// A fuzz target (fuzz/fuzz_*.cpp) included after this header reports a
// broken check by throwing ZrnTest::FuzzFailure with the place and the check,
// rather than aborting, so that a replaying test can name the input.
#define ZRN_FUZZ_FAIL(what) \
    throw ::ZrnTest::FuzzFailure(std::string(__FILE__) + ":" + std::to_string(__LINE__) + ": " + (what))

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

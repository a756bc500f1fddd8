#ifndef ZRNCORE_TESTS_RENDERTESTPASSES_H
#define ZRNCORE_TESTS_RENDERTESTPASSES_H

// Passes and a renderer that write every call they receive from the
// renderer into a shared log, for the render tests.

#include "TestSupport.h"

#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <ostream>

namespace ZrnTest {

using Morvane::Zrn::RenderCallbacks;

/// "invalid" for an invalid value, the value's text otherwise.
inline QString show(const QVariant& v)
{
    return v.isValid() ? v.toString() : QStringLiteral("invalid");
}

/// A pass with `numInputs` inputs "in0".. (default "<name>.default<i>") and
/// `numOutputs` outputs "out0"... Each run's start() writes
/// "<name>.<j>@<run>" into output j and sets the error code `failWith`.
/// The calls of a frame (not the getters) are appended to `log` as
/// "<name>.<call>(<args>)".
class RecordingPass : public Morvane::Zrn::RenderPassHelper
{
public:
    RecordingPass(const QString& name, QStringList* log, int numInputs, int numOutputs)
        : m_name(name)
        , m_log(log)
    {
        for (int i = 0; i < numInputs; ++i)
            addInput(QStringLiteral("in%1").arg(i), QVariant(QStringLiteral("%1.default%2").arg(name).arg(i)));
        for (int j = 0; j < numOutputs; ++j)
            addOutput(QStringLiteral("out%1").arg(j));
    }
    ~RecordingPass() override
    {
        if (destroyed)
            destroyed->append(m_name);
    }

    QStringList* destroyed = nullptr;    ///< gets the name when the pass is destroyed
    unsigned int failWith = 0;           ///< error code start() sets
    int unfinishedPolls = 0;             ///< isFinished() answers false this often per run
    int runs = 0;                        ///< start() calls
    mutable int polls = 0;               ///< isFinished() calls in the current run
    QVector<RenderCallbacks*> callbacks; ///< every callback pointer received

    QVariant inputValue(int i) const { return inputs.at(i).value; }
    void setOutputValue(int j, const QVariant& v) { outputs[j].value = v; }
    int users(int j) const { return outputUsers.at(j); }
    int numUserSlots() const { return outputUsers.size(); }

    void setup(RenderCallbacks* cb) override { note(cb, QStringLiteral("setup")); }
    void teardown(RenderCallbacks* cb) override { note(cb, QStringLiteral("teardown")); }
    void beginFrame(RenderCallbacks* cb) override
    {
        note(cb, QStringLiteral("beginFrame"));
        polls = 0;
        RenderPassHelper::beginFrame(cb);
    }
    void start(RenderCallbacks* cb) override
    {
        note(cb, QStringLiteral("start"));
        ++runs;
        for (int j = 0; j < outputs.size(); ++j)
            outputs[j].value = QStringLiteral("%1.%2@%3").arg(m_name).arg(j).arg(runs);
        RenderPassHelper::setErrorCode(failWith);
    }
    bool isFinished() const override
    {
        log(QStringLiteral("isFinished()"));
        return ++polls > unfinishedPolls;
    }
    void endFrame(RenderCallbacks* cb) override
    {
        note(cb, QStringLiteral("endFrame"));
        RenderPassHelper::endFrame(cb);
    }
    void setInput(int input, const QVariant& value) override
    {
        log(QStringLiteral("setInput(%1, %2)").arg(input).arg(show(value)));
        RenderPassHelper::setInput(input, value);
    }
    void setNumOutputUsers(int output, int users) override
    {
        log(QStringLiteral("setNumOutputUsers(%1, %2)").arg(output).arg(users));
        RenderPassHelper::setNumOutputUsers(output, users);
    }
    void resetNumOutputUsers() override
    {
        log(QStringLiteral("resetNumOutputUsers()"));
        RenderPassHelper::resetNumOutputUsers();
    }
    void setErrorCode(unsigned int code) override
    {
        log(QStringLiteral("setErrorCode(%1)").arg(code));
        RenderPassHelper::setErrorCode(code);
    }
    unsigned int errorCode() const override
    {
        log(QStringLiteral("errorCode()"));
        return RenderPassHelper::errorCode();
    }

    /// The error code, without a log line.
    unsigned int storedErrorCode() const { return RenderPassHelper::errorCode(); }

private:
    void log(const QString& call) const
    {
        if (m_log)
            m_log->append(m_name + QLatin1Char('.') + call);
    }
    void note(RenderCallbacks* cb, const QString& call)
    {
        callbacks.append(cb);
        log(call + QStringLiteral("()"));
    }

    QString m_name;
    QStringList* m_log;
};

/// A renderer that logs its own beginFrame() and endFrame() as
/// "R.beginFrame()" and "R.endFrame()", then does what Renderer does.
class LoggingRenderer : public Morvane::Zrn::Renderer
{
public:
    explicit LoggingRenderer(QStringList* log)
        : m_log(log)
    {
    }

    void beginFrame(RenderCallbacks* cb) override
    {
        m_log->append(QStringLiteral("R.beginFrame()"));
        Renderer::beginFrame(cb);
    }
    void endFrame(RenderCallbacks* cb) override
    {
        m_log->append(QStringLiteral("R.endFrame()"));
        Renderer::endFrame(cb);
    }

private:
    QStringList* m_log;
};

/// The lines of `log` that start with "<name>.".
inline QStringList callsOf(const QStringList& log, const QString& name)
{
    QStringList out;
    for (const QString& line : log) {
        if (line.startsWith(name + QLatin1Char('.')))
            out << line;
    }
    return out;
}

/// The names of the passes whose start() appears in `log`, in order.
inline QStringList started(const QStringList& log)
{
    QStringList out;
    for (const QString& line : log) {
        if (line.endsWith(QStringLiteral(".start()")))
            out << line.left(line.size() - int(sizeof(".start()")) + 1);
    }
    return out;
}

} // namespace ZrnTest

// Readable values in test failure messages.
inline void PrintTo(const QVariant& value, std::ostream* os)
{
    *os << ZrnTest::show(value).toStdString();
}

#endif // ZRNCORE_TESTS_RENDERTESTPASSES_H

#ifndef ZRNCORE_TESTS_RENDERTESTPASSES_H
#define ZRNCORE_TESTS_RENDERTESTPASSES_H

// Passes and a renderer that write every call they receive from the
// renderer into a shared log, for the render tests.

#include "TestSupport.h"

#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <utility>
#include <vector>

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
    /// When each isFinished() of the current run was called.
    mutable std::vector<std::chrono::steady_clock::time_point> pollTimes;

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
        pollTimes.clear();
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
        pollTimes.push_back(std::chrono::steady_clock::now());
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

/// The calls one run of RecordingPass `name` receives, in order: each of
/// `inputs` as "setInput(<index>, <value>)", resetNumOutputUsers, each
/// {output, count} of `users` as "setNumOutputUsers(<output>, <count>)",
/// setErrorCode(0),
/// beginFrame, start, isFinished `polls` times, endFrame, errorCode.
inline QStringList runCalls(const QString& name, const QStringList& inputs,
                            const std::vector<std::pair<int, int>>& users = {}, int polls = 1)
{
    const QString p = name + QLatin1Char('.');
    QStringList out;
    for (int i = 0; i < inputs.size(); ++i)
        out << p + QStringLiteral("setInput(%1, %2)").arg(i).arg(inputs.at(i));
    out << p + QStringLiteral("resetNumOutputUsers()");
    for (const auto& u : users)
        out << p + QStringLiteral("setNumOutputUsers(%1, %2)").arg(u.first).arg(u.second);
    out << p + QStringLiteral("setErrorCode(0)") << p + QStringLiteral("beginFrame()") << p + QStringLiteral("start()");
    for (int n = 0; n < polls; ++n)
        out << p + QStringLiteral("isFinished()");
    out << p + QStringLiteral("endFrame()") << p + QStringLiteral("errorCode()");
    return out;
}

/// Busy-waits until a frame timed by `timer` and ending now would be
/// recorded as longer than `previous` ms (both terms of the frame time only
/// grow). Frames timed this way get strictly increasing times, so checks of
/// the history ring and its sum compare distinct values, never zeros.
inline void spinPast(const QElapsedTimer& timer, double previous)
{
    while (double(timer.nsecsElapsed() / 1000) / 1000.0 + double(timer.elapsed()) <= previous) {
    }
}

/// The frame time `stats` recorded last (slot (count() - 1) % kHistorySize).
inline double lastRecorded(const Morvane::Zrn::FrameStatistics& stats)
{
    return stats.times()[(stats.count() - 1) % Morvane::Zrn::FrameStatistics::kHistorySize];
}

/// Checks `stats` after the frames that recorded `recorded`, in order, each
/// longer than the one before: the count; every slot holds the last frame
/// that fell on it, or 0; the sum is exactly what taking each overwritten
/// value away before adding the new one gives, and (up to rounding) the sum
/// of the last min(count, kHistorySize) frames; the mean is that sum over
/// that many frames.
inline void expectHistory(const Morvane::Zrn::FrameStatistics& stats, const std::vector<double>& recorded)
{
    using Morvane::Zrn::FrameStatistics;
    const int n = int(recorded.size());
    for (int i = 1; i < n; ++i)
        ASSERT_LT(recorded[size_t(i - 1)], recorded[size_t(i)]) << "frames " << i - 1 << " and " << i;
    EXPECT_EQ(stats.count(), n);

    double ring[FrameStatistics::kHistorySize] = {};
    double running = 0.0;
    for (int i = 0; i < n; ++i) {
        const int slot = i % FrameStatistics::kHistorySize;
        running = (running - ring[slot]) + recorded[size_t(i)];
        ring[slot] = recorded[size_t(i)];
    }
    for (int slot = 0; slot < FrameStatistics::kHistorySize; ++slot)
        EXPECT_EQ(stats.times()[slot], ring[slot]) << "slot " << slot;
    EXPECT_EQ(stats.sum(), running);

    const int kept = std::min(n, int(FrameStatistics::kHistorySize));
    double lastFrames = 0.0;
    for (int i = n - kept; i < n; ++i)
        lastFrames += recorded[size_t(i)];
    EXPECT_NEAR(stats.sum(), lastFrames, 1e-9 * (1.0 + lastFrames));
    EXPECT_EQ(stats.mean(), kept > 0 ? stats.sum() / double(kept) : 0.0);
}

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

#ifndef ZRNCORE_RENDERPASSHELPER_H
#define ZRNCORE_RENDERPASSHELPER_H

#include <ZrnCore/zrncore_export.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPass.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

namespace Morvane {
namespace Zrn {

/// The usual base of a client pass. It stores named inputs with current and
/// default values, named outputs with their values and user counts, an error
/// code and the pass's frame statistics, and implements every operation of
/// RenderPass: setup(), start() and teardown() do nothing, isFinished()
/// stays the base version (true).
///
/// A derived pass declares its ports in its constructor with addInput() and
/// addOutput(), overrides start() (and isFinished() if it works
/// asynchronously), reads `inputs[i].value` and writes `outputs[i].value`.
///
/// Index arguments are range-checked: an index outside the lists stops a
/// debug build on a Q_ASSERT, and otherwise gets a neutral answer (an empty
/// name, an invalid QVariant, -1 users) or, for a setter, no effect.
class ZRNCORE_EXPORT RenderPassHelper : public RenderPass
{
public:
    /// A port's name and its current value.
    struct NamedValue
    {
        QString name;   ///< the port's name
        QVariant value; ///< the port's current value
    };

    /// Starts with no ports, an invalid frame timer, no frames and error code 0.
    RenderPassHelper();
    ~RenderPassHelper() override;

    /// Return the index of the first input (output) named `name`, exact and
    /// case-sensitive, or -1 when none is.
    ///@{
    int findInput(const QString& name) const;
    int findOutput(const QString& name) const;
    ///@}
    /// Returns the user count of `output` set for the current frame (0 when
    /// no needed node reads it), or -1 when there is no such output.
    int numOutputUsers(int output) const;

    /// Return the pass's frame statistics, recorded by beginFrame() and
    /// endFrame() (see FrameStatistics for the rule): the whole record, the
    /// number of frames recorded, the sum of the frame times in the history
    /// (ms), and the history ring of FrameStatistics::kHistorySize times.
    ///@{
    const FrameStatistics& frameStatistics() const { return m_frameStats; }
    int frameCount() const { return m_frameStats.count(); }
    double frameTimeSum() const { return m_frameStats.sum(); }
    const double* frameTimes() const { return m_frameStats.times(); }
    ///@}
    /// Returns the mean frame time over the last min(frameCount(), 100) frames.
    double meanFrameTime() const { return m_frameStats.mean(); }
    /// Return the frame timer, invalid while no frame is being timed.
    ///@{
    const QElapsedTimer& frameTimer() const { return m_frameStats.timer(); }
    QElapsedTimer& frameTimer() { return m_frameStats.timer(); }
    ///@}

    /// Appends an input named `name` whose current value is invalid and
    /// whose default is `defaultValue`; returns its index (0, 1, 2 ...).
    /// Names need not be unique.
    int addInput(const QString& name, const QVariant& defaultValue);
    /// Appends an output named `name` with an invalid value and 0 users;
    /// returns its index. Names need not be unique.
    int addOutput(const QString& name);

    // RenderPass
    /// Does nothing.
    void setup(RenderCallbacks* cb) override;
    /// Starts the frame timer.
    void beginFrame(RenderCallbacks* cb) override;
    /// Does nothing; a derived pass does its work here.
    void start(RenderCallbacks* cb) override;
    /// Records the frame time (see FrameStatistics) and invalidates the timer.
    void endFrame(RenderCallbacks* cb) override;
    /// Does nothing.
    void teardown(RenderCallbacks* cb) override;
    /// Return the number of inputs (outputs) declared so far.
    int numInputs() const override;
    int numOutputs() const override;
    /// Return a copy of the name of an input (output), or an empty name when
    /// there is no such port.
    QString inputName(int input) const override;
    QString outputName(int output) const override;
    /// Stores `value` as the current value of `input`; does nothing when there
    /// is no such input.
    void setInput(int input, const QVariant& value) override;
    /// Returns a copy of the default of `input`, or an invalid QVariant when
    /// there is no such input.
    QVariant defaultValue(int input) const override;
    /// Replaces the default of `input`; the input's current value is not
    /// touched until the renderer delivers inputs again. Does nothing when
    /// there is no such input.
    void setDefaultValue(int input, const QVariant& value) override;
    /// Returns a copy of the current value of `output`, or an invalid QVariant
    /// when there is no such output.
    QVariant output(int output) const override;
    /// Stores `users` as the user count of `output`; any count is stored as
    /// given. Does nothing when there is no such output.
    void setNumOutputUsers(int output, int users) override;
    /// Sets every output's user count to 0, keeping their number.
    void resetNumOutputUsers() override;
    /// Return and set the error code (0 = success; starts at 0).
    unsigned int errorCode() const override;
    void setErrorCode(unsigned int code) override;

protected:
    QVector<NamedValue> inputs;      ///< one per input: name and current value
    QVector<QVariant> defaultValues; ///< one per input
    QVector<NamedValue> outputs;     ///< one per output: name and current value
    QVector<int> outputUsers;        ///< one per output: needed consumers this frame

private:
    FrameStatistics m_frameStats;
    unsigned int m_errorCode = 0;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERPASSHELPER_H

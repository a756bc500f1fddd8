#include <ZrnCore/RenderPassHelper.h>

namespace Morvane {
namespace Zrn {

namespace {

// Index of the first port named `name`, scanning from 0, or -1.
int findNamed(const QVector<RenderPassHelper::NamedValue>& ports, const QString& name)
{
    for (int i = 0; i < ports.size(); ++i) {
        if (ports.at(i).name == name)
            return i;
    }
    return -1;
}

} // namespace

RenderPassHelper::RenderPassHelper() = default;

RenderPassHelper::~RenderPassHelper() = default;

int RenderPassHelper::findInput(const QString& name) const
{
    return findNamed(inputs, name);
}

int RenderPassHelper::findOutput(const QString& name) const
{
    return findNamed(outputs, name);
}

int RenderPassHelper::numOutputUsers(int output) const
{
    Q_ASSERT_X(output >= 0 && output < outputUsers.size(), Q_FUNC_INFO, "output out of range");
    if (output < 0 || output >= outputUsers.size())
        return -1;
    return outputUsers.at(output);
}

int RenderPassHelper::addInput(const QString& name, const QVariant& defaultValue)
{
    // A new input's value starts invalid, not as its default: the default
    // reaches it only when the renderer delivers inputs.
    inputs.append(NamedValue{name, QVariant()});
    defaultValues.append(defaultValue);
    return inputs.size() - 1;
}

int RenderPassHelper::addOutput(const QString& name)
{
    outputs.append(NamedValue{name, QVariant()});
    outputUsers.append(0);
    return outputs.size() - 1;
}

void RenderPassHelper::setup(RenderCallbacks*) { }

void RenderPassHelper::beginFrame(RenderCallbacks*)
{
    m_frameStats.begin();
}

void RenderPassHelper::start(RenderCallbacks*) { }

void RenderPassHelper::endFrame(RenderCallbacks*)
{
    m_frameStats.end();
}

void RenderPassHelper::teardown(RenderCallbacks*) { }

int RenderPassHelper::numInputs() const
{
    return inputs.size();
}

int RenderPassHelper::numOutputs() const
{
    return outputs.size();
}

QString RenderPassHelper::inputName(int input) const
{
    Q_ASSERT_X(input >= 0 && input < inputs.size(), Q_FUNC_INFO, "input out of range");
    if (input < 0 || input >= inputs.size())
        return QString();
    return inputs.at(input).name;
}

QString RenderPassHelper::outputName(int output) const
{
    Q_ASSERT_X(output >= 0 && output < outputs.size(), Q_FUNC_INFO, "output out of range");
    if (output < 0 || output >= outputs.size())
        return QString();
    return outputs.at(output).name;
}

void RenderPassHelper::setInput(int input, const QVariant& value)
{
    Q_ASSERT_X(input >= 0 && input < inputs.size(), Q_FUNC_INFO, "input out of range");
    if (input < 0 || input >= inputs.size())
        return;
    inputs[input].value = value;
}

QVariant RenderPassHelper::defaultValue(int input) const
{
    Q_ASSERT_X(input >= 0 && input < defaultValues.size(), Q_FUNC_INFO, "input out of range");
    if (input < 0 || input >= defaultValues.size())
        return QVariant();
    return defaultValues.at(input);
}

void RenderPassHelper::setDefaultValue(int input, const QVariant& value)
{
    Q_ASSERT_X(input >= 0 && input < defaultValues.size(), Q_FUNC_INFO, "input out of range");
    if (input < 0 || input >= defaultValues.size())
        return;
    defaultValues[input] = value; // the current value waits for the next delivery
}

QVariant RenderPassHelper::output(int output) const
{
    Q_ASSERT_X(output >= 0 && output < outputs.size(), Q_FUNC_INFO, "output out of range");
    if (output < 0 || output >= outputs.size())
        return QVariant();
    return outputs.at(output).value;
}

void RenderPassHelper::setNumOutputUsers(int output, int users)
{
    Q_ASSERT_X(output >= 0 && output < outputUsers.size(), Q_FUNC_INFO, "output out of range");
    if (output < 0 || output >= outputUsers.size())
        return;
    outputUsers[output] = users;
}

void RenderPassHelper::resetNumOutputUsers()
{
    outputUsers.fill(0); // the length is kept
}

unsigned int RenderPassHelper::errorCode() const
{
    return m_errorCode;
}

void RenderPassHelper::setErrorCode(unsigned int code)
{
    m_errorCode = code;
}

} // namespace Zrn
} // namespace Morvane

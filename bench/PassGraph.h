// The pass graphs of the frame benchmarks and the trivial pass they are
// made of.
//
// A chain of N passes, flat:
//
//   seed -> P0 -> P1 -> ... -> PN-1 (target) -> result
//
// Layered, flat: layers of 8, each pass fed by passes j and j+1 (mod 8) of
// the layer before, the first layer by the parameter (and a default), then a
// tail of 4, 2 and 1 passes that gathers everything into the target:
//
//   seed -> L0 (8) -> L1 (8) -> ... -> Lw-1 (8) -> 4 -> 2 -> 1 (target) -> result
//
// Nested: the same, with every pass inside a group inside a group; values
// reach a pass down through both groups' inputs and leave it up through
// both groups' outputs, and the regular edges join the outer groups.

#ifndef ZRNCORE_BENCH_PASSGRAPH_H
#define ZRNCORE_BENCH_PASSGRAPH_H

#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVariant>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace ZrnBench {

// Every call a pass received, one line each, in order.
using CallLog = std::vector<std::string>;

// A pass that does almost nothing: its output is one plus the sum of its
// inputs (at most two), kept in 16 bits. With a log set, it appends a line
// for every frame call it receives, the questions for its port counts and
// its output value included.
class TrivialPass final : public Morvane::Zrn::RenderPass
{
public:
    TrivialPass(int id, int numInputs);

    void setLog(CallLog* log) { m_log = log; }

    void setup(Morvane::Zrn::RenderCallbacks*) override { }
    void beginFrame(Morvane::Zrn::RenderCallbacks*) override;
    void start(Morvane::Zrn::RenderCallbacks*) override;
    void endFrame(Morvane::Zrn::RenderCallbacks*) override;
    bool isFinished() const override;
    void teardown(Morvane::Zrn::RenderCallbacks*) override { }
    int numInputs() const override;
    int numOutputs() const override;
    QString inputName(int input) const override;
    QString outputName(int output) const override;
    void setInput(int input, const QVariant& value) override;
    QVariant defaultValue(int input) const override { return m_defaults[size_t(input)]; }
    void setDefaultValue(int input, const QVariant& value) override { m_defaults[size_t(input)] = value; }
    QVariant output(int output) const override;
    void setNumOutputUsers(int output, int users) override;
    void resetNumOutputUsers() override;
    unsigned int errorCode() const override;
    void setErrorCode(unsigned int code) override;

private:
    void log(const char* call, int a = -1, int b = -1) const;

    int m_id;
    int m_numInputs;
    std::array<QVariant, 2> m_inputs;
    std::array<QVariant, 2> m_defaults;
    QVariant m_output;
    int m_users = 0;
    unsigned int m_errorCode = 0;
    CallLog* m_log = nullptr;
};

enum class Shape { Chain, Layered };

struct PassGraphPlan
{
    Shape shape = Shape::Chain;
    bool nested = false; // every pass two groups deep
    int size = 10;       // passes asked for; a layered graph rounds it (see passCount)
    bool extra = false;  // one more pass, fed by the first, outside the target's upstream
};

struct PassGraph
{
    std::unique_ptr<Morvane::Zrn::Renderer> renderer;
    std::vector<TrivialPass*> passes; // by pass index, owned by the renderer
    int passCount = 0;                // passes upstream of the target: all but the extra one
    int extraNode = -1;               // the extra pass's node, or -1
    bool ok = false;                  // every edge was accepted
};

// Builds the renderer and its pass graph. Nodes are made first and the
// regular edges added from the last to the first, so that no cycle test has
// anything upstream to search and building stays linear at any size.
PassGraph buildPassGraph(const PassGraphPlan& plan);

// Sets (or with null clears) the log of every pass of `graph`.
void setLog(const PassGraph& graph, CallLog* log);

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_PASSGRAPH_H

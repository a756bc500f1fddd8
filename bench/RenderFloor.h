// The pass graphs of the frame benchmarks, the trivial pass they are made of,
// and the floor: a frame that makes exactly the calls a renderer's frame
// makes on its passes, in a precomputed order, without walking any graph.
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

#ifndef ZRNCORE_BENCH_RENDERFLOOR_H
#define ZRNCORE_BENCH_RENDERFLOOR_H

#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace ZrnBench {

// Every call a pass received, one line each, in order.
using CallLog = std::vector<std::string>;

// A pass that does almost nothing: its output is one plus the sum of its
// inputs (at most two), kept in 16 bits. With a log set, it appends a line
// for every frame call it receives.
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
    int numInputs() const override { return m_numInputs; }
    int numOutputs() const override { return 1; }
    QString inputName(int input) const override;
    QString outputName(int output) const override;
    void setInput(int input, const QVariant& value) override;
    QVariant defaultValue(int input) const override { return m_defaults[size_t(input)]; }
    void setDefaultValue(int input, const QVariant& value) override { m_defaults[size_t(input)] = value; }
    QVariant output(int) const override { return m_output; }
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

// A frame reduced to its calls on the passes. Built from a renderer through
// its public interface: it finds the passes a frame runs, in the order the
// frame runs them, where each of their inputs comes from (a parameter, an
// output of a pass, or the pass's own default), how many needed consumers
// each output has, and which pass output feeds each renderer output. Each
// frame() then times itself as the renderer does (FrameStatistics), makes
// exactly those calls with the same values, and copies the renderer outputs.
// The graph, the enabled flags, the target and the parameters must not
// change after construction.
class Floor
{
public:
    explicit Floor(const Morvane::Zrn::Renderer& renderer);

    bool frame(Morvane::Zrn::RenderCallbacks* cb);
    int numPassesRun() const { return int(m_steps.size()); }
    const QVariant& output(int i) const { return m_outputs.at(i); }

private:
    enum class From { Parameter, Producer, Default };
    struct Input
    {
        From from;
        int index;                          // parameter, or the producer's output
        Morvane::Zrn::RenderPass* producer; // for From::Producer
    };
    struct Users
    {
        int output;
        int count;
    };
    struct Step
    {
        Morvane::Zrn::RenderPass* pass;
        int firstInput, numInputs; // into m_inputs
        int firstUsers, numUsers;  // into m_users
    };
    struct Collect
    {
        int output;
        Morvane::Zrn::RenderPass* producer;
        int producerOutput;
    };

    std::vector<Step> m_steps;
    std::vector<Input> m_inputs;
    std::vector<Users> m_users;
    std::vector<Collect> m_collect;
    QVector<QVariant> m_parameters;
    QVector<QVariant> m_outputs;
    Morvane::Zrn::FrameStatistics m_stats;
};

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_RENDERFLOOR_H

// The floor of the frame benchmarks: a frame that makes exactly the calls a
// renderer's frame makes on its passes, in a precomputed order, without
// walking any graph.
//
// It lives in a file of its own that sees no pass class but RenderPass: a
// compiler that saw the benchmarks' pass class could call it directly or
// inline it (it is final), which a renderer, built apart from its passes,
// can never do. Every call of the floor goes through the virtual table, as
// the renderer's do.

#ifndef ZRNCORE_BENCH_RENDERFLOOR_H
#define ZRNCORE_BENCH_RENDERFLOOR_H

#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <vector>

namespace ZrnBench {

// A frame reduced to its calls on the passes. Built from a renderer through
// its public interface: it finds the passes a frame runs, in the order the
// frame runs them, where each of their inputs comes from (a parameter, an
// output of a pass, or the pass's own default), how many needed consumers
// each output has, and which pass output feeds each renderer output. Each
// frame() then times itself as the renderer does (FrameStatistics), makes
// exactly those calls with the same values, and copies the renderer outputs.
// The calls include the questions a frame asks its passes because a pass
// may override them: each running pass's numInputs() and numOutputs(), and
// the numOutputs() of each producer before its output() is read.
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

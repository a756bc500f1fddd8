// The renderer's compiled frame: what the walks of a frame decide, recorded
// once and replayed while nothing that decides it changes.

#include "RendererHooks_p.h"
#include "Renderer_p.h"

namespace Morvane {
namespace Zrn {

namespace Internal {

// Opens the renderer's private part to the hooks below.
struct RendererAccess
{
    static Renderer::Impl& impl(Renderer& renderer) { return *renderer.d; }
    static const Renderer::Impl& impl(const Renderer& renderer) { return *renderer.d; }
};

void setLiteralFrames(Renderer& renderer, bool on)
{
    auto& d = RendererAccess::impl(renderer);
    d.schedule.literal = on;
    d.schedule.current = false; // a walking frame keeps no schedule up to date
}

bool literalFrames(const Renderer& renderer)
{
    return RendererAccess::impl(renderer).schedule.literal;
}

quint64 scheduleCompilations(const Renderer& renderer)
{
    return RendererAccess::impl(renderer).schedule.compilations;
}

} // namespace Internal

bool Renderer::Impl::scheduleIsCurrent() const
{
    return schedule.current && schedule.revision == graph.revision() && schedule.target == target;
}

void Renderer::Impl::compileSchedule()
{
    // The walks of renderWalking() without running anything. The marking
    // walks and the running walks start from the same node for the same
    // needed nodes and follow the same edges, so they visit the same nodes
    // in the same order: one set of walks both marks `visited` and lists,
    // in post-order, the pass nodes the running walks reach (disabled ones
    // included). Where each input comes from and the user counts, which
    // need the complete marks, are found afterwards.
    schedule.runs.clear();
    schedule.sources.clear();
    schedule.users.clear();

    collectNeeded();
    const bool targetValid = graph.isValidNode(target);
    if (!targetValid && (target != Graph::kInvalidNodeRef || !needed.isEmpty())) {
        schedule.outcome = Schedule::Outcome::NoTarget;
    } else if (needed.isEmpty()) {
        schedule.outcome = Schedule::Outcome::NothingNeeded;
    } else {
        schedule.outcome = Schedule::Outcome::Walks;
        visited.fill(false, graph.numNodesGlobal());
        for (int m : qAsConst(needed)) {
            if (visited.at(m))
                continue;
            traverse(target, visited, [this](int done) {
                const int v = graph.nodeValue(done);
                if (isPassIndex(v))
                    schedule.runs.push_back(Schedule::Run{passes.at(v), done, v, 0, 0, 0, 0});
                return true;
            });
        }
        for (Schedule::Run& run : schedule.runs)
            compileRun(run);
    }

    schedule.outputSources.resize(size_t(outputs.size()));
    for (int i = 0; i < outputs.size(); ++i) {
        const Producer& producer = producers.at(i);
        const int v = producer.node == Graph::kInvalidNodeRef ? -1 : graph.nodeValue(producer.node);
        schedule.outputSources[size_t(i)] =
            isPassIndex(v) ? Schedule::Source{v, producer.output} : Schedule::Source{Schedule::kFromDefault, 0};
    }

    schedule.revision = graph.revision();
    schedule.target = target;
    schedule.current = true;
    ++schedule.compilations;
}

void Renderer::Impl::compileRun(Schedule::Run& run)
{
    run.firstSource = int(schedule.sources.size());
    run.numSources = graph.numInputs(run.node);
    for (int i = 0; i < run.numSources; ++i) {
        Schedule::Source source = resolveInput(run.node, i);
        if (source.pass >= 0)
            source.producer = passes.at(source.pass);
        schedule.sources.push_back(source);
    }
    run.firstUsers = int(schedule.users.size());
    const int numOutputs = graph.numOutputs(run.node);
    for (int j = 0; j < numOutputs; ++j) {
        const int count = countUsers(run.node, j);
        if (count > 0)
            schedule.users.push_back(Schedule::Users{j, count});
    }
    run.numUsers = int(schedule.users.size()) - run.firstUsers;
}

bool Renderer::Impl::replayRuns(RenderCallbacks* cb)
{
    // The calls of walk() and render(int, RenderCallbacks*), from the
    // recorded runs, sources and counts. What the walking frame reads live
    // is read live here too, in the same order: each pass's enabled flag
    // when its turn comes, its own port counts, a producer's flag and
    // output count, the parameters. Inputs beyond those of the pass's node
    // get the default.
    using Source = Schedule::Source;
    for (const Schedule::Run& run : schedule.runs) {
        if (!enabledFlags.at(run.pass))
            continue;
        RenderPass* const pass = run.renderPass;
        const int numInputs = pass->numInputs();
        const Source* sources = schedule.sources.data() + run.firstSource;
        for (int i = 0; i < numInputs; ++i) {
            const Source* source = i < run.numSources ? sources + i : nullptr;
            if (source && source->producer) {
                if (enabledFlags.at(source->pass) && source->index < source->producer->numOutputs())
                    pass->setInput(i, source->producer->output(source->index));
                else
                    pass->setInput(i, pass->defaultValue(i));
            } else if (source && source->pass == Schedule::kFromParameter) {
                pass->setInput(i, parameters.at(source->index));
            } else {
                pass->setInput(i, pass->defaultValue(i));
            }
        }

        pass->resetNumOutputUsers();
        const int numOutputs = pass->numOutputs();
        const Schedule::Users* users = schedule.users.data() + run.firstUsers;
        for (int u = 0; u < run.numUsers && users[u].output < numOutputs; ++u)
            pass->setNumOutputUsers(users[u].output, users[u].count);
        if (!(recorder ? runPassAs<true>(run.node, pass, cb) : runPassAs<false>(run.node, pass, cb)))
            return false;
    }
    return true;
}

bool Renderer::Impl::renderScheduled(RenderCallbacks* cb)
{
    if (!scheduleIsCurrent())
        compileSchedule();

    bool ok = schedule.outcome != Schedule::Outcome::NoTarget;
    if (schedule.outcome == Schedule::Outcome::Walks)
        ok = replayRuns(cb);

    // As collectOutputs(), also after a failure.
    for (int i = 0; i < outputs.size(); ++i) {
        const Schedule::Source& source = schedule.outputSources[size_t(i)];
        if (source.pass >= 0 && source.index < passes.at(source.pass)->numOutputs())
            outputs[i] = passes.at(source.pass)->output(source.index);
    }
    return ok;
}

} // namespace Zrn
} // namespace Morvane

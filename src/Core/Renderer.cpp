// Renderer composition and the frame scheduler.

#include <ZrnCore/Renderer.h>

#include "FrameRecorder_p.h"
#include "QtCompat_p.h"
#include "Renderer_p.h"

#include <algorithm>
#include <limits>
#include <new>
#include <unordered_set>

namespace Morvane {
namespace Zrn {

// ================================================================ Impl

int Renderer::Impl::passIndexOf(int node) const
{
    if (!graph.isValidNode(node))
        return -1;
    const int v = graph.nodeValue(node);
    return isPassIndex(v) ? v : -1;
}

void Renderer::Impl::collectNeeded()
{
    // Target first, then the producers in output order. The order decides
    // how often the walks start from the target (see Renderer::render()).
    // Lists are a handful of entries long, so a linear duplicate test beats
    // a hash set, and clear() keeps the capacity.
    needed.clear();
    if (graph.isValidNode(target))
        needed.append(target);
    producers.resize(outputs.size());
    for (int i = 0; i < outputs.size(); ++i) {
        int node = Graph::kRootNodeRef;
        int index = i;
        if (!graph.isValidOutput(node, index) || !graph.walkDown(node, index)) {
            producers[i] = Producer{Graph::kInvalidNodeRef, -1};
            continue;
        }
        producers[i] = Producer{node, index};
        if (!needed.contains(node))
            needed.append(node);
    }
}

void Renderer::Impl::collectOutputs()
{
    // The producer is read whether or not it ran this frame and whether or
    // not it is enabled. An output resolving to a node without a pass (an
    // unfed group output) keeps its value.
    for (int i = 0; i < outputs.size(); ++i) {
        const Producer& producer = producers.at(i);
        if (producer.node == Graph::kInvalidNodeRef)
            continue;
        const int v = graph.nodeValue(producer.node);
        if (!isPassIndex(v) || producer.output >= passes.at(v)->numOutputs())
            continue;
        outputs[i] = passes.at(v)->output(producer.output);
    }
}

bool Renderer::Impl::walk(int node, RenderCallbacks* cb, QVector<bool>& visited, WalkType type)
{
    // Renderer::render() starts walks at a valid target only, and every
    // other node comes from walkToSourceNode(), which yields live nodes.
    Q_ASSERT_X(graph.isValidNode(node) && node < visited.size(), Q_FUNC_INFO, "walk from an invalid node");
    if (type == WalkType::Mark)
        return traverse(node, visited, [](int) { return true; });
    return traverse(node, visited, [this, cb](int done) {
        // Groups and the root carry no pass index and are only traversed; a
        // disabled pass is traversed too, so its upstream still runs.
        const int v = graph.nodeValue(done);
        return !(isPassIndex(v) && enabledFlags.at(v)) || render(done, cb);
    });
}

Renderer::Impl::Schedule::Source Renderer::Impl::resolveInput(int node, int input) const
{
    using Source = Schedule::Source;
    int n = node;
    int k = input;
    if (!graph.isValidInput(n, k)) {
        // The pass declares more inputs than its node has (ports were taken
        // away through the graph): nothing can feed it.
        return Source{Schedule::kFromDefault, 0};
    }

    if (graph.walkUp(n, k) && n == Graph::kRootNodeRef) {
        // Fed by renderer parameter k. A root input added through the graph
        // has no parameter behind it and counts as unfed.
        return k < parameters.size() ? Source{Schedule::kFromParameter, k} : Source{Schedule::kFromDefault, 0};
    }
    // From where walkUp() left the port: the outermost feeding ancestor
    // input, or the pass's own input.
    if (!graph.walkAcross(n, k))
        return Source{Schedule::kFromDefault, 0};
    graph.walkDown(n, k); // into the innermost producing output, if any

    const int v = graph.nodeValue(n);
    return isPassIndex(v) ? Source{v, k} : Source{Schedule::kFromDefault, 0}; // a group gives nothing
}

void Renderer::Impl::deliverInput(RenderPass* pass, int input, Schedule::Source source)
{
    if (source.pass >= 0) {
        // The producer's flag and output count are read now, in this order:
        // a disabled producer, or an output the pass does not have, gives
        // the default.
        if (enabledFlags.at(source.pass) && source.index < passes.at(source.pass)->numOutputs())
            pass->setInput(input, passes.at(source.pass)->output(source.index));
        else
            pass->setInput(input, pass->defaultValue(input));
    } else if (source.pass == Schedule::kFromParameter) {
        pass->setInput(input, parameters.at(source.index));
    } else {
        pass->setInput(input, pass->defaultValue(input));
    }
}

bool Renderer::Impl::render(int node, RenderCallbacks* cb)
{
    // walk() calls this for enabled pass nodes only, after the marking walk
    // has sized `visited` for this frame.
    Q_ASSERT_X(isPassIndex(graph.nodeValue(node)), Q_FUNC_INFO, "not a pass node");
    Q_ASSERT_X(visited.size() == graph.numNodesGlobal(), Q_FUNC_INFO, "no marking walk this frame");
    RenderPass* pass = passes.at(graph.nodeValue(node));

    const int numInputs = pass->numInputs();
    for (int i = 0; i < numInputs; ++i)
        deliverInput(pass, i, resolveInput(node, i));

    // Users are edges into nodes this frame's marking walk reached: two edges
    // into one needed node count twice. Outputs nobody needs keep 0.
    pass->resetNumOutputUsers();
    const int numOutputs = std::min(graph.numOutputs(node), pass->numOutputs());
    for (int j = 0; j < numOutputs; ++j) {
        const int count = countUsers(node, j);
        if (count > 0)
            pass->setNumOutputUsers(j, count);
    }
    return runPass(node, pass, cb);
}

int Renderer::Impl::countUsers(int node, int output) const
{
    int count = 0;
    const int numDestinations = graph.numOutputDestinations(node, output);
    for (int e = 0; e < numDestinations; ++e) {
        if (visited.at(graph.edgeDestNode(graph.outputDestination(node, output, e))))
            ++count;
    }
    return count;
}

bool Renderer::Impl::renderWalking(RenderCallbacks* cb)
{
    bool ok = true;
    collectNeeded();
    const bool targetValid = graph.isValidNode(target);
    if (!targetValid && (target != Graph::kInvalidNodeRef || !needed.isEmpty())) {
        // Something is needed but there is no node to walk from.
        ok = false;
    } else if (!needed.isEmpty()) {
        // Both walks start at the target, never at the needed node itself:
        // a needed node decides only whether another walk starts. The
        // target, listed first, always starts one; each later needed node
        // not reached by the earlier walks starts another, which in the
        // running walk finds the upstream seen and runs the target's pass
        // again. Kept as it is: outputs are meant to be fed upstream of the
        // target.
        const int numNodes = graph.numNodesGlobal();
        visited.fill(false, numNodes);
        for (int m : qAsConst(needed)) {
            if (!visited.at(m) && !walk(target, cb, visited, WalkType::Mark)) {
                ok = false;
                break;
            }
        }
        if (ok) {
            seen.fill(false, numNodes);
            for (int m : qAsConst(needed)) {
                if (!seen.at(m) && !walk(target, cb, seen, WalkType::Render)) {
                    ok = false;
                    break;
                }
            }
        }
    }

    collectOutputs(); // also after a failure
    return ok;
}

// ================================================================ Renderer

Renderer::Renderer()
    : d(std::make_unique<Impl>())
{
}

Renderer::~Renderer()
{
    // In pass-index order, through the virtual destructor. A pass added
    // twice sits at two indices and is deleted at the first one only.
    std::unordered_set<RenderPass*> deleted;
    deleted.reserve(size_t(d->passes.size()));
    for (RenderPass* pass : qAsConst(d->passes)) {
        if (deleted.insert(pass).second)
            delete pass;
    }
}

void Renderer::setup(RenderCallbacks* cb)
{
    for (RenderPass* pass : qAsConst(d->passes))
        pass->setup(cb);
}

bool Renderer::render(RenderCallbacks* cb)
{
    d->numPassesRun = 0;
    if (d->recorder)
        d->recorder->frameBegins(m_frameStats.count());
    bool ok = false;
    try {
        beginFrame(cb);
        ok = d->schedule.literal ? d->renderWalking(cb) : d->renderScheduled(cb);
        endFrame(cb);
    } catch (...) {
        // A pass threw: the frame ends here, unrecorded, and the exception
        // goes on to the caller.
        if (d->recorder)
            d->recorder->frameAbandoned();
        throw;
    }
    if (d->recorder && !d->recorder->frameEnds(d->graph, d->visited, d->enabledFlags, d->target, ok, m_frameStats))
        d->recorder = nullptr; // a trace ended and the report is off
    return ok;
}

void Renderer::teardown(RenderCallbacks* cb)
{
    for (RenderPass* pass : qAsConst(d->passes))
        pass->teardown(cb);
}

void Renderer::beginFrame(RenderCallbacks*)
{
    m_frameStats.begin();
}

void Renderer::endFrame(RenderCallbacks*)
{
    m_frameStats.end();
}

// ---------------------------------------------------------------- queries

Graph& Renderer::getGraph()
{
    return d->graph;
}

const Graph& Renderer::getGraph() const
{
    return d->graph;
}

int Renderer::numParameters() const
{
    return d->parameters.size();
}

int Renderer::findParameter(const QString& name) const
{
    return d->graph.findInput(Graph::kRootNodeRef, name);
}

// The range checks below are for callers; in debug builds they also stop on
// a Q_ASSERT, so that a wrong index is found where it is made.

Compat::VariantType Renderer::parameterType(int i) const
{
    Q_ASSERT_X(i >= 0 && i < d->parameters.size(), Q_FUNC_INFO, "parameter out of range");
    if (i < 0 || i >= d->parameters.size())
        return Compat::kInvalidVariantType;
    return Compat::variantType(d->parameters.at(i));
}

Compat::VariantType Renderer::outputType(int i) const
{
    Q_ASSERT_X(i >= 0 && i < d->outputs.size(), Q_FUNC_INFO, "output out of range");
    if (i < 0 || i >= d->outputs.size())
        return Compat::kInvalidVariantType;
    return Compat::variantType(d->outputs.at(i));
}

QVariant Renderer::parameterValue(int i) const
{
    Q_ASSERT_X(i >= 0 && i < d->parameters.size(), Q_FUNC_INFO, "parameter out of range");
    if (i < 0 || i >= d->parameters.size())
        return QVariant();
    return d->parameters.at(i);
}

int Renderer::numOutputs() const
{
    return d->outputs.size();
}

int Renderer::findOutput(const QString& name) const
{
    return d->graph.findOutput(Graph::kRootNodeRef, name);
}

QVariant Renderer::output(int i) const
{
    Q_ASSERT_X(i >= 0 && i < d->outputs.size(), Q_FUNC_INFO, "output out of range");
    if (i < 0 || i >= d->outputs.size())
        return QVariant();
    return d->outputs.at(i);
}

int Renderer::findPass(const QString& name) const
{
    return d->graph.findNode(name, Graph::kRootNodeRef);
}

RenderPass* Renderer::renderPass(int node) const
{
    const int v = d->passIndexOf(node);
    return v < 0 ? nullptr : d->passes.at(v);
}

int Renderer::numRenderPasses() const
{
    return d->passes.size();
}

bool Renderer::enabled(int node) const
{
    const int v = d->passIndexOf(node);
    return v >= 0 && d->enabledFlags.at(v);
}

int Renderer::target() const
{
    return d->target;
}

int Renderer::getNumPasses() const
{
    return d ? d->numPassesRun : 0;
}

// ---------------------------------------------------------------- composition

int Renderer::addParameter(const QString& name, const QVariant& value)
{
    const int index = d->graph.addInput(Graph::kRootNodeRef, name, Graph::kInvalidGroupRef);
    d->parameters.append(value);
    d->schedule.current = false;
    return index;
}

int Renderer::addOutput(const QString& name)
{
    const int index = d->graph.addOutput(Graph::kRootNodeRef, name, Graph::kInvalidGroupRef);
    d->outputs.append(QVariant());
    d->schedule.current = false;
    return index;
}

int Renderer::addPass(const QString& name, RenderPass* pass, int parent)
{
    if (!pass || !d->graph.isValidNode(parent))
        return Graph::kInvalidNodeRef;

    // The pass is taken only once everything that may throw is done: the
    // pass's own answers (asked in the order the ports are named), the
    // room for its index, the node (a pass of more than INT_MAX ports, or
    // no memory) and the names of its ports. An exception before the node
    // leaves the renderer as it was; one while the ports are named (no
    // memory for a new name) leaves the node removed. The appends below
    // then need no memory.
    const int index = d->passes.size();
    const int numInputs = pass->numInputs();
    const int numOutputs = pass->numOutputs();
    // The ports the node gets (a count below 0 makes none), and what
    // Graph::addNode() would throw for them, before the names are asked for.
    const int inputs = qMax(numInputs, 0);
    const int outputs = qMax(numOutputs, 0);
    if (qint64(inputs) + outputs > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    QStringList names;
    names.reserve(inputs + outputs);
    for (int i = 0; i < numInputs; ++i)
        names.append(pass->inputName(i));
    for (int i = 0; i < numOutputs; ++i)
        names.append(pass->outputName(i));
    if (index == d->passes.capacity())
        d->passes.reserve(2 * index + 8);
    if (index == d->enabledFlags.capacity())
        d->enabledFlags.reserve(2 * index + 8);
    const int node = d->graph.addNode(name, numInputs, numOutputs, parent);
    d->schedule.current = false;
    try {
        for (int i = 0; i < numInputs; ++i)
            d->graph.setInputName(node, i, names.at(i));
        for (int i = 0; i < numOutputs; ++i)
            d->graph.setOutputName(node, i, names.at(inputs + i));
    } catch (...) {
        d->graph.removeNode(node);
        throw;
    }
    d->passes.append(pass);
    d->enabledFlags.append(true);
    d->graph.setNodeValue(node, index);
    return node;
}

int Renderer::addGroup(const QString& name, int numInputs, int numOutputs, int parent)
{
    if (!d->graph.isValidNode(parent))
        return Graph::kInvalidNodeRef;
    d->schedule.current = false;
    return d->graph.addNode(name, numInputs, numOutputs, parent);
}

void Renderer::setParameter(int i, const QVariant& value)
{
    Q_ASSERT_X(i >= 0 && i < d->parameters.size(), Q_FUNC_INFO, "parameter out of range");
    if (i < 0 || i >= d->parameters.size())
        return;
    d->parameters[i] = value;
}

void Renderer::setEnabled(int node, bool on)
{
    const int v = d->passIndexOf(node);
    if (v >= 0)
        d->enabledFlags[v] = on;
}

void Renderer::setTarget(int node)
{
    d->target = node;
}

} // namespace Zrn
} // namespace Morvane

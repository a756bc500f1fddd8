// The trivial pass, the pass graphs and the floor of the frame benchmarks.

#include "RenderFloor.h"

#include <ZrnCore/Graph.h>

#include <QtCore/QThread>

#include <algorithm>

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::RenderPass;

namespace ZrnBench {

// ================================================================ TrivialPass

TrivialPass::TrivialPass(int id, int numInputs)
    : m_id(id)
    , m_numInputs(numInputs)
    , m_defaults{QVariant(0), QVariant(0)}
    , m_output(0)
{
}

void TrivialPass::log(const char* call, int a, int b) const
{
    std::string line = "p" + std::to_string(m_id) + " " + call;
    if (a >= 0)
        line += " " + std::to_string(a);
    if (b >= 0)
        line += " " + std::to_string(b);
    m_log->push_back(std::move(line));
}

void TrivialPass::beginFrame(RenderCallbacks*)
{
    if (m_log)
        log("beginFrame");
}

void TrivialPass::start(RenderCallbacks*)
{
    unsigned int sum = 1;
    for (int i = 0; i < m_numInputs; ++i)
        sum += unsigned(m_inputs[size_t(i)].toInt());
    m_output = QVariant(int(sum & 0xffffu));
    if (m_log)
        log("start", int(sum & 0xffffu));
}

void TrivialPass::endFrame(RenderCallbacks*)
{
    if (m_log)
        log("endFrame");
}

bool TrivialPass::isFinished() const
{
    if (m_log)
        log("isFinished");
    return true;
}

QString TrivialPass::inputName(int input) const
{
    return QStringLiteral("in%1").arg(input);
}

QString TrivialPass::outputName(int) const
{
    return QStringLiteral("out");
}

void TrivialPass::setInput(int input, const QVariant& value)
{
    m_inputs[size_t(input)] = value;
    if (m_log)
        log("setInput", input, value.toInt());
}

void TrivialPass::setNumOutputUsers(int output, int users)
{
    m_users = users;
    if (m_log)
        log("setNumOutputUsers", output, users);
}

void TrivialPass::resetNumOutputUsers()
{
    m_users = 0;
    if (m_log)
        log("resetNumOutputUsers");
}

unsigned int TrivialPass::errorCode() const
{
    if (m_log)
        log("errorCode");
    return m_errorCode;
}

void TrivialPass::setErrorCode(unsigned int code)
{
    m_errorCode = code;
    if (m_log)
        log("setErrorCode", int(code));
}

// ================================================================ pass graphs

namespace {

struct Link
{
    int src; // unit index
    int dst; // unit index
    int input;
};

// The regular edges between units and which units the parameter feeds, for
// `plan`; returns the number of units.
int layout(const PassGraphPlan& plan, std::vector<Link>& links, std::vector<int>& fedByParameter, int& numInputs)
{
    if (plan.shape == Shape::Chain) {
        numInputs = 1;
        const int n = std::max(1, plan.size);
        fedByParameter.push_back(0);
        for (int k = 1; k < n; ++k)
            links.push_back({k - 1, k, 0});
        return n;
    }

    numInputs = 2;
    const int width = 8;
    const int layers = std::max(1, (plan.size - 7 + 4) / width);
    for (int j = 0; j < width; ++j)
        fedByParameter.push_back(j); // input 0; input 1 keeps its default
    for (int layer = 1; layer < layers; ++layer) {
        for (int j = 0; j < width; ++j) {
            const int dst = layer * width + j;
            links.push_back({(layer - 1) * width + j, dst, 0});
            links.push_back({(layer - 1) * width + (j + 1) % width, dst, 1});
        }
    }
    // The gathering tail: 4, 2, 1.
    int first = (layers - 1) * width;
    int count = width;
    int next = layers * width;
    while (count > 1) {
        for (int j = 0; j < count / 2; ++j) {
            links.push_back({first + 2 * j, next + j, 0});
            links.push_back({first + 2 * j + 1, next + j, 1});
        }
        first = next;
        next += count / 2;
        count /= 2;
    }
    return next;
}

} // namespace

PassGraph buildPassGraph(const PassGraphPlan& plan)
{
    PassGraph result;
    result.renderer = std::make_unique<Renderer>();
    Renderer& r = *result.renderer;
    Graph& g = r.getGraph();
    const int root = Graph::kRootNodeRef;
    r.addParameter(QStringLiteral("seed"), QVariant(1));
    r.addOutput(QStringLiteral("result"));

    std::vector<Link> links;
    std::vector<int> fedByParameter;
    int numInputs = 1;
    const int units = layout(plan, links, fedByParameter, numInputs);

    bool ok = true;
    std::vector<int> unitNodes; // the top-level node of each unit
    int lastPass = Graph::kInvalidNodeRef;
    for (int k = 0; k < units; ++k) {
        auto* pass = new TrivialPass(k, numInputs);
        result.passes.push_back(pass);
        if (!plan.nested) {
            lastPass = r.addPass(QStringLiteral("p"), pass, root);
            unitNodes.push_back(lastPass);
            continue;
        }
        const int outer = r.addGroup(QStringLiteral("outer"), numInputs, 1, root);
        const int inner = r.addGroup(QStringLiteral("inner"), numInputs, 1, outer);
        lastPass = r.addPass(QStringLiteral("p"), pass, inner);
        for (int i = 0; i < numInputs; ++i) {
            ok = ok && g.addDownEdge(i, inner, i) != Graph::kInvalidEdgeRef;
            ok = ok && g.addDownEdge(i, lastPass, i) != Graph::kInvalidEdgeRef;
        }
        ok = ok && g.addUpEdge(0, lastPass, 0) != Graph::kInvalidEdgeRef;
        ok = ok && g.addUpEdge(0, inner, 0) != Graph::kInvalidEdgeRef;
        unitNodes.push_back(outer);
    }

    for (int unit : fedByParameter)
        ok = ok && g.addDownEdge(0, unitNodes[size_t(unit)], 0) != Graph::kInvalidEdgeRef;
    for (auto it = links.rbegin(); it != links.rend(); ++it) {
        ok = ok
            && g.addEdge(unitNodes[size_t(it->src)], 0, unitNodes[size_t(it->dst)], it->input)
                != Graph::kInvalidEdgeRef;
    }
    ok = ok && g.addUpEdge(0, unitNodes.back(), 0) != Graph::kInvalidEdgeRef;
    r.setTarget(lastPass);
    result.passCount = units;

    if (plan.extra) {
        auto* pass = new TrivialPass(units, 1);
        result.passes.push_back(pass);
        result.extraNode = r.addPass(QStringLiteral("extra"), pass, root);
        ok = ok && g.addEdge(unitNodes.front(), 0, result.extraNode, 0) != Graph::kInvalidEdgeRef;
    }
    result.ok = ok;
    return result;
}

void setLog(const PassGraph& graph, CallLog* log)
{
    for (TrivialPass* pass : graph.passes)
        pass->setLog(log);
}

// ================================================================ Floor

namespace {

// Post-order depth-first walk from `start` over the producers of each
// node's inputs, inputs in index order, skipping nodes already in `visited`;
// appends the nodes in the order they finish to `order` when given. The
// renderer's frame walks in this order.
void walkUpstream(const Graph& g, int start, std::vector<char>& visited, std::vector<int>* order)
{
    struct Frame
    {
        int node;
        int nextInput;
    };
    std::vector<Frame> stack;
    visited[size_t(start)] = 1;
    stack.push_back({start, 0});
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.nextInput < g.numInputs(top.node)) {
            int source = top.node;
            int index = top.nextInput++;
            if (g.walkToSourceNode(source, index) && !visited[size_t(source)]) {
                visited[size_t(source)] = 1;
                stack.push_back({source, 0});
            }
            continue;
        }
        if (order)
            order->push_back(top.node);
        stack.pop_back();
    }
}

} // namespace

Floor::Floor(const Renderer& renderer)
{
    const Graph& g = renderer.getGraph();
    const int root = Graph::kRootNodeRef;
    const int target = renderer.target();

    for (int i = 0; i < renderer.numParameters(); ++i)
        m_parameters.append(renderer.parameterValue(i));
    for (int i = 0; i < renderer.numOutputs(); ++i)
        m_outputs.append(renderer.output(i));

    // The needed nodes: the target, then each renderer output's producer.
    std::vector<int> needed;
    if (g.isValidNode(target))
        needed.push_back(target);
    for (int i = 0; i < renderer.numOutputs(); ++i) {
        int node = root;
        int index = i;
        if (!g.walkDown(node, index))
            continue;
        m_collect.push_back({i, renderer.renderPass(node), index});
        if (std::find(needed.begin(), needed.end(), node) == needed.end())
            needed.push_back(node);
    }
    if (needed.empty())
        return;

    // The marking walk, then the running walk, both from the target, once
    // per needed node that the walks before did not reach.
    const size_t numNodes = size_t(g.numNodesGlobal());
    std::vector<char> marked(numNodes, 0);
    for (int m : needed) {
        if (!marked[size_t(m)])
            walkUpstream(g, target, marked, nullptr);
    }
    std::vector<char> seen(numNodes, 0);
    std::vector<int> order;
    for (int m : needed) {
        if (!seen[size_t(m)])
            walkUpstream(g, target, seen, &order);
    }

    for (int node : order) {
        RenderPass* pass = renderer.renderPass(node);
        if (!pass || !renderer.enabled(node))
            continue;
        Step step{pass, int(m_inputs.size()), pass->numInputs(), int(m_users.size()), 0};
        for (int i = 0; i < pass->numInputs(); ++i) {
            int n = node;
            int k = i;
            if (g.walkUp(n, k) && n == root) {
                m_inputs.push_back({From::Parameter, k, nullptr});
                continue;
            }
            if (!g.walkAcross(n, k)) {
                m_inputs.push_back({From::Default, i, nullptr});
                continue;
            }
            g.walkDown(n, k);
            RenderPass* producer = renderer.renderPass(n);
            if (producer && renderer.enabled(n))
                m_inputs.push_back({From::Producer, k, producer});
            else
                m_inputs.push_back({From::Default, i, nullptr});
        }
        for (int j = 0; j < g.numOutputs(node); ++j) {
            int count = 0;
            for (int e = 0; e < g.numOutputDestinations(node, j); ++e) {
                if (marked[size_t(g.edgeDestNode(g.outputDestination(node, j, e)))])
                    ++count;
            }
            if (count > 0)
                m_users.push_back({j, count});
        }
        step.numUsers = int(m_users.size()) - step.firstUsers;
        m_steps.push_back(step);
    }
}

bool Floor::frame(RenderCallbacks* cb)
{
    m_stats.begin();
    bool ok = true;
    for (const Step& step : m_steps) {
        RenderPass* pass = step.pass;
        const Input* inputs = m_inputs.data() + step.firstInput;
        for (int i = 0; i < step.numInputs; ++i) {
            const Input& in = inputs[i];
            switch (in.from) {
            case From::Parameter: pass->setInput(i, m_parameters.at(in.index)); break;
            case From::Producer: pass->setInput(i, in.producer->output(in.index)); break;
            case From::Default: pass->setInput(i, pass->defaultValue(i)); break;
            }
        }
        pass->resetNumOutputUsers();
        const Users* users = m_users.data() + step.firstUsers;
        for (int u = 0; u < step.numUsers; ++u)
            pass->setNumOutputUsers(users[u].output, users[u].count);
        pass->setErrorCode(0);
        pass->beginFrame(cb);
        pass->start(cb);
        while (!pass->isFinished())
            QThread::usleep(100);
        pass->endFrame(cb);
        if (pass->errorCode() != 0) {
            ok = false;
            break;
        }
    }
    for (const Collect& c : m_collect)
        m_outputs[c.output] = c.producer->output(c.producerOutput);
    m_stats.end();
    return ok;
}

} // namespace ZrnBench

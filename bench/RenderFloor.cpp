// The floor of the frame benchmarks.

#include "RenderFloor.h"

#include <ZrnCore/Graph.h>

#include <QtCore/QThread>

#include <algorithm>

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::RenderPass;

namespace ZrnBench {

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
        // The port counts are asked as a frame asks them; a pass's answers
        // never change, so they agree with what the constructor recorded.
        const int numInputs = pass->numInputs();
        const Input* inputs = m_inputs.data() + step.firstInput;
        for (int i = 0; i < numInputs; ++i) {
            const Input& in = inputs[i];
            switch (in.from) {
            case From::Parameter: pass->setInput(i, m_parameters.at(in.index)); break;
            case From::Producer:
                if (in.index < in.producer->numOutputs())
                    pass->setInput(i, in.producer->output(in.index));
                else
                    pass->setInput(i, pass->defaultValue(i));
                break;
            case From::Default: pass->setInput(i, pass->defaultValue(i)); break;
            }
        }
        pass->resetNumOutputUsers();
        const int numOutputs = pass->numOutputs();
        const Users* users = m_users.data() + step.firstUsers;
        for (int u = 0; u < step.numUsers && users[u].output < numOutputs; ++u)
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
    for (const Collect& c : m_collect) {
        if (c.producerOutput < c.producer->numOutputs())
            m_outputs[c.output] = c.producer->output(c.producerOutput);
    }
    m_stats.end();
    return ok;
}

} // namespace ZrnBench

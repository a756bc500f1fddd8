// The trivial pass and the pass graphs of the frame benchmarks.

#include "PassGraph.h"

#include <ZrnCore/Graph.h>

#include <algorithm>

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;

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

int TrivialPass::numInputs() const
{
    if (m_log)
        log("numInputs");
    return m_numInputs;
}

int TrivialPass::numOutputs() const
{
    if (m_log)
        log("numOutputs");
    return 1;
}

QVariant TrivialPass::output(int output) const
{
    if (m_log)
        log("output", output);
    return m_output;
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

} // namespace ZrnBench

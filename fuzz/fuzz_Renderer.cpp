// Fuzzes the renderer's frame scheduler: the input bytes build a random pass
// graph (groups, parameters, outputs, passes with up to three inputs and
// outputs, regular, down and up edges) and then drive a sequence of edits
// (edges added and removed, passes switched off and on, parameters, the
// target, error codes and unfinished polls) with frames rendered between
// them.
//
// Every pass writes each call the renderer makes into one log. After each
// frame the log is checked twice:
//   * against the rules a frame keeps, read from the log and the graph
//     alone: every run gets its calls in the fixed order (setInput for each
//     input, resetNumOutputUsers, setNumOutputUsers for outputs with needed
//     consumers, setErrorCode(0), beginFrame, start, isFinished one or more
//     times, endFrame, errorCode); a disabled pass never runs; nothing runs
//     after a failed pass; every enabled pass upstream of a running pass ran
//     before it; no pass runs twice except the target, once more for each
//     needed node that is not upstream of it;
//   * call for call against a model of the frame, built from the graph's own
//     walk primitives (which the graph fuzzer and tests check): which passes
//     run and in which order, the value each input receives, each output's
//     user count, the frame's result and the renderer's outputs, which are
//     copied after a failure too.
// setup() and teardown() reach every pass in pass order, and every pass is
// destroyed exactly once with the renderer.
//
// Built as a libFuzzer target with clang (ZRNCORE_BUILD_FUZZERS=ON), and
// replayed on its seed corpus and on seeded pseudo-random inputs by
// tests/tst_RendererFuzzReplay.cpp, which defines ZRN_FUZZ_FAIL to turn a
// broken rule into a test failure.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtCore/QtGlobal>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#define ZRN_FUZZ_NAME "renderer fuzz"
#include "FuzzInput.h"

namespace ZrnRendererFuzz {

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::RenderPass;

// Bounds that keep each input fast: unfinished polls cost a 100-microsecond
// sleep each.
constexpr int kMaxNodes = 14;
constexpr int kMaxPorts = 3;
constexpr int kMaxParameters = 3;
constexpr int kMaxOutputs = 3;
constexpr int kMaxSteps = 96;
constexpr int kMaxFrames = 10;
constexpr int kMaxUnfinishedPolls = 2;

class Bytes : public ZrnFuzz::FuzzInput
{
public:
    using FuzzInput::FuzzInput;

    // An index below `count`, or -1 when `count` is 0.
    int index(int count) { return below(count, -1); }
};

// ---------------------------------------------------------------- the log

enum class Op {
    Setup,
    Teardown,
    SetInput,
    ResetUsers,
    SetUsers,
    SetErrorCode,
    BeginFrame,
    Start,
    IsFinished,
    EndFrame,
    ErrorCode,
    SetDefault
};

struct Call
{
    Call(int pass_, Op op_, int a_ = -1, int b_ = -1, const QString& value_ = QString())
        : pass(pass_)
        , op(op_)
        , a(a_)
        , b(b_)
        , value(value_)
    {
    }

    int pass;
    Op op;
    int a;
    int b;
    QString value;

    bool operator==(const Call& o) const
    {
        return pass == o.pass && op == o.op && a == o.a && b == o.b && value == o.value;
    }
    bool operator!=(const Call& o) const { return !(*this == o); }
};

inline QString text(const QVariant& v)
{
    return v.isValid() ? v.toString() : QStringLiteral("invalid");
}

inline QString describe(const Call& c)
{
    static const char* const names[] =
        {"setup", "teardown",   "setInput", "resetNumOutputUsers", "setNumOutputUsers", "setErrorCode", "beginFrame",
         "start", "isFinished", "endFrame", "errorCode",           "setDefaultValue"};
    QString s = QStringLiteral("p%1.%2(").arg(c.pass).arg(QLatin1String(names[int(c.op)]));
    if (c.a >= 0)
        s += QString::number(c.a);
    if (c.b >= 0)
        s += QStringLiteral(",%1").arg(c.b);
    if (!c.value.isNull())
        s += QStringLiteral(",%1").arg(c.value);
    return s + QLatin1Char(')');
}

inline std::vector<Call>& callLog()
{
    static std::vector<Call> log;
    return log;
}

// The callback pointer handed to the renderer: never dereferenced by
// anyone, only compared.
inline RenderCallbacks* callbacks()
{
    static int token;
    return reinterpret_cast<RenderCallbacks*>(&token);
}

// ---------------------------------------------------------------- a pass

// Writes each call into the log. start() sets the error code `failWith`
// and writes "p<index>.o<j>#<run>" into output j; isFinished() answers
// false `unfinishedPolls` times per run first.
class FuzzPass : public RenderPass
{
public:
    FuzzPass(int index, int numIn, int numOut, std::vector<int>* destroyed)
        : m_index(index)
        , m_inputs(numIn)
        , m_outputs(numOut)
        , m_users(numOut, 0)
        , m_destroyed(destroyed)
    {
    }
    ~FuzzPass() override { ++(*m_destroyed)[std::size_t(m_index)]; }

    unsigned failWith = 0;
    int unfinishedPolls = 0;

    void setup(RenderCallbacks* cb) override { note(cb, Op::Setup); }
    void teardown(RenderCallbacks* cb) override { note(cb, Op::Teardown); }
    void beginFrame(RenderCallbacks* cb) override { note(cb, Op::BeginFrame); }
    void start(RenderCallbacks* cb) override
    {
        note(cb, Op::Start);
        ++m_runs;
        for (int j = 0; j < m_outputs.size(); ++j)
            m_outputs[j] = QStringLiteral("p%1.o%2#%3").arg(m_index).arg(j).arg(m_runs);
        m_error = failWith;
        m_pollsLeft = unfinishedPolls;
    }
    void endFrame(RenderCallbacks* cb) override { note(cb, Op::EndFrame); }
    bool isFinished() const override
    {
        callLog().push_back(Call{m_index, Op::IsFinished});
        if (m_pollsLeft > 0) {
            --m_pollsLeft;
            return false;
        }
        return true;
    }

    int numInputs() const override { return m_inputs.size(); }
    int numOutputs() const override { return m_outputs.size(); }
    QString inputName(int i) const override { return QStringLiteral("in%1").arg(i); }
    QString outputName(int j) const override { return QStringLiteral("out%1").arg(j); }
    void setInput(int i, const QVariant& v) override
    {
        ZRN_FUZZ_CHECK(i >= 0 && i < m_inputs.size());
        callLog().push_back(Call{m_index, Op::SetInput, i, -1, text(v)});
        m_inputs[i] = v;
    }
    QVariant defaultValue(int i) const override
    {
        ZRN_FUZZ_CHECK(i >= 0 && i < m_inputs.size());
        return defaultOf(m_index, i);
    }
    void setDefaultValue(int i, const QVariant& v) override
    {
        callLog().push_back(Call{m_index, Op::SetDefault, i, -1, text(v)});
    }
    QVariant output(int j) const override
    {
        ZRN_FUZZ_CHECK(j >= 0 && j < m_outputs.size());
        return m_outputs.at(j);
    }
    void setNumOutputUsers(int j, int users) override
    {
        ZRN_FUZZ_CHECK(j >= 0 && j < m_users.size());
        callLog().push_back(Call{m_index, Op::SetUsers, j, users});
        m_users[j] = users;
    }
    void resetNumOutputUsers() override
    {
        callLog().push_back(Call{m_index, Op::ResetUsers});
        m_users.fill(0);
    }
    unsigned int errorCode() const override
    {
        callLog().push_back(Call{m_index, Op::ErrorCode});
        return m_error;
    }
    void setErrorCode(unsigned int code) override
    {
        callLog().push_back(Call{m_index, Op::SetErrorCode, int(code)});
        m_error = code;
    }

    static QVariant defaultOf(int pass, int input) { return QStringLiteral("p%1.d%2").arg(pass).arg(input); }

private:
    void note(RenderCallbacks* cb, Op op)
    {
        ZRN_FUZZ_CHECK(cb == callbacks());
        callLog().push_back(Call{m_index, op});
    }

    int m_index;
    QVector<QVariant> m_inputs;
    QVector<QVariant> m_outputs;
    QVector<int> m_users;
    std::vector<int>* m_destroyed;
    unsigned m_error = 0;
    int m_runs = 0;
    mutable int m_pollsLeft = 0;
};

// ---------------------------------------------------------------- what the seeded inputs reached

// Counted over every input run, for the replay test that checks the inputs
// reach graphs worth checking.
struct Reach
{
    int frames = 0;
    int runs = 0;
    int failedFrames = 0;
    int unfinishedPolls = 0;
    int disabledSkips = 0;   // a disabled pass that would otherwise have run
    int targetReruns = 0;    // a target run again for a needed node off its upstream
    int nestedRuns = 0;      // runs of passes below a group
    int parameterInputs = 0; // inputs fed by a renderer parameter
    int upstreamInputs = 0;  // inputs fed by an upstream pass
    int copiedOutputs = 0;   // renderer outputs copied from a pass
    int invalidTargets = 0;  // frames with a target that is no live node
};

inline Reach& reach()
{
    static Reach r;
    return r;
}

// ---------------------------------------------------------------- the session

class Session
{
public:
    Session()
        : r(new Renderer)
        , g(r->getGraph())
    {
    }
    ~Session() { delete r; }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void build(Bytes& in);
    void step(Bytes& in);
    void step(Bytes& in, unsigned op);
    void frame();
    void setupAndTeardown(Op op);
    void destroy();
    int frames() const { return numFrames; }

private:
    struct NodeInfo
    {
        int node;
        int parent;
        int pass; // pass index, or -1 for a group
    };

    bool isPassNode(int node) const { return g.isValidNode(node) && passIndex(node) >= 0; }
    int passIndex(int node) const
    {
        const int v = g.nodeValue(node);
        return v >= 0 && v < int(passes.size()) ? v : -1;
    }
    const NodeInfo* pick(Bytes& in) const { return nodes.empty() ? nullptr : &nodes[in.next() % nodes.size()]; }

    // The model of one frame.
    void closure(int node, std::vector<bool>& seen, std::vector<int>* postOrder) const;
    bool acyclicUpstream(int node, std::vector<int>& state) const;
    bool modelRun(int node, const std::vector<bool>& marked, std::vector<Call>& out);
    QString modelInput(int node, int input) const;
    void checkRules(const std::vector<Call>& log, const std::vector<int>& needed, const std::vector<bool>& marked,
                    bool targetValid) const;

    Renderer* r;
    Graph& g;
    std::vector<NodeInfo> nodes;
    std::vector<FuzzPass*> passes; // owned by the renderer
    std::vector<int> passNodes;    // the node of each pass
    std::vector<int> destroyed;
    std::vector<bool> enabled;                  // the model's copy of the enabled flags
    std::vector<QVector<QString>> modelOutputs; // what each pass's outputs hold
    std::vector<int> modelRuns;
    QVector<QVariant> parameters;
    QVector<QString> rendererOutputs;
    int target = Graph::kInvalidNodeRef;
    int numFrames = 0;
};

void Session::build(Bytes& in)
{
    const int numParameters = int(in.next() % (kMaxParameters + 1));
    for (int i = 0; i < numParameters; ++i) {
        const QVariant value = QStringLiteral("param%1=%2").arg(i).arg(in.next());
        ZRN_FUZZ_CHECK(r->addParameter(QStringLiteral("param%1").arg(i), value) == i);
        parameters.append(value);
    }
    const int numOutputs = int(in.next() % (kMaxOutputs + 1));
    for (int i = 0; i < numOutputs; ++i) {
        ZRN_FUZZ_CHECK(r->addOutput(QStringLiteral("out%1").arg(i)) == i);
        rendererOutputs.append(QStringLiteral("invalid"));
    }

    const int numNodes = 1 + int(in.next() % kMaxNodes);
    for (int n = 0; n < numNodes; ++n) {
        const unsigned kind = in.next();
        // The parent: the root, a group, and now and then a pass.
        int parent = Graph::kRootNodeRef;
        const NodeInfo* p = pick(in);
        if (p && (p->pass < 0 || kind % 8 == 0) && kind % 3 != 0)
            parent = p->node;
        const int numIn = int(in.next() % (kMaxPorts + 1));
        const int numOut = int(in.next() % (kMaxPorts + 1));
        if (kind % 4 == 0) {
            const int node = r->addGroup(QStringLiteral("group%1").arg(n), numIn, numOut, parent);
            ZRN_FUZZ_CHECK(node == g.numNodesGlobal() - 1 && g.nodeValue(node) == -1);
            ZRN_FUZZ_CHECK(r->renderPass(node) == nullptr);
            nodes.push_back(NodeInfo{node, parent, -1});
            continue;
        }
        const int index = int(passes.size());
        destroyed.push_back(0);
        auto* pass = new FuzzPass(index, numIn, numOut, &destroyed);
        const int node = r->addPass(QStringLiteral("pass%1").arg(n), pass, parent);
        ZRN_FUZZ_CHECK(node == g.numNodesGlobal() - 1 && g.nodeValue(node) == index);
        ZRN_FUZZ_CHECK(r->renderPass(node) == pass && r->enabled(node));
        ZRN_FUZZ_CHECK(g.numInputs(node) == numIn && g.numOutputs(node) == numOut);
        passes.push_back(pass);
        passNodes.push_back(node);
        enabled.push_back(true);
        modelOutputs.emplace_back(numOut, QStringLiteral("invalid"));
        modelRuns.push_back(0);
        nodes.push_back(NodeInfo{node, parent, index});
    }
    // Wiring before the first frame: edges of every kind (ops 0 to 9).
    const int numEdges = 4 + int(in.next() % 24);
    for (int e = 0; e < numEdges; ++e)
        step(in, in.next() % 10);

    // The target: mostly a pass with inputs.
    std::vector<int> candidates;
    for (const NodeInfo& n : nodes) {
        if (n.pass >= 0 && g.numInputs(n.node) > 0)
            candidates.push_back(n.node);
    }
    const NodeInfo* t = pick(in);
    if (!candidates.empty() && in.next() % 4 != 0)
        target = candidates[in.next() % candidates.size()];
    else
        target = t ? t->node : Graph::kInvalidNodeRef;
    r->setTarget(target);
}

void Session::step(Bytes& in)
{
    step(in, in.next() % 18); // 15 to 17: a frame
}

void Session::step(Bytes& in, unsigned op)
{
    switch (op) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 5: { // a regular edge between siblings, or a refused one elsewhere
        const NodeInfo* dst = pick(in);
        if (!dst)
            return;
        std::vector<int> siblings;
        for (const NodeInfo& n : nodes) {
            if (n.parent == dst->parent && n.node != dst->node)
                siblings.push_back(n.node);
        }
        const int src = siblings.empty() || op == 5 ? pick(in)->node : siblings[in.next() % siblings.size()];
        const int out = in.index(g.numOutputs(src));
        const int input = in.index(g.numInputs(dst->node));
        if (out >= 0 && input >= 0)
            g.addEdge(src, out, dst->node, input);
        return;
    }
    case 6:
    case 7: { // a down edge from the parent's input (a parameter when the parent is the root)
        const NodeInfo* child = pick(in);
        if (!child)
            return;
        const int parentInput = in.index(g.numInputs(child->parent));
        const int input = in.index(g.numInputs(child->node));
        if (parentInput >= 0 && input >= 0)
            g.addDownEdge(parentInput, child->node, input);
        return;
    }
    case 8:
    case 9: { // an up edge to the parent's output (a renderer output when the parent is the root)
        const NodeInfo* child = pick(in);
        if (!child)
            return;
        const int parentOutput = in.index(g.numOutputs(child->parent));
        const int out = in.index(g.numOutputs(child->node));
        if (parentOutput >= 0 && out >= 0)
            g.addUpEdge(parentOutput, child->node, out);
        return;
    }
    case 10: { // remove a live edge
        std::vector<int> live;
        for (int e = 0; e < g.numEdgesGlobal(); ++e) {
            if (g.isValidEdge(e))
                live.push_back(e);
        }
        if (!live.empty())
            g.removeEdge(live[in.next() % live.size()]);
        return;
    }
    case 11: { // switch a pass off or on
        const NodeInfo* n = pick(in);
        if (!n || n->pass < 0)
            return;
        const bool on = in.next() % 3 != 0;
        r->setEnabled(n->node, on);
        enabled[std::size_t(n->pass)] = on;
        ZRN_FUZZ_CHECK(r->enabled(n->node) == on);
        return;
    }
    case 12: { // a new parameter value
        const int i = in.index(parameters.size());
        if (i < 0)
            return;
        const QVariant value = QStringLiteral("param%1=%2").arg(i).arg(in.next());
        r->setParameter(i, value);
        parameters[i] = value;
        ZRN_FUZZ_CHECK(r->parameterValue(i) == value);
        return;
    }
    case 13: { // a new target: mostly a node, now and then none or no node at all
        const unsigned how = in.next() % 8;
        if (how == 0)
            target = Graph::kInvalidNodeRef;
        else if (how == 1)
            target = g.numNodesGlobal() + int(in.next() % 3);
        else
            target = nodes.empty() ? Graph::kInvalidNodeRef : nodes[in.next() % nodes.size()].node;
        r->setTarget(target);
        return;
    }
    case 14: { // a pass that fails from now on, or succeeds again, or finishes late
        const NodeInfo* n = pick(in);
        if (!n || n->pass < 0)
            return;
        FuzzPass* pass = passes[std::size_t(n->pass)];
        const unsigned how = in.next();
        if (how % 2 == 0)
            pass->failWith = how % 6 == 0 ? 0u : 1u + in.next() * 16777259u % 0xfffffffeu;
        else
            pass->unfinishedPolls = int(how / 2 % (kMaxUnfinishedPolls + 1));
        return;
    }
    default: frame(); return;
    }
}

// Destroys the renderer, which must destroy every pass once.
void Session::destroy()
{
    Renderer* renderer = r;
    r = nullptr;
    delete renderer;
    for (int count : destroyed)
        ZRN_FUZZ_CHECK(count == 1);
}

void Session::setupAndTeardown(Op op)
{
    callLog().clear();
    if (op == Op::Setup)
        r->setup(callbacks());
    else
        r->teardown(callbacks());
    // Every pass, enabled or not, in pass order, and nothing else.
    ZRN_FUZZ_CHECK(callLog().size() == passes.size());
    for (std::size_t p = 0; p < passes.size(); ++p)
        ZRN_FUZZ_CHECK(callLog()[p] == (Call{int(p), op}));
    callLog().clear();
}

// Marks `node` and, depth first through walkToSourceNode(), every unmarked
// node upstream of it; with `postOrder`, lists the nodes upstream first.
void Session::closure(int node, std::vector<bool>& seen, std::vector<int>* postOrder) const
{
    seen[std::size_t(node)] = true;
    for (int i = 0; i < g.numInputs(node); ++i) {
        int s = node;
        int k = i;
        if (g.walkToSourceNode(s, k) && !seen[std::size_t(s)])
            closure(s, seen, postOrder);
    }
    if (postOrder)
        postOrder->push_back(node);
}

// Whether no loop of walkToSourceNode() steps lies upstream of `node`;
// `state` holds 0 for unseen nodes, 1 while on the path, 2 when done.
bool Session::acyclicUpstream(int node, std::vector<int>& state) const
{
    state[std::size_t(node)] = 1;
    for (int i = 0; i < g.numInputs(node); ++i) {
        int s = node;
        int k = i;
        if (!g.walkToSourceNode(s, k))
            continue;
        if (state[std::size_t(s)] == 1 || (state[std::size_t(s)] == 0 && !acyclicUpstream(s, state)))
            return false;
    }
    state[std::size_t(node)] = 2;
    return true;
}

// The value input `input` of pass node `node` receives, as text.
QString Session::modelInput(int node, int input) const
{
    const int pass = passIndex(node);
    int n = node;
    int k = input;
    if (g.walkUp(n, k) && n == Graph::kRootNodeRef) {
        ++reach().parameterInputs;
        return text(parameters.at(k));
    }
    if (!g.walkAcross(n, k))
        return text(FuzzPass::defaultOf(pass, input));
    g.walkDown(n, k);
    const int producer = passIndex(n);
    if (producer >= 0 && enabled[std::size_t(producer)]) {
        ++reach().upstreamInputs;
        return modelOutputs[std::size_t(producer)].at(k);
    }
    return text(FuzzPass::defaultOf(pass, input));
}

// Appends the calls of one run of the pass of `node` to `out`, updates the
// model's outputs, and returns whether the run succeeded.
bool Session::modelRun(int node, const std::vector<bool>& marked, std::vector<Call>& out)
{
    const int p = passIndex(node);
    FuzzPass* pass = passes[std::size_t(p)];
    for (int i = 0; i < pass->numInputs(); ++i)
        out.push_back(Call{p, Op::SetInput, i, -1, modelInput(node, i)});
    out.push_back(Call{p, Op::ResetUsers});
    for (int j = 0; j < g.numOutputs(node); ++j) {
        int count = 0;
        for (int e = 0; e < g.numOutputDestinations(node, j); ++e) {
            if (marked[std::size_t(g.edgeDestNode(g.outputDestination(node, j, e)))])
                ++count;
        }
        if (count > 0)
            out.push_back(Call{p, Op::SetUsers, j, count});
    }
    out.push_back(Call{p, Op::SetErrorCode, 0});
    out.push_back(Call{p, Op::BeginFrame});
    out.push_back(Call{p, Op::Start});
    ++modelRuns[std::size_t(p)];
    for (int j = 0; j < pass->numOutputs(); ++j)
        modelOutputs[std::size_t(p)][j] = QStringLiteral("p%1.o%2#%3").arg(p).arg(j).arg(modelRuns[std::size_t(p)]);
    for (int k = 0; k <= pass->unfinishedPolls; ++k)
        out.push_back(Call{p, Op::IsFinished});
    out.push_back(Call{p, Op::EndFrame});
    out.push_back(Call{p, Op::ErrorCode});
    ++reach().runs;
    reach().unfinishedPolls += pass->unfinishedPolls;
    if (g.parentNode(node) != Graph::kRootNodeRef)
        ++reach().nestedRuns;
    return pass->failWith == 0;
}

// The rules of a frame, read from the frame's log and the graph alone.
void Session::checkRules(const std::vector<Call>& log, const std::vector<int>& needed, const std::vector<bool>& marked,
                         bool targetValid) const
{
    std::vector<int> runs(passes.size(), 0);
    std::vector<int> order; // the pass of each run
    bool failed = false;
    std::size_t c = 0;
    while (c < log.size()) {
        // Nothing after a failed run.
        ZRN_FUZZ_CHECK(!failed);
        const int p = log[c].pass;
        ZRN_FUZZ_CHECK(p >= 0 && p < int(passes.size()));
        ZRN_FUZZ_CHECK(enabled[std::size_t(p)]); // a disabled pass gets no call
        FuzzPass* pass = passes[std::size_t(p)];
        auto expect = [&](Op op) {
            ZRN_FUZZ_CHECK(c < log.size() && log[c].pass == p && log[c].op == op);
            ++c;
        };
        for (int i = 0; i < pass->numInputs(); ++i) {
            ZRN_FUZZ_CHECK(c < log.size() && log[c].a == i);
            expect(Op::SetInput);
        }
        expect(Op::ResetUsers);
        int lastOutput = -1;
        while (c < log.size() && log[c].pass == p && log[c].op == Op::SetUsers) {
            ZRN_FUZZ_CHECK(log[c].a > lastOutput && log[c].a < pass->numOutputs() && log[c].b > 0);
            lastOutput = log[c].a;
            ++c;
        }
        ZRN_FUZZ_CHECK(c < log.size() && log[c].a == 0);
        expect(Op::SetErrorCode);
        expect(Op::BeginFrame);
        expect(Op::Start);
        expect(Op::IsFinished);
        while (c < log.size() && log[c].pass == p && log[c].op == Op::IsFinished)
            ++c;
        expect(Op::EndFrame);
        expect(Op::ErrorCode);
        failed = pass->failWith != 0;
        ++runs[std::size_t(p)];
        order.push_back(p);

        // Every enabled pass upstream of this one ran before it. Down and
        // up edges are not tested for cycles, so a pass can lie upstream of
        // itself; then the walk enters the loop somewhere, and this holds
        // only where no loop is upstream.
        const int node = passNodes[std::size_t(p)];
        std::vector<bool> upstream(std::size_t(g.numNodesGlobal()), false);
        closure(node, upstream, nullptr);
        std::vector<int> state(std::size_t(g.numNodesGlobal()), 0);
        if (!acyclicUpstream(node, state))
            continue;
        for (const NodeInfo& n : nodes) {
            if (n.pass >= 0 && n.node != node && upstream[std::size_t(n.node)] && enabled[std::size_t(n.pass)]) {
                ZRN_FUZZ_CHECK(runs[std::size_t(n.pass)] > 0);
            }
        }
    }

    // At most one run per pass, apart from the target's reruns: one more
    // for each needed node off the target's upstream.
    if (!targetValid) {
        ZRN_FUZZ_CHECK(order.empty());
        return;
    }
    int offUpstream = 0;
    for (int m : needed)
        offUpstream += marked[std::size_t(m)] ? 0 : 1;
    const int targetPass = passIndex(target);
    for (std::size_t p = 0; p < passes.size(); ++p) {
        if (int(p) == targetPass)
            ZRN_FUZZ_CHECK(runs[p] <= 1 + offUpstream);
        else
            ZRN_FUZZ_CHECK(runs[p] <= 1);
    }
}

void Session::frame()
{
    if (numFrames >= kMaxFrames)
        return;
    ++numFrames;
    ++reach().frames;

    // The model: the needed nodes (the target first, then each renderer
    // output's producer), the marking walk from the target, the running
    // walk in post-order, and the target again for each needed node the
    // walks did not reach.
    std::vector<int> needed;
    const bool targetValid = g.isValidNode(target);
    if (targetValid)
        needed.push_back(target);
    std::vector<int> producers(std::size_t(rendererOutputs.size()), Graph::kInvalidNodeRef);
    std::vector<int> producerOutputs(producers.size(), -1);
    for (int i = 0; i < rendererOutputs.size(); ++i) {
        int n = Graph::kRootNodeRef;
        int k = i;
        if (!g.walkDown(n, k))
            continue;
        producers[std::size_t(i)] = n;
        producerOutputs[std::size_t(i)] = k;
        if (std::find(needed.begin(), needed.end(), n) == needed.end())
            needed.push_back(n);
    }

    std::vector<Call> expected;
    std::vector<bool> marked(std::size_t(g.numNodesGlobal()), false);
    bool expectedOk = true;
    bool resultDefined = true;
    if (!targetValid) {
        ++reach().invalidTargets;
        // Nothing can run without a target to walk from. With nothing
        // needed and no target the frame succeeds; otherwise the result is
        // the implementation's choice.
        resultDefined = needed.empty() && target == Graph::kInvalidNodeRef;
    } else {
        std::vector<int> postOrder;
        closure(target, marked, &postOrder);
        for (int node : postOrder) {
            const int p = passIndex(node);
            if (p < 0)
                continue;
            if (!enabled[std::size_t(p)]) {
                ++reach().disabledSkips;
                continue;
            }
            if (!modelRun(node, marked, expected)) {
                expectedOk = false;
                break;
            }
        }
        const int targetPass = passIndex(target);
        for (int m : needed) {
            if (!expectedOk || marked[std::size_t(m)])
                continue;
            if (targetPass >= 0 && enabled[std::size_t(targetPass)]) {
                ++reach().targetReruns;
                if (!modelRun(target, marked, expected))
                    expectedOk = false;
            }
        }
    }

    callLog().clear();
    const bool ok = r->render(callbacks());
    std::vector<Call> log;
    log.swap(callLog());

    checkRules(log, needed, marked, targetValid);
    if (log != expected) {
        std::size_t at = 0;
        while (at < log.size() && at < expected.size() && log[at] == expected[at])
            ++at;
        const QString got = at < log.size() ? describe(log[at]) : QStringLiteral("(end)");
        const QString want = at < expected.size() ? describe(expected[at]) : QStringLiteral("(end)");
        std::fprintf(stderr, "renderer fuzz: frame %d, call %zu: got %s, expected %s\n", numFrames, at, qPrintable(got),
                     qPrintable(want));
        ZRN_FUZZ_FAIL("the frame's calls differ from the model's");
    }
    if (resultDefined)
        ZRN_FUZZ_CHECK(ok == expectedOk);
    if (!expectedOk)
        ++reach().failedFrames;
    int run = 0;
    for (const Call& call : log)
        run += call.op == Op::Start ? 1 : 0;
    ZRN_FUZZ_CHECK(r->getNumPasses() == run);
    ZRN_FUZZ_CHECK(r->frameCount() == numFrames);

    // The renderer's outputs, copied from their producers whether or not
    // the frame failed and whether or not the producer ran or is enabled.
    for (int i = 0; i < rendererOutputs.size(); ++i) {
        const int producer = producers[std::size_t(i)];
        if (producer != Graph::kInvalidNodeRef) {
            const int p = passIndex(producer);
            if (p >= 0) {
                rendererOutputs[i] = modelOutputs[std::size_t(p)].at(producerOutputs[std::size_t(i)]);
                ++reach().copiedOutputs;
            } else {
                // Fed by a group output that nothing inside feeds: not a
                // case a renderer is meant to have; whatever it holds is
                // taken as it stands.
                rendererOutputs[i] = text(r->output(i));
            }
        }
        ZRN_FUZZ_CHECK(text(r->output(i)) == rendererOutputs[i]);
    }
}

inline void quietMessages(QtMsgType, const QMessageLogContext&, const QString&) { }

inline int run(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = (qInstallMessageHandler(quietMessages), true);
    (void)quiet;

    Bytes in(data, size);
    {
        Session session;
        session.build(in);
        session.setupAndTeardown(Op::Setup);
        for (int steps = 0; steps < kMaxSteps && !in.empty(); ++steps)
            session.step(in);
        if (session.frames() == 0)
            session.frame();
        session.setupAndTeardown(Op::Teardown);
        session.destroy();
    }
    callLog().clear();
    return 0;
}

} // namespace ZrnRendererFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return ZrnRendererFuzz::run(data, size);
}

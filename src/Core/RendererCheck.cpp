// Renderer::checkSetup(): what a renderer's composition gets wrong or does
// by surprise, found by following the graph the way render() does, without
// running or calling any pass.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/RendererCheck.h>

#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <algorithm>
#include <vector>

namespace Morvane {
namespace Zrn {

namespace {

constexpr const char* kIssueNames[] = {"NoTarget",
                                       "InvalidTarget",
                                       "RootTarget",
                                       "GroupTarget",
                                       "OutputWithoutProducer",
                                       "ProducerOutsideUpstream",
                                       "UnfedInput",
                                       "DisabledPassWithConsumers",
                                       "PassAddedTwice",
                                       "UnnamedGroupPorts"};

// How a pass input is fed in a frame, as render() delivers it.
enum class Feed {
    Parameter, // a renderer parameter
    Producer,  // the output of a pass (`node` below), enabled or not
    NoPass,    // an output that no pass produces (a group's unfed output)
    Nothing    // no edge brings a value
};

struct InputFeed
{
    Feed feed = Feed::Nothing;
    int node = Graph::kInvalidNodeRef; // the producer for Producer, the group for NoPass
};

InputFeed feedOf(const Renderer& r, int node, int input)
{
    const Graph& g = r.getGraph();
    int n = node;
    int k = input;
    InputFeed result;
    if (g.walkUp(n, k) && n == Graph::kRootNodeRef) {
        result.feed = Feed::Parameter;
        return result;
    }
    if (!g.walkAcross(n, k))
        return result;
    g.walkDown(n, k);
    result.node = n;
    result.feed = r.renderPass(n) ? Feed::Producer : Feed::NoPass;
    return result;
}

// The number of inputs that render() delivers to the pass of `node`.
int deliveredInputs(const Renderer& r, int node)
{
    return std::min(r.getGraph().numInputs(node), r.renderPass(node)->numInputs());
}

// Marks every node that the running walk from `target` reaches: the target
// and, through each input, the node that produces it, transitively.
std::vector<bool> upstreamOf(const Graph& g, int target)
{
    std::vector<bool> reached(size_t(g.numNodesGlobal()), false);
    std::vector<int> stack{target};
    reached[size_t(target)] = true;
    while (!stack.empty()) {
        const int node = stack.back();
        stack.pop_back();
        for (int i = 0; i < g.numInputs(node); ++i) {
            int s = node;
            int k = i;
            if (g.walkToSourceNode(s, k) && !reached[size_t(s)]) {
                reached[size_t(s)] = true;
                stack.push_back(s);
            }
        }
    }
    return reached;
}

QString quoted(const Renderer& r, int node)
{
    return QStringLiteral("'%1'").arg(r.passPath(node));
}

QString indexList(const QList<int>& indices)
{
    QStringList parts;
    for (int i : indices)
        parts << QString::number(i);
    return parts.join(QStringLiteral(", "));
}

} // namespace

const char* setupIssueName(SetupIssue issue)
{
    const int i = int(issue);
    return i >= 0 && i < int(sizeof(kIssueNames) / sizeof(kIssueNames[0])) ? kIssueNames[i] : "";
}

QVector<SetupFinding> Renderer::checkSetup() const
{
    const Graph& g = getGraph();
    QVector<SetupFinding> findings;
    auto add = [&](SetupIssue issue, int node, const QString& message, int port = -1) {
        SetupFinding f;
        f.issue = issue;
        f.node = node;
        f.port = port;
        f.path = passPath(node);
        f.message = message;
        findings.append(f);
    };
    const int root = Graph::kRootNodeRef;

    // ------------------------------------------------------------ the target
    bool anyOutputFed = false;
    for (int i = 0; i < numOutputs() && i < g.numOutputs(root); ++i) {
        int n = root;
        int k = i;
        anyOutputFed = anyOutputFed || g.walkDown(n, k);
    }
    const int t = target();
    const bool targetValid = g.isValidNode(t);
    if (t == Graph::kInvalidNodeRef) {
        add(SetupIssue::NoTarget, t,
            anyOutputFed ? QStringLiteral("No target is set while renderer outputs are fed: render() runs no pass "
                                          "and returns false.")
                         : QStringLiteral("No target is set: render() runs no pass."));
    } else if (!targetValid) {
        add(SetupIssue::InvalidTarget, t,
            QStringLiteral("The target %1 is not a valid node: render() runs no pass and returns false.").arg(t));
    } else if (t == root) {
        add(SetupIssue::RootTarget, t,
            QStringLiteral("The target is the root, which has no passes upstream: render() runs none for it."));
    } else if (!renderPass(t)) {
        add(SetupIssue::GroupTarget, t,
            QStringLiteral("The target %1 is a group: the passes inside it run only where they feed its inputs; "
                           "make the pass that finishes the frame the target.")
                .arg(quoted(*this, t)));
    }

    // ------------------------------------------------------------ renderer outputs
    const std::vector<bool> upstream = targetValid ? upstreamOf(g, t) : std::vector<bool>();
    for (int i = 0; i < numOutputs() && i < g.numOutputs(root); ++i) {
        const QString output = QStringLiteral("Renderer output '%1' (%2)").arg(g.outputName(root, i)).arg(i);
        int n = root;
        int k = i;
        if (!g.walkDown(n, k)) {
            add(SetupIssue::OutputWithoutProducer, root,
                QStringLiteral("%1 is fed by no pass: it keeps its value.").arg(output), i);
        } else if (!renderPass(n)) {
            add(SetupIssue::OutputWithoutProducer, n,
                QStringLiteral("%1 comes from the group %2, whose output no pass produces: it keeps its value.")
                    .arg(output, quoted(*this, n)),
                i);
        } else if (targetValid && !upstream[size_t(n)]) {
            add(SetupIssue::ProducerOutsideUpstream, n,
                QStringLiteral("%1 is produced by %2, which is not upstream of the target %3: the pass does not "
                               "run, the output is read as it stands, and the target runs once more each frame.")
                    .arg(output, quoted(*this, n), t == root ? QStringLiteral("(the root)") : quoted(*this, t)),
                i);
        }
    }

    // ------------------------------------------------------------ nodes
    // Who consumes what: for each producing pass node, its consumers.
    QHash<int, QList<int>> consumers;
    for (int node = 0; node < g.numNodesGlobal(); ++node) {
        if (!g.isValidNode(node) || !renderPass(node))
            continue;
        for (int i = 0; i < deliveredInputs(*this, node); ++i) {
            const InputFeed f = feedOf(*this, node, i);
            if (f.feed == Feed::Producer) {
                QList<int>& list = consumers[f.node];
                if (!list.contains(node))
                    list.append(node);
            }
        }
    }

    QHash<const RenderPass*, int> firstNodeOf;
    for (int node = 0; node < g.numNodesGlobal(); ++node) {
        if (!g.isValidNode(node) || node == root)
            continue;
        const RenderPass* pass = renderPass(node);
        if (!pass) {
            QList<int> inputs;
            QList<int> outputs;
            for (int i = 0; i < g.numInputs(node); ++i) {
                if (g.inputName(node, i).isEmpty())
                    inputs << i;
            }
            for (int o = 0; o < g.numOutputs(node); ++o) {
                if (g.outputName(node, o).isEmpty())
                    outputs << o;
            }
            if (!inputs.isEmpty() || !outputs.isEmpty()) {
                QStringList parts;
                if (!inputs.isEmpty())
                    parts << QStringLiteral("inputs %1").arg(indexList(inputs));
                if (!outputs.isEmpty())
                    parts << QStringLiteral("outputs %1").arg(indexList(outputs));
                add(SetupIssue::UnnamedGroupPorts, node,
                    QStringLiteral("The group %1 has unnamed %2: they cannot be wired by name; give the names to "
                                   "addGroup().")
                        .arg(quoted(*this, node), parts.join(QStringLiteral(" and "))));
            }
            continue;
        }

        if (firstNodeOf.contains(pass)) {
            add(SetupIssue::PassAddedTwice, node,
                QStringLiteral("The pass of %1 was already added as %2: the one object runs for both nodes and "
                               "their values overwrite each other.")
                    .arg(quoted(*this, node), quoted(*this, firstNodeOf.value(pass))));
        } else {
            firstNodeOf.insert(pass, node);
        }

        if (!enabled(node) && consumers.contains(node)) {
            QStringList names;
            for (int c : consumers.value(node))
                names << quoted(*this, c);
            add(SetupIssue::DisabledPassWithConsumers, node,
                QStringLiteral("The pass %1 is disabled: %2 will get default values for what it feeds them.")
                    .arg(quoted(*this, node), names.join(QStringLiteral(", "))));
        }

        for (int i = 0; i < deliveredInputs(*this, node); ++i) {
            const InputFeed f = feedOf(*this, node, i);
            const QString input = QStringLiteral("Input '%1' (%2) of %3")
                                      .arg(g.inputName(node, i), QString::number(i), quoted(*this, node));
            if (f.feed == Feed::Nothing) {
                add(SetupIssue::UnfedInput, node,
                    QStringLiteral("%1 is fed by nothing: it gets its default value every frame.").arg(input), i);
            } else if (f.feed == Feed::NoPass) {
                add(SetupIssue::UnfedInput, node,
                    QStringLiteral("%1 comes from the group %2, whose output no pass produces: it gets its "
                                   "default value every frame.")
                        .arg(input, quoted(*this, f.node)),
                    i);
            }
        }
    }
    return findings;
}

} // namespace Zrn
} // namespace Morvane

// Finding passes and groups by path, groups with named ports, and per-pass
// frame statistics read through the renderer.
//
// Everything here goes through the renderer's public operations and its
// graph, so it behaves exactly as a host's own code doing the same would.

#include "FrameRecorder_p.h"

#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QStringList>

namespace Morvane {
namespace Zrn {

int Renderer::addGroup(const QString& name, const QStringList& inputNames, const QStringList& outputNames, int parent)
{
    const int node = addGroup(name, int(inputNames.size()), int(outputNames.size()), parent);
    if (node == Graph::kInvalidNodeRef)
        return node;
    Graph& graph = getGraph();
    for (int i = 0; i < inputNames.size(); ++i)
        graph.setInputName(node, i, inputNames.at(i));
    for (int i = 0; i < outputNames.size(); ++i)
        graph.setOutputName(node, i, outputNames.at(i));
    return node;
}

int Renderer::findPassByPath(const QString& path) const
{
    const Graph& graph = getGraph();
    if (path.isEmpty())
        return Graph::kInvalidNodeRef;
    int node = Graph::kRootNodeRef;
    for (const QString& step : path.split(QLatin1Char('/'))) {
        if (step.isEmpty())
            return Graph::kInvalidNodeRef;
        node = graph.findNode(step, node);
        if (!graph.isValidNode(node)) // not found, or removed through the graph
            return Graph::kInvalidNodeRef;
    }
    return node;
}

QString Renderer::passPath(int node) const
{
    const Graph& graph = getGraph();
    if (!graph.isValidNode(node))
        return QString();
    return pathNames(graph, node).join(QLatin1Char('/'));
}

const FrameStatistics& Renderer::passFrameStatistics(int node) const
{
    static const FrameStatistics none; // no frames: every reading is 0
    const auto* helper = dynamic_cast<const RenderPassHelper*>(renderPass(node));
    return helper ? helper->frameStatistics() : none;
}

} // namespace Zrn
} // namespace Morvane

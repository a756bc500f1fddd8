// The renderer's graph drawn with what the reported frame did to each pass.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphPicture.h>

#include <QtCore/QHash>

namespace Morvane {
namespace Zrn {

namespace {

using Attributes = QList<QPair<QString, QString>>;

Attributes stateAttributes(FrameReport::PassState state)
{
    auto filled = [](const char* colour) {
        return Attributes{{QStringLiteral("style"), QStringLiteral("filled")},
                          {QStringLiteral("fillcolor"), QLatin1String(colour)}};
    };
    switch (state) {
    case FrameReport::PassState::Ran: return filled("#c8ecc8");
    case FrameReport::PassState::Failed: return filled("#f4a0a0");
    case FrameReport::PassState::Disabled:
        return Attributes{{QStringLiteral("style"), QStringLiteral("filled,dashed")},
                          {QStringLiteral("fillcolor"), QStringLiteral("#e0e0e0")}};
    case FrameReport::PassState::NotRun: return filled("#fde3b0");
    case FrameReport::PassState::Unreached: return filled("#fff6a8");
    case FrameReport::PassState::NotNeeded:
        return Attributes{{QStringLiteral("fontcolor"), QStringLiteral("#808080")},
                          {QStringLiteral("color"), QStringLiteral("#a0a0a0")}};
    }
    return Attributes();
}

} // namespace

QString FrameReport::picture(const Graph& graph) const
{
    // Pass index by node, for the nodes the report knows.
    QHash<int, int> passOf;
    for (int p = 0; p < numPasses(); ++p) {
        if (passNode(p) != Graph::kInvalidNodeRef)
            passOf.insert(passNode(p), p);
    }

    GraphPictureOptions options;
    options.nodeAttributes = [this, &passOf](int node) {
        Attributes out;
        const auto it = passOf.constFind(node);
        if (it != passOf.constEnd())
            out = stateAttributes(passState(*it));
        if (node == target() && isValid())
            out << qMakePair(QStringLiteral("shape"), QStringLiteral("box"))
                << qMakePair(QStringLiteral("penwidth"), QStringLiteral("3"));
        return out;
    };
    options.nodeNote = [this, &passOf](int node) {
        QStringList lines;
        if (node == target() && isValid())
            lines << QStringLiteral("target");
        const auto it = passOf.constFind(node);
        if (it != passOf.constEnd()) {
            const int pass = *it;
            QString state = stateName(passState(pass));
            if (node == failedNode())
                state += QStringLiteral(": error code %1").arg(errorCode());
            lines << state;
            double ms = 0.0;
            int runs = 0;
            for (int i = 0; i < numRuns(); ++i) {
                if (run(i).pass == pass) {
                    ms += run(i).milliseconds();
                    ++runs;
                }
            }
            if (runs > 1)
                lines << QStringLiteral("%1 runs, %2 ms").arg(runs).arg(QString::number(ms, 'f', 3));
            else if (runs == 1)
                lines << QStringLiteral("%1 ms").arg(QString::number(ms, 'f', 3));
        }
        return lines.join(QLatin1Char('\n'));
    };
    return graphPicture(graph, options);
}

} // namespace Zrn
} // namespace Morvane

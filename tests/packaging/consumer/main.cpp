// A host program built against an installed libZrnCore. It builds a one-pass
// renderer and prints one line that scripts/packaging-test.sh checks:
//
//     root input "x" ──down──> [double] in ──> out ──up──> root output "y"
//
// Expected: "zrn-consumer: ZrnCore <version>, Qt <qt version>, 21 -> 42".

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/Version.h>

#include <QtCore/QtGlobal>

#include <cstdio>

namespace Zrn = Morvane::Zrn;

namespace {

class DoublePass : public Zrn::RenderPassHelper
{
public:
    DoublePass()
    {
        addInput(QStringLiteral("in"), QVariant(0));
        addOutput(QStringLiteral("out"));
    }

    void start(Zrn::RenderCallbacks*) override { outputs[0].value = inputs[0].value.toInt() * 2; }
};

} // namespace

int main()
{
    Zrn::Renderer renderer;
    const int x = renderer.addParameter(QStringLiteral("x"), 21);
    const int y = renderer.addOutput(QStringLiteral("y"));
    const int pass = renderer.addPass(QStringLiteral("double"), new DoublePass, Zrn::Graph::kRootNodeRef);

    Zrn::Graph& graph = renderer.getGraph();
    if (graph.addDownEdge(x, pass, 0) == Zrn::Graph::kInvalidEdgeRef
        || graph.addUpEdge(y, pass, 0) == Zrn::Graph::kInvalidEdgeRef) {
        std::fprintf(stderr, "zrn-consumer: wiring refused\n");
        return 1;
    }
    renderer.setTarget(pass);

    renderer.setup(nullptr);
    const bool ok = renderer.render(nullptr);
    renderer.teardown(nullptr);
    if (!ok) {
        std::fprintf(stderr, "zrn-consumer: render failed\n");
        return 1;
    }

    std::printf("zrn-consumer: ZrnCore %s, Qt %s, %d -> %d\n", ZRNCORE_VERSION_STRING, qVersion(),
                renderer.parameterValue(x).toInt(), renderer.output(y).toInt());
    return 0;
}

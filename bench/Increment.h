// The pass of the benchmarks that time chains of RenderPassHelper passes
// (bench_Renderer's BM_FrameChain and bench_FrameTrace): one input, one
// output, and the output is the input plus one, so that the last pass of a
// chain of N passes fed nothing reads N.

#ifndef ZRNCORE_BENCH_INCREMENT_H
#define ZRNCORE_BENCH_INCREMENT_H

#include <ZrnCore/RenderPassHelper.h>

#include <QtCore/QString>

namespace ZrnBench {

// Adds one to its integer input.
class Increment : public Morvane::Zrn::RenderPassHelper
{
public:
    Increment()
    {
        addInput(QStringLiteral("in"), 0);
        addOutput(QStringLiteral("out"));
    }
    void start(Morvane::Zrn::RenderCallbacks*) override { outputs[0].value = inputs[0].value.toInt() + 1; }
};

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_INCREMENT_H

#include <ZrnCore/RenderPass.h>

namespace Morvane {
namespace Zrn {

RenderPass::~RenderPass() = default;

bool RenderPass::isFinished() const
{
    return true; // start() did the work
}

} // namespace Zrn
} // namespace Morvane

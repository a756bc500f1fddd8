#ifndef ZRNCORE_RENDERERCHECK_H
#define ZRNCORE_RENDERERCHECK_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

/// What Renderer::checkSetup() found wrong or suspicious in a renderer's
/// composition. Each is something render() accepts without a word.
enum class SetupIssue {
    NoTarget,                  ///< no target is set
    InvalidTarget,             ///< the target is not a valid node: render() runs nothing and returns false
    RootTarget,                ///< the target is the root, which has no passes upstream
    GroupTarget,               ///< the target is a group: passes inside it run only if they feed its inputs
    OutputWithoutProducer,     ///< a renderer output is produced by no pass and keeps its value
    ProducerOutsideUpstream,   ///< a renderer output's producer is not upstream of the target
    UnfedInput,                ///< a pass input gets its default value every frame
    DisabledPassWithConsumers, ///< a disabled pass feeds passes that will get their defaults
    PassAddedTwice,            ///< one pass object was added under two nodes
    UnnamedGroupPorts          ///< a group has ports without names, so it cannot be wired by name
};

/// One finding of Renderer::checkSetup().
struct SetupFinding
{
    SetupIssue issue = SetupIssue::NoTarget; ///< what was found
    int node = -1;                           ///< the node it concerns (-1 for a missing target)
    QString path;                            ///< Renderer::passPath() of the node; empty for the root or none
    int port = -1;   ///< the renderer output for output findings, the pass input for UnfedInput; -1 otherwise
    QString message; ///< one English sentence saying what happens and why
};

/// Returns the name of `issue` as it is spelled in the enumeration
/// ("NoTarget", "InvalidTarget", ...), for messages and test output.
ZRNCORE_EXPORT const char* setupIssueName(SetupIssue issue);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERERCHECK_H

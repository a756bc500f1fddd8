#ifndef ZRNCORE_EDGECHECK_H
#define ZRNCORE_EDGECHECK_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

/// Why Graph::addEdge(), Graph::addDownEdge() or Graph::addUpEdge() would
/// refuse a proposed edge. The values are listed in no particular order; each
/// operation tests its reasons in its own order, the order its documentation
/// gives, and the first that applies is the one reported.
enum class EdgeRefusal {
    None = 0,             ///< the edge would be created
    InvalidReference,     ///< a node is not live, or a port does not exist (the root has no parent)
    NotSiblings,          ///< a regular edge between nodes with different parents
    OccupiedInput,        ///< the destination input already has a source
    OccupiedOutput,       ///< the parent output of an up edge already has a source
    OutputFeedsOtherKind, ///< the source output already feeds edges of the other kind (up or regular)
    WouldCloseCycle       ///< the destination lies upstream of the source, or is the source
};

/// The answer of Graph::checkEdge(), Graph::checkDownEdge() and
/// Graph::checkUpEdge(): the refusal, if any, and one sentence that explains
/// it with the names and references involved (empty when accepted).
struct EdgeCheck
{
    EdgeRefusal refusal = EdgeRefusal::None; ///< EdgeRefusal::None when the edge would be created
    QString reason;                          ///< one English sentence, empty when accepted

    /// Returns true when the edge would be created.
    bool accepted() const { return refusal == EdgeRefusal::None; }
};

/// Returns the name of `refusal` as it is spelled in the enumeration
/// ("None", "InvalidReference", ...), for messages and test output.
ZRNCORE_EXPORT const char* edgeRefusalName(EdgeRefusal refusal);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_EDGECHECK_H

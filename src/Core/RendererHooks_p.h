// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_RENDERERHOOKS_P_H
#define ZRNCORE_RENDERERHOOKS_P_H

// Hooks into the renderer's frame for the library's own tests, fuzz targets
// and benchmarks.
//
// Everything here is internal. The functions are marked ZRNCORE_TEST_EXPORT:
// exported only in a build with tests or fuzz targets, so that those can call
// them from their separate binaries, and hidden in a library built without
// them. No public header includes this.

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {

class Renderer;

namespace Internal {

/// Chooses how `renderer` makes its frames from now on. With `on`, every
/// frame walks the graph from the target, resolving each input as its pass
/// runs. Otherwise (the default) a frame replays the schedule that the last
/// walk recorded, and walks (recording again) only after something that
/// decides the schedule changed: the graph, the target, or the lists of
/// passes, parameters and outputs. Both give the same calls in the same
/// order.
ZRNCORE_TEST_EXPORT void setLiteralFrames(Renderer& renderer, bool on);

/// Returns whether `renderer` walks the graph in every frame.
ZRNCORE_TEST_EXPORT bool literalFrames(const Renderer& renderer);

/// Returns how many times `renderer` has recorded its schedule since it was
/// created: once per frame that followed a change, none for a frame that
/// replayed the schedule or walked literally.
ZRNCORE_TEST_EXPORT quint64 scheduleCompilations(const Renderer& renderer);

} // namespace Internal
} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERERHOOKS_P_H

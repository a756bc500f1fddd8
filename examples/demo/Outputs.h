#ifndef ZRNDEMO_OUTPUTS_H
#define ZRNDEMO_OUTPUTS_H

// The files the demo host writes: plain bytes, the image as PNG (through Qt
// Gui's image writer, which only the demo links; the library needs Qt Core
// alone), and SVG drawings of Graphviz text made by Graphviz's `dot`.

#include "Passes.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace ZrnDemo {

/// Writes `bytes` to the file `path`, replacing what was there. Returns false
/// when the file cannot be opened or written whole.
bool writeFile(const QString& path, const QByteArray& bytes);

/// Writes `image` to `path` as an 8-bit RGB PNG. Returns false, with the
/// reason in `error` (when not null), when the image is not valid or the
/// file cannot be written.
bool writePng(const RgbImage& image, const QString& path, QString* error);

/// What drawSvg() did.
enum class DrawResult {
    Drawn,  ///< the SVG was written
    NoDot,  ///< Graphviz's dot is not on PATH: nothing was tried
    Failed, ///< dot ran and failed, or did not finish within 30 seconds
};

/// Draws the Graphviz file `dotPath` into `svgPath` with Graphviz's `dot`,
/// after removing any file at `svgPath`, so that no stale drawing is left.
/// On Drawn, `detail` (when not null) is set to the dot program used; on
/// Failed, to dot's error output.
DrawResult drawSvg(const QString& dotPath, const QString& svgPath, QString* detail);

} // namespace ZrnDemo

#endif // ZRNDEMO_OUTPUTS_H

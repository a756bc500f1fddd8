#ifndef ZRNCORE_CORE_H
#define ZRNCORE_CORE_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

/// Returns the full path of the running executable, file name included, as
/// the operating system reports it (/proc/self/exe on Linux,
/// _NSGetExecutablePath on macOS), decoded like QFile::decodeName() so that
/// it can be handed back to QFile and QFileInfo. The first call asks the
/// system and caches the answer for the life of the process. When the system
/// cannot tell (or on other platforms), the critical line
/// "[Core.cpp:32] Could not obtain executablePath" is written and the result
/// is empty, and the system is asked again on the next call. Not locked:
/// make the first call from one thread.
ZRNCORE_EXPORT QString executablePath();

/// Returns the resources folder: the path given to setResourcesPath(), or by
/// default the canonical folder of the executable (links resolved) followed
/// by "/../Resources", not normalised further; "/../Resources" alone when the
/// folder cannot be resolved. The default is computed once and cached, and
/// asks for executablePath() (with its report on failure) when needed.
ZRNCORE_EXPORT QString resourcesPath();

/// Replaces the resources folder with `path`, unchecked. An empty `path`
/// makes the next resourcesPath() compute the default again.
ZRNCORE_EXPORT void setResourcesPath(const QString& path);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_CORE_H

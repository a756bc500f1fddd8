// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_CORE_P_H
#define ZRNCORE_CORE_P_H

// The library's one report mechanism, and the hooks of the path caches.
//
// The library's own reports are fixed lines, listed in ReportCatalogue_p.h
// and printed by Internal::report() in the same form as the two functions
// below.
//
// Everything here is internal. The functions are marked ZRNCORE_TEST_EXPORT:
// exported only in a build with tests, so that the library's own tests
// (tests/tst_Core.cpp) can call them from their separate binaries, and
// hidden in a library built without them. No public header includes this.

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {
namespace Internal {

// ------------------------------------------------------------ reports

/// Returns the part of `path` after its last '/', or `path` itself when it
/// holds no '/'. `path` must not be null. The result points into `path`.
ZRNCORE_TEST_EXPORT const char* sourceBaseName(const char* path);

/// Reports a failed check as one line on the critical channel:
///   "[<base name of sourcePath>:<line>] [ !! ] Assertion '<condition>' failed: <message>"
/// where every "%" of `condition` is printed as "\%" and the message is
/// `messageFormat` formatted with printf rules from the remaining arguments
/// (pass names as local 8-bit text, e.g. name.toLocal8Bit().constData()).
/// Returns normally: the caller carries on as if the check had held.
ZRNCORE_TEST_EXPORT void reportAssertion(const char* sourcePath, int line, const char* condition,
                                         const char* messageFormat, ...) Q_ATTRIBUTE_FORMAT_PRINTF(4, 5);

/// Reports an error that is not a check, as one critical line
///   "[<base name of sourcePath>:<line>] <message>"
/// with the message formatted as in reportAssertion(). Returns normally.
ZRNCORE_TEST_EXPORT void reportError(const char* sourcePath, int line, const char* messageFormat, ...)
    Q_ATTRIBUTE_FORMAT_PRINTF(3, 4);

// ------------------------------------------------------------ executable path

/// Size of the buffer that receives the executable's path, and the most the
/// system is asked to write into it: the last byte always stays zero.
constexpr int kExecutablePathBufferSize = 0xFFFF;
constexpr int kExecutablePathRequestSize = 0xFFFE;

/// Asks the system for the running executable's path. `buffer` holds
/// `requestSize` writable bytes, all zero on entry; the query writes the
/// path's bytes (no terminator needed) and returns true, or returns false
/// when the system cannot tell.
using ExecutablePathQuery = bool (*)(char* buffer, int requestSize);

/// Replaces the query used by executablePath() and returns the previous one;
/// null restores the platform's own. For tests that need a failing system.
ZRNCORE_TEST_EXPORT ExecutablePathQuery setExecutablePathQuery(ExecutablePathQuery query);

/// Returns how many times executablePath() has asked the system since the
/// process started.
ZRNCORE_TEST_EXPORT int executablePathQueryCount();

/// Empties both path caches, as at process start.
ZRNCORE_TEST_EXPORT void clearPathCaches();

} // namespace Internal
} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_CORE_P_H

// The report mechanism, and the executable and resources paths.

#include "Core_p.h"
#include "ReportCatalogue_p.h"

#include <ZrnCore/Core.h>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QString>

#include <cstdarg>
#include <vector>

#if defined(Q_OS_MACOS)
#include <mach-o/dyld.h>
#include <cstdint>
#elif defined(Q_OS_LINUX)
#include <unistd.h>
#endif

namespace Morvane {
namespace Zrn {

namespace {

// Prints one report line: "[<base name>:<line>] ", then for a failed check
// (`condition` not null) "[ !! ] Assertion '<condition>' failed: " with every
// "%" of the condition printed as "\%", then the message formatted from
// `messageFormat` and `arguments`.
void emitReport(const char* sourcePath, int line, const char* condition, const char* messageFormat, va_list arguments)
{
    const QString message = QString::vasprintf(messageFormat, arguments);
    QByteArray text;
    if (condition) {
        QByteArray escapedCondition(condition);
        escapedCondition.replace("%", "\\%");
        text = QString::asprintf("[ !! ] Assertion '%s' failed: %s", escapedCondition.constData(),
                                 message.toLocal8Bit().constData())
                   .toLocal8Bit();
    } else {
        text = message.toLocal8Bit();
    }
    qCritical("[%s:%d] %s", Internal::sourceBaseName(sourcePath), line, text.constData());
}

bool askPlatform(char* buffer, int requestSize)
{
#if defined(Q_OS_MACOS)
    uint32_t size = uint32_t(requestSize);
    return _NSGetExecutablePath(buffer, &size) == 0;
#elif defined(Q_OS_LINUX)
    // readlink() writes no terminator; the caller's buffer is zeroed and one
    // byte longer than requestSize, so the text always ends.
    return readlink("/proc/self/exe", buffer, size_t(requestSize)) > 0;
#else
    // No source of the executable's path on this platform: always reported.
    Q_UNUSED(buffer);
    Q_UNUSED(requestSize);
    return false;
#endif
}

// Both caches are empty until first use; an empty cache means "not known yet".
QString& executablePathCache()
{
    static QString cache;
    return cache;
}

QString& resourcesPathCache()
{
    static QString cache;
    return cache;
}

Internal::ExecutablePathQuery s_query = nullptr; // null: askPlatform()
int s_queryCount = 0;

// Asks the system once. Returns the path, or an empty string after
// reporting that the system could not tell.
QString askExecutablePath()
{
    // Cleared before asking, so that whatever the system writes is
    // terminated by the last byte, which it is never asked to touch.
    std::vector<char> buffer(size_t(Internal::kExecutablePathBufferSize), '\0');
    ++s_queryCount;
    const Internal::ExecutablePathQuery query = s_query ? s_query : &askPlatform;
    if (!query(buffer.data(), Internal::kExecutablePathRequestSize)) {
        Internal::report(&Internal::Reports::kExecutablePathUnknown);
        return QString();
    }
    // Paths are bytes in the local encoding, as QFile reads and writes them,
    // so the result can be handed straight back to QFile and QFileInfo.
    return QFile::decodeName(buffer.data());
}

// The folder of `file` with every link resolved, or an empty string when it
// cannot be resolved (QFileInfo alone answers "." for a missing file).
QString canonicalFolder(const QString& file)
{
    const QFileInfo info(file);
    return info.canonicalFilePath().isEmpty() ? QString() : info.canonicalPath();
}

} // namespace

// ---------------------------------------------------------------- reports

namespace Internal {

const char* sourceBaseName(const char* path)
{
    Q_ASSERT(path);
    const char* base = path;
    for (const char* c = path; *c; ++c) {
        if (*c == '/')
            base = c + 1;
    }
    return base;
}

void reportAssertion(const char* sourcePath, int line, const char* condition, const char* messageFormat, ...)
{
    va_list arguments;
    va_start(arguments, messageFormat);
    emitReport(sourcePath, line, condition, messageFormat, arguments);
    va_end(arguments);
}

void reportError(const char* sourcePath, int line, const char* messageFormat, ...)
{
    va_list arguments;
    va_start(arguments, messageFormat);
    emitReport(sourcePath, line, nullptr, messageFormat, arguments);
    va_end(arguments);
}

void report(const FixedReport* report, ...)
{
    Q_ASSERT(report);
    va_list arguments;
    va_start(arguments, report);
    emitReport(report->sourcePath, report->line, report->condition, report->messageFormat, arguments);
    va_end(arguments);
}

// ---------------------------------------------------------------- path hooks

ExecutablePathQuery setExecutablePathQuery(ExecutablePathQuery query)
{
    const ExecutablePathQuery previous = s_query;
    s_query = query;
    return previous;
}

int executablePathQueryCount()
{
    return s_queryCount;
}

void clearPathCaches()
{
    executablePathCache().clear();
    resourcesPathCache().clear();
}

} // namespace Internal

// ---------------------------------------------------------------- paths

QString executablePath()
{
    QString& cache = executablePathCache();
    if (cache.isEmpty())
        cache = askExecutablePath();
    return cache;
}

QString resourcesPath()
{
    QString& cache = resourcesPathCache();
    if (cache.isEmpty())
        cache = canonicalFolder(executablePath()) + QLatin1String("/../Resources");
    return cache;
}

void setResourcesPath(const QString& path)
{
    resourcesPathCache() = path;
}

} // namespace Zrn
} // namespace Morvane

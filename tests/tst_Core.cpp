// The report mechanism and the executable and resources paths.
//
// The report functions and the path hooks are internal: this test reaches
// them through the private header, whose functions the library exports for
// its own tests only.

#include "TestSupport.h"

#include "../src/Core/Core_p.h"

#include <ZrnCore/Core.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ostream>

using namespace Morvane::Zrn;
using ZrnTest::MessageCapture;

namespace {

// ---------------------------------------------------------------- reports

TEST(ReportBaseName, TakesWhatFollowsTheLastSlash)
{
    EXPECT_STREQ(Internal::sourceBaseName("src/Core/Graph.cpp"), "Graph.cpp");
    EXPECT_STREQ(Internal::sourceBaseName("/abs/path/to/Core.cpp"), "Core.cpp");
    EXPECT_STREQ(Internal::sourceBaseName("/Core.cpp"), "Core.cpp");
}

TEST(ReportBaseName, PathWithoutSlashIsTakenWhole)
{
    EXPECT_STREQ(Internal::sourceBaseName("Graph.cpp"), "Graph.cpp");
    EXPECT_STREQ(Internal::sourceBaseName(""), "");
}

TEST(ReportBaseName, TrailingSlashLeavesNothing)
{
    EXPECT_STREQ(Internal::sourceBaseName("src/Core/"), "");
}

TEST(ReportAssertion, PrintsOneCriticalLineInTheFixedForm)
{
    MessageCapture capture;
    Internal::reportAssertion("src/Core/Graph.cpp", 681, "isValidNode(childNode)", "Parent '%s' Child '%s'", "in",
                              "out");
    EXPECT_EQ(capture.critical,
              QStringList{QStringLiteral("[Graph.cpp:681] [ !! ] Assertion 'isValidNode(childNode)' failed: "
                                         "Parent 'in' Child 'out'")});
    EXPECT_TRUE(capture.debug.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
}

TEST(ReportAssertion, SourcePathWithoutSlashIsPrintedWhole)
{
    MessageCapture capture;
    Internal::reportAssertion("Graph.cpp", 7, "a", "b");
    EXPECT_EQ(capture.critical, QStringList{QStringLiteral("[Graph.cpp:7] [ !! ] Assertion 'a' failed: b")});
}

TEST(ReportAssertion, PercentInConditionIsPrintedEscaped)
{
    MessageCapture capture;
    Internal::reportAssertion("x/y.cpp", 3, "n % 2 == 0 && m %s", "odd");
    EXPECT_EQ(capture.critical,
              QStringList{QStringLiteral("[y.cpp:3] [ !! ] Assertion 'n \\% 2 == 0 && m \\%s' failed: odd")});
}

TEST(ReportAssertion, PercentInNameArgumentIsPrintedAsItStands)
{
    MessageCapture capture;
    Internal::reportAssertion("y.cpp", 1, "c", "Source output '%s' is not valid", "50%s %d");
    EXPECT_EQ(capture.critical,
              QStringList{
                  QStringLiteral("[y.cpp:1] [ !! ] Assertion 'c' failed: Source output '50%s %d' is not valid")});
}

TEST(ReportAssertion, NamesOutsideLatin1ArePrintedAsTheLocalConversionYieldsThem)
{
    const QString name = QString::fromUtf8("\xce\xa9mega \xe2\x98\x83"); // "Omega snowman", non-Latin-1
    MessageCapture capture;
    Internal::reportAssertion("y.cpp", 1, "c", "'%s'", name.toLocal8Bit().constData());
    ASSERT_EQ(capture.critical.size(), 1);
    // The channel reads the 8-bit text back as UTF-8; in a UTF-8 locale the
    // name comes through unchanged.
    EXPECT_EQ(capture.critical.first(),
              QStringLiteral("[y.cpp:1] [ !! ] Assertion 'c' failed: '") + QString::fromUtf8(name.toLocal8Bit())
                  + QStringLiteral("'"));
    // The name itself is in the line exactly when the local conversion
    // keeps it.
    EXPECT_EQ(capture.critical.first().contains(name), QString::fromUtf8(name.toLocal8Bit()) == name);
}

TEST(ReportError, HasNoAssertionPrefix)
{
    MessageCapture capture;
    Internal::reportError("/a/b/Core.cpp", 32, "Could not obtain executablePath");
    EXPECT_EQ(capture.critical, QStringList{QStringLiteral("[Core.cpp:32] Could not obtain executablePath")});
}

TEST(ReportError, EachCallIsReportedNeitherSuppressedNorCounted)
{
    MessageCapture capture;
    Internal::reportError("Core.cpp", 1, "same");
    Internal::reportError("Core.cpp", 1, "same");
    EXPECT_EQ(capture.critical,
              (QStringList{QStringLiteral("[Core.cpp:1] same"), QStringLiteral("[Core.cpp:1] same")}));
}

// ---------------------------------------------------------------- paths

// The test binary's own path, found without the library: what the kernel
// links /proc/self/exe to, and the name the program was started with.
QString thisBinaryFromProc()
{
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
}

#if defined(__GLIBC__)
QString thisBinaryFromInvocation()
{
    return QFileInfo(QFile::decodeName(program_invocation_name)).canonicalFilePath();
}
#endif

// Every test starts with empty caches and the platform's own query, and
// leaves them so.
class Paths : public ::testing::Test
{
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset()
    {
        Internal::setExecutablePathQuery(nullptr);
        Internal::clearPathCaches();
    }
};

// Query hooks. Plain functions, as the hook takes a function pointer.
int s_seenRequestSize = 0;
bool s_sawZeroedBuffer = false;

bool failingQuery(char*, int)
{
    return false;
}

bool recordingFailingQuery(char* buffer, int requestSize)
{
    s_seenRequestSize = requestSize;
    s_sawZeroedBuffer = true;
    for (int i = 0; i < requestSize; ++i) {
        if (buffer[i] != '\0')
            s_sawZeroedBuffer = false;
    }
    return false;
}

// Writes its bytes without a terminator, as readlink() does.
const char* s_fakePath = "";
bool fakeQuery(char* buffer, int requestSize)
{
    const size_t length = std::strlen(s_fakePath);
    if (length > size_t(requestSize))
        return false;
    std::memcpy(buffer, s_fakePath, length);
    return true;
}

bool fillingQuery(char* buffer, int requestSize)
{
    std::memset(buffer, 'a', size_t(requestSize));
    return true;
}

#if defined(Q_OS_LINUX)
TEST_F(Paths, ExecutablePathIsTheRunningBinary)
{
    const QString path = executablePath();
    EXPECT_FALSE(path.isEmpty());
    EXPECT_EQ(path, thisBinaryFromProc());
#if defined(__GLIBC__)
    EXPECT_EQ(path, thisBinaryFromInvocation());
#endif
    EXPECT_TRUE(QFileInfo(path).isExecutable());
}
#endif

TEST_F(Paths, SecondCallDoesNotAskTheSystemAgain)
{
    const int before = Internal::executablePathQueryCount();
    const QString first = executablePath();
    EXPECT_EQ(Internal::executablePathQueryCount(), before + 1);
    const QString second = executablePath();
    EXPECT_EQ(Internal::executablePathQueryCount(), before + 1);
    EXPECT_EQ(first, second);
}

TEST_F(Paths, SystemIsAskedWithAZeroedBufferAndOneByteToSpare)
{
    s_seenRequestSize = 0;
    s_sawZeroedBuffer = false;
    Internal::setExecutablePathQuery(&recordingFailingQuery);
    MessageCapture capture;
    executablePath();
    EXPECT_EQ(s_seenRequestSize, 0xFFFE);
    EXPECT_EQ(Internal::kExecutablePathBufferSize, 0xFFFF);
    EXPECT_TRUE(s_sawZeroedBuffer);
}

TEST_F(Paths, PathOfTheLongestAllowedLengthIsTerminatedByTheSpareByte)
{
    Internal::setExecutablePathQuery(&fillingQuery);
    const QString path = executablePath();
    EXPECT_EQ(path.size(), 0xFFFE);
    EXPECT_EQ(path, QString(0xFFFE, QLatin1Char('a')));
}

TEST_F(Paths, FailureIsReportedFromCoreLine32AndGivesAnEmptyPath)
{
    Internal::setExecutablePathQuery(&failingQuery);
    MessageCapture capture;
    EXPECT_EQ(executablePath(), QString());
    EXPECT_EQ(capture.critical, QStringList{QStringLiteral("[Core.cpp:32] Could not obtain executablePath")});
    EXPECT_TRUE(capture.other.isEmpty());
}

TEST_F(Paths, EmptyResultIsAskedForAgainOnTheNextCall)
{
    Internal::setExecutablePathQuery(&failingQuery);
    MessageCapture capture;
    const int before = Internal::executablePathQueryCount();
    executablePath();
    executablePath();
    EXPECT_EQ(Internal::executablePathQueryCount(), before + 2);
    EXPECT_EQ(capture.critical.size(), 2);

    // Once the system answers, the answer is kept.
    s_fakePath = "/opt/host/bin/app";
    Internal::setExecutablePathQuery(&fakeQuery);
    EXPECT_EQ(executablePath(), QStringLiteral("/opt/host/bin/app"));
    Internal::setExecutablePathQuery(&failingQuery);
    EXPECT_EQ(executablePath(), QStringLiteral("/opt/host/bin/app"));
    EXPECT_EQ(Internal::executablePathQueryCount(), before + 3);
    EXPECT_EQ(capture.critical.size(), 2);
}

TEST_F(Paths, DefaultResourcesPathIsBesideTheCanonicalBinaryFolder)
{
    const QString expected = QFileInfo(thisBinaryFromProc()).canonicalPath() + QStringLiteral("/../Resources");
    EXPECT_EQ(resourcesPath(), expected);
#if defined(__GLIBC__)
    EXPECT_EQ(resourcesPath(), QFileInfo(thisBinaryFromInvocation()).canonicalPath() + QStringLiteral("/../Resources"));
#endif
}

TEST_F(Paths, DefaultResourcesPathResolvesLinksAndIsNotNormalisedFurther)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString real = dir.path() + QStringLiteral("/real");
    ASSERT_TRUE(QDir().mkpath(real));
    ASSERT_TRUE(QFile::link(real, dir.path() + QStringLiteral("/link")));
    QFile app(real + QStringLiteral("/app"));
    ASSERT_TRUE(app.open(QIODevice::WriteOnly));
    app.close();
    const QByteArray through = QFile::encodeName(dir.path() + QStringLiteral("/link/app"));
    s_fakePath = through.constData();
    Internal::setExecutablePathQuery(&fakeQuery);

    EXPECT_EQ(executablePath(), dir.path() + QStringLiteral("/link/app"));
    EXPECT_EQ(resourcesPath(), QFileInfo(real).canonicalFilePath() + QStringLiteral("/../Resources"));
}

TEST_F(Paths, UnresolvableFolderGivesBareResourcesSuffix)
{
    Internal::setExecutablePathQuery(&failingQuery);
    MessageCapture capture;
    EXPECT_EQ(resourcesPath(), QStringLiteral("/../Resources"));
    EXPECT_EQ(capture.critical, QStringList{QStringLiteral("[Core.cpp:32] Could not obtain executablePath")});
    // The default is kept: no second report.
    EXPECT_EQ(resourcesPath(), QStringLiteral("/../Resources"));
    EXPECT_EQ(capture.critical.size(), 1);
}

TEST_F(Paths, SetResourcesPathIsReturnedUncheckedWithoutAskingTheSystem)
{
    const int before = Internal::executablePathQueryCount();
    setResourcesPath(QStringLiteral("X"));
    EXPECT_EQ(resourcesPath(), QStringLiteral("X"));
    EXPECT_EQ(Internal::executablePathQueryCount(), before);
    EXPECT_FALSE(QFileInfo::exists(QStringLiteral("X")));
}

TEST_F(Paths, SetResourcesPathToEmptyRestoresTheDefault)
{
    const QString defaultPath = resourcesPath();
#if defined(Q_OS_LINUX)
    ASSERT_EQ(defaultPath, QFileInfo(thisBinaryFromProc()).canonicalPath() + QStringLiteral("/../Resources"));
#endif
    setResourcesPath(QStringLiteral("/somewhere/else"));
    EXPECT_EQ(resourcesPath(), QStringLiteral("/somewhere/else"));
    setResourcesPath(QString());
    EXPECT_EQ(resourcesPath(), defaultPath);
}

TEST_F(Paths, EmptyResourcesPathIsComputedFromTheCurrentExecutablePath)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QFile app(dir.path() + QStringLiteral("/app"));
    ASSERT_TRUE(app.open(QIODevice::WriteOnly));
    app.close();
    const QByteArray path = QFile::encodeName(app.fileName());
    s_fakePath = path.constData();
    Internal::setExecutablePathQuery(&fakeQuery);

    setResourcesPath(QStringLiteral("Z"));
    EXPECT_EQ(resourcesPath(), QStringLiteral("Z"));
    setResourcesPath(QString());
    EXPECT_EQ(resourcesPath(), QDir(dir.path()).canonicalPath() + QStringLiteral("/../Resources"));
}

TEST_F(Paths, MissingExecutableFolderGivesBareResourcesSuffixWithoutReport)
{
    s_fakePath = "/no/such/folder/app";
    Internal::setExecutablePathQuery(&fakeQuery);
    MessageCapture capture;
    EXPECT_EQ(resourcesPath(), QStringLiteral("/../Resources"));
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
}

TEST_F(Paths, SettingResourcesPathLeavesTheExecutablePathAlone)
{
    s_fakePath = "/opt/host/bin/app";
    Internal::setExecutablePathQuery(&fakeQuery);
    ASSERT_EQ(executablePath(), QStringLiteral("/opt/host/bin/app"));
    const int asked = Internal::executablePathQueryCount();

    setResourcesPath(QStringLiteral("Y"));
    EXPECT_EQ(resourcesPath(), QStringLiteral("Y"));
    // Still cached: the system is not asked again.
    EXPECT_EQ(executablePath(), QStringLiteral("/opt/host/bin/app"));
    setResourcesPath(QString());
    EXPECT_EQ(executablePath(), QStringLiteral("/opt/host/bin/app"));
    EXPECT_EQ(Internal::executablePathQueryCount(), asked);
}

} // namespace

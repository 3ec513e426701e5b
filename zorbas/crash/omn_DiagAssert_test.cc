// The diagnostic assertion's text and answers, the output form of omn_MRWdouble, and the fatal
// path of omn_enableAbortTrace. Standard input is not a terminal under ctest, so the answer is
// always Ignore.
#include "zorbas/crash/omn_DiagAssert.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "companions/coreutils/aio_stream.h"
#include "companions/framework/PLXError.h"
#include "zorbas/crash/crash_test_util.h"

// A message module: texts for the codes of this program.
extern "C" __attribute__((visibility("default"))) const char* omn_MessageText(unsigned code) {
    return code == 7777 ? "the mesh has no elements" : nullptr;
}

namespace {

std::string Program() {
    char path[300];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    return std::string(path, n > 0 ? static_cast<size_t>(n) : 0);
}

TEST(DiagAssert, OptionsZeroIsNotStored) {
    unsigned old = omn_SetDiagAssertOptions(2);
    EXPECT_EQ(omn_SetDiagAssertOptions(0), 0u);
    EXPECT_EQ(omn_SetDiagAssertOptions(old), 2u);
}

TEST(DiagAssert, TextNamesProgramPlaceExpressionAndLastErrorAndKeepsErrno) {
    std::string path = crash_test::MakeTempDir() + "/assert.log";
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int oldFd = omn_SetDiagAssertFile(fd);
    ::testing::internal::CaptureStderr();
    errno = ENOENT;
    EXPECT_EQ(omn_DiagAssertA(3, "count > 0", "ZORBase/ZORBasOmni.m/src/omi_Octree", 412), 0);
    EXPECT_EQ(errno, ENOENT);
    errno = 9999;
    EXPECT_EQ(omn_DiagAssertW(2, L"n \u2260 0", "w.cc", 7), 0);
    std::string err = ::testing::internal::GetCapturedStderr();
    omn_SetDiagAssertFile(oldFd);
    close(fd);
    std::string first = "Debug Assertion Failed!\n\nProgram : " + Program() +
                        "\nFile : ZORBase/ZORBasOmni.m/src/omi_Octree\nLine : 412\nExpression : "
                        "count > 0\nLast Error (0x00000002) : No such file or directory\n";
    std::string second =
        "Debug Assertion Failed!\n\nProgram : " + Program() +
        "\nFile : w.cc\nLine : 7\nExpression : n \u2260 0\nLast Error (0x0000270F) "
        ": **Last error code does not exist!!!!\n";
    EXPECT_EQ(err, first + second);
    EXPECT_EQ(crash_test::ReadFile(path), first + second);
}

TEST(DiagAssert, MessageModulesAreAskedFirstInTheirOrder) {
    void* self = dlopen(nullptr, RTLD_LAZY);
    EXPECT_EQ(omn_AddDiagAssertModule(self), 1);
    errno = 7777;
    omn_RealAssert(2, "modules", 1);
    EXPECT_NE(std::string(omn_LastAssertText()).find("(0x00001E61) : the mesh has no elements\n"),
              std::string::npos)
        << omn_LastAssertText();
    errno = EACCES;  // a code the module does not know goes to the system
    omn_RealAssert(2, "system", 1);
    EXPECT_NE(std::string(omn_LastAssertText()).find(": Permission denied\n"), std::string::npos);
}

TEST(DiagOutput, FormatsToStandardErrorAndTheOutputFile) {
    std::string path = crash_test::MakeTempDir() + "/out.log";
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int old = omn_SetDiagOutputFile(fd);
    ::testing::internal::CaptureStderr();
    errno = EINTR;
    omn_DiagOutputA("step %d of %s\n", 3, "solve");
    omn_DiagOutputW(L"wide %d\n", 4);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "step 3 of solve\nwide 4\n");
    omn_SetDiagOutputFile(old);
    close(fd);
    EXPECT_EQ(crash_test::ReadFile(path), "step 3 of solve\nwide 4\n");
}

std::string Printed(const omn_MRWdouble& value) {
    FILE* f = tmpfile();
    aio_ostream out(f);
    out << value;
    out.flush();
    std::rewind(f);
    char text[128] = {};
    size_t n = std::fread(text, 1, sizeof text - 1, f);
    std::fclose(f);
    return std::string(text, n);
}

TEST(MRWdouble, FormsAndTheThreeDigitExponentRule) {
    EXPECT_EQ(Printed(omn_MRWdouble(0.1)), "0.1");
    EXPECT_EQ(Printed(omn_MRWdouble(1.5e5, 12, 3)), "     1.5e+05");
    EXPECT_EQ(Printed(omn_MRWdouble(-2.25e-300, 0, 4)), "-2.25e-300");
    char closed[32] = "1.5e+005";
    EXPECT_STREQ(omn_CloseExponent(closed, 0), "1.5e+05");
    char wide[32] = "  1.5e+005";  // width 10 stays 10
    EXPECT_STREQ(omn_CloseExponent(wide, 10), "   1.5e+05");
    for (const char* kept : {"1e+100", "1e+05", "1.5", "e05"}) {
        char text[32];
        std::snprintf(text, sizeof text, "%s", kept);
        EXPECT_STREQ(omn_CloseExponent(text, 8), kept);
    }
}

TEST(AbortTraceDeathTest, EndsTheProcessByTheFatalPath) {
    EXPECT_EXIT(omn_enableAbortTrace(5), ::testing::KilledBySignal(SIGABRT), "");
}

TEST(PlxError, PrintsTheFrameworkErrorAndClearsIt) {
    PLXError::PLXSetLastError(41, "license server unreachable");
    ::testing::internal::CaptureStderr();
    omni_PlxError(41);
    omni_PlxError(41);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Program has failed:\nlicense server unreachable\nProgram has failed:\n\n");
}

}  // namespace

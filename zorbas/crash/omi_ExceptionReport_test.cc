// The report's layout, blank for blank, and its names, written in this process into a scratch
// working directory with standard output caught in a file.
#include "zorbas/crash/omi_ExceptionReport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "zorbas/crash/crash_test_util.h"
#include "zorbas/crash/omi_ExceptionFilter.h"
#include "zorbas/os/ZORBasOmniProcessInfo.h"

namespace {

class Report : public ::testing::Test {
  protected:
    void SetUp() override {
        m_dir = crash_test::MakeTempDir();
        ASSERT_EQ(chdir(m_dir.c_str()), 0);
        std::fflush(stdout);
        m_savedOut = dup(1);
        int fd = open((m_dir + "/stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 1);
        close(fd);
        ZORBasErrorStack::SetCwd("/w/cwd");
        ZORBasErrorStack::SetIndir("/w/in");
        ZORBasErrorStack::SetOutdir("/w/out");
        ZORBasErrorStack::SetTmpdir("/w/tmp");
        ZORBasErrorStack::SetContext(ZORBasErrorStack::kSolver);
        ZORBasErrorStack::ClearMessages();
        unsetenv("PLXTemp");
        setenv("TEMP", "/scratch/t", 1);
    }
    void TearDown() override {
        std::fflush(stdout);
        dup2(m_savedOut, 1);
        close(m_savedOut);
        ZORBasErrorStack::SetJobname("");
    }
    std::string Out() const { return crash_test::ReadFile(m_dir + "/stdout"); }
    std::string File(const std::string& name) const {
        return crash_test::ReadFile(m_dir + "/" + name);
    }
    std::string Suffix(bool job) const {
        std::string pid = std::to_string(ZORBasOmniProcessInfo::ProcessId());
        char rank[16];
        std::snprintf(rank, sizeof rank, "%02d", ZORBasOmniProcessInfo::Rank());
        return job ? std::string(".") + rank + "." + pid : "." + pid + "." + rank;
    }

    std::string m_dir;
    int m_savedOut = -1;
};

TEST_F(Report, LaysOutEveryElementWithItsBlanks) {
    ZORBasErrorStack::SetJobname("plate");
    for (int i = 1; i <= 8; ++i) ZORBasPhaseTracker::SaveMarker(("p" + std::to_string(i)).c_str());
    omi_ExceptionReport("boom\n", "details here", "#0 frame\n", nullptr);
    std::string name = "plate" + Suffix(true);
    std::string text = File(name + ".exception");
    std::regex layout(
        "<Description>\n   boom\n</Description>\n\n"
        "<Details>\n   details here\n</Details>\n\n"
        "<Context>\n   SOLVER\n</Context>\n\n"
        "<Phase>\n   p3 \\| p4 \\| p5 \\| p6 \\| p7 \\| p8\n</Phase>\n\n"
        "<Callstack>\n#0 frame\n</Callstack>\n"
        "\n"
        "<Memory>\n"
        "   <Current>    [ 0-9]{12} MB </Current>\n"
        "   <Resident>   [ 0-9]{12} MB </Resident>\n"
        "   <Physical>   [ 0-9]{12} MB </Physical>\n"
        "   <Limit>      [ 0-9]{12} MB </Limit>\n"
        "   <Accessible> [ 0-9]{12} MB </Accessible>\n"
        "   <Allocator>            DL    </Allocator>\n"
        "</Memory>\n\n"
        "<Directories>\n"
        "  <current> /w/cwd                         </current> \n"
        "    <indir> /w/in                          </indir> \n"
        "   <outdir> /w/out                         </outdir>\n"
        "   <tmpdir> /w/tmp                         </tmpdir>\n"
        "     <temp> /scratch/t                     </temp>\n"
        "</Directories>\n\n"
        "<Installation>\n"
        "(     <Version> [^\n]+ </Version>\n)?"
        "(       <Build>   [^\n]+ </Build>\n)?"
        "  <Executable> [^\n]+ </Executable>\n"
        "</Installation>\n\n");
    EXPECT_TRUE(std::regex_match(text, layout)) << text;
    EXPECT_EQ(Out(), "*** ERROR CATEGORY:  SOLVER\n\n");
    EXPECT_EQ(File(name + ".dmp"), text);
}

TEST_F(Report, LaterReportsAppendAndReplaceTheCopy) {
    ZORBasErrorStack::SetJobname("beam");
    omi_ExceptionReport("first\n", nullptr, "s\n", nullptr);
    omi_ExceptionReport("second\n", "", "s\n", nullptr);
    std::string name = "beam" + Suffix(true);
    std::string text = File(name + ".exception");
    EXPECT_NE(text.find("   first\n"), std::string::npos);
    EXPECT_GT(text.find("   second\n"), text.find("   first\n"));
    EXPECT_EQ(text.find("<Details>"), std::string::npos) << "null and empty details are left out";
    EXPECT_EQ(File(name + ".dmp"), text);
}

TEST_F(Report, NamesFollowTheJobNameOrTheExecutable) {
    ZORBasErrorStack::SetJobname("");
    omi_ExceptionReport("anonymous\n", nullptr, "s\n", nullptr);
    omi_ExceptionReport("explicit empty\n", nullptr, "s\n", "");
    std::string exe = ZORBasOmniProcessInfo::ExeName();
    std::string text = File(exe + Suffix(false) + ".exception");
    EXPECT_NE(text.find("anonymous"), std::string::npos);
    EXPECT_NE(text.find("explicit empty"), std::string::npos);
    EXPECT_EQ(File(exe + Suffix(false) + ".dmp"), text);

    ZORBasErrorStack::SetJobname("held");
    omi_ExceptionReport("argument wins\n", nullptr, "s\n", "given");
    EXPECT_NE(File("given" + Suffix(true) + ".exception").find("argument wins"), std::string::npos);
    EXPECT_EQ(omi_ExceptionReportName(0, nullptr), "held" + Suffix(true) + ".exception");
}

TEST_F(Report, TheCallStackArgumentComesBeforeTheErrorStack) {
    ZORBasErrorStack::SetJobname("stacks");
    ZORBasErrorStack::PushMessage("message on the error stack");
    omi_ExceptionReport("given\n", nullptr, "#0 given frame\n", nullptr);
    omi_ExceptionReport("none\n", nullptr, nullptr, nullptr);
    std::string text = File("stacks" + Suffix(true) + ".exception");
    size_t second = text.find("   none\n");
    std::string first = crash_test::Element(text, "Callstack");
    EXPECT_EQ(first, "#0 given frame\n");
    EXPECT_NE(crash_test::Element(text, "Callstack", second).find("message on the error stack"),
              std::string::npos);
    ZORBasErrorStack::ClearMessages();
    omi_ExceptionReport("captured\n", nullptr, nullptr, nullptr);
    text = File("stacks" + Suffix(true) + ".exception");
    std::string captured = crash_test::Element(text, "Callstack", text.find("   captured\n"));
    EXPECT_NE(captured.find("Report_TheCallStackArgument"), std::string::npos) << captured;
}

TEST(ReportPlaceholders, AnswerTheirFixedWords) {
    EXPECT_STREQ(omi_MemoryReport(), "Hello");
    EXPECT_STREQ(omi_DiskSpaceReport(), "World");
}

}  // namespace

// The usage table as a job leaves it: each case runs in a child process with its own environment
// and directory, marks and times, and ends the way a job ends (the library's end writes the last
// row and the summary); the parent reads the files back.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "companions/alloc/ZORBasPhaseTracker.h"
#include "zorbas/monitor/bcu_ResourceMonitor.h"
#include "zorbas/monitor/omi_Time.h"
#include "zorbas/monitor/omi_Timer.h"
#include "zorbas/monitor/omi_complex.h"
#include "zorbas/os/ZORBasFile.h"
#include "zorbas/os/ZORBasUtlIOStats.h"

namespace {

std::string g_dir;

void JobInDir(cow_String& job, cow_String& dir) {
    job = "job";
    dir = g_dir.c_str();
}

class MonitorJob : public ::testing::Test {
  protected:
    void SetUp() override {
        char tmpl[] = "/tmp/monitor_testXXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        g_dir = tmpl;
    }
    void TearDown() override { std::system(("rm -rf '" + g_dir + "'").c_str()); }

    // Runs `body` in a child with `env` set (NAME=VALUE, or NAME= to unset) and the directory as
    // its working directory; the child ends through exit, so the library's end work runs.
    void Run(std::vector<std::string> env, std::function<void(bcu_ResourceMonitor&)> body) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (const char* v :
                 {"VEL_RESOURCE_MONITOR", "VEL_RESOURCE_DLMALLINFO", "VEL_RESOURCE_MONITOR_V6",
                  "VEL_ENABLE_PERFTRACKING", "IO_RESOURCE_MONITOR"})
                unsetenv(v);
            for (const std::string& e : env) {
                size_t eq = e.find('=');
                if (eq + 1 == e.size())
                    unsetenv(e.substr(0, eq).c_str());
                else
                    setenv(e.substr(0, eq).c_str(), e.substr(eq + 1).c_str(), 1);
            }
            if (chdir(g_dir.c_str()) != 0) _exit(20);
            body(bcu_ResourceMonitor::Instance());
            std::exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status)) << "the child died";
        ASSERT_EQ(WEXITSTATUS(status), 0) << "20: the child could not enter its directory";
        childPid = pid;
    }

    std::vector<std::string> Lines(const std::string& name) {
        std::ifstream f(g_dir + "/" + name);
        std::vector<std::string> lines;
        for (std::string l; std::getline(f, l);) lines.push_back(l);
        return lines;
    }
    static std::vector<std::string> Fields(const std::string& line) {
        std::istringstream in(line);
        std::vector<std::string> out;
        for (std::string w; in >> w;) out.push_back(w);
        return out;
    }

    pid_t childPid = 0;
};

// One /proc reading of what a row reports: VmHWM, VmRSS, VmPeak (KB), page faults, syscr, syscw.
std::vector<long long> ProcProbe() {
    std::vector<long long> v(6, 0);
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        for (auto [key, at] : {std::pair{"VmHWM:", 0}, {"VmRSS:", 1}, {"VmPeak:", 2}})
            if (line.starts_with(key)) v[at] = std::stoll(line.substr(std::strlen(key)));
    }
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    v[3] = ru.ru_minflt + ru.ru_majflt;
    std::ifstream io("/proc/self/io");
    for (std::string line; std::getline(io, line);) {
        if (line.starts_with("syscr:")) v[4] = std::stoll(line.substr(6));
        if (line.starts_with("syscw:")) v[5] = std::stoll(line.substr(6));
    }
    return v;
}

const char* kHeader =
    "!Phase,Wall,Mark,UserCPU,SysCPU,WSPEAK,WORKSPACE,CPU,QuotaPeakPagePool,QPagePool,QNPPP,QNPP,"
    "PageFaults,PeakPageFile,Handles,VirtBytes,VirtBytesPeakPID,0,Footprint,MaxFP,Read,Write,"
    "Sim_Read_Calls,Sim_Read_Time,BulkReadBytesReq,Sim_Read_Bytes,Sim_Write_Calls,Sim_Write_time,"
    "BulkWriteBytesReq,Sim_Write_Bytes";

TEST_F(MonitorJob, FullModeWritesTheHeaderFactsRowsAndTheEndSummary) {
    Run({"VEL_RESOURCE_MONITOR=FULL", "VELDOR_SEQ=snap42", "ZOR_BRANCH=br7",
         "PROCESSOR_IDENTIFIER=proc"},
        [](bcu_ResourceMonitor& m) {
            m.RegisterCmdLine(JobInDir);
            m.Initialize("pre", 0);
            std::vector<char> touch(64 << 20, 1);  // raises the peak working set
            std::vector<long long> before = ProcProbe();
            m.Mark("a_mark_of_exactly_forty_one_characters_xx");
            std::vector<long long> after = ProcProbe();
            std::ofstream probe(g_dir + "/probe");
            for (size_t i = 0; i < before.size(); ++i)
                probe << before[i] << ' ' << after[i] << '\n';
            m.IniTimer(0, "solve");
            m.StartTimer(0);
            m.StopTimer(0);
            m.IniTimer(600, "last");
            m.StartTimer(600);
            m.StopTimer(600);
            m.StartTimer(601);  // ignored, as is 700
            m.StopTimer(700);
            m.IniTimer(101, "loop");
            for (int i = 0; i < 3; ++i) {
                m.StartTimer(101);
                m.StopTimer(101);
            }
            (void)touch[touch.size() - 1];
        });
    std::vector<std::string> l = Lines("job.use");
    ASSERT_GE(l.size(), 12u);
    EXPECT_EQ(l[0], "!Snapshot = snap42");
    EXPECT_EQ(l[1], "!Version = br7");
    EXPECT_TRUE(l[2].starts_with("!Host = ")) << l[2];
    EXPECT_TRUE(l[2].ends_with(" proc " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores"))
        << l[2];
    EXPECT_TRUE(l[3].starts_with("!Memory = ") && l[3].ends_with(" MB")) << l[3];
    EXPECT_EQ(l[4], "");
    EXPECT_EQ(l[5], kHeader);

    std::vector<std::string> start = Fields(l[6]);
    ASSERT_EQ(start.size(), 31u) << l[6];
    EXPECT_EQ(start[0], "pre");
    EXPECT_EQ(start[2], "pre-Start");
    EXPECT_EQ(start[17], std::to_string(childPid)) << "the PID column";
    for (int zero : {8, 9, 10, 11, 14, 15, 16, 18})
        EXPECT_EQ(start[zero], "0") << "column " << zero << " has no Linux meaning";

    std::vector<std::string> mark = Fields(l[7]);
    ASSERT_EQ(mark.size(), 31u);
    EXPECT_EQ(mark[2], "a_mark_of_exactly_forty_one_characters_xx")
        << "full mode keeps marks whole";
    EXPECT_GE(std::stoll(mark[5]), 64 * 1024) << "WSPEAK (VmHWM, KB) counts the touched 64 MB";
    // Each column lies between the /proc readings the child took just before and after the mark.
    std::ifstream probe(g_dir + "/probe");
    const struct {
        int column;
        const char* name;
    } kProbed[] = {{5, "WSPEAK"},      {6, "WORKSPACE"}, {13, "PeakPageFile"},
                   {12, "PageFaults"}, {21, "Read"},     {22, "Write"}};
    for (const auto& c : kProbed) {
        long long lo = 0, hi = 0;
        ASSERT_TRUE(probe >> lo >> hi) << "the child's probe file";
        long long v = std::stoll(mark[c.column]);
        const long long kMax = 0x7FFFFFFF;  // the row's 32-bit counts stop there
        EXPECT_GE(v, std::min(lo, kMax)) << c.name;
        EXPECT_LE(v, std::min(hi, kMax)) << c.name;
    }

    // The end: the end mark, the header again, a blank line, and the summary.
    size_t end = 8;
    EXPECT_EQ(Fields(l[end])[2], "pre-End");
    EXPECT_EQ(l[end + 1], kHeader);
    EXPECT_EQ(l[end + 2], "");
    EXPECT_EQ(
        l[end + 3],
        "!Timer Summary                      # calls      CPU      Wall       Min      Max      "
        "Mean     Sigma ");
    EXPECT_TRUE(l[end + 4].starts_with("!Timer   0 :                solve        1 "))
        << l[end + 4];
    EXPECT_TRUE(l[end + 4].ends_with("   0.0000 ")) << "one call has sigma 0: " << l[end + 4];
    EXPECT_TRUE(l[end + 5].starts_with("!Timer 101 :                 loop        3 "))
        << l[end + 5];
    EXPECT_EQ(Fields(l[end + 5]).size(), 12u) << "timers 101 to 200 add the rest column";
    EXPECT_TRUE(l[end + 6].starts_with("!Timer 600 :                 last        1 "))
        << l[end + 6];
    EXPECT_EQ(l.size(), end + 7) << "no row for 601 or 700";
}

TEST_F(MonitorJob, AShortMarkModeCutsTheMiddleOfLongMarks) {
    // 41 characters: the middle one goes, and "_" stands at position 20.
    EXPECT_STREQ(
        bcu_ResourceMonitor::ShortenedMark("a_mark_of_exactly_forty_one_characters_xx", false)
            .CStr(),
        "a_mark_of_exactly_f_ty_one_characters_xx");
    EXPECT_STREQ(
        bcu_ResourceMonitor::ShortenedMark("forty_characters_are_kept_as_they_are_40", false)
            .CStr(),
        "forty_characters_are_kept_as_they_are_40");
    EXPECT_STREQ(
        bcu_ResourceMonitor::ShortenedMark("a_mark_of_exactly_forty_one_characters_xx", true)
            .CStr(),
        "a_mark_of_exactly_forty_one_characters_xx");
    Run({"VEL_RESOURCE_MONITOR=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("std", 0);
        m.Mark("a_mark_of_exactly_forty_one_characters_xx");
    });
    std::vector<std::string> l = Lines("job.use");
    ASSERT_GE(l.size(), 3u);
    EXPECT_EQ(l[0], kHeader) << "phase std appends and writes no header facts";
    EXPECT_EQ(Fields(l[2])[2], "a_mark_of_exactly_f_ty_one_characters_xx");
}

TEST_F(MonitorJob, RanksPhasesAndTheDriverModeNameAndOpenTheFileTheirWay) {
    Run({"VEL_RESOURCE_MONITOR=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("std", 2);
    });
    EXPECT_FALSE(Lines("job.use.2").empty()) << "rank 2 writes .use.2";
    Run({"VEL_RESOURCE_MONITOR=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("xpl", 2);
    });
    std::vector<std::string> xpl = Lines("job.use.3");
    ASSERT_GE(xpl.size(), 4u) << "phase xpl numbers the file rank + 1";
    EXPECT_EQ(xpl[0], "");
    EXPECT_EQ(xpl[1], "**********************************");
    EXPECT_EQ(xpl[2], "*          cpu #3                *");

    Run({"VEL_RESOURCE_MONITOR=DRIVER"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("pre", 0);
    });
    std::vector<std::string> driver = Lines("job.use");
    ASSERT_GE(driver.size(), 2u);
    std::vector<std::string> load = Fields(driver[0]);
    ASSERT_EQ(load.size(), 21u) << driver[0];
    EXPECT_EQ(load[0], "pre");
    EXPECT_TRUE(load[1].ends_with(".0"));
    EXPECT_EQ(load[2], "loadPre-End");
    EXPECT_EQ(driver[1], kHeader) << "the driver mode writes no header facts";

    // Without DRIVER, a second start of phase pre truncates, unless V6 asks to append.
    auto startPre = [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("pre", 0);
    };
    Run({"VEL_RESOURCE_MONITOR=1"}, startPre);
    size_t once = Lines("job.use").size();
    Run({"VEL_RESOURCE_MONITOR=1"}, startPre);
    EXPECT_EQ(Lines("job.use").size(), once);
    Run({"VEL_RESOURCE_MONITOR=1", "VEL_RESOURCE_MONITOR_V6=1"}, startPre);
    EXPECT_EQ(Lines("job.use").size(), 2 * once);
}

TEST_F(MonitorJob, EmptyJobAndDirectoryGiveTestDotUseHere) {
    Run({"VEL_RESOURCE_MONITOR=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine([](cow_String& job, cow_String& dir) {
            job = "";
            dir = "";
        });
        m.Initialize("pre", 0);
    });
    EXPECT_FALSE(Lines("test.use").empty());
}

TEST_F(MonitorJob, TheMallinfoColumnsReplaceReadAndWriteAndTheCallbackFillsTheLastThree) {
    Run({"VEL_RESOURCE_MONITOR=1", "VEL_RESOURCE_DLMALLINFO=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.RegisterMemoryStack([](size_t& a, size_t& b, size_t& c) {
            a = 11;
            b = 22;
            c = 33;
        });
        m.Initialize("std", 0);
    });
    std::vector<std::string> l = Lines("job.use");
    ASSERT_GE(l.size(), 2u);
    EXPECT_TRUE(
        l[0].find("Read,Write,System,InUse,Free,SintMCORE,SintReserved,ADBHeap,Sim_Read_Calls") !=
        std::string::npos)
        << l[0];
    std::vector<std::string> row = Fields(l[1]);
    ASSERT_EQ(row.size(), 35u) << "the header names two columns more than the row holds";
    EXPECT_EQ(row[24], "11");
    EXPECT_EQ(row[25], "22");
    EXPECT_EQ(row[26], "33");
}

TEST_F(MonitorJob, TraceModeListsEveryCallOfTheTracedTimers) {
    Run({"VEL_RESOURCE_MONITOR=TRACE"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("std", 0);
        m.IniTimer(1, "barrier");
        m.IniTimer(2, "other");
        for (int i = 0; i < 3; ++i) {
            m.StartTimer(1);
            m.StopTimer(1);
        }
        m.StartTimer(2);
        m.StopTimer(2);
    });
    std::vector<std::string> l = Lines("job.use");
    auto at = std::find(l.begin(), l.end(), " IniBarrier ");
    ASSERT_NE(at, l.end());
    ASSERT_GE(l.end() - at, 4);
    EXPECT_TRUE(at[1].starts_with("   0 :  ")) << at[1];
    EXPECT_EQ(Fields(at[1]).size(), 4u) << "call 0 of timers 1 and 2: " << at[1];
    EXPECT_EQ(Fields(at[3]).size(), 3u) << "call 2 of timer 1 only: " << at[3];
}

TEST_F(MonitorJob, SwitchedOffItWritesNothingAndOnlyTracksPhases) {
    Run({}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        long long before = ZORBasPhaseTracker::Saved();
        m.Initialize("pre", 0);
        m.Mark("m1");
        m.IniTimer(0, "t");
        m.StartTimer(0);
        m.StopTimer(0);
        if (ZORBasPhaseTracker::Saved() != before + 2) std::exit(3);
        if (m.Timer(0) != nullptr) std::exit(4);
    });
    EXPECT_TRUE(Lines("job.use").empty());
}

TEST_F(MonitorJob, FileTrafficShowsInTheSimColumnsAndTheIoTable) {
    Run({"VEL_RESOURCE_MONITOR=1", "IO_RESOURCE_MONITOR=1"}, [](bcu_ResourceMonitor& m) {
        m.RegisterCmdLine(JobInDir);
        m.Initialize("pre", 0);
        ZORBasUtlIOStats::RecordRead(5, 7, "deck.inp", 100, 60, 0.5);
        ZORBasUtlIOStats::RecordWrite(5, 8, "out.res", 4096, 4096, 0.25);
        ZORBasUtlIOStats::RecordWrite(5, 8, "out.res", 10, 10, 0.25);
        m.Mark("io");
        // A file of the job feeds the same counters through its reads and writes.
        std::vector<char> bytes(100000, 'x');
        ZORBasFile f;
        if (f.OpenWrite("data.bin", ZORBasFileBase::SharingDefault) != 0) std::exit(5);
        if (f.Write(bytes.data(), bytes.size()) != 0 || f.Seek(0) != 0) std::exit(6);
        if (f.Read(bytes.data(), 70000) != 0) std::exit(7);
        f.Close();
    });
    std::vector<std::string> l = Lines("job.use");
    std::vector<std::string> row;
    for (const std::string& line : l)
        if (line.starts_with("pre ") && Fields(line)[2] == "io") row = Fields(line);
    ASSERT_EQ(row.size(), 31u);
    std::vector<std::string> sim(row.begin() + 23, row.end());
    EXPECT_EQ(sim[0], "1");
    EXPECT_EQ(std::stod(sim[1]), 0.5);
    EXPECT_EQ(sim[2], "100");
    EXPECT_EQ(sim[3], "60");
    EXPECT_EQ(sim[4], "2");
    EXPECT_EQ(std::stod(sim[5]), 0.5);
    EXPECT_EQ(sim[6], "4106");
    EXPECT_EQ(sim[7], "4106");

    std::vector<std::string> io = Lines("job.io.use");
    ASSERT_GE(io.size(), 6u);
    EXPECT_TRUE(io[0].starts_with("!Phase,Mark,Read_Calls"));
    EXPECT_EQ(Fields(io[1])[1], "pre-Start");
    EXPECT_EQ(Fields(io[2])[1], "io");
    EXPECT_EQ(Fields(io[2])[2], "1");
    auto files = std::find_if(io.begin(), io.end(),
                              [](const std::string& s) { return s.starts_with("!File,"); });
    ASSERT_NE(files, io.end());
    ASSERT_EQ(io.end() - files, 4) << "a row per file at the end";
    std::vector<std::string> data;
    for (auto row = files + 1; row != io.end(); ++row)
        if (row->starts_with("data.bin ")) data = Fields(*row);
    ASSERT_EQ(data.size(), 11u) << "the file the job wrote has its row";
    EXPECT_EQ(data[3], "1") << "one read";
    EXPECT_EQ(data[5], "70000");
    EXPECT_EQ(data[6], "70000");
    EXPECT_EQ(data[7], "1") << "one write";
    EXPECT_EQ(data[9], "100000");
    EXPECT_EQ(data[10], "100000");
    EXPECT_EQ(std::count(io.begin(), io.end(), io[0]), 1) << "one totals header";
    EXPECT_TRUE(std::any_of(files + 1, io.end(),
                            [](const std::string& r) { return r.starts_with("deck.inp 5 7 1 "); }));
    EXPECT_TRUE(std::any_of(files + 1, io.end(),
                            [](const std::string& r) { return r.starts_with("out.res 5 8 0 "); }));
}

TEST(MonitorParts, TimerHoldsWhenStoppedAndComplexDividesWithoutOverflow) {
    omi_Timer t;
    EXPECT_EQ(t.Elapsed(), 0.0);
    t.Start();
    usleep(2000);
    t.Stop();
    double held = t.Elapsed();
    EXPECT_GE(held, 0.002);
    usleep(1000);
    EXPECT_EQ(t.Elapsed(), held);
    t.Start();
    EXPECT_GT(t.Elapsed(), held) << "a restart goes on from the time gathered";
    t.Reset();
    EXPECT_EQ(t.Elapsed(), 0.0);

    // The time of day agrees with the C library's local time, to the second.
    time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    double expected = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    double day = omi_Time::LocalSecondsOfDay();
    EXPECT_TRUE(std::fabs(day - expected) < 2.0 || std::fabs(day - expected) > 86398.0)
        << day << " against " << expected;
    EXPECT_LE(omi_Time::LocalWholeSecondsOfDay() - static_cast<int32_t>(day), 1);

    omi_complex big(1e300, 1e300);
    omi_complex q = big / omi_complex(1e300, 1e300);
    EXPECT_DOUBLE_EQ(q.re, 1.0);
    EXPECT_DOUBLE_EQ(q.im, 0.0);
    omi_complex z = omi_complex(3, 4) * omi_complex(1, -2);
    EXPECT_EQ(z, omi_complex(11, -2));
    EXPECT_DOUBLE_EQ(omi_complex(3, 4).Abs(), 5.0);
    omi_complex r = Sqrt(omi_complex(-4, 0));
    EXPECT_DOUBLE_EQ(r.re, 0.0);
    EXPECT_DOUBLE_EQ(r.im, 2.0);
    omi_complex e = Exp(omi_complex(0, M_PI));
    EXPECT_NEAR(e.re, -1.0, 1e-15);
}

}  // namespace

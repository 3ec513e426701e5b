#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "zorbas/testcore/uts_Assert.h"
#include "zorbas/testcore/uts_UnitTestSuite.h"
#include "zorbas/testcore/uts_VerboseOutput.h"

namespace {

// Sets or clears the harness's variables for the life of the object; they are read when a test or
// suite is made.
class Env {
  public:
    Env(const char* verbose, const char* performance, const char* newPerf = nullptr) {
        Set("UnitTestVerbose", verbose);
        Set("UnitTestPerformance", performance);
        Set("NewUTSPerfMode", newPerf);
    }
    ~Env() {
        unsetenv("UnitTestVerbose");
        unsetenv("UnitTestPerformance");
        unsetenv("NewUTSPerfMode");
    }

  private:
    static void Set(const char* name, const char* value) {
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
};

// A class whose functions pass, fail twice, throw, and pass; it logs set-ups, tear-downs, calls
// and the arguments it was given.
class Sample : public uts_UnitTest {
  public:
    explicit Sample(std::vector<std::string>* log, int* deleted = nullptr)
        : m_log(log), m_deleted(deleted) {
        addTest(new uts_TestFunctor<Sample>("Sample", "testPass", this, &Sample::testPass));
        addTest(new uts_TestFunctor<Sample>("Sample", "testFail", this, &Sample::testFail));
        addTest(new uts_TestFunctor<Sample>("Sample", "testThrow", this, &Sample::testThrow));
        addTest(new uts_TestFunctor<Sample>("Sample", "testLast", this, &Sample::testLast));
    }
    ~Sample() override {
        if (m_deleted) ++*m_deleted;
    }
    void testSetUp() override {
        m_log->push_back("setUp");
        if (failSetUpAt == static_cast<int>(m_log->size())) throw 1;
    }
    void testTearDown() override {
        m_log->push_back("tearDown");
        if (failTearDown) throw 2;
    }
    void setArgs(int count, char** values) override {
        uts_UnitTest::setArgs(count, values);
        std::string args;
        for (int i = 1; i < count; ++i) args += std::string(i > 1 ? " " : "") + values[i];
        m_log->push_back("args(" + std::to_string(count) + ")" + args);
    }
    void testPass() {
        m_log->push_back("pass");
        UTS_ASSERT(1 + 1 == 2);
        UTS_ASSERT(true);
    }
    void testFail() {
        m_log->push_back("fail");
        failLine = __LINE__ + 1;
        UTS_ASSERT(2 < 1);
        UTS_ASSERT(3 < 1);
        UTS_ASSERT(1 < 3);
    }
    void testThrow() {
        m_log->push_back("throw");
        UTS_ASSERT(true);
        throw std::runtime_error("boom");
    }
    void testLast() {
        m_log->push_back("last");
        UTS_ASSERT(true);
    }
    static inline int failLine = 0;  // of the first failing check
    int failSetUpAt = -1;
    bool failTearDown = false;

  private:
    std::vector<std::string>* m_log;
    int* m_deleted;
};

// "<file> (<line>) : " of the failing checks of Sample::testFail.
std::string At(int offset) {
    return std::string(__FILE__) + " (" + std::to_string(Sample::failLine + offset) + ") : ";
}

std::string Row(int a, int b, int c) {
    char row[128];
    std::snprintf(row, sizeof row, "%20d%34d%37d\n", a, b, c);
    return row;
}

std::string Rule(char c, int width) { return "    " + std::string(width, c) + "\n"; }

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

int RunSuite(uts_UnitTestSuite& suite, std::vector<const char*> args) {
    args.insert(args.begin(), "prog");
    return suite.runTests(static_cast<int>(args.size()), const_cast<char**>(args.data()));
}

}  // namespace

TEST(uts_UnitTest, PlainRunCountsFailuresAndExceptionsAndAlwaysTearsDown) {
    Env env(nullptr, nullptr);
    std::vector<std::string> log;
    Sample test(&log);
    test.setTestName("Sample");
    testing::internal::CaptureStdout();
    int failures = test.runTests();
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(failures, 3);  // two failed checks and one exception
    EXPECT_EQ(out, At(0) + "assertion failed : 2 < 1\n" + At(1) +
                       "assertion failed : 3 < 1\n"
                       "unexpected exception in Sample::testThrow\n"
                       "4 tests run, 2 tests passed\n");
    EXPECT_EQ(
        log, (std::vector<std::string>{"setUp", "pass", "tearDown", "setUp", "fail", "tearDown",
                                       "setUp", "throw", "tearDown", "setUp", "last", "tearDown"}));
}

TEST(uts_UnitTest, VerboseRunPrintsTheTableWithItsTwoRuleLengths) {
    Env env("1", nullptr);
    std::vector<std::string> log;
    Sample test(&log);
    EXPECT_EQ(test.getVerbose(), 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(test.runTests(), 3);
    std::string out = testing::internal::GetCapturedStdout();
    std::string expected =
        "\n\n" + Rule('=', 102) + "\t                                        Test Statistics\n" +
        Rule('-', 102) +
        "         Test Function Number        Number of Checks Within Test Function         "
        "Number of Failures     \n" +
        Row(1, 2, 0) + "\nFailures in Test 2\n" + At(0) + "assertion failed : 2 < 1\n\n" + At(0) +
        "UTS_ASSERT expression evaluated is: 2 < 1\n\n" + At(1) + "assertion failed : 3 < 1\n\n" +
        At(1) + "UTS_ASSERT expression evaluated is: 3 < 1\n" + Row(2, 3, 2) +
        "unexpected exception in Sample::testThrow\n" + Row(3, 1, 1) + Row(4, 1, 0) + "\n" +
        Rule('-', 101) + Row(4, 7, 3) + Rule('=', 101) + "\n Test Status: FAILED \n\n";
    EXPECT_EQ(out, expected);
}

TEST(uts_UnitTest, StopOnFailureAndFailingSetUpOrTearDownEndTheClass) {
    Env env(nullptr, nullptr);
    {
        std::vector<std::string> log;
        Sample test(&log);
        test.setStopOnFailure();
        EXPECT_TRUE(test.getStopOnFailure());
        testing::internal::CaptureStdout();
        EXPECT_EQ(test.runTests(), 2);
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find("---Stop Testing Prematurely Due to stopOnFailure Flag Set\n"
                           "2 tests run, 1 tests passed\n"),
                  std::string::npos)
            << out;
        EXPECT_EQ(log.back(), "tearDown");  // the failing function was torn down first
    }
    {
        std::vector<std::string> log;
        Sample test(&log);
        test.failSetUpAt = 4;  // the second function's set-up
        testing::internal::CaptureStdout();
        EXPECT_EQ(test.runTests(), 0);  // no count of its own
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "unexpected exception in Sample::testSetUp\n1 tests run, 1 tests passed\n");
    }
    {
        std::vector<std::string> log;
        Sample test(&log);
        test.failTearDown = true;
        testing::internal::CaptureStdout();
        EXPECT_EQ(test.runTests(), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "unexpected exception in Sample::testTearDown\n1 tests run, 1 tests passed\n");
    }
}

TEST(uts_UnitTestSuite, PicksClassesAndTheirArgumentsFromTheCommandLine) {
    Env env(nullptr, nullptr);
    std::vector<std::string> a, b, c;
    int deleted = 0;
    uts_UnitTestSuite suite;
    suite.addTestClass("Alpha", new Sample(&a, &deleted));
    suite.addTestClass("Beta", new Sample(&b, &deleted));
    suite.addTestClass("Gamma", new Sample(&c, &deleted));
    testing::internal::CaptureStdout();
    // Beta twice: selected once, the later arguments kept; Gamma's -start_args runs to the end.
    int failures = RunSuite(suite, {"Beta", "-start_args", "x", "-end_args", "Beta", "-start_args",
                                    "y", "z", "-end_args", "Gamma", "-start_args", "Alpha", "w"});
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(failures, 6);
    EXPECT_TRUE(a.empty());  // "Alpha" was an argument of Gamma, not a name
    ASSERT_FALSE(b.empty());
    EXPECT_EQ(b.front(), "args(3)y z");
    EXPECT_EQ(c.front(), "args(3)Alpha w");
    EXPECT_EQ(out.find("[Alpha]"), std::string::npos);
    EXPECT_LT(out.find("[Beta]\n"), out.find("[Gamma]\n"));
    EXPECT_EQ(deleted, 3);  // all tests end with the run, selected or not
}

TEST(uts_UnitTestSuite, AllClassesRunWithoutNamesAndAnUnknownNameFailsTheRun) {
    Env env(nullptr, nullptr);
    {
        std::vector<std::string> a, b;
        uts_UnitTestSuite suite;
        suite.addTestClass("Alpha", new Sample(&a));
        suite.addTestClass("Beta", new Sample(&b));
        testing::internal::CaptureStdout();
        EXPECT_EQ(RunSuite(suite, {}), 6);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(a.front(), "args(1)");
        EXPECT_EQ(b.front(), "args(1)");
    }
    {
        std::vector<std::string> a;
        int deleted = 0;
        uts_UnitTestSuite suite;
        suite.addTestClass("Alpha", new Sample(&a, &deleted));
        testing::internal::CaptureStdout();
        EXPECT_EQ(RunSuite(suite, {"Alpha", "Delta"}), 1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: \"Delta\" test not found.\n");
        EXPECT_TRUE(a.empty());
        EXPECT_EQ(deleted, 0);  // left to the suite's destructor
    }
}

TEST(uts_UnitTestSuite, VerboseZeroStillNamesTheClassThroughTheVerboseMonitor) {
    Env env("0", nullptr);
    std::vector<std::string> a;
    uts_UnitTestSuite suite;
    suite.addTestClass("Alpha", new Sample(&a));
    testing::internal::CaptureStdout();
    RunSuite(suite, {});
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("[Alpha]\n\n\n" + Rule('=', 102), 0), 0u) << out;
    EXPECT_NE(out.find(" Test Status: FAILED \n\n"), std::string::npos);
}

TEST(uts_UnitTestSuite, SharedMonitorAndHandlerAreHandedToEachClass) {
    Env env(nullptr, nullptr);
    struct Counting : uts_ExceptionHandler {
        int runs = 0;
        bool execute(uts_Functor* f) override {
            ++runs;
            f->call();
            return true;
        }
    } handler;
    uts_UnitTestMonitor monitor;
    std::vector<std::string> a;
    class Quiet : public uts_UnitTest {
      public:
        Quiet() { addTest(new uts_TestFunctor<Quiet>("Quiet", "testOne", this, &Quiet::testOne)); }
        void testOne() { UTS_ASSERT(false); }
    };
    {
        uts_UnitTestSuite suite;
        suite.setExceptionHandler(&handler);
        suite.setUnitTestMonitor(&monitor);
        suite.addTestClass("One", new Quiet);
        suite.addTestClass("Two", new Quiet);
        testing::internal::CaptureStdout();
        EXPECT_EQ(RunSuite(suite, {}), 1 + 2);  // the shared monitor's totals run on
        testing::internal::GetCapturedStdout();
    }
    EXPECT_EQ(handler.runs, 6);  // set-up, function, tear-down per class
    EXPECT_EQ(monitor.getTestCount(), 2);
    EXPECT_EQ(monitor.getTotalUnitAssertFailureCount(), 2);  // the monitor outlives the suite
}

TEST(uts_UnitTestSuite, PerformanceModeWritesTheUseFileAndNewModeRunsOnlyPerformanceClasses) {
    char dir[] = "/tmp/uts_testXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir), 0);
    {
        Env env(nullptr, "");
        std::vector<std::string> a;
        uts_UnitTestSuite suite;
        suite.addTestClass("Timed", new Sample(&a));
        testing::internal::CaptureStdout();
        RunSuite(suite, {});
        testing::internal::GetCapturedStdout();
        std::string use = ReadFile("Timed.use");
        std::istringstream lines(use);
        std::string line;
        std::vector<std::string> rows;
        while (std::getline(lines, line)) rows.push_back(line);
        ASSERT_EQ(rows.size(), 8u) << use;
        EXPECT_EQ(rows[0], "Sample  0.00 testPass-Start");
        EXPECT_EQ(rows[1].rfind("Sample  ", 0), 0u);
        EXPECT_EQ(rows[1].substr(rows[1].size() - 13), " testPass-End");
        double seconds = std::stod(rows[1].substr(8));
        EXPECT_GE(seconds, 0.0);
        EXPECT_LT(seconds, 10.0);
        EXPECT_EQ(rows[6], "Sample  0.00 testLast-Start");
    }
    {
        Env env(nullptr, nullptr, "1");
        std::vector<std::string> unit, perf;
        int deleted = 0;
        struct Perf : uts_PerformanceUnitTest {
            std::vector<std::string>* log;
            explicit Perf(std::vector<std::string>* l) : log(l) {
                addTest(new uts_TestFunctor<Perf>("Perf", "testTime", this, &Perf::testTime));
            }
            void testTime() { log->push_back("timed"); }
        };
        uts_UnitTestSuite suite;
        suite.addTestClass("Unit", new Sample(&unit, &deleted));
        suite.addTestClass("Speed", new Perf(&perf));
        testing::internal::CaptureStdout();
        EXPECT_EQ(RunSuite(suite, {}), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Speed]\n1 tests run, 1 tests passed\n");
        EXPECT_TRUE(unit.empty());
        EXPECT_EQ(deleted, 1);
        EXPECT_EQ(perf, (std::vector<std::string>{"timed"}));
        EXPECT_NE(ReadFile("Speed.use").find("Perf  0.00 testTime-Start\n"), std::string::npos);
    }
    std::remove("Timed.use");
    std::remove("Speed.use");
    ASSERT_EQ(chdir(cwd), 0);
    EXPECT_EQ(rmdir(dir), 0);
}

TEST(uts_VerboseOutput, PrintsOnlyWhenSwitchedOn) {
    testing::internal::CaptureStdout();
    uts_VerboseOutput(0).output("%s %d %g\n", "off", 1, 2.5);
    uts_VerboseOutput(2).output("%s %d %g\n", "on", 1, 2.5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "on 1 2.5\n");
}

TEST(uts_HarnessDeathTest, MissingTestMonitorOrClassIsFatal) {
    Env env(nullptr, nullptr);
    uts_UnitTestSuite suite;
    EXPECT_DEATH(suite.addTestClass("x", static_cast<uts_UnitTest*>(nullptr)),
                 "AssertionFailed:test, file ZORBase/ZORBasUts.m/src/uts_UnitTestSuite");
    EXPECT_DEATH(suite.addTestClass("x", static_cast<uts_PerformanceUnitTest*>(nullptr)),
                 "AssertionFailed:perf");
    std::vector<std::string> log;
    Sample test(&log);
    test.setUnitTestMonitor(nullptr);
    EXPECT_DEATH(test.runTests(),
                 "AssertionFailed:testMonitor, file ZORBase/ZORBasUts.m/src/uts_UnitTest");
}

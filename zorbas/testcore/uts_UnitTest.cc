#include "zorbas/testcore/uts_UnitTest.h"

#include <cstdlib>
#include <ctime>

#include "companions/framework/PLXFatalError.h"

#define UTS_TEST_FILE "ZORBase/ZORBasUts.m/src/uts_UnitTest"

namespace {
void Rule(char c, int width) {
    std::fputs("    ", stdout);
    for (int i = 0; i < width; ++i) std::fputc(c, stdout);
    std::fputc('\n', stdout);
}
}  // namespace

void uts_SetUpFunctor::call() { m_test->testSetUp(); }
void uts_TearDownFunctor::call() { m_test->testTearDown(); }

bool uts_CatchAllExceptionHandler::execute(uts_Functor* functor) {
    try {
        functor->call();
    } catch (...) {
        return false;
    }
    return true;
}

namespace {
double Now() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}
}  // namespace

void uts_Timer::start() { m_start = Now(); }
void uts_Timer::stop() { m_seconds = Now() - m_start; }

void uts_UnitTestMonitor::reportTestName(const char* name) { std::printf("[%s]\n", name); }

void uts_UnitTestMonitor::reportEachTest() {
    if (unitAssertFailureCount == 0) ++passedCount;
}

void uts_UnitTestMonitor::endTesting() {
    std::printf("%d tests run, %d tests passed\n", testCount, passedCount);
}

void uts_UnitTestMonitor::errorPrint(const char* file, int line, const char* text) {
    std::printf("%s (%d) : assertion failed : %s\n", file, line, text);
}

void uts_UnitTestMonitor::performancePrint(FILE* file, const char* className,
                                           const char* functionName, double seconds) {
    std::fprintf(file, "%s  0.00 %s-Start\n", className, functionName);
    std::fprintf(file, "%s  %g %s-End\n", className, seconds, functionName);
}

void uts_UnitTestMonitor::exceptionPrint(const char* className, const char* functionName) {
    std::printf("unexpected exception in %s::%s\n", className, functionName);
}

void uts_UnitTestMonitor::stopOnFailurePrint() {
    std::printf("---Stop Testing Prematurely Due to stopOnFailure Flag Set\n");
}

void uts_UnitTestMonitorVerbose::beginTesting() {
    std::fputs("\n\n", stdout);
    Rule('=', 102);
    // The heading stands over the middle of the table.
    std::printf("\t%40sTest Statistics\n", "");
    Rule('-', 102);
    std::fputs(
        "         Test Function Number        Number of Checks Within Test Function         Number "
        "of Failures     \n",
        stdout);
}

void uts_UnitTestMonitorVerbose::reportEachTest() {
    uts_UnitTestMonitor::reportEachTest();
    std::printf("%20d%34d%37d\n", testCount, unitAssertCount, unitAssertFailureCount);
}

void uts_UnitTestMonitorVerbose::endTesting() {
    std::fputs("\n", stdout);
    Rule('-', 101);
    std::printf("%20d%34d%37d\n", testCount, totalUnitAssertCount, totalUnitAssertFailureCount);
    Rule('=', 101);
    std::fputs("\n", stdout);
    std::fputs(totalUnitAssertFailureCount != 0 ? " Test Status: FAILED \n\n"
                                                : " Test Status: PASSED \n\n",
               stdout);
}

void uts_UnitTestMonitorVerbose::errorPrint(const char* file, int line, const char* text) {
    std::fputs("\n", stdout);
    if (unitAssertFailureCount == 1) std::printf("Failures in Test %d\n", testCount);
    uts_UnitTestMonitor::errorPrint(file, line, text);
}

void uts_UnitTestMonitorVerbose::exprPrint(const char* file, int line, const char* text) {
    std::printf("\n%s (%d) : UTS_ASSERT expression evaluated is: %s\n", file, line, text);
}

uts_UnitTest::uts_UnitTest() {
    if (const char* v = std::getenv("UnitTestVerbose")) {
        testMonitor = new uts_UnitTestMonitorVerbose;
        verbose = std::atoi(v);
    } else {
        testMonitor = new uts_UnitTestMonitor;
    }
    performanceMode = std::getenv("UnitTestPerformance") != nullptr;
}

uts_UnitTest::~uts_UnitTest() {
    while (tests) {
        uts_Functor* next = tests->next;
        delete tests;
        tests = next;
    }
    if (m_monitorOwned) delete testMonitor;
    if (m_useFile) std::fclose(m_useFile);
}

void uts_UnitTest::addTest(uts_Functor* functor) {
    functor->next = nullptr;
    uts_Functor** end = &tests;
    while (*end) end = &(*end)->next;
    *end = functor;
    ++m_functorCount;
}

void uts_UnitTest::setUnitTestMonitor(uts_UnitTestMonitor* monitor) {
    if (m_monitorOwned) delete testMonitor;
    testMonitor = monitor;
    m_monitorOwned = false;
}

int uts_UnitTest::runTests() {
    uts_CatchAllExceptionHandler catchAll;
    if (!testExceptionHandler) testExceptionHandler = &catchAll;
    ZORBAS_FATAL_ASSERT(testMonitor, UTS_TEST_FILE, 201);
    ZORBAS_FATAL_ASSERT(testExceptionHandler, UTS_TEST_FILE, 202);
    testMonitor->beginTesting();
    for (uts_Functor* f = tests; f; f = f->next) {
        uts_SetUpFunctor setUp(f->getClassName(), this);
        if (!testExceptionHandler->execute(&setUp)) {
            testMonitor->exceptionPrint(f->getClassName(), "testSetUp");
            break;
        }
        testMonitor->incrementTestCount();
        testMonitor->resetIncrementUnitAssertCount();
        bool ok;
        if (m_useFile) {
            uts_Timer timer;
            timer.start();
            ok = testExceptionHandler->execute(f);
            timer.stop();
            std::fflush(stderr);
            std::fflush(stdout);
            testMonitor->performancePrint(m_useFile, f->getClassName(), f->getFunctionName(),
                                          timer.elapsed());
        } else {
            ok = testExceptionHandler->execute(f);
            std::fflush(stderr);
            std::fflush(stdout);
        }
        if (!ok) {
            testMonitor->incrementUnitAssertFailureCount();
            testMonitor->exceptionPrint(f->getClassName(), f->getFunctionName());
        }
        testMonitor->reportEachTest();
        uts_TearDownFunctor tearDown(f->getClassName(), this);
        if (!testExceptionHandler->execute(&tearDown)) {
            testMonitor->exceptionPrint(f->getClassName(), "testTearDown");
            break;
        }
        if (testMonitor->getUnitAssertFailureCount() != 0 && stopOnFailure) {
            testMonitor->stopOnFailurePrint();
            break;
        }
    }
    testMonitor->endTesting();
    if (testExceptionHandler == &catchAll) testExceptionHandler = nullptr;
    return testMonitor->getTotalUnitAssertFailureCount();
}

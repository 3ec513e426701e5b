// The exported unit test harness: a test class derives from uts_UnitTest, adds its test functions
// as uts_Functor objects (uts_TestFunctor binds a member function), checks with UTS_ASSERT
// (uts_Assert.h), and a uts_UnitTestSuite picks the classes from the command line and runs them.
// What the monitors print is fixed text that scripts read, so it is never reworded. The harness
// has no thread and no global state beyond the environment (UnitTestVerbose, UnitTestPerformance,
// NewUTSPerfMode), which each object reads when it is made.
#pragma once

#include <cstdio>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class uts_UnitTest;

// A named call. The names are not copied: they must outlive the functor (literals, as a rule).
class ZORBAS_API uts_Functor : public mem_AllocationOperators {
  public:
    uts_Functor(const char* className, const char* functionName)
        : next(nullptr), m_className(className), m_functionName(functionName) {}
    virtual void call() = 0;
    virtual ~uts_Functor() = default;
    const char* getClassName() const { return m_className; }
    const char* getFunctionName() const { return m_functionName; }

    uts_Functor* next;  // the test's list; null at the end

  private:
    const char* m_className;
    const char* m_functionName;
};

// Binds a member function of a test class: addTest(new uts_TestFunctor<MyTest>("MyTest",
// "testSum", this, &MyTest::testSum)).
template <class T>
class uts_TestFunctor : public uts_Functor {
  public:
    uts_TestFunctor(const char* className, const char* functionName, T* test, void (T::*method)())
        : uts_Functor(className, functionName), m_test(test), m_method(method) {}
    void call() override { (m_test->*m_method)(); }

  private:
    T* m_test;
    void (T::*m_method)();
};

class ZORBAS_API uts_SetUpFunctor : public uts_Functor {
  public:
    uts_SetUpFunctor(const char* className, uts_UnitTest* test)
        : uts_Functor(className, "testSetUp"), m_test(test) {}
    void call() override;

  private:
    uts_UnitTest* m_test;
};

class ZORBAS_API uts_TearDownFunctor : public uts_Functor {
  public:
    uts_TearDownFunctor(const char* className, uts_UnitTest* test)
        : uts_Functor(className, "testTearDown"), m_test(test) {}
    void call() override;

  private:
    uts_UnitTest* m_test;
};

// Runs a functor and answers true when it ended normally.
class ZORBAS_API uts_ExceptionHandler : public mem_AllocationOperators {
  public:
    virtual ~uts_ExceptionHandler() = default;
    virtual bool execute(uts_Functor* functor) = 0;
};

// Answers false when the functor threw anything; what was thrown is dropped.
class ZORBAS_API uts_CatchAllExceptionHandler : public uts_ExceptionHandler {
  public:
    bool execute(uts_Functor* functor) override;
};

// Wall-clock seconds of one test function, for the .use file (a monotonic clock).
class ZORBAS_API uts_Timer {
  public:
    void start();
    void stop();
    double elapsed() const { return m_seconds; }

  private:
    double m_start = 0.0;
    double m_seconds = 0.0;
};

// The counters and the plain reporter; every line goes to standard output.
class ZORBAS_API uts_UnitTestMonitor : public mem_AllocationOperators {
  public:
    uts_UnitTestMonitor() = default;
    virtual ~uts_UnitTestMonitor() = default;
    virtual void beginTesting() {}
    virtual void reportTestName(const char* name);
    virtual void reportEachTest();
    virtual void endTesting();
    virtual void errorPrint(const char* file, int line, const char* text);
    virtual void exprPrint(const char*, int, const char*) {}
    virtual void performancePrint(FILE* file, const char* className, const char* functionName,
                                  double seconds);
    virtual void exceptionPrint(const char* className, const char* functionName);

    void incrementTestCount() { ++testCount; }
    void incrementUnitAssertCount() {
        ++unitAssertCount;
        ++totalUnitAssertCount;
    }
    void resetIncrementUnitAssertCount() {
        unitAssertCount = 0;
        unitAssertFailureCount = 0;
    }
    void incrementUnitAssertFailureCount() {
        ++unitAssertFailureCount;
        ++totalUnitAssertFailureCount;
    }
    int getUnitAssertFailureCount() const { return unitAssertFailureCount; }
    int getTotalUnitAssertFailureCount() const { return totalUnitAssertFailureCount; }
    int getTestCount() const { return testCount; }
    int getPassedCount() const { return passedCount; }
    void stopOnFailurePrint();

  protected:
    int testCount = 0;
    int passedCount = 0;
    int unitAssertCount = 0;
    int totalUnitAssertCount = 0;
    int unitAssertFailureCount = 0;
    int totalUnitAssertFailureCount = 0;
};

// The table form: a row per test function and a closing total with the verdict. Its opening rule
// is 102 characters and its closing rule 101; scripts are written against exactly that.
class ZORBAS_API uts_UnitTestMonitorVerbose : public uts_UnitTestMonitor {
  public:
    void beginTesting() override;
    void reportEachTest() override;
    void endTesting() override;
    void errorPrint(const char* file, int line, const char* text) override;
    void exprPrint(const char* file, int line, const char* text) override;
};

// A class of tests. It owns its functors, and its monitor unless one was handed in.
class ZORBAS_API uts_UnitTest : public mem_AllocationOperators {
  public:
    uts_UnitTest();
    virtual ~uts_UnitTest();
    uts_UnitTest(const uts_UnitTest&) = delete;
    uts_UnitTest& operator=(const uts_UnitTest&) = delete;

    virtual void testSetUp() {}
    virtual void testTearDown() {}
    // Runs every function with its set-up and tear-down; answers the total of failures so far.
    virtual int runTests();
    virtual void setArgs(int count, char** values) {
        argc = count;
        argv = values;
    }

    void addTest(uts_Functor* functor);
    void setTestName(const char* name) { m_testName = name; }
    const char* getTestName() const { return m_testName; }
    // The caller keeps what it hands in; a monitor the test owned is deleted.
    void setUnitTestMonitor(uts_UnitTestMonitor* monitor);
    uts_UnitTestMonitor* getUnitTestMonitor() const { return testMonitor; }
    void setExceptionHandler(uts_ExceptionHandler* handler) { testExceptionHandler = handler; }
    void setStopOnFailure() { stopOnFailure = true; }
    void unsetStopOnFailure() { stopOnFailure = false; }
    bool getStopOnFailure() const { return stopOnFailure; }
    int getVerbose() const { return verbose; }
    bool getPerformanceMode() const { return performanceMode; }
    // The test closes the file when it ends.
    void setUseFile(FILE* file) { m_useFile = file; }
    FILE* getUseFile() const { return m_useFile; }
    int getArgc() const { return argc; }
    char** getArgv() const { return argv; }
    int getFunctorCount() const { return m_functorCount; }

  protected:
    int m_functorCount = 0;
    int verbose = 0;
    bool stopOnFailure = false;
    bool performanceMode = false;
    FILE* m_useFile = nullptr;
    const char* m_testName = nullptr;
    uts_Functor* tests = nullptr;
    uts_UnitTestMonitor* testMonitor = nullptr;
    bool m_monitorOwned = true;
    uts_ExceptionHandler* testExceptionHandler = nullptr;
    int argc = 0;
    char** argv = nullptr;
};

// A class of timing tests: the suite runs these instead of the unit tests when NewUTSPerfMode is
// set. Each writes its .use file whatever UnitTestPerformance says.
class ZORBAS_API uts_PerformanceUnitTest : public uts_UnitTest {
  public:
    uts_PerformanceUnitTest() { performanceMode = true; }
};

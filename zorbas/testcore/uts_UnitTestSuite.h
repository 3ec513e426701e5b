// The runner of a test program: classes are added by name, the command line picks them
// ("<name> [-start_args <args...> [-end_args]]" per class, all when none is named), and runTests
// answers the total of failures for the exit code (1 for a name it doesn't know). The suite owns
// the tests added to it and deletes them at the end of runTests, so a suite runs once.
#pragma once

#include "zorbas/testcore/uts_UnitTest.h"

class ZORBAS_API uts_UnitTestSuite : public mem_AllocationOperators {
  public:
    uts_UnitTestSuite();
    virtual ~uts_UnitTestSuite();
    uts_UnitTestSuite(const uts_UnitTestSuite&) = delete;
    uts_UnitTestSuite& operator=(const uts_UnitTestSuite&) = delete;

    void addTestClass(const char* name, uts_UnitTest* test);
    void addTestClass(const char* name, uts_PerformanceUnitTest* perf);
    // Handed to each class added from now on; the caller keeps ownership.
    void setExceptionHandler(uts_ExceptionHandler* handler) { m_handler = handler; }
    void setUnitTestMonitor(uts_UnitTestMonitor* monitor) { m_monitor = monitor; }
    int runTests(int argc, char** argv);

  protected:
    struct container {
        container* next;
        uts_UnitTest* test;
        char** argv;
        int argc;
        bool selected;
    };
    bool processArgs(int argc, char** argv, container* list);
    void addTestContainer(container** list, uts_UnitTest* test);
    void deleteTests(container** list);
    void createSimpleArgs(container* c, char* program);
    void addClass(const char* name, uts_UnitTest* test, container** list, int* count);

    container* m_unitTests = nullptr;
    container* m_perfTests = nullptr;
    int m_unitCount = 0;
    int m_perfCount = 0;
    uts_ExceptionHandler* m_handler = nullptr;
    uts_UnitTestMonitor* m_monitor = nullptr;
    bool m_newPerfMode = false;
};

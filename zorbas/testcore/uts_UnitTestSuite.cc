#include "zorbas/testcore/uts_UnitTestSuite.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "companions/framework/PLXFatalError.h"

#define UTS_SUITE_FILE "ZORBase/ZORBasUts.m/src/uts_UnitTestSuite"

namespace {
char** NewArgv(int count) {
    return static_cast<char**>(mem_OperatorNewThrow(sizeof(char*) * static_cast<size_t>(count)));
}
}  // namespace

uts_UnitTestSuite::uts_UnitTestSuite() : m_newPerfMode(std::getenv("NewUTSPerfMode") != nullptr) {}

uts_UnitTestSuite::~uts_UnitTestSuite() {
    deleteTests(&m_unitTests);
    deleteTests(&m_perfTests);
}

void uts_UnitTestSuite::addTestContainer(container** list, uts_UnitTest* test) {
    ZORBAS_FATAL_ASSERT(test, UTS_SUITE_FILE, 121);
    auto* c = static_cast<container*>(mem_OperatorNewThrow(sizeof(container)));
    *c = container{nullptr, test, nullptr, 0, false};
    container** end = list;
    while (*end) end = &(*end)->next;
    *end = c;
}

void uts_UnitTestSuite::addClass(const char* name, uts_UnitTest* test, container** list,
                                 int* count) {
    if (m_handler) test->setExceptionHandler(m_handler);
    if (m_monitor) test->setUnitTestMonitor(m_monitor);
    test->setTestName(name);
    addTestContainer(list, test);
    ++*count;
}

void uts_UnitTestSuite::addTestClass(const char* name, uts_UnitTest* test) {
    ZORBAS_FATAL_ASSERT(test, UTS_SUITE_FILE, 61);
    addClass(name, test, &m_unitTests, &m_unitCount);
}

void uts_UnitTestSuite::addTestClass(const char* name, uts_PerformanceUnitTest* perf) {
    ZORBAS_FATAL_ASSERT(perf, UTS_SUITE_FILE, 81);
    addClass(name, perf, &m_perfTests, &m_perfCount);
}

void uts_UnitTestSuite::createSimpleArgs(container* c, char* program) {
    mem_Free(c->argv);
    c->argv = NewArgv(2);
    c->argv[0] = program;
    c->argv[1] = nullptr;
    c->argc = 1;
}

bool uts_UnitTestSuite::processArgs(int argc, char** argv, container* list) {
    if (argc <= 1) {
        for (container* c = list; c; c = c->next) {
            c->selected = true;
            createSimpleArgs(c, argv[0]);
        }
        return true;
    }
    for (int i = 1; i < argc; ++i) {
        const char* name = argv[i];
        // The arguments of a class run from behind "-start_args" to "-end_args" or the end.
        int first = 0, past = 0, resume = i;
        if (i + 1 < argc && std::strcmp(argv[i + 1], "-start_args") == 0) {
            first = i + 2;
            past = first;
            while (past < argc && std::strcmp(argv[past], "-end_args") != 0) ++past;
            resume = past;  // the loop steps over "-end_args"
        }
        bool found = false;
        for (container* c = list; c; c = c->next) {
            if (std::strcmp(c->test->getTestName(), name) == 0) {
                found = true;
                c->selected = true;
                if (first) {
                    mem_Free(c->argv);
                    c->argc = past - first + 1;
                    c->argv = NewArgv(c->argc + 1);
                    c->argv[0] = argv[0];
                    for (int k = first; k < past; ++k) c->argv[k - first + 1] = argv[k];
                    c->argv[c->argc] = nullptr;
                } else {
                    createSimpleArgs(c, argv[0]);
                }
            } else if (!c->argv) {
                createSimpleArgs(c, argv[0]);
            }
        }
        if (!found) {
            std::printf("Error: \"%s\" test not found.\n", name);
            return false;
        }
        i = resume;
    }
    return true;
}

void uts_UnitTestSuite::deleteTests(container** list) {
    while (*list) {
        container* c = *list;
        *list = c->next;
        delete c->test;
        mem_Free(c->argv);
        mem_Free(c);
    }
}

int uts_UnitTestSuite::runTests(int argc, char** argv) {
    container** list = m_newPerfMode ? &m_perfTests : &m_unitTests;
    container** other = m_newPerfMode ? &m_unitTests : &m_perfTests;
    if (!processArgs(argc, argv, *list)) return 1;
    int failures = 0;
    for (container* c = *list; c; c = c->next) {
        if (!c->selected) continue;
        uts_UnitTest* test = c->test;
        test->setArgs(c->argc, c->argv);
        if (test->getVerbose() == 0)
            test->getUnitTestMonitor()->reportTestName(test->getTestName());
        if (test->getPerformanceMode()) {
            std::string use = std::string(test->getTestName()) + ".use";
            test->setUseFile(std::fopen(use.c_str(), "w"));
        }
        failures += test->runTests();
    }
    deleteTests(list);
    deleteTests(other);
    return failures;
}

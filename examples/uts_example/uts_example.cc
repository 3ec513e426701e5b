// A test program built on the library's harness, as a solver's test programs are: each class
// derives from uts_UnitTest and adds its functions; main hands the classes to a suite and returns
// its total of failures. Run it with no arguments for every class, or name classes, each with its
// own arguments between -start_args and -end_args:
//
//     uts_example Sums -start_args 55 -end_args
//
// UnitTestVerbose=1 prints the table form; UnitTestPerformance writes <class>.use with the time of
// each function.
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "zorbas/cow/cow_String.h"
#include "zorbas/testcore/uts_Assert.h"
#include "zorbas/testcore/uts_UnitTestSuite.h"

// Checks sums of 1..n; the expected sum of 1..10 may be given as the class's first argument.
class Sums : public uts_UnitTest {
  public:
    Sums() {
        addTest(new uts_TestFunctor<Sums>("Sums", "testSmall", this, &Sums::testSmall));
        addTest(new uts_TestFunctor<Sums>("Sums", "testExpected", this, &Sums::testExpected));
    }
    void testSetUp() override {
        values.resize(10);
        std::iota(values.begin(), values.end(), 1);
    }
    void testTearDown() override { values.clear(); }

    void testSmall() {
        UTS_ASSERT(values.size() == 10);
        UTS_ASSERT(values.front() == 1 && values.back() == 10);
    }
    void testExpected() {
        int expected = getArgc() > 1 ? std::atoi(getArgv()[1]) : 55;
        UTS_ASSERT(std::accumulate(values.begin(), values.end(), 0) == expected);
    }

  private:
    std::vector<int> values;
};

// Checks cow_String sharing; the last function shows what an exception in a test does.
class Strings : public uts_UnitTest {
  public:
    Strings() {
        addTest(new uts_TestFunctor<Strings>("Strings", "testShare", this, &Strings::testShare));
        addTest(new uts_TestFunctor<Strings>("Strings", "testThrow", this, &Strings::testThrow));
    }
    void testShare() {
        cow_String a("mesh");
        cow_String b = a;
        UTS_ASSERT(a.References() == 2);
        b += ".dat";
        UTS_ASSERT(std::strcmp(a.CStr(), "mesh") == 0);
        UTS_ASSERT(a.References() == 1);
    }
    void testThrow() {
        if (getArgc() > 1 && std::strcmp(getArgv()[1], "-throw") == 0)
            throw std::runtime_error("thrown on purpose");
        UTS_ASSERT(true);
    }
};

int main(int argc, char** argv) {
    uts_UnitTestSuite suite;
    suite.addTestClass("Sums", new Sums);
    suite.addTestClass("Strings", new Strings);
    return suite.runTests(argc, argv);
}

// Reading the reference files of testdata/ (written by make_reference.py): text lines of numbers,
// '#' lines are comments. The folder comes from ZORBAS_TEST_DATA (set by ctest) or, for a binary
// run by hand, from the source path compiled in.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zorbas_filters_test {

inline std::string DataFile(const char* name) {
    const char* root = std::getenv("ZORBAS_TEST_DATA");
    std::string dir = root ? std::string(root) + "/zorbas/filters/testdata" : ZORBAS_FILTERS_DATA;
    return dir + "/" + name;
}

inline std::vector<std::string> ReadLines(const char* name) {
    std::ifstream in(DataFile(name));
    EXPECT_TRUE(in.good()) << "cannot read " << DataFile(name);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    return lines;
}

template <class T>
std::vector<T> Numbers(const std::string& line) {
    std::istringstream in(line);
    std::vector<T> out;
    for (T x; in >> x;) out.push_back(x);
    return out;
}

}  // namespace zorbas_filters_test

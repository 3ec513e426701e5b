// Output of a test program that only shows when asked for: output() is printf of its arguments
// when the switch is not 0 and nothing otherwise. A format takes up to three further arguments,
// each a text, an int or a double.
#pragma once

#include <cstdio>
#include <type_traits>

class uts_VerboseOutput {
  public:
    explicit uts_VerboseOutput(int on = 0) : m_on(on) {}
    void setVerbose(int on) { m_on = on; }
    int getVerbose() const { return m_on; }

    template <class... Args>
    void output(const char* format, Args... args) const {
        static_assert(sizeof...(Args) <= 3, "output takes up to three arguments");
        static_assert(((std::is_same_v<Args, const char*> || std::is_same_v<Args, char*> ||
                        std::is_same_v<Args, int> || std::is_same_v<Args, double>)&&...),
                      "output takes texts, ints and doubles");
        if (m_on) std::printf(format, args...);
    }

  private:
    int m_on;
};

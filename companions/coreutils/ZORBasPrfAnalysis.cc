#include "companions/coreutils/ZORBasPrfAnalysis.h"

#include <ctime>
#include <deque>
#include <mutex>
#include <string>

namespace {

double Now(clockid_t clock) {
    timespec ts;
    clock_gettime(clock, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

struct Mark {
    std::string name;
    double wall;
    double cpu;
};

}  // namespace

struct ZORBasPrfAnalysis::Impl {
    mutable std::mutex lock;
    double wall0 = Now(CLOCK_MONOTONIC);
    double cpu0 = Now(CLOCK_PROCESS_CPUTIME_ID);
    std::deque<Mark> marks;  // a deque keeps names in place as marks are added

    const Mark* At(int i) const {
        return i >= 0 && static_cast<size_t>(i) < marks.size() ? &marks[static_cast<size_t>(i)]
                                                               : nullptr;
    }
};

ZORBasPrfAnalysis::ZORBasPrfAnalysis() : m_impl(new Impl) {}
ZORBasPrfAnalysis::~ZORBasPrfAnalysis() { delete m_impl; }

void ZORBasPrfAnalysis::MarkTime(const char* name) {
    double wall = Now(CLOCK_MONOTONIC);
    double cpu = Now(CLOCK_PROCESS_CPUTIME_ID);
    std::lock_guard<std::mutex> guard(m_impl->lock);
    m_impl->marks.push_back(Mark{name ? name : "", wall - m_impl->wall0, cpu - m_impl->cpu0});
}

int ZORBasPrfAnalysis::Count() const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    return static_cast<int>(m_impl->marks.size());
}

const char* ZORBasPrfAnalysis::NameAt(int i) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    const Mark* m = m_impl->At(i);
    return m ? m->name.c_str() : nullptr;
}

double ZORBasPrfAnalysis::SecondsAt(int i) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    const Mark* m = m_impl->At(i);
    return m ? m->wall : -1.0;
}

double ZORBasPrfAnalysis::CpuSecondsAt(int i) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    const Mark* m = m_impl->At(i);
    return m ? m->cpu : -1.0;
}

double ZORBasPrfAnalysis::SecondsOf(const char* name) const {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    for (auto it = m_impl->marks.rbegin(); it != m_impl->marks.rend(); ++it)
        if (it->name == (name ? name : "")) return it->wall;
    return -1.0;
}

void ZORBasPrfAnalysis::Clear() {
    std::lock_guard<std::mutex> guard(m_impl->lock);
    m_impl->marks.clear();
}

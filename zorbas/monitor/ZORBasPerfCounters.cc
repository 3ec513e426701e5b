#include "zorbas/monitor/ZORBasPerfCounters.h"

#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

int OpenCounter(uint64_t config, int group) {
    perf_event_attr attr{};
    attr.type = PERF_TYPE_HARDWARE;
    attr.size = sizeof attr;
    attr.config = config;
    attr.disabled = group < 0 ? 1 : 0;
    attr.exclude_kernel = 1;
    attr.exclude_hv = 1;
    return static_cast<int>(syscall(SYS_perf_event_open, &attr, 0, -1, group, 0));
}

uint64_t ReadCounter(int fd) {
    uint64_t value = 0;
    if (fd < 0 || read(fd, &value, sizeof value) != static_cast<ssize_t>(sizeof value)) return 0;
    return value;
}

}  // namespace

ZORBasPerfCounters::ZORBasPerfCounters() {
    m_cycles = OpenCounter(PERF_COUNT_HW_CPU_CYCLES, -1);
    int err = m_cycles < 0 ? errno : 0;
    if (m_cycles >= 0) {
        m_instructions = OpenCounter(PERF_COUNT_HW_INSTRUCTIONS, m_cycles);
        if (m_instructions < 0) err = errno;
    }
    if (Available()) {
        std::snprintf(m_reason, sizeof m_reason, "available");
        return;
    }
    char text[96];
    const char* why = strerror_r(err, text, sizeof text);
    std::snprintf(m_reason, sizeof m_reason, "not available: %s", why);
    if (m_cycles >= 0) close(m_cycles);
    m_cycles = m_instructions = -1;
}

ZORBasPerfCounters::~ZORBasPerfCounters() {
    if (m_instructions >= 0) close(m_instructions);
    if (m_cycles >= 0) close(m_cycles);
}

void ZORBasPerfCounters::Start() {
    if (!Available()) return;
    ioctl(m_cycles, PERF_EVENT_IOC_RESET, PERF_IOC_FLAG_GROUP);
    ioctl(m_cycles, PERF_EVENT_IOC_ENABLE, PERF_IOC_FLAG_GROUP);
}

void ZORBasPerfCounters::Stop() {
    if (!Available()) return;
    ioctl(m_cycles, PERF_EVENT_IOC_DISABLE, PERF_IOC_FLAG_GROUP);
    m_cycleCount = ReadCounter(m_cycles);
    m_instructionCount = ReadCounter(m_instructions);
}

double ZORBasPerfCounters::InstructionsPerCycle() const {
    return m_cycleCount ? static_cast<double>(m_instructionCount) / m_cycleCount : 0.0;
}

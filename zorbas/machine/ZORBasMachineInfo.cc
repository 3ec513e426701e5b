#include "zorbas/machine/ZORBasMachineInfo.h"

#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "companions/alloc/ZORBasMemInfo.h"

namespace {

struct Facts {
    bool loaded = false;
    char host[1025] = "";
    char os[400] = "";
    char processor[256] = "";
    size_t memory = 0;
    unsigned online = 0;
    unsigned usable = 0;
} g_facts;

// The value of the first "model name" line of /proc/cpuinfo, without its padding.
void ReadProcessorName(char* out, size_t size) {
    FILE* f = std::fopen("/proc/cpuinfo", "r");
    if (!f) return;
    char line[512];
    while (std::fgets(line, sizeof line, f)) {
        if (std::strncmp(line, "model name", 10) != 0) continue;
        const char* colon = std::strchr(line, ':');
        if (!colon) continue;
        const char* v = colon + 1;
        while (*v == ' ' || *v == '\t') ++v;
        std::snprintf(out, size, "%s", v);
        size_t n = std::strlen(out);
        while (n && (out[n - 1] == '\n' || out[n - 1] == ' ')) out[--n] = '\0';
        break;
    }
    std::fclose(f);
}

}  // namespace

void ZORBasMachineInfo::Load() {
    if (g_facts.loaded) return;
    if (gethostname(g_facts.host, sizeof g_facts.host - 1) != 0) g_facts.host[0] = '\0';
    utsname u{};
    if (uname(&u) == 0)
        std::snprintf(g_facts.os, sizeof g_facts.os, "%s %s %s", u.sysname, u.release, u.machine);
    ReadProcessorName(g_facts.processor, sizeof g_facts.processor);
    g_facts.memory = ZORBasMemInfo::Physical();
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    g_facts.online = online > 0 ? static_cast<unsigned>(online) : 1u;
    cpu_set_t set;
    CPU_ZERO(&set);
    g_facts.usable = sched_getaffinity(0, sizeof set, &set) == 0
                         ? static_cast<unsigned>(CPU_COUNT(&set))
                         : g_facts.online;
    g_facts.loaded = true;
}

const char* ZORBasMachineInfo::HostName() {
    Load();
    return g_facts.host;
}

const char* ZORBasMachineInfo::OperatingSystem() {
    Load();
    return g_facts.os;
}

const char* ZORBasMachineInfo::ProcessorName() {
    Load();
    return g_facts.processor;
}

size_t ZORBasMachineInfo::PhysicalMemory() {
    Load();
    return g_facts.memory;
}

unsigned ZORBasMachineInfo::OnlineProcessors() {
    Load();
    return g_facts.online;
}

unsigned ZORBasMachineInfo::UsableProcessors() {
    Load();
    return g_facts.usable;
}

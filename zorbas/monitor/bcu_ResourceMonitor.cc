#include "zorbas/monitor/bcu_ResourceMonitor.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasMemInfo.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "companions/coreutils/ZORBasPrfAnalysis.h"
#include "zorbas/base/ZORBasAtiGlobalSingleton.h"
#include "zorbas/base/ZORBasUtlSystem.h"
#include "zorbas/machine/ZORBasMachineInfo.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"
#include "zorbas/monitor/omi_Time.h"
#include "zorbas/os/ZORBasUtlIOStats.h"

template class omi_Singleton<bcu_ResourceMonitor>;

namespace {

// Reads a whole small /proc file into `buf` without allocating; the length, or -1.
ssize_t ReadProcFile(const char* path, char* buf, size_t size) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    ssize_t total = 0;
    while (static_cast<size_t>(total) + 1 < size) {
        ssize_t n = read(fd, buf + total, size - 1 - static_cast<size_t>(total));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        total += n;
    }
    close(fd);
    buf[total] = '\0';
    return total;
}

// The number after "key" in a /proc text, 0 when the key is absent.
unsigned long long ProcValue(const char* text, const char* key) {
    const char* at = std::strstr(text, key);
    if (!at) return 0;
    at += std::strlen(key);
    while (*at == ' ' || *at == '\t' || *at == ':') ++at;
    return std::strtoull(at, nullptr, 10);
}

// The row's sizes are 32-bit counts of KB; a larger one (a sanitizer's shadow memory reserves
// terabytes) reads as the largest count rather than wrapping round.
int32_t Kilobytes32(unsigned long long kb) {
    return kb > 0x7FFFFFFFull ? 0x7FFFFFFF : static_cast<int32_t>(kb);
}

bool IsRunStart(const cow_String& phase) { return phase == "pre" || phase == "RunSolver"; }

// The pieces of the header line, written without separators between them.
const char* const kHeaderPieces[] = {"!Phase,Wall,Mark,",
                                     "UserCPU,SysCPU,",
                                     "WSPEAK,WORKSPACE,",
                                     "CPU,",
                                     "QuotaPeakPagePool,QPagePool,",
                                     "QNPPP,QNPP,",
                                     "PageFaults,",
                                     "PeakPageFile,",
                                     "Handles,",
                                     "VirtBytes,VirtBytesPeak",
                                     "PID,0,",
                                     "Footprint,MaxFP,",
                                     "Read,Write"};

}  // namespace

bcu_timer::bcu_timer()
    : trace(nullptr),
      startUser(0),
      startSystem(0),
      startWall(0),
      totalUser(0),
      totalSystem(0),
      totalWall(0),
      sumOfSquares(0),
      totalWall2(0),
      minimum(0),
      maximum(0),
      calls(0),
      used(false),
      name("") {}

bcu_timer::~bcu_timer() { mem_Free(trace); }

void bcu_CommandLineCallback(cow_String& job, cow_String& directory) {
    job = ZORBasErrorStack::Jobname();
    directory = ZORBasErrorStack::Outdir();
}

bcu_ResourceMonitor::bcu_ResourceMonitor()
    : m_commandLine(bcu_CommandLineCallback),
      m_memory(nullptr),
      m_secondsOfDay(0),
      m_enabled(false),
      m_v6(false),
      m_full(false),
      m_trace(false),
      m_dlMallinfo(false),
      m_mallinfo(false),
      m_heapCheck(false),
      m_use(nullptr),
      m_timers(nullptr),
      m_perfTracking(std::getenv("VEL_ENABLE_PERFTRACKING") != nullptr),
      m_readCalls(0),
      m_readTime(0),
      m_readBytesRequested(0),
      m_readBytes(0),
      m_writeCalls(0),
      m_writeTime(0),
      m_writeBytesRequested(0),
      m_writeBytes(0),
      m_processId(0),
      m_process(-1),
      m_moduleName{},
      m_ioCounters(static_cast<uint64_t*>(mem_Malloc(6 * sizeof(uint64_t)))) {
    if (m_ioCounters) std::memset(m_ioCounters, 0, 6 * sizeof(uint64_t));
}

bcu_ResourceMonitor::~bcu_ResourceMonitor() {
    if (m_enabled) {
        Mark((m_phase + "-End").CStr());
        if (m_use) {
            OutputHeader();
            std::fputs("\n", m_use);
            WriteSummary();
            if (m_trace) WriteTraces();
            std::fclose(m_use);
        }
        m_process = -1;
    } else {
        ZORBasPhaseTracker::SaveMarker((m_phase + "-End").CStr());
    }
    delete[] m_timers;
    mem_Free(m_ioCounters);
    m_ioCounters = nullptr;
    m_enabled = false;
    m_use = nullptr;
    m_timers = nullptr;
}

void bcu_ResourceMonitor::Initialize(const char* phase, int rank) {
    // 1-3: the phase, the switches, and nothing more when the monitor is off.
    m_phase = phase ? phase : "";
    m_enabled = false;
    m_v6 = false;
    m_wall.Reset();
    m_wall.Start();
    m_enabled = std::getenv("VEL_RESOURCE_MONITOR") != nullptr;
    m_dlMallinfo = std::getenv("VEL_RESOURCE_DLMALLINFO") != nullptr;
    m_v6 = std::getenv("VEL_RESOURCE_MONITOR_V6") != nullptr;
    if (!m_enabled) {
        ZORBasPhaseTracker::SaveMarker((m_phase + "-Start").CStr());
        return;
    }

    // 4: the mode word, compared whole.
    m_full = m_trace = m_mallinfo = m_heapCheck = false;
    const char* mode = std::getenv("VEL_RESOURCE_MONITOR");
    bool driver = false;
    if (std::strcmp(mode, "FULL") == 0)
        m_full = true;
    else if (std::strcmp(mode, "TRACE") == 0)
        m_trace = true;
    else if (std::strcmp(mode, "MALLINFO") == 0)
        m_mallinfo = true;
    else if (std::strcmp(mode, "HEAPCHECK") == 0)
        m_heapCheck = true;
    else if (std::strcmp(mode, "DRIVER") == 0)
        driver = true;

    // 5: the header facts.
    const char* snapshot = std::getenv("VELDOR_SEQ");
    if (!snapshot) snapshot = std::getenv("ZORBasUtlSnapshot");
    if (!snapshot) snapshot = "";
    char host[1025] = "";
    if (gethostname(host, 1024) != 0) host[0] = '\0';
    const char* processor = std::getenv("PROCESSOR_IDENTIFIER");
    if (!processor) processor = "";
    m_processId = static_cast<uint32_t>(getpid());
    const char* version = std::getenv("ZOR_BRANCH");
    if (!version) version = std::getenv("VELDOR_VERSION");
    if (!version) version = "";

    // 6: the timers and the start time.
    if (!m_timers) m_timers = new bcu_timer[kTimers];
    m_secondsOfDay = omi_Time::LocalWholeSecondsOfDay();

    // 7: job name and directory.
    if (m_commandLine) m_commandLine(m_job, m_directory);
    if (m_job.Length() == 0) m_job = "test";
    if (m_directory.Length() == 0) m_directory = ZORBasUtlgetcwd();

    // 8: the names, each piece at most 100 bytes.
    char job[101];
    std::snprintf(job, sizeof job, "%s", m_job.CStr());
    char use[101], io[101];
    if (m_phase == "xpl") {
        std::snprintf(use, sizeof use, ".use.%d", rank + 1);
        std::snprintf(io, sizeof io, ".io.use.%d", rank + 1);
    } else if (rank != 0) {
        std::snprintf(use, sizeof use, ".use.%d", rank);
        std::snprintf(io, sizeof io, ".io.use.%d", rank);
    } else {
        std::snprintf(use, sizeof use, ".use");
        std::snprintf(io, sizeof io, ".io.use");
    }
    cow_String dir = m_directory;
    if (dir.Length() > 0 && dir.CStr()[dir.Length() - 1] != '/') dir = dir + "/";
    m_usePath = dir + job + use;
    m_ioPath = dir + job + io;

    // 9: the I/O counters.
    ZORBasUtlIOStats::Initialize(m_phase.CStr(), m_enabled, m_ioPath.CStr(), rank);

    // 10: the table, by phase.
    if (m_use) {
        std::fclose(m_use);
        m_use = nullptr;
    }
    if (!IsRunStart(m_phase)) {
        m_use = std::fopen(m_usePath.CStr(), "a");
        if (m_use && driver) WriteLoadRow();
        if (m_use && m_phase == "xpl") {
            std::fprintf(m_use, "\n**********************************\n");
            std::fprintf(m_use, "*          cpu #%-8d         *\n", rank + 1);
            std::fprintf(m_use, "**********************************\n");
        }
    } else if (driver) {
        m_use = std::fopen(m_usePath.CStr(), "a");
        if (m_use) WriteLoadRow();
    } else {
        m_use = std::fopen(m_usePath.CStr(), m_v6 ? "a" : "w");
        if (m_use) {
            std::fprintf(m_use, "!Snapshot = %s\n", snapshot);
            std::fprintf(m_use, "!Version = %s\n", version);
            std::fprintf(m_use, "!Host = %s %s %u cores\n", host, processor,
                         ZORBasMachineInfo::OnlineProcessors());
            std::fprintf(m_use, "!Memory = %llu MB\n",
                         static_cast<unsigned long long>(ZORBasMemInfo::Accessible() >> 20));
            std::fprintf(m_use, "\n");
        }
    }

    // 11: the own process and its first module's base name; the I/O totals start from zero.
    m_process = static_cast<int>(m_processId);
    char comm[260] = "";
    if (ReadProcFile("/proc/self/comm", comm, sizeof comm) > 0) {
        size_t n = std::strlen(comm);
        if (n && comm[n - 1] == '\n') comm[n - 1] = '\0';
    }
    std::snprintf(m_moduleName, sizeof m_moduleName, "%s", comm);
    m_readCalls = m_readBytesRequested = m_readBytes = 0;
    m_writeCalls = m_writeBytesRequested = m_writeBytes = 0;
    m_readTime = m_writeTime = 0.0;

    // 12.
    OutputHeader();
    Mark((m_phase + "-Start").CStr());
}

void bcu_ResourceMonitor::WriteLoadRow() {
    cow_String phase = m_phase;
    char capital[256];
    std::snprintf(capital, sizeof capital, "%s", phase.CStr());
    if (capital[0])
        capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
    std::fprintf(m_use, "%s %llu.0 load%s-End", m_phase.CStr(),
                 static_cast<unsigned long long>(omi_Time::CalendarSeconds()), capital);
    std::fprintf(m_use, " %.1f %.1f %d %d %.1f %d %d %d %d %d %d %d %d %d %d %d %d %d", 0.0, 0.0, 0,
                 0, 0.0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    std::fprintf(m_use, "\n");
    std::fflush(m_use);
}

void bcu_ResourceMonitor::OutputHeader() {
    if (!m_use) return;
    for (const char* piece : kHeaderPieces) std::fputs(piece, m_use);
    if (m_dlMallinfo) std::fputs(",System,InUse,Free,SintMCORE,SintReserved,ADBHeap", m_use);
    std::fputs(
        ",Sim_Read_Calls,Sim_Read_Time,BulkReadBytesReq,Sim_Read_Bytes,Sim_Write_Calls,"
        "Sim_Write_time,BulkWriteBytesReq,Sim_Write_Bytes",
        m_use);
    std::fputs("\n", m_use);
}

int bcu_ResourceMonitor::nt_getiodata(a_iodata* data) {
    // syscr, syscw, 0, rchar, wchar, 0; a process without /proc/self/io keeps the last values.
    char text[1024];
    if (ReadProcFile("/proc/self/io", text, sizeof text) > 0) {
        m_ioCounters[0] = ProcValue(text, "syscr");
        m_ioCounters[1] = ProcValue(text, "syscw");
        m_ioCounters[2] = 0;
        m_ioCounters[3] = ProcValue(text, "rchar");
        m_ioCounters[4] = ProcValue(text, "wchar");
        m_ioCounters[5] = 0;
    }
    data->readOperations = m_ioCounters[0];
    data->writeOperations = m_ioCounters[1];
    data->otherOperations = m_ioCounters[2];
    data->readBytes = m_ioCounters[3];
    data->writeBytes = m_ioCounters[4];
    data->otherBytes = m_ioCounters[5];
    return 0;
}

int bcu_ResourceMonitor::nt_getrusage(int, a_nt_rusage* usage) {
    usage->elapsed = omi_Time::LocalWholeSecondsOfDay() - m_secondsOfDay;
    omi_Time::ProcessTimes(usage->userCpu, usage->systemCpu);
    usage->totalCpu = usage->userCpu + usage->systemCpu;
    char text[4096];
    if (ReadProcFile("/proc/self/status", text, sizeof text) > 0) {
        usage->peakWorkingSet = Kilobytes32(ProcValue(text, "VmHWM"));
        usage->workingSet = Kilobytes32(ProcValue(text, "VmRSS"));
        usage->peakPageFile = Kilobytes32(ProcValue(text, "VmPeak"));
    }
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    usage->pageFaults = static_cast<int32_t>(ru.ru_minflt + ru.ru_majflt);
    usage->quotaPeakPagedPool = usage->quotaPagedPool = 0;
    usage->quotaPeakNonPagedPool = usage->quotaNonPagedPool = 0;
    usage->handles = usage->virtualBytes = usage->peakVirtualBytes = 0;
    usage->processId = static_cast<int32_t>(m_processId);
    return 0;
}

cow_String bcu_ResourceMonitor::ShortenedMark(const char* mark, bool full) {
    size_t n = std::strlen(mark);
    if (full || n <= kMarkWidth) return cow_String(mark);
    char cut[kMarkWidth + 1];
    std::memcpy(cut, mark, 19);
    cut[19] = '_';
    std::memcpy(cut + 20, mark + n - 20, 20);
    cut[40] = '\0';
    return cow_String(cut);
}

void bcu_ResourceMonitor::Mark(const char* mark) {
    if (!mark) mark = "";
    ZORBasPhaseTracker::SaveMarker(mark);
    if (!m_enabled) return;

    ZORBasUtlIOStats::Mark(mark);
    a_iodata io{};
    if (nt_getiodata(&io) != 0) return;
    if (m_perfTracking) ZORBasAtiGlobalSingleton<ZORBasPrfAnalysis>::Instance()->MarkTime(mark);

    unsigned long long footprint = mem_Footprint() / 1024;               // KB
    unsigned long long maxFootprint = mem_MaxFootprint() / 1024 / 1024;  // MB
    if (m_phase == "pre" || m_phase == "std") ZORBasSrmForwarder::MemorySummary(mark);

    a_nt_rusage ru{};
    if (nt_getrusage(0, &ru) != 0) return;

    if (m_use) {
        std::fprintf(m_use, "%s", m_phase.CStr());
        std::fprintf(m_use, " %.1f", m_wall.Elapsed());
        bool shortened = !m_full && std::strlen(mark) > kMarkWidth;
        if (shortened)
            std::fprintf(m_use, " %40.40s", ShortenedMark(mark, m_full).CStr());
        else
            std::fprintf(m_use, " %s", mark);
        if (m_heapCheck && mem_HeapCheck() != mem_HEAPOK) std::fputs(" HEAP_CORRUPTED ", m_use);

        // Piece 5, then the Read and Write counts or, with the mallinfo columns, the heap's words
        // and the callback's three values, which leave no blank behind the last of them.
        std::fprintf(m_use, " %.1f %.1f %d %d %.1f %d %d %d %d %d %d %d %d %d %d 0 %llu %llu ",
                     ru.userCpu, ru.systemCpu, ru.peakWorkingSet, ru.workingSet, ru.totalCpu,
                     ru.quotaPeakPagedPool, ru.quotaPagedPool, ru.quotaPeakNonPagedPool,
                     ru.quotaNonPagedPool, ru.pageFaults, ru.peakPageFile, ru.handles,
                     ru.virtualBytes, ru.peakVirtualBytes, ru.processId, footprint, maxFootprint);
        if (!m_dlMallinfo) {
            std::fprintf(m_use, "%lld %lld ", static_cast<long long>(io.readOperations),
                         static_cast<long long>(io.writeOperations));
        } else {
            mem_DLMallinfoType dl = mem_DLMallinfo();
            size_t a = 0, b = 0, c = 0;
            if (m_memory) m_memory(a, b, c);
            std::fprintf(m_use, "%f %f %f %llu %llu %llu",
                         static_cast<double>(dl.Word(0) + dl.Word(2)) / 1024,
                         static_cast<double>(dl.Word(4)) / 1024,
                         static_cast<double>(dl.Word(5)) / 1024, static_cast<unsigned long long>(a),
                         static_cast<unsigned long long>(b), static_cast<unsigned long long>(c));
        }

        ZORBasUtlIOTotals t;
        ZORBasUtlIOStats::GetIOInfo(t);
        m_readCalls = t.readCalls;
        m_readTime = t.readTime;
        m_readBytesRequested = t.readBytesRequested;
        m_readBytes = t.readBytes;
        m_writeCalls = t.writeCalls;
        m_writeTime = t.writeTime;
        m_writeBytesRequested = t.writeBytesRequested;
        m_writeBytes = t.writeBytes;
        std::fprintf(m_use, " %llu %f %llu %llu %llu %f %llu %llu",
                     static_cast<unsigned long long>(m_readCalls), m_readTime,
                     static_cast<unsigned long long>(m_readBytesRequested),
                     static_cast<unsigned long long>(m_readBytes),
                     static_cast<unsigned long long>(m_writeCalls), m_writeTime,
                     static_cast<unsigned long long>(m_writeBytesRequested),
                     static_cast<unsigned long long>(m_writeBytes));
        std::fputs("\n", m_use);
        std::fflush(m_use);
    }

    if (m_perfTracking) ZORBasAtiGlobalSingleton<ZORBasPrfAnalysis>::Instance()->MarkTime(mark);
}

bool bcu_ResourceMonitor::UseTimer(int id) {
    if (!m_enabled || id >= kTimers || !m_timers) return false;
    bcu_timer& t = m_timers[id];
    if (!t.used) {
        t.used = true;
        if (m_trace && !t.trace)
            t.trace = static_cast<double*>(mem_Malloc(kTraceEntries * sizeof(double)));
    }
    return true;
}

void bcu_ResourceMonitor::IniTimer(int id, const char* name) {
    if (!UseTimer(id)) return;
    bcu_timer& t = m_timers[id];
    t.name = name ? name : "";
    t.calls = 0;
    ZORBasUtlIOStats::IniTimer(id, name);
}

void bcu_ResourceMonitor::StartTimer(int id) {
    if (!UseTimer(id)) return;
    bcu_timer& t = m_timers[id];
    omi_Time::ProcessTimes(t.startUser, t.startSystem);
    t.startWall = omi_Time::LocalSecondsOfDay();
}

void bcu_ResourceMonitor::StopTimer(int id) {
    if (!m_enabled || id >= kTimers || !m_timers) return;
    bcu_timer& t = m_timers[id];
    int32_t n = t.calls;
    ++t.calls;
    double user = 0, system = 0;
    omi_Time::ProcessTimes(user, system);
    double wall = omi_Time::LocalSecondsOfDay();
    if (wall == 0.0) wall = user + system;
    t.totalUser += user - t.startUser;
    t.totalSystem += system - t.startSystem;
    // A timer that spans midnight gets a negative delta; nothing corrects it.
    double dt = wall - t.startWall;
    t.totalWall += dt;
    t.totalWall2 += dt;
    t.sumOfSquares += dt * dt;
    if (t.minimum == 0.0) t.minimum = dt;
    if (t.minimum > dt) t.minimum = dt;
    if (dt > t.maximum) t.maximum = dt;
    if (m_trace && t.trace && t.calls < kTraceEntries) t.trace[n] = dt;
}

void bcu_ResourceMonitor::ResetPhaseName(const char* phase) { m_phase = phase ? phase : ""; }

void bcu_ResourceMonitor::RegisterCmdLine(CommandLineCallback callback) {
    m_commandLine = callback;
}

void bcu_ResourceMonitor::RegisterMemoryStack(MemoryCallback callback) { m_memory = callback; }

void bcu_ResourceMonitor::SrmMemorySummary() {
    std::fputs("bcu_ResourceMonitor::SrmMemorySummary\n", stdout);
}

const bcu_timer* bcu_ResourceMonitor::Timer(int id) const {
    if (!m_timers || id < 0 || id >= kTimers) return nullptr;
    return &m_timers[id];
}

void bcu_ResourceMonitor::WriteSummary() {
    if (!m_timers) return;
    // Only timer 0 decides whether the title is written.
    if (m_timers[0].used)
        std::fputs(
            "!Timer Summary                      # calls      CPU      Wall       Min      Max     "
            " "
            "Mean     Sigma \n",
            m_use);
    for (int id = 0; id < kTimers; ++id) {
        const bcu_timer& t = m_timers[id];
        if (!t.used || t.calls == 0) continue;
        double n = t.calls;
        double sigma = 0.0;
        if (t.calls > 1) {
            double v = (n * t.sumOfSquares - t.totalWall2 * t.totalWall) / (n * (n - 1));
            sigma = v > 0 ? std::sqrt(v) : 0.0;
        }
        std::fprintf(m_use, "!Timer %3d :", id);
        std::fprintf(m_use, " %20s", t.name.CStr());
        std::fprintf(m_use, " %8d ", t.calls);
        std::fprintf(m_use, " %8.1f ", t.totalUser + t.totalSystem);
        std::fprintf(m_use, " %8.1f ", t.totalWall);
        std::fprintf(m_use, " %8.4f ", t.minimum);
        std::fprintf(m_use, " %8.4f ", t.maximum);
        std::fprintf(m_use, " %8.4f ", t.totalWall / n);
        std::fprintf(m_use, " %8.4f ", sigma);
        if (id >= 101 && id <= 200) {
            double rest = t.totalWall;
            if (m_timers[id + 100].calls) rest -= m_timers[id + 100].totalWall;
            if (m_timers[id + 200].calls) rest -= m_timers[id + 200].totalWall;
            std::fprintf(m_use, "     %8.1f\n", rest);
        } else {
            std::fputs("\n", m_use);
        }
    }
}

void bcu_ResourceMonitor::WriteTraces() {
    struct Block {
        const char* title;
        int first;
    };
    static const Block kBlocks[] = {{" IniBarrier \n", 1},
                                    {" IncrLoop \n", 101},
                                    {" IncrBarrier \n", 201},
                                    {" IncrAssemble \n", 301},
                                    {" IncrWait \n", 401}};
    for (const Block& b : kBlocks) {
        const bcu_timer& lead = m_timers[b.first];
        if (!lead.used) continue;
        std::fputs(b.title, m_use);
        for (int i = 0; i < lead.calls && i < kTraceEntries; ++i) {
            std::fprintf(m_use, "%4d : ", i);
            for (int id = b.first; id < b.first + 100; ++id) {
                const bcu_timer& t = m_timers[id];
                if (t.used && t.calls > i && t.trace) std::fprintf(m_use, " %8.6f", t.trace[i]);
            }
            std::fputs("\n", m_use);
        }
    }
}

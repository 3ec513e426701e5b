#include "zorbas/crash/omi_ExceptionReport.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companions/alloc/ZORBasCallStack.h"
#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasMemInfo.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "zorbas/crash/detail/omn_CrashWriter.h"
#include "zorbas/machine/ZORBasUtlVersion.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"
#include "zorbas/os/ZORBasFileSystem.h"
#include "zorbas/os/ZORBasOmniProcessInfo.h"

using omn_detail::CrashFile;
using omn_detail::FdPrintf;

namespace {

char g_reportName[1024];
char g_copyName[1024];
char g_queryName[1024];

const char* JobOf(const char* jobName) {
    const char* job = jobName ? jobName : ZORBasErrorStack::Jobname();
    return job && *job ? job : nullptr;
}

void ComposeNames(const char* job, char* report, char* copy) {
    const char* exe = ZORBasOmniProcessInfo::ExeName();
    int rank = ZORBasOmniProcessInfo::Rank();
    int pid = ZORBasOmniProcessInfo::ProcessId();
    if (job) {
        if (report) std::snprintf(report, 1024, "%s.%02d.%d.exception", job, rank, pid);
        if (copy) std::snprintf(copy, 1024, "%s.%02d.%d.dmp", job, rank, pid);
    } else {
        if (report) std::snprintf(report, 1024, "%s.%d.%02d.exception", exe, pid, rank);
        if (copy) std::snprintf(copy, 1024, "%s.%d.%02d.dmp", exe, pid, rank);
    }
}

// Writes one line of an element; a write the file refused goes to standard output instead.
void WriteOrStdout(CrashFile& file, const char* format, const char* text) {
    if (file.Printf(format, text) < 0) FdPrintf(1, format, text);
}

constexpr unsigned long long Megabytes(size_t bytes) { return bytes >> 20; }

}  // namespace

const char* omi_ExceptionReportName(int which, const char* jobName) {
    ComposeNames(JobOf(jobName), which == 0 ? g_queryName : nullptr,
                 which == 0 ? nullptr : g_queryName);
    return g_queryName;
}

void omi_ExceptionReport(const char* description, const char* details, const char* callStack,
                         const char* jobName) {
    g_reportName[0] = g_copyName[0] = 0;
    const char* job = JobOf(jobName);
    ComposeNames(job, g_reportName, nullptr);
    if (!description) description = "";

    CrashFile file;
    if (!file.OpenAppend(g_reportName)) {
        FdPrintf(1, "   %s", description);
        FdPrintf(1, "   %s\n", details ? details : "");
        return;
    }

    // Every element is written through to the file at once (no stdio buffer), which is what
    // keeps the elements before a second fault inside this report.
    file.Write("<Description>\n");
    WriteOrStdout(file, "   %s", description);
    file.Write("</Description>\n\n");

    if (details && *details) {
        file.Write("<Details>\n");
        WriteOrStdout(file, "   %s\n", details);
        file.Write("</Details>\n\n");
    }

    if (VEL_PARALLEL_DEBUG) {
        const char* previous = ZORBasErrorStack::ErrorMessages();
        if (previous && *previous) {
            file.Write("<Previous>\n");
            file.Write(previous);
            file.Write("</Previous>\n\n");
        }
    }

    const char* context = ZORBasErrorStack::ContextAsString();
    FdPrintf(1, "*** ERROR CATEGORY:  %s\n\n", context);
    file.Write("<Context>\n");
    WriteOrStdout(file, "   %s\n", context);
    file.Write("</Context>\n\n");

    ZORBasPhaseTracker::Iterator phases;
    if (phases.Size() != 0) {
        file.Write("<Phase>\n   ");
        phases.Position(-6);
        for (; !phases.Last(); phases.Next()) file.Printf("%s | ", phases.Value());
        file.Printf("%s\n", phases.Value());
        file.Write("</Phase>\n\n");
    }

    if (callStack) {
        WriteOrStdout(file, "%s", "<Callstack>\n");
        WriteOrStdout(file, "%s", callStack);
        WriteOrStdout(file, "%s", "</Callstack>\n");
    } else if (ZORBasErrorStack::Length() != 0) {
        file.Write("<Callstack>\n");
        file.Write(ZORBasErrorStack::CStr());
        file.Write("</Callstack>\n");
    } else {
        try {
            ZORBasCallStack stack(20, nullptr);
            if (stack.Available()) {
                file.Write("<Callstack>\n");
                file.Write(stack.CStr());
                file.Write("</Callstack>\n");
            }
        } catch (...) {
            // A report goes on without a stack rather than not at all.
        }
    }
    file.Write("\n");

    // Fetched in this order, printed in another (Physical before Limit): the layout is fixed.
    ZORBasMemInfo memInfo;
    unsigned long long current = ZORBasErrorStack::GetMem();
    if (current == 0) current = Megabytes(memInfo.Current());
    unsigned long long resident = Megabytes(memInfo.Resident());
    unsigned long long limit = Megabytes(ZORBasSrmBase::MemoryLimit());
    unsigned long long physical = Megabytes(ZORBasMemInfo::Physical());
    unsigned long long accessible = Megabytes(ZORBasMemInfo::Accessible());
    file.Write("<Memory>\n");
    file.Printf("   <Current>    %12llu MB </Current>\n", current);
    file.Printf("   <Resident>   %12llu MB </Resident>\n", resident);
    file.Printf("   <Physical>   %12llu MB </Physical>\n", physical);
    file.Printf("   <Limit>      %12llu MB </Limit>\n", limit);
    file.Printf("   <Accessible> %12llu MB </Accessible>\n", accessible);
    file.Printf("   <Allocator>  %12s    </Allocator>\n", "DL");
    file.Write("</Memory>\n\n");

    file.Write("<Directories>\n");
    if (const char* cwd = ZORBasErrorStack::Cwd())
        file.Printf("  <current> %-30s </current> \n", cwd);
    auto line = [&](const char* format, const char* value) {
        if (value && *value) file.Printf(format, value);
    };
    line("    <indir> %-30s </indir> \n", ZORBasErrorStack::Indir());
    line("   <outdir> %-30s </outdir>\n", ZORBasErrorStack::Outdir());
    line("   <tmpdir> %-30s </tmpdir>\n", ZORBasErrorStack::Tmpdir());
    line("  <plxtemp> %-30s </plxtemp>\n", std::getenv("PLXTemp"));
    line("     <temp> %-30s </temp>\n", std::getenv("TEMP"));
    file.Write("</Directories>\n\n");

    file.Write("<Installation>\n");
    const char* release = ZORBasUtlVersion::ReleaseInfoCStr();
    if (release && *release)
        file.Printf("     <Version> %s %s </Version>\n", release,
                    ZORBasUtlVersion::VersionNumberCStr());
    const char* build = ZORBasUtlVersion::BuildInfoCStr();
    if (build && *build) file.Printf("       <Build>   %s </Build>\n", build);
    // "    <Snapshot>   %s </Snapshot>\n" stays out until a snapshot value exists: its value
    // is a constant empty text, and an empty value writes no line.
    line("  <Executable> %s </Executable>\n", ZORBasErrorStack::ExePath());
    file.Write("</Installation>\n\n");
    file.Close();

    ComposeNames(job, nullptr, g_copyName);
    ZORBasFileSystem::CopyFile(g_reportName, g_copyName);
}

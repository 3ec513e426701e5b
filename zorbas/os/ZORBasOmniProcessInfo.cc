#include "zorbas/os/ZORBasOmniProcessInfo.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

extern char** environ;

char ZORBasOmniProcessInfo::s_exeName[kNameSize];
char ZORBasOmniProcessInfo::s_exePath[kPathSize];
int ZORBasOmniProcessInfo::s_processId = 0;
int ZORBasOmniProcessInfo::s_rank = 0;
void (*ZORBasOmniProcessInfo::s_follower)() = nullptr;

void ZORBasOmniProcessInfo::Initialize() {
    s_processId = static_cast<int>(getpid());
    DetermineRank();
    s_exeName[0] = '\0';
    s_exePath[0] = '\0';
    DetermineExeName();
    if (s_follower) s_follower();
}

void ZORBasOmniProcessInfo::Finalize() {}

void ZORBasOmniProcessInfo::SetInitializeFollower(void (*follower)()) { s_follower = follower; }

void ZORBasOmniProcessInfo::DetermineRank() {
    const char* rank = std::getenv("MPI_RANKID");
    if (!rank) rank = std::getenv("PMI_RANK");
    if (rank) s_rank = std::atoi(rank);
}

// No allocation here: the crash layer may be the first to ask for the name.
void ZORBasOmniProcessInfo::DetermineExeName() {
    ssize_t n = readlink("/proc/self/exe", s_exePath, kPathSize - 1);
    s_exePath[n > 0 ? n : 0] = '\0';
    const char* slash = std::strrchr(s_exePath, '/');
    if (!slash) {
        std::strcpy(s_exeName, "inconnu");
        return;
    }
    std::strncpy(s_exeName, slash + 1, kNameSize - 1);
    s_exeName[kNameSize - 1] = '\0';
    if (char* ext = std::strstr(s_exeName, ".exe")) *ext = '\0';
}

const char* ZORBasOmniProcessInfo::ExeName() {
    if (s_exeName[0] == '\0') DetermineExeName();
    return s_exeName;
}

const char* ZORBasOmniProcessInfo::ExePath() {
    if (s_exeName[0] == '\0') DetermineExeName();
    return s_exePath;
}

const int& ZORBasOmniProcessInfo::ProcessId() {
    if (s_processId == 0) s_processId = static_cast<int>(getpid());
    return s_processId;
}

const int& ZORBasOmniProcessInfo::Rank() { return s_rank; }

int ZORBasOmniProcessInfo::ThreadId() { return static_cast<int>(syscall(SYS_gettid)); }

void ZORBasOmniProcessInfo::SaveEnvironment(const char* file) {
    if (!file) return;
    std::FILE* out = std::fopen(file, "a");
    if (!out) return;
    std::fprintf(out, "--- %s ---\n", ExePath());
    for (char** e = environ; e && *e; ++e) std::fprintf(out, "%s\n", *e);
    std::fclose(out);
}

char* ZORBasOmniProcessInfo::ProcessName(int, char* buffer, int) { return buffer; }
char* ZORBasOmniProcessInfo::ProcessNameShort(int, char* buffer, int) { return buffer; }
char* ZORBasOmniProcessInfo::ProcessNameFull(int, char* buffer, int) { return buffer; }

namespace {
[[noreturn]] void Truncated(const char* function) {
    std::fprintf(stderr, "Buffer truncation in %s\n", function);
    std::exit(-1);
}
}  // namespace

char* ZORBasOmniTchar2Char(wchar_t* in, char* out, size_t n) {
    size_t need = std::wcstombs(nullptr, in, 0);
    if (need == static_cast<size_t>(-1) || need >= n) Truncated("ZORBasOmniTchar2Char");
    std::wcstombs(out, in, n);
    return out;
}

wchar_t* ZORBasOmniWinString(const char* in, wchar_t* out, size_t n) {
    size_t need = std::mbstowcs(nullptr, in, 0);
    if (need == static_cast<size_t>(-1) || need >= n) Truncated("ZORBasOmniWinString");
    std::mbstowcs(out, in, n);
    return out;
}

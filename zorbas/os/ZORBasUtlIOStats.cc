#include "zorbas/os/ZORBasUtlIOStats.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "zorbas/cow/cow_String.h"
#include "zorbas/memory/ZORBasMemStdAllocator.h"

template class omi_Singleton<ZORBasUtlIOStats>;

std::atomic<bool> ZORBasUtlIOStats::s_counting{false};

namespace {
// The table's header; rows carry the same columns, space-separated.
constexpr const char* kTotalsHeader =
    "!Phase,Mark,Read_Calls,Read_Time,Read_Bytes_Req,Read_Bytes,Write_Calls,Write_Time,"
    "Write_Bytes_Req,Write_Bytes\n";
constexpr const char* kFilesHeader =
    "!File,Volume,Index,Read_Calls,Read_Time,Read_Bytes_Req,Read_Bytes,Write_Calls,Write_Time,"
    "Write_Bytes_Req,Write_Bytes\n";

void PrintTotals(FILE* f, const ZORBasUtlIOTotals& t) {
    std::fprintf(
        f, " %llu %f %llu %llu %llu %f %llu %llu\n", static_cast<unsigned long long>(t.readCalls),
        t.readTime, static_cast<unsigned long long>(t.readBytesRequested),
        static_cast<unsigned long long>(t.readBytes), static_cast<unsigned long long>(t.writeCalls),
        t.writeTime, static_cast<unsigned long long>(t.writeBytesRequested),
        static_cast<unsigned long long>(t.writeBytes));
}
}  // namespace

struct ZORBasUtlIOStats::Impl {
    struct File {
        cow_String name;
        ZORBasUtlIOTotals totals;
    };
    using Key = std::pair<uint64_t, uint64_t>;
    std::mutex lock;
    ZORBasUtlIOTotals totals;
    std::map<Key, File, std::less<Key>, ZORBasMemStdAllocator<std::pair<const Key, File>>> files;
    cow_String phase;
    FILE* table = nullptr;
};

ZORBasUtlIOStats::ZORBasUtlIOStats() : m_impl(new Impl) {}

ZORBasUtlIOStats::~ZORBasUtlIOStats() {
    s_counting.store(false, std::memory_order_relaxed);
    if (m_impl->table) {
        WriteFileRows();
        std::fclose(m_impl->table);
    }
    delete m_impl;
}

void ZORBasUtlIOStats::Initialize(const char* phase, bool enabled, const char* ioPath, int) {
    ZORBasUtlIOStats& self = Instance();
    Impl& d = *self.m_impl;
    bool table = std::getenv("IO_RESOURCE_MONITOR") != nullptr;
    std::lock_guard<std::mutex> hold(d.lock);
    d.totals = ZORBasUtlIOTotals{};
    d.files.clear();
    d.phase = phase ? phase : "";
    if (d.table) {
        std::fclose(d.table);
        d.table = nullptr;
    }
    if (table && ioPath && *ioPath) {
        bool starts = d.phase == "pre" || d.phase == "RunSolver";  // a run's first table
        d.table = std::fopen(ioPath, starts ? "w" : "a");
        if (d.table) {
            std::fputs(kTotalsHeader, d.table);
            std::fflush(d.table);
        }
    }
    s_counting.store(enabled || table, std::memory_order_relaxed);
}

void ZORBasUtlIOStats::Mark(const char* mark) {
    ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance();
    if (!self) return;
    Impl& d = *self->m_impl;
    std::lock_guard<std::mutex> hold(d.lock);
    if (!d.table) return;
    std::fprintf(d.table, "%s %s", d.phase.CStr(), mark ? mark : "");
    PrintTotals(d.table, d.totals);
    std::fflush(d.table);
}

void ZORBasUtlIOStats::IniTimer(int id, const char* name) {
    ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance();
    if (!self) return;
    Impl& d = *self->m_impl;
    std::lock_guard<std::mutex> hold(d.lock);
    if (d.table) std::fprintf(d.table, "!Timer %d = %s\n", id, name ? name : "");
}

void ZORBasUtlIOStats::GetIOInfo(ZORBasUtlIOTotals& totals) {
    ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance();
    if (!self) {
        totals = ZORBasUtlIOTotals{};
        return;
    }
    std::lock_guard<std::mutex> hold(self->m_impl->lock);
    totals = self->m_impl->totals;
}

bool ZORBasUtlIOStats::FileTotals(uint64_t volume, uint64_t index, ZORBasUtlIOTotals& totals) {
    ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance();
    if (!self) return false;
    std::lock_guard<std::mutex> hold(self->m_impl->lock);
    auto it = self->m_impl->files.find({volume, index});
    if (it == self->m_impl->files.end()) return false;
    totals = it->second.totals;
    return true;
}

void ZORBasUtlIOStats::RecordRead(uint64_t volume, uint64_t index, const char* name,
                                  uint64_t requested, uint64_t done, double seconds) {
    if (!Counting()) return;
    if (ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance())
        self->Record(false, volume, index, name, requested, done, seconds);
}

void ZORBasUtlIOStats::RecordWrite(uint64_t volume, uint64_t index, const char* name,
                                   uint64_t requested, uint64_t done, double seconds) {
    if (!Counting()) return;
    if (ZORBasUtlIOStats* self = omi_SingletonBase<ZORBasUtlIOStats>::Instance())
        self->Record(true, volume, index, name, requested, done, seconds);
}

void ZORBasUtlIOStats::Record(bool write, uint64_t volume, uint64_t index, const char* name,
                              uint64_t requested, uint64_t done, double seconds) {
    std::lock_guard<std::mutex> hold(m_impl->lock);
    Impl::File& file = m_impl->files[{volume, index}];
    if ((file.name.Length() == 0) && name) file.name = name;
    for (ZORBasUtlIOTotals* t : {&m_impl->totals, &file.totals}) {
        if (write) {
            ++t->writeCalls;
            t->writeTime += seconds;
            t->writeBytesRequested += requested;
            t->writeBytes += done;
        } else {
            ++t->readCalls;
            t->readTime += seconds;
            t->readBytesRequested += requested;
            t->readBytes += done;
        }
    }
}

void ZORBasUtlIOStats::WriteFileRows() {
    std::lock_guard<std::mutex> hold(m_impl->lock);
    FILE* f = m_impl->table;
    std::fputs(kFilesHeader, f);
    for (const auto& [key, file] : m_impl->files) {
        std::fprintf(f, "%s %llu %llu", (file.name.Length() == 0) ? "-" : file.name.CStr(),
                     static_cast<unsigned long long>(key.first),
                     static_cast<unsigned long long>(key.second));
        PrintTotals(f, file.totals);
    }
    std::fflush(f);
}

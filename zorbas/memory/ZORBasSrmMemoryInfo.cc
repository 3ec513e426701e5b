#include "zorbas/memory/ZORBasSrmMemoryInfo.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zorbas/memory/ZORBasMemStdAllocator.h"

namespace {
using TrackedString = std::basic_string<char, std::char_traits<char>, ZORBasMemStdAllocator<char>>;
using Gang = std::vector<uint32_t, ZORBasMemStdAllocator<uint32_t>>;
struct NameHash {
    size_t operator()(const TrackedString& s) const {
        return std::hash<std::string_view>()(std::string_view(s.data(), s.size()));
    }
};
}  // namespace

struct ZORBasSrmMemoryInfo::Gangs
    : public mem_AllocationOperators,
      public std::unordered_map<TrackedString, Gang, NameHash, std::equal_to<TrackedString>,
                                ZORBasMemStdAllocator<std::pair<const TrackedString, Gang>>> {};

ZORBasSrmMemoryInfo::ZORBasSrmMemoryInfo() : m_gangs(new Gangs) {}

ZORBasSrmMemoryInfo::~ZORBasSrmMemoryInfo() { delete m_gangs; }

void ZORBasSrmMemoryInfo::AddRecord(const char* name, size_t value, size_t) {
    (*m_gangs)[TrackedString(name)].push_back(static_cast<uint32_t>(value));
}

size_t ZORBasSrmMemoryInfo::GangSize(const char* name) const {
    return (*m_gangs)[TrackedString(name)].size();
}

unsigned ZORBasSrmMemoryInfo::Record(const char* name, size_t index) const {
    return (*m_gangs)[TrackedString(name)][index];
}

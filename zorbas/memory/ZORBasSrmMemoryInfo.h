// Records of memory figures gathered by resource name. A gang is the list of records added under
// one name, in the order they came; only their count is read back here, the higher layer prints
// them. Values are kept to their low 32 bits.
#pragma once

#include <cstddef>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasSrmMemoryInfo : public mem_AllocationOperators {
  public:
    ZORBasSrmMemoryInfo();
    ~ZORBasSrmMemoryInfo();
    ZORBasSrmMemoryInfo(const ZORBasSrmMemoryInfo&) = delete;
    ZORBasSrmMemoryInfo& operator=(const ZORBasSrmMemoryInfo&) = delete;

    // Appends the low 32 bits of `value` to the gang of `name`; `extra` is accepted and ignored.
    void AddRecord(const char* name, size_t value, size_t extra);
    // The number of records of `name`; an unknown name gets an empty gang and answers 0.
    size_t GangSize(const char* name) const;
    // Record `index` of the gang of `name`; the index must be below GangSize(name).
    unsigned Record(const char* name, size_t index) const;
    void PrintTable() const {}

  private:
    struct Gangs;
    Gangs* m_gangs;
};

// The resource, phase, procedure and priority constants of the memory scheme, as one plain
// structure that the higher layer fills in and this library prints. A fresh object is all zero:
// empty names and no purgeables. About 120 KiB; keep one per process.
#pragma once

#include <cstdio>

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"

struct ZORBAS_API srm_ResourceConstData : public mem_AllocationOperators {
    static constexpr int NameLength = 1024;
    static constexpr int ResourceCount = srm_ResourceCount;
    static constexpr int PhaseCount = 22;
    static constexpr int ProcedureCount = 6;
    static constexpr int PurgeIdCount = 45;
    // Word 0 of a priority row is the number of purgeables k, words 1..k their local purge ids.
    static constexpr int PriorityRowLength = 46;

    srm_ResourceConstData();

    // The local purge ids of the 65 resources, writable in place.
    int* LocalPurgeId() { return localPurgeIds; }
    // The global purge id: local id of the resource plus the purge base.
    int PurgeId(srm_ResourceEnums resource) const { return localPurgeIds[resource] + purgeBase; }

    // The printed forms. The integer argument is accepted and ignored. PrintResources alone leaves
    // the streams unflushed; the others flush every stream when done.
    void PrintResources(FILE* out, int) const;
    void PrintPhases(FILE* out, int) const;
    void PrintProcedures(FILE* out, int) const;
    void PrintPriorities(FILE* out, int) const;

    char resourceNames[ResourceCount][NameLength];
    char phaseNames[PhaseCount][NameLength];
    char procedureNames[ProcedureCount][NameLength];
    int localPurgeIds[ResourceCount];
    // For a local purge id, the index of its resource.
    int purgeToResource[PurgeIdCount];
    int purgeBase;
    int purgeBaseHigh;  // cleared with purgeBase, read by nothing here
    int priorities[ProcedureCount][PhaseCount][PriorityRowLength];
};

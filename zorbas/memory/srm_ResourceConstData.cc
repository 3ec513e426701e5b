#include "zorbas/memory/srm_ResourceConstData.h"

#include <cstring>

srm_ResourceConstData::srm_ResourceConstData() {
    std::memset(resourceNames, 0, sizeof resourceNames);
    std::memset(phaseNames, 0, sizeof phaseNames);
    std::memset(procedureNames, 0, sizeof procedureNames);
    std::memset(localPurgeIds, 0, sizeof localPurgeIds);
    std::memset(purgeToResource, 0, sizeof purgeToResource);
    purgeBase = 0;
    purgeBaseHigh = 0;
    std::memset(priorities, 0, sizeof priorities);
}

void srm_ResourceConstData::PrintResources(FILE* out, int) const {
    std::fputs("Resources:\n", out);
    for (int i = 0; i < ResourceCount; ++i) {
        std::fprintf(out, "%3d) %-22s %3d %3d\n", i, resourceNames[i], localPurgeIds[i],
                     PurgeId(static_cast<srm_ResourceEnums>(i)));
    }
}

void srm_ResourceConstData::PrintPhases(FILE* out, int) const {
    std::fputs("Phases:\n", out);
    for (int i = 0; i < PhaseCount; ++i) std::fprintf(out, "%3d) %s\n", i, phaseNames[i]);
    std::fflush(nullptr);
}

void srm_ResourceConstData::PrintProcedures(FILE* out, int) const {
    std::fputs("Procedures:\n", out);
    for (int i = 0; i < ProcedureCount; ++i) std::fprintf(out, "%3d) %s\n", i, procedureNames[i]);
    std::fflush(nullptr);
}

void srm_ResourceConstData::PrintPriorities(FILE* out, int) const {
    std::fputs("Priorities:\n", out);
    for (int proc = 0; proc < ProcedureCount; ++proc) {
        std::fprintf(out, "%3d) %s\n", proc, procedureNames[proc]);
        for (int phase = 0; phase < PhaseCount; ++phase) {
            const int* row = priorities[proc][phase];
            int k = row[0];
            if (k <= 0) continue;
            std::fprintf(out, "     phase %d %s: %d purgeables:\n", phase, phaseNames[phase], k);
            for (int j = 1; j <= k; ++j) {
                std::fprintf(out, "%16d", row[j]);
                std::fprintf(out, " %s\n", resourceNames[purgeToResource[row[j]]]);
            }
            std::fputs("\n", out);
        }
    }
    std::fflush(nullptr);
}

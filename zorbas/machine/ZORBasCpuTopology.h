// The processor packages, cores, hardware threads and caches of this machine. InitCpuTopology
// binds the calling thread to each processor the process may use in turn, reads that processor's
// CPUID and fills one process-wide record (glbl_ptr); the accessors answer counts and ordinals from
// it. Enumeration costs one thread migration per processor and runs once; accessors are O(1) but
// for SlectOrdfromPkg, a walk over the processors.
//
// Failures come in two kinds. A capacity error (more cores in a package than 64, more than 30 CPUID
// leaves, an affinity bit beyond its mask) prints a line that ends in "Bye" and ends the process
// with exit(2). A failed consistency check only sets the error word, after which every accessor
// answers 0; a process whose affinity is narrower than the machine fails it on purpose
// (0xC1000000). The two scratch-list checks of the walks print their line and fail the walk
// (0xC0800000).
//
// On Linux: the processor count is the online CPUs, the process mask comes from sched_getaffinity,
// the system mask from the online CPUs, and binding uses pthread_setaffinity_np. Unlike a thread
// left on the last processor it was bound to, the calling thread gets its own affinity back after
// the enumeration and after GetHWMTConfig, so that later threads of a solver are not pinned to one
// core; the counts are unchanged.
//
// CPUID rules are followed as the processor states them, also where a virtual machine's kernel sees
// otherwise: a guest that reports 254 logical processors per package with the HTT bit and neither
// leaf 0xB nor leaf 4 enumerates as one package of one core with as many threads as it may use.
//
// Nothing locks the record: call InitCpuTopology from one thread, at start.
#pragma once

#include <cstdint>

#include "companions/framework/zorbas_export.h"

// The four registers of one CPUID answer, by name or as an array.
union CPUIDinfo {
    struct {
        uint32_t EAX, EBX, ECX, EDX;
    };
    uint32_t info[4];
};

// A set of processors: bit n lies in byte n / 8, as bit n mod 8.
struct GenericAffinityMask {
    uint32_t maxByteLength;
    unsigned char* AffinityMask;
};

constexpr unsigned ZORBAS_TOPO_MAX_CORES = 64;           // cores per package
constexpr unsigned ZORBAS_TOPO_MAX_CACHE_SUBLEAFS = 30;  // caches, and the width of the leaf table
constexpr unsigned ZORBAS_TOPO_MAX_LEAFS = 30;           // CPUID leaves captured

// A counter array of one or two dimensions.
struct GenericCountArray {
    unsigned* data;
    unsigned dim[2];
};

// What one logical processor is: its APIC id, the operating system's index, the three ids cut from
// the APIC id, its ordinals in first-seen order, and per cache its two ids and ordinals.
struct IdAffMskOrdMapping_t {
    unsigned APICID;
    unsigned OrdIndexOAMsk;
    unsigned pkg_IDAPIC;
    unsigned Core_IDAPIC;
    unsigned SMT_IDAPIC;
    unsigned packageORD;
    unsigned coreORD;
    unsigned threadORD;
    unsigned EaCacheSMTIDAPIC[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned EaCacheIDAPIC[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned EachCacheORD[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned threadPerEaCacheORD[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
};

// The captured answers of one CPUID leaf, subleaf by subleaf.
struct CPUIDLeafBuffer {
    CPUIDinfo subleaf[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned subleafCount;
};

struct CacheDetail {
    char description[256];
    char shortName[16];
    unsigned level;
    unsigned type;
    unsigned sizeKB;
    unsigned howMany;
};

// The one process-wide record, fields in the order the topology is built.
struct GLKTSN_T {
    IdAffMskOrdMapping_t* pApicAffOrdMapping;
    GenericCountArray perPkg_detectedCoresCount;
    GenericCountArray perCore_detectedThreadsCount;
    GenericCountArray perCache_detectedCoresCount;
    GenericCountArray perEachCache_detectedThreadCount;
    uint32_t error;
    uint32_t Alert_BiosCPUIDmaxLimitSetting;  // the legacy flag; nothing sets it on Linux
    unsigned OSProcessorCount;
    unsigned hasLeafB;
    unsigned maxCacheSubleaf;
    unsigned packageCount;
    unsigned coreCount;
    unsigned logicalCount;
    unsigned eachCacheCount[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned SMTSelectMask;
    unsigned PkgSelectMask;
    unsigned CoreSelectMask;
    unsigned PkgSelectMaskShift;
    unsigned SMTMaskWidth;
    unsigned EachCacheSelectMask[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
    unsigned EachCacheMaskWidth[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];  // all ones: subleaf skipped
    unsigned HWMT_SMTperCore;
    unsigned HWMT_SMTperPkg;
    CPUIDLeafBuffer cpuid_values[ZORBAS_TOPO_MAX_LEAFS];
    GenericAffinityMask cpu_generic_processAffinity;
    GenericAffinityMask cpu_generic_systemAffinity;
    CacheDetail cacheDetail[ZORBAS_TOPO_MAX_CACHE_SUBLEAFS];
};

// The error word's values.
constexpr uint32_t ZORBAS_TOPO_ERR_LEAFB_LEVELS = 0x80000000u;  // leaf 0xB lacks levels
constexpr uint32_t ZORBAS_TOPO_ERR_LEGACY_NO_LEAF4 = 0x88000000u;
constexpr uint32_t ZORBAS_TOPO_ERR_WALK = 0xC0800000u;
constexpr uint32_t ZORBAS_TOPO_ERR_PROCESS_MASK = 0xC1000000u;
constexpr uint32_t ZORBAS_TOPO_ERR_SYSTEM_MASK = 0xC2000000u;  // or a failed bind
constexpr uint32_t ZORBAS_TOPO_ERR_OVER_64 = 0xC4000000u;

ZORBAS_API extern GLKTSN_T* glbl_ptr;

ZORBAS_API void InitCpuTopology();
ZORBAS_API void FiniCpuTopology();

ZORBAS_API unsigned GetOSLogicalProcessorCount();
ZORBAS_API unsigned GetSysLogicalProcessorCount();
ZORBAS_API unsigned GetSysProcessorPackageCount();
ZORBAS_API unsigned GetSysProcessorCoreCount();
ZORBAS_API unsigned GetSysEachCacheCount(unsigned subleaf);
ZORBAS_API unsigned GetCoreCountPerEachCache(unsigned subleaf, unsigned cache);
ZORBAS_API unsigned GetEnumeratedCoreCount(unsigned package);
ZORBAS_API unsigned GetEnumeratedThreadCount(unsigned package, unsigned core);
ZORBAS_API unsigned getEnumerateAPICID(unsigned index);
ZORBAS_API unsigned SlectOrdfromPkg(unsigned package, unsigned core, unsigned thread);

ZORBAS_API int AllocateGenericAffinityMask(GenericAffinityMask* mask, unsigned bits);
ZORBAS_API void FreeGenericAffinityMask(GenericAffinityMask* mask);
ZORBAS_API void ClearGenericAffinityMask(GenericAffinityMask* mask);
ZORBAS_API int SetGenericAffinityBit(GenericAffinityMask* mask, unsigned cpu);
ZORBAS_API int ClearGenericAffinityBit(GenericAffinityMask* mask, unsigned cpu);
ZORBAS_API int TestGenericAffinityBit(const GenericAffinityMask* mask, unsigned cpu);
// 1 when both masks have the same size and bits, else 0.
ZORBAS_API int CompareEqualGenericAffinity(const GenericAffinityMask* a,
                                           const GenericAffinityMask* b);

ZORBAS_API void _CPUID(CPUIDinfo* info, unsigned leaf, unsigned subleaf);
// Counts the set bits of the low 32 bits only.
ZORBAS_API int countBits(unsigned long long value);
// Binds the calling thread to `cpu` through a 32-bit mask (shift count modulo 32, widened with its
// sign), so cpu 31 also allows 32 to 63 and cpu 33 means cpu 1; 0 on success, -1 for cpu >= 64 or a
// refused bind.
ZORBAS_API int BindContext(unsigned cpu);
// Reads the logical processors per core and per package of `package` into the record; 0, or -1
// when the bind fails (0xC2000000) or leaf 0xB lacks a level.
ZORBAS_API int GetHWMTConfig(unsigned package);
ZORBAS_API unsigned GetMaxCPUSupportedByOS();

// Where the enumeration reads the machine. Tests replace it with a model machine; null fields fall
// back to the real service.
struct ZORBasCpuTopologyPlatform {
    void (*cpuid)(unsigned cpu, unsigned leaf, unsigned subleaf, CPUIDinfo* out);
    unsigned (*processorCount)();
    // Process and system masks, one bit per processor, as far as 64 processors.
    int (*affinityMasks)(uint64_t* process, uint64_t* system);
    // Binds the calling thread to the processors of `mask`; 0 on success.
    int (*bind)(uint64_t mask);
};
// Replaces the platform (null restores the machine's) and forgets the enumerated record.
ZORBAS_API void SetCpuTopologyPlatform(const ZORBasCpuTopologyPlatform* platform);

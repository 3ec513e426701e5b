#include "zorbas/machine/ZORBasCpuTopology.h"

#include <cpuid.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

GLKTSN_T* glbl_ptr = nullptr;

namespace {

// The source path the capacity messages name.
constexpr const char* kFile = "ZORBase/ZORBasUtils.m/src/ZORBasCpuTopology";

[[noreturn]] void Bye() {
    std::fflush(stdout);
    std::exit(2);
}

// ---- The machine: CPUID, processor count, masks and binding, replaceable for tests.

void RealCpuid(unsigned, unsigned leaf, unsigned subleaf, CPUIDinfo* out) {
    __cpuid_count(leaf, subleaf, out->EAX, out->EBX, out->ECX, out->EDX);
}

unsigned RealProcessorCount() {
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<unsigned>(n) : 1u;
}

// The online processors, read from sysfs; the first `count` processors when it can't be read.
uint64_t OnlineMask(unsigned count) {
    uint64_t mask = 0;
    if (FILE* f = std::fopen("/sys/devices/system/cpu/online", "r")) {
        unsigned a = 0, b = 0;
        char sep = 0;
        while (std::fscanf(f, "%u", &a) == 1) {
            b = a;
            if (std::fscanf(f, "%c", &sep) == 1 && sep == '-') {
                if (std::fscanf(f, "%u", &b) != 1) break;
                if (std::fscanf(f, "%c", &sep) != 1) sep = 0;
            }
            for (unsigned c = a; c <= b && c < 64; ++c) mask |= uint64_t{1} << c;
            if (sep != ',') break;
        }
        std::fclose(f);
        if (mask) return mask;
    }
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

int RealAffinityMasks(uint64_t* process, uint64_t* system) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0) return -1;
    *process = 0;
    for (unsigned c = 0; c < 64; ++c)
        if (CPU_ISSET(c, &set)) *process |= uint64_t{1} << c;
    *system = OnlineMask(RealProcessorCount());
    return 0;
}

int RealBind(uint64_t mask) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (unsigned c = 0; c < 64; ++c)
        if (mask & (uint64_t{1} << c)) CPU_SET(c, &set);
    return pthread_setaffinity_np(pthread_self(), sizeof set, &set) == 0 ? 0 : -1;
}

const ZORBasCpuTopologyPlatform kReal{RealCpuid, RealProcessorCount, RealAffinityMasks, RealBind};
ZORBasCpuTopologyPlatform g_platform = kReal;

// The processor the calling thread was last bound to, which a model machine answers CPUID for.
thread_local unsigned t_boundCpu = 0;

void Cpuid(CPUIDinfo* out, unsigned leaf, unsigned subleaf) {
    g_platform.cpuid(t_boundCpu, leaf, subleaf, out);
}

// Keeps the calling thread's own affinity and gives it back when the scope ends.
class AffinityKeeper {
  public:
    AffinityKeeper() {
        CPU_ZERO(&saved_);
        kept_ = g_platform.bind == RealBind &&
                pthread_getaffinity_np(pthread_self(), sizeof saved_, &saved_) == 0;
    }
    ~AffinityKeeper() {
        if (kept_) pthread_setaffinity_np(pthread_self(), sizeof saved_, &saved_);
        t_boundCpu = 0;
    }
    AffinityKeeper(const AffinityKeeper&) = delete;
    AffinityKeeper& operator=(const AffinityKeeper&) = delete;

  private:
    cpu_set_t saved_;
    bool kept_ = false;
};

// ---- Bits and masks.

unsigned getBitsFromDWORD(unsigned value, unsigned from, unsigned to) {
    unsigned shifted = value >> from;
    if (to == 31) return shifted;
    return shifted & ((1u << (to - from + 1)) - 1u);
}

// The width and mask of a field that must hold `count` values: the index of the highest set bit
// of 2 * count - 1, and that many low bits (31 gives all ones).
unsigned CreateMask(unsigned count, unsigned* width) {
    unsigned v = 2 * count - 1;
    if (count == 0 || v == 0) {
        *width = 0;
        return 0;
    }
    unsigned w = 31u - static_cast<unsigned>(std::countl_zero(v));
    *width = w;
    return w >= 31 ? 0xFFFFFFFFu : (1u << w) - 1u;
}

// ---- The counter arrays.

bool AllocArray(GenericCountArray* a, unsigned dim0, unsigned dim1) {
    a->dim[0] = dim0;
    a->dim[1] = dim1;
    size_t n = static_cast<size_t>(dim0) * (dim1 ? dim1 : 1);
    a->data = static_cast<unsigned*>(std::calloc(n ? n : 1, sizeof(unsigned)));
    return a->data != nullptr;
}

void FreeArray(GenericCountArray* a) {
    std::free(a->data);
    a->data = nullptr;
    a->dim[0] = a->dim[1] = 0;
}

void AllocArrays(unsigned count) {
    GLKTSN_T* g = glbl_ptr;
    g->pApicAffOrdMapping = static_cast<IdAffMskOrdMapping_t*>(
        std::calloc(count ? count : 1, sizeof(IdAffMskOrdMapping_t)));
    if (!g->pApicAffOrdMapping || !AllocArray(&g->perPkg_detectedCoresCount, count, 0) ||
        !AllocArray(&g->perCore_detectedThreadsCount, count, ZORBAS_TOPO_MAX_CORES) ||
        !AllocArray(&g->perCache_detectedCoresCount, count, 0) ||
        !AllocArray(&g->perEachCache_detectedThreadCount, count, ZORBAS_TOPO_MAX_CACHE_SUBLEAFS)) {
        std::printf("error: malloc failed at %s %d. Bye\n", kFile, __LINE__);
        Bye();
    }
}

void FreeArrays() {
    GLKTSN_T* g = glbl_ptr;
    std::free(g->pApicAffOrdMapping);
    g->pApicAffOrdMapping = nullptr;
    FreeArray(&g->perPkg_detectedCoresCount);
    FreeArray(&g->perCore_detectedThreadsCount);
    FreeArray(&g->perCache_detectedCoresCount);
    FreeArray(&g->perEachCache_detectedThreadCount);
    FreeGenericAffinityMask(&g->cpu_generic_processAffinity);
    FreeGenericAffinityMask(&g->cpu_generic_systemAffinity);
}

unsigned& At2(GenericCountArray& a, unsigned i, unsigned j) { return a.data[i * a.dim[1] + j]; }

// ---- Topology constants.

unsigned MaxLeaf() {
    CPUIDinfo info;
    Cpuid(&info, 0, 0);
    return info.EAX;
}

int CPUTopologyLeafBConstants() {
    GLKTSN_T* g = glbl_ptr;
    bool smt = false, core = false;
    unsigned corePlusSMTMask = 0;
    for (unsigned sub = 0;; ++sub) {
        CPUIDinfo info;
        Cpuid(&info, 11, sub);
        if (info.EBX == 0) break;
        unsigned type = getBitsFromDWORD(info.ECX, 8, 15);
        unsigned shift = getBitsFromDWORD(info.EAX, 0, 4);
        unsigned low = shift >= 32 ? 0xFFFFFFFFu : (1u << shift) - 1u;
        if (type == 1) {
            g->SMTSelectMask = low;
            g->SMTMaskWidth = shift;
            smt = true;
        } else if (type == 2) {
            corePlusSMTMask = low;
            g->PkgSelectMaskShift = shift;
            g->PkgSelectMask = shift >= 32 ? 0u : 0xFFFFFFFFu << shift;
            core = true;
        }
        if (sub >= 255) break;
    }
    if (smt && core) {
        g->CoreSelectMask = corePlusSMTMask ^ g->SMTSelectMask;
    } else if (smt) {
        g->CoreSelectMask = 0;
        g->PkgSelectMaskShift = g->SMTMaskWidth;
        g->PkgSelectMask = ~g->SMTSelectMask;
    } else {
        g->error |= ZORBAS_TOPO_ERR_LEAFB_LEVELS;
        return -1;
    }
    return 0;
}

// Cores per package and threads per core of the processors without leaf 0xB.
void LegacyCounts(unsigned maxLeaf, unsigned* cores, unsigned* threads) {
    GLKTSN_T* g = glbl_ptr;
    CPUIDinfo leaf1;
    Cpuid(&leaf1, 1, 0);
    unsigned maxLogical = getBitsFromDWORD(leaf1.EBX, 16, 23);
    if (maxLeaf >= 4) {
        CPUIDinfo leaf4;
        Cpuid(&leaf4, 4, 0);
        *cores = getBitsFromDWORD(leaf4.EAX, 26, 31) + 1;
        *threads = maxLogical / *cores;
    } else if (g->Alert_BiosCPUIDmaxLimitSetting) {
        g->error |= ZORBAS_TOPO_ERR_LEGACY_NO_LEAF4;
        *cores = 1;
        *threads = 1;
    } else {
        *cores = 1;
        *threads = maxLogical;
    }
}

int CPUTopologyLegacyConstants(unsigned maxLeaf) {
    GLKTSN_T* g = glbl_ptr;
    unsigned cores = 0, threads = 0;
    LegacyCounts(maxLeaf, &cores, &threads);
    unsigned coreWidth = 0;
    g->SMTSelectMask = CreateMask(threads, &g->SMTMaskWidth);
    unsigned coreMask = CreateMask(cores, &coreWidth);
    g->PkgSelectMaskShift = g->SMTMaskWidth + coreWidth;
    g->CoreSelectMask = g->SMTMaskWidth >= 32 ? 0 : coreMask << g->SMTMaskWidth;
    g->PkgSelectMask = ~(g->CoreSelectMask | g->SMTSelectMask);
    return (g->error & ZORBAS_TOPO_ERR_LEGACY_NO_LEAF4) ? -1 : 0;
}

// ---- Caches.

void InitStructuredLeafBuffers(unsigned maxLeaf) {
    GLKTSN_T* g = glbl_ptr;
    if (maxLeaf >= ZORBAS_TOPO_MAX_LEAFS) {
        std::printf("got maxCPUID= 0x%x but the array only handles up to 0x%x. Bye at %s %d\n",
                    maxLeaf, ZORBAS_TOPO_MAX_LEAFS - 1, kFile, __LINE__);
        Bye();
    }
    for (unsigned leaf = 0; leaf <= maxLeaf; ++leaf) {
        CPUIDLeafBuffer& buf = g->cpuid_values[leaf];
        buf.subleafCount = 0;
        for (unsigned sub = 0; sub < ZORBAS_TOPO_MAX_CACHE_SUBLEAFS; ++sub) {
            CPUIDinfo info;
            Cpuid(&info, leaf, sub);
            buf.subleaf[buf.subleafCount++] = info;
            // Leaves 4 and 0xB list subleaves until an empty one; the others answer once.
            if (leaf == 4    ? getBitsFromDWORD(info.EAX, 0, 4) == 0
                : leaf == 11 ? info.EBX == 0
                             : true)
                break;
        }
    }
}

unsigned GetCacheTotalLize(const CPUIDinfo& leaf4) {
    unsigned ways = getBitsFromDWORD(leaf4.EBX, 22, 31) + 1;
    unsigned partitions = getBitsFromDWORD(leaf4.EBX, 12, 21) + 1;
    unsigned lineSize = getBitsFromDWORD(leaf4.EBX, 0, 11) + 1;
    return (leaf4.ECX + 1) * ways * partitions * lineSize;
}

// The number of logical processors that share a cache.
unsigned CacheSharingCount(bool haveLeaf4, const CPUIDinfo& leaf4) {
    if (haveLeaf4) return getBitsFromDWORD(leaf4.EAX, 14, 25) + 1;
    CPUIDinfo leaf1;
    Cpuid(&leaf1, 1, 0);
    if (getBitsFromDWORD(leaf1.EDX, 28, 28)) return getBitsFromDWORD(leaf1.EBX, 16, 23);
    return 1;
}

// Describes the cache of one subleaf and sets its mask; -1 at the end of the list.
int FindEachCacheIndex(unsigned maxLeaf, unsigned subleaf) {
    GLKTSN_T* g = glbl_ptr;
    CacheDetail& d = g->cacheDetail[subleaf];
    CPUIDinfo leaf4{};
    bool haveLeaf4 = maxLeaf >= 4;
    if (haveLeaf4) {
        Cpuid(&leaf4, 4, subleaf);
        unsigned type = getBitsFromDWORD(leaf4.EAX, 0, 4);
        unsigned level = getBitsFromDWORD(leaf4.EAX, 5, 7);
        if (type == 0) return -1;
        static const char* const kWords[] = {"Null, end of cache_type list", "Data cache",
                                             "Instruction cache", "Unified cache"};
        const char* word = type < 4 ? kWords[type] : "cache type undefined";
        unsigned sizeKB = GetCacheTotalLize(leaf4) / 1024;
        static const char* const kShort[] = {"Null", "L%dD", "L%dI", "L%d", "L%d", "NA"};
        std::snprintf(d.shortName, sizeof d.shortName, kShort[type < 5 ? type : 5], level);
        std::snprintf(d.description, sizeof d.description, "Level %d %s, size(KBytes)= %d", level,
                      word, sizeKB);
        d.level = level;
        d.type = type;
        d.sizeKB = sizeKB;
    } else {
        if (subleaf > 0) return -1;
        std::snprintf(d.description, sizeof d.description, "described by cpuid leaf 2");
        std::snprintf(d.shortName, sizeof d.shortName, "$");
        d.type = 0;
        d.level = 0;
        d.sizeKB = 0;
    }
    ++d.howMany;
    g->EachCacheSelectMask[subleaf] =
        CreateMask(CacheSharingCount(haveLeaf4, leaf4), &g->EachCacheMaskWidth[subleaf]);
    return 0;
}

// ---- Enumeration.

int SetChkProcessAffinityConsistency(unsigned count) {
    GLKTSN_T* g = glbl_ptr;
    uint64_t process = 0, system = 0;
    if (g_platform.affinityMasks(&process, &system) != 0) {
        g->error |= ZORBAS_TOPO_ERR_SYSTEM_MASK;
        return -1;
    }
    if (count > 64) {
        g->error |= ZORBAS_TOPO_ERR_OVER_64;
        return -1;
    }
    if (static_cast<unsigned>(countBits(process)) != count)
        g->error |= ZORBAS_TOPO_ERR_PROCESS_MASK;
    if (static_cast<unsigned>(countBits(system)) != count) g->error |= ZORBAS_TOPO_ERR_SYSTEM_MASK;
    for (unsigned c = 0; c < count; ++c) {
        if (system & (uint64_t{1} << c))
            SetGenericAffinityBit(&g->cpu_generic_systemAffinity, c);
        else
            g->error |= ZORBAS_TOPO_ERR_PROCESS_MASK;
        if (process & (uint64_t{1} << c))
            SetGenericAffinityBit(&g->cpu_generic_processAffinity, c);
        else
            g->error |= ZORBAS_TOPO_ERR_PROCESS_MASK;
    }
    return g->error ? -1 : 0;
}

void ParseIDS4EachThread(unsigned osIndex, unsigned n) {
    GLKTSN_T* g = glbl_ptr;
    unsigned apic;
    CPUIDinfo info;
    if (g->hasLeafB) {
        Cpuid(&info, 11, 0);
        apic = info.EDX;
    } else {
        Cpuid(&info, 1, 0);
        apic = getBitsFromDWORD(info.EBX, 24, 31);
    }
    IdAffMskOrdMapping_t& r = g->pApicAffOrdMapping[n];
    r.APICID = apic;
    r.OrdIndexOAMsk = osIndex;
    r.pkg_IDAPIC =
        g->PkgSelectMaskShift >= 32 ? 0 : (apic & g->PkgSelectMask) >> g->PkgSelectMaskShift;
    r.Core_IDAPIC = g->SMTMaskWidth >= 32 ? 0 : (apic & g->CoreSelectMask) >> g->SMTMaskWidth;
    r.SMT_IDAPIC = apic & g->SMTSelectMask;
    for (unsigned s = 0; s <= g->maxCacheSubleaf && s < ZORBAS_TOPO_MAX_CACHE_SUBLEAFS; ++s) {
        if (g->EachCacheMaskWidth[s] == 0xFFFFFFFFu) continue;
        r.EaCacheSMTIDAPIC[s] = apic & g->EachCacheSelectMask[s];
        r.EaCacheIDAPIC[s] = apic & ~g->EachCacheSelectMask[s];
    }
}

int QueryParseSubIDs() {
    GLKTSN_T* g = glbl_ptr;
    unsigned count = g->OSProcessorCount;
    AllocateGenericAffinityMask(&g->cpu_generic_processAffinity, count);
    AllocateGenericAffinityMask(&g->cpu_generic_systemAffinity, count);
    if (SetChkProcessAffinityConsistency(count) != 0 || g->error) return -1;
    unsigned n = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (!TestGenericAffinityBit(&g->cpu_generic_processAffinity, i)) continue;
        if (BindContext(i) != 0) {
            g->error |= ZORBAS_TOPO_ERR_SYSTEM_MASK;
            break;
        }
        ParseIDS4EachThread(i, n);
        ++n;
    }
    g->logicalCount = n;
    return g->error ? -1 : 0;
}

// Gives first-seen ordinals to the outer and inner ids of the first `n` records and counts them.
// `outerOf`/`innerOf` read a record's ids; `setOrd` stores the two ordinals. Used for packages and
// cores, and for each cache subleaf with the cache's two ids.
template <class OuterOf, class InnerOf, class SetOrd, class Counts>
int WalkOrdinals(unsigned n, OuterOf outerOf, InnerOf innerOf, SetOrd setOrd, Counts counts) {
    unsigned* outerIds = static_cast<unsigned*>(std::malloc(sizeof(unsigned) * (n ? n : 1)));
    size_t ckDim = static_cast<size_t>(n) * n;
    unsigned* innerIds =
        static_cast<unsigned*>(std::malloc(sizeof(unsigned) * (ckDim ? ckDim : 1)));
    if (!outerIds || !innerIds) {
        std::printf("error: malloc failed at %s %d. Bye\n", kFile, __LINE__);
        Bye();
    }
    std::memset(outerIds, 0xFF, sizeof(unsigned) * n);
    std::memset(innerIds, 0xFF, sizeof(unsigned) * ckDim);
    unsigned* innerCount = static_cast<unsigned*>(std::calloc(n ? n : 1, sizeof(unsigned)));
    unsigned maxOuter = 0;
    int result = 0;
    for (unsigned i = 0; i < n && result == 0; ++i) {
        unsigned outer = outerOf(i), inner = innerOf(i);
        unsigned h = 0;
        while (h < maxOuter && outerIds[h] != outer) ++h;
        if (h == maxOuter) {
            if (static_cast<size_t>(maxOuter) * n >= ckDim) {
                std::printf(
                    "*** Error: maxPackageDetetcted = %d numMappings = %d maxPackageDetetcted * "
                    "numMappings + 0 = %d and ckDim= %d at %s %d \n",
                    maxOuter, n, maxOuter * n, static_cast<int>(ckDim), kFile, __LINE__);
                result = -1;
                break;
            }
            outerIds[h] = outer;
            innerIds[h * n] = inner;
            innerCount[h] = 1;
            ++maxOuter;
            unsigned thread = 0;
            result = counts(h, 0, true, true, &thread);
            setOrd(i, h, 0, thread);
            continue;
        }
        unsigned c = 0;
        while (c < innerCount[h] && innerIds[h * n + c] != inner) ++c;
        if (c == innerCount[h]) {
            if (static_cast<size_t>(h) * n + c >= ckDim) {
                std::printf("got error. h* numMappings + core = %d and ckDim= %d at %s %d\n",
                            h * n + c, static_cast<int>(ckDim), kFile, __LINE__);
                result = -1;
                break;
            }
            innerIds[h * n + c] = inner;
            ++innerCount[h];
            unsigned thread = 0;
            result = counts(h, c, false, true, &thread);
            setOrd(i, h, c, thread);
        } else {
            unsigned thread = 0;
            result = counts(h, c, false, false, &thread);
            setOrd(i, h, c, thread);
        }
    }
    std::free(outerIds);
    std::free(innerIds);
    std::free(innerCount);
    return result;
}

int AnalyzeCPUHierarchy(unsigned n) {
    GLKTSN_T* g = glbl_ptr;
    IdAffMskOrdMapping_t* r = g->pApicAffOrdMapping;
    auto counts = [g](unsigned h, unsigned c, bool newOuter, bool newInner,
                      unsigned* thread) -> int {
        if (h >= g->perPkg_detectedCoresCount.dim[0]) {
            std::printf(
                "*** Error: maxPackageDetetcted(%d) >= "
                "glbl_ptr->perPkg_detectedCoresCount.dim[0](%d) at %s %d.\n",
                h, g->perPkg_detectedCoresCount.dim[0], kFile, __LINE__);
            return -1;
        }
        if (h >= g->perCore_detectedThreadsCount.dim[0]) {
            std::printf("got too large 1st dimension %d which is bigger than %d at %s %d. Bye\n", h,
                        g->perCore_detectedThreadsCount.dim[0], kFile, __LINE__);
            Bye();
        }
        if (c >= g->perCore_detectedThreadsCount.dim[1]) {
            std::printf("got too large 2nd dimension %d which is bigger than %d at %s %d. Bye\n", c,
                        g->perCore_detectedThreadsCount.dim[1], kFile, __LINE__);
            Bye();
        }
        unsigned& threads = At2(g->perCore_detectedThreadsCount, h, c);
        if (newOuter) ++g->packageCount;
        if (newInner) {
            ++g->coreCount;
            ++g->perPkg_detectedCoresCount.data[h];
            threads = 0;
        }
        *thread = threads++;
        return 0;
    };
    return WalkOrdinals(
        n, [r](unsigned i) { return r[i].pkg_IDAPIC; },
        [r](unsigned i) { return r[i].Core_IDAPIC; },
        [r](unsigned i, unsigned h, unsigned c, unsigned t) {
            r[i].packageORD = h;
            r[i].coreORD = c;
            r[i].threadORD = t;
        },
        counts);
}

int AnalyzeEachCHierarchy(unsigned subleaf, unsigned n) {
    GLKTSN_T* g = glbl_ptr;
    IdAffMskOrdMapping_t* r = g->pApicAffOrdMapping;
    auto counts = [g, subleaf](unsigned h, unsigned, bool newOuter, bool newInner,
                               unsigned* thread) -> int {
        if (h >= g->perEachCache_detectedThreadCount.dim[0]) {
            std::printf(
                "Error: Got maxCacheDetected(%d) >= "
                "glbl_ptr->perEachCache_detectedThreadCount.dim[0](%d) at %s %d. Bye\n",
                h, g->perEachCache_detectedThreadCount.dim[0], kFile, __LINE__);
            Bye();
        }
        if (subleaf >= g->perEachCache_detectedThreadCount.dim[1]) {
            std::printf(
                "Error: Got subleaf(%d) >= "
                "glbl_ptr->perEachCache_detectedThreadCount.dim[1](%d) at %s %d. Bye\n",
                subleaf, g->perEachCache_detectedThreadCount.dim[1], kFile, __LINE__);
            Bye();
        }
        if (newOuter) ++g->eachCacheCount[subleaf];
        if (newInner) ++g->perCache_detectedCoresCount.data[h];
        *thread = At2(g->perEachCache_detectedThreadCount, h, subleaf)++;
        return 0;
    };
    return WalkOrdinals(
        n, [r, subleaf](unsigned i) { return r[i].EaCacheIDAPIC[subleaf]; },
        [r, subleaf](unsigned i) { return r[i].EaCacheSMTIDAPIC[subleaf]; },
        [r, subleaf](unsigned i, unsigned h, unsigned, unsigned t) {
            r[i].EachCacheORD[subleaf] = h;
            r[i].threadPerEaCacheORD[subleaf] = t;
        },
        counts);
}

void ResetRecord() {
    if (glbl_ptr->pApicAffOrdMapping || glbl_ptr->perPkg_detectedCoresCount.data) FreeArrays();
    std::memset(glbl_ptr, 0, sizeof(GLKTSN_T));
    for (unsigned& w : glbl_ptr->EachCacheMaskWidth) w = 0xFFFFFFFFu;
}

void Enumerate() {
    GLKTSN_T* g = glbl_ptr;
    g->OSProcessorCount = g_platform.processorCount();
    AllocArrays(g->OSProcessorCount);

    unsigned maxLeaf = MaxLeaf();
    if (maxLeaf >= 11) {
        CPUIDinfo info;
        Cpuid(&info, 11, 0);
        g->hasLeafB = info.EBX != 0;
    }
    CPUIDinfo leaf1;
    Cpuid(&leaf1, 1, 0);
    if (!getBitsFromDWORD(leaf1.EDX, 28, 28)) {
        g->SMTSelectMask = 0;
        g->CoreSelectMask = 0;
        g->PkgSelectMask = 0xFFFFFFFFu;
        g->PkgSelectMaskShift = 0;
        g->SMTMaskWidth = 0;
    } else if ((g->hasLeafB ? CPUTopologyLeafBConstants() : CPUTopologyLegacyConstants(maxLeaf)) !=
               0) {
        return;
    }

    if (maxLeaf >= 4) {
        InitStructuredLeafBuffers(maxLeaf);
        for (unsigned s = 0; s < ZORBAS_TOPO_MAX_CACHE_SUBLEAFS; ++s) {
            if (FindEachCacheIndex(maxLeaf, s) < 0) break;
            g->maxCacheSubleaf = s;
        }
    } else if (maxLeaf >= 2) {
        for (unsigned s = 0; s < 4; ++s) {
            if (FindEachCacheIndex(maxLeaf, s) < 0) break;
            g->maxCacheSubleaf = s;
        }
    }

    AffinityKeeper keep;
    if (QueryParseSubIDs() != 0) return;
    if (AnalyzeCPUHierarchy(g->logicalCount) < 0) {
        g->error |= ZORBAS_TOPO_ERR_WALK;
        return;
    }
    for (unsigned s = 0; s <= g->maxCacheSubleaf && s < ZORBAS_TOPO_MAX_CACHE_SUBLEAFS; ++s) {
        if (g->EachCacheMaskWidth[s] == 0xFFFFFFFFu) continue;
        if (AnalyzeEachCHierarchy(s, g->logicalCount) < 0) g->error |= ZORBAS_TOPO_ERR_WALK;
    }
}

// The accessors' common gate: enumerate when the field is still 0; 0 once an error is set.
template <class Read>
unsigned Answer(Read read) {
    if (!glbl_ptr || read() == 0) InitCpuTopology();
    if (glbl_ptr->error) return 0;
    return read();
}

}  // namespace

void InitCpuTopology() {
    if (!glbl_ptr) {
        glbl_ptr = static_cast<GLKTSN_T*>(std::malloc(sizeof(GLKTSN_T)));
        if (!glbl_ptr) {
            std::printf("error: malloc failed at %s %d. Bye\n", kFile, __LINE__);
            Bye();
        }
        std::memset(glbl_ptr, 0, sizeof(GLKTSN_T));
    }
    if (glbl_ptr->packageCount) return;
    ResetRecord();
    Enumerate();
}

void FiniCpuTopology() {
    if (glbl_ptr) FreeArrays();
}

unsigned GetOSLogicalProcessorCount() {
    return Answer([] { return glbl_ptr ? glbl_ptr->OSProcessorCount : 0u; });
}

unsigned GetSysLogicalProcessorCount() {
    return Answer([] { return glbl_ptr ? glbl_ptr->logicalCount : 0u; });
}

unsigned GetSysProcessorPackageCount() {
    return Answer([] { return glbl_ptr ? glbl_ptr->packageCount : 0u; });
}

unsigned GetSysProcessorCoreCount() {
    return Answer([] { return glbl_ptr ? glbl_ptr->coreCount : 0u; });
}

unsigned GetSysEachCacheCount(unsigned subleaf) {
    if (subleaf >= ZORBAS_TOPO_MAX_CACHE_SUBLEAFS) return 0;
    return Answer([subleaf] { return glbl_ptr ? glbl_ptr->eachCacheCount[subleaf] : 0u; });
}

unsigned GetCoreCountPerEachCache(unsigned subleaf, unsigned cache) {
    return Answer([subleaf, cache]() -> unsigned {
        if (!glbl_ptr || !glbl_ptr->perEachCache_detectedThreadCount.data) return 0;
        GenericCountArray& a = glbl_ptr->perEachCache_detectedThreadCount;
        if (subleaf >= a.dim[1] || cache >= glbl_ptr->eachCacheCount[subleaf]) return 0;
        return At2(a, cache, subleaf);
    });
}

unsigned GetEnumeratedCoreCount(unsigned package) {
    return Answer([package]() -> unsigned {
        if (!glbl_ptr || package >= glbl_ptr->packageCount) return 0;
        return glbl_ptr->perPkg_detectedCoresCount.data[package];
    });
}

unsigned GetEnumeratedThreadCount(unsigned package, unsigned core) {
    return Answer([package, core]() -> unsigned {
        if (!glbl_ptr || package >= glbl_ptr->packageCount || core >= ZORBAS_TOPO_MAX_CORES ||
            core >= glbl_ptr->perPkg_detectedCoresCount.data[package])
            return 0;
        return At2(glbl_ptr->perCore_detectedThreadsCount, package, core);
    });
}

unsigned getEnumerateAPICID(unsigned index) {
    if (!glbl_ptr || glbl_ptr->packageCount == 0) InitCpuTopology();
    if (glbl_ptr->error || index >= glbl_ptr->OSProcessorCount) return static_cast<unsigned>(-1);
    return glbl_ptr->pApicAffOrdMapping[index].APICID;
}

unsigned SlectOrdfromPkg(unsigned package, unsigned core, unsigned thread) {
    if (!glbl_ptr || glbl_ptr->packageCount == 0) InitCpuTopology();
    GLKTSN_T* g = glbl_ptr;
    // -1 is the wildcard, but it is also "not below packageCount", so a wildcard package answers
    // the first processor as a missing one does.
    if (g->error || package >= g->packageCount) return 0;
    const unsigned any = static_cast<unsigned>(-1);
    for (unsigned i = 0; i < g->OSProcessorCount; ++i) {
        const IdAffMskOrdMapping_t& r = g->pApicAffOrdMapping[i];
        if ((package == any || r.packageORD == package) && (core == any || r.coreORD == core) &&
            (thread == any || r.threadORD == thread))
            return i;
    }
    return 0;
}

int AllocateGenericAffinityMask(GenericAffinityMask* mask, unsigned bits) {
    mask->maxByteLength = (bits + 7) / 8;
    mask->AffinityMask = static_cast<unsigned char*>(std::calloc(mask->maxByteLength + 1, 1));
    if (!mask->AffinityMask) {
        std::printf("Error: AllocateGenericAffinityMask 2nd malloc failed at %s %d. Bye\n", kFile,
                    __LINE__);
        mask->maxByteLength = 0;
        return -1;
    }
    return 0;
}

void FreeGenericAffinityMask(GenericAffinityMask* mask) {
    std::free(mask->AffinityMask);
    mask->AffinityMask = nullptr;
    mask->maxByteLength = 0;
}

void ClearGenericAffinityMask(GenericAffinityMask* mask) {
    if (mask->AffinityMask) std::memset(mask->AffinityMask, 0, mask->maxByteLength);
}

int SetGenericAffinityBit(GenericAffinityMask* mask, unsigned cpu) {
    if (cpu >= mask->maxByteLength * 8) {
        std::printf("Error: Wanted cpu %u but mask only supports up to %u cpus at %s %d. Bye\n",
                    cpu, mask->maxByteLength * 8, kFile, __LINE__);
        Bye();
    }
    mask->AffinityMask[cpu / 8] |= static_cast<unsigned char>(1u << (cpu % 8));
    return 0;
}

int ClearGenericAffinityBit(GenericAffinityMask* mask, unsigned cpu) {
    if (cpu >= mask->maxByteLength * 8) {
        std::printf("Error: Wanted cpu %d but mask only supports up to %d cpus at %s %d. Bye\n",
                    static_cast<int>(cpu), static_cast<int>(mask->maxByteLength * 8), kFile,
                    __LINE__);
        Bye();
    }
    mask->AffinityMask[cpu / 8] &= static_cast<unsigned char>(~(1u << (cpu % 8)));
    return 0;
}

int TestGenericAffinityBit(const GenericAffinityMask* mask, unsigned cpu) {
    if (cpu >= mask->maxByteLength * 8) {
        std::printf("Error: Wanted cpu %d but mask only supports up to %d cpus at %s %d. Bye\n",
                    static_cast<int>(cpu), static_cast<int>(mask->maxByteLength * 8), kFile,
                    __LINE__);
        Bye();
    }
    return (mask->AffinityMask[cpu / 8] >> (cpu % 8)) & 1;
}

int CompareEqualGenericAffinity(const GenericAffinityMask* a, const GenericAffinityMask* b) {
    if (a->maxByteLength != b->maxByteLength) return 0;
    if (a->maxByteLength == 0) return 1;
    return std::memcmp(a->AffinityMask, b->AffinityMask, a->maxByteLength) == 0 ? 1 : 0;
}

void _CPUID(CPUIDinfo* info, unsigned leaf, unsigned subleaf) { Cpuid(info, leaf, subleaf); }

int countBits(unsigned long long value) { return std::popcount(static_cast<uint32_t>(value)); }

int BindContext(unsigned cpu) {
    if (cpu >= 64) return -1;
    int32_t narrow = static_cast<int32_t>(1u << (cpu % 32));
    uint64_t mask = static_cast<uint64_t>(static_cast<int64_t>(narrow));
    if (g_platform.bind(mask) != 0) return -1;
    t_boundCpu = static_cast<unsigned>(std::countr_zero(mask));
    return 0;
}

int GetHWMTConfig(unsigned package) {
    if (!glbl_ptr || glbl_ptr->packageCount == 0) InitCpuTopology();
    GLKTSN_T* g = glbl_ptr;
    AffinityKeeper keep;
    if (BindContext(
            SlectOrdfromPkg(package, static_cast<unsigned>(-1), static_cast<unsigned>(-1))) != 0) {
        g->error |= ZORBAS_TOPO_ERR_SYSTEM_MASK;
        return -1;
    }
    if (g->hasLeafB) {
        g->HWMT_SMTperCore = g->HWMT_SMTperPkg = 0;
        for (unsigned sub = 0; sub < 256; ++sub) {
            CPUIDinfo info;
            Cpuid(&info, 11, sub);
            if (info.EBX == 0) break;
            unsigned type = getBitsFromDWORD(info.ECX, 8, 15);
            if (type == 1) g->HWMT_SMTperCore = getBitsFromDWORD(info.EBX, 0, 16);
            if (type == 2) g->HWMT_SMTperPkg = getBitsFromDWORD(info.EBX, 0, 16);
        }
        return g->HWMT_SMTperCore && g->HWMT_SMTperPkg ? 0 : -1;
    }
    // LegacyHWMTConsts: logical processors per package from leaf 1, cores from leaf 4.
    CPUIDinfo leaf1;
    Cpuid(&leaf1, 1, 0);
    unsigned cores = 0, threads = 0;
    LegacyCounts(MaxLeaf(), &cores, &threads);
    g->HWMT_SMTperCore = threads;
    g->HWMT_SMTperPkg =
        getBitsFromDWORD(leaf1.EDX, 28, 28) ? getBitsFromDWORD(leaf1.EBX, 16, 23) : 1;
    return 0;
}

unsigned GetMaxCPUSupportedByOS() { return g_platform.processorCount(); }

void SetCpuTopologyPlatform(const ZORBasCpuTopologyPlatform* platform) {
    g_platform = kReal;
    if (platform) {
        if (platform->cpuid) g_platform.cpuid = platform->cpuid;
        if (platform->processorCount) g_platform.processorCount = platform->processorCount;
        if (platform->affinityMasks) g_platform.affinityMasks = platform->affinityMasks;
        if (platform->bind) g_platform.bind = platform->bind;
    }
    if (glbl_ptr) {
        FreeArrays();
        std::free(glbl_ptr);
        glbl_ptr = nullptr;
    }
}

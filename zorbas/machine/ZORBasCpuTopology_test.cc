// The topology enumeration on model machines (their CPUID answers, masks and binds), and on the
// machine the test runs on, checked against what the kernel lists.
#include "zorbas/machine/ZORBasCpuTopology.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

// A model machine. Each processor answers CPUID with its own APIC id; binds are recorded.
struct Cache {
    unsigned type, level, sharing;
};
struct Model {
    std::vector<unsigned> apic;  // by operating system index
    unsigned maxLeaf = 11;
    bool htt = true;
    unsigned maxLogical = 0;
    unsigned coresPerPackage = 1;       // leaf 4 EAX 26..31, plus 1
    int smtShift = -1, coreShift = -1;  // leaf 0xB levels; -1: level absent
    std::vector<Cache> caches;
    uint64_t process = 0, system = 0;
    unsigned count = 0;
    uint64_t refuse = 0;  // binds to these processors fail
    std::vector<uint64_t> binds;
};
Model g_model;

void ModelCpuid(unsigned cpu, unsigned leaf, unsigned sub, CPUIDinfo* out) {
    *out = CPUIDinfo{};
    unsigned apic = cpu < g_model.apic.size() ? g_model.apic[cpu] : 0;
    switch (leaf) {
        case 0:
            out->EAX = g_model.maxLeaf;
            break;
        case 1:
            out->EBX = (apic & 0xFF) << 24 | (g_model.maxLogical & 0xFF) << 16;
            out->EDX = g_model.htt ? 1u << 28 : 0;
            break;
        case 4:
            if (sub < g_model.caches.size()) {
                const Cache& c = g_model.caches[sub];
                out->EAX = c.type | c.level << 5 | (c.sharing - 1) << 14 |
                           (g_model.coresPerPackage - 1) << 26;
                out->EBX = 63 | 0 << 12 | 7 << 22;  // 64-byte lines, one partition, 8 ways
                out->ECX = 63;                      // 64 sets: 32 KB
            } else {
                out->EAX = (g_model.coresPerPackage - 1) << 26;
            }
            break;
        case 11: {
            int levels[2] = {g_model.smtShift, g_model.coreShift};
            unsigned types[2] = {1, 2};
            unsigned at = 0;
            for (unsigned l = 0; l < 2; ++l) {
                if (levels[l] < 0) continue;
                if (at++ == sub) {
                    out->EAX = static_cast<unsigned>(levels[l]);
                    out->EBX = 1;
                    out->ECX = types[l] << 8 | sub;
                }
            }
            out->EDX = apic;
            break;
        }
        default:
            break;
    }
}
unsigned ModelCount() { return g_model.count; }
int ModelMasks(uint64_t* process, uint64_t* system) {
    *process = g_model.process;
    *system = g_model.system;
    return 0;
}
int ModelBind(uint64_t mask) {
    g_model.binds.push_back(mask);
    uint64_t valid = g_model.count >= 64 ? ~uint64_t{0} : (uint64_t{1} << g_model.count) - 1;
    return (mask & valid) && !(mask & g_model.refuse) ? 0 : -1;
}

class Topology : public ::testing::Test {
  protected:
    void Use(const Model& m) {
        g_model = m;
        static const ZORBasCpuTopologyPlatform platform{ModelCpuid, ModelCount, ModelMasks,
                                                        ModelBind};
        SetCpuTopologyPlatform(&platform);
    }
    void TearDown() override { SetCpuTopologyPlatform(nullptr); }
};

uint64_t Low(unsigned n) { return n >= 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1; }

// Two packages of four cores with two threads each, numbered as Linux numbers them: the first
// thread of every core first, then the second threads.
Model TwoSocketLeafB() {
    Model m;
    m.count = 16;
    for (unsigned smt = 0; smt < 2; ++smt)
        for (unsigned pkg = 0; pkg < 2; ++pkg)
            for (unsigned core = 0; core < 4; ++core) m.apic.push_back(pkg << 3 | core << 1 | smt);
    m.smtShift = 1;
    m.coreShift = 3;
    m.maxLogical = 16;
    m.coresPerPackage = 4;
    m.caches = {{1, 1, 2}, {2, 1, 2}, {3, 2, 2}, {3, 3, 8}};
    m.process = m.system = Low(16);
    return m;
}

TEST_F(Topology, LeafBMachineCountsPackagesCoresThreadsAndCaches) {
    Use(TwoSocketLeafB());
    EXPECT_EQ(GetOSLogicalProcessorCount(), 16u);
    EXPECT_EQ(GetSysLogicalProcessorCount(), 16u);
    EXPECT_EQ(GetSysProcessorPackageCount(), 2u);
    EXPECT_EQ(GetSysProcessorCoreCount(), 8u);
    EXPECT_EQ(GetEnumeratedCoreCount(0), 4u);
    EXPECT_EQ(GetEnumeratedCoreCount(1), 4u);
    EXPECT_EQ(GetEnumeratedCoreCount(2), 0u);
    EXPECT_EQ(GetEnumeratedThreadCount(1, 3), 2u);
    EXPECT_EQ(GetEnumeratedThreadCount(0, 4), 0u) << "a core out of range";
    EXPECT_EQ(glbl_ptr->maxCacheSubleaf, 3u);
    EXPECT_EQ(GetSysEachCacheCount(0), 8u) << "one L1 data cache per core";
    EXPECT_EQ(GetSysEachCacheCount(3), 2u) << "one L3 per package";
    EXPECT_EQ(GetCoreCountPerEachCache(3, 1), 8u);
    EXPECT_EQ(GetCoreCountPerEachCache(0, 5), 2u);
    EXPECT_EQ(GetCoreCountPerEachCache(3, 2), 0u) << "a cache out of range";
    EXPECT_STREQ(glbl_ptr->cacheDetail[0].shortName, "L1D");
    EXPECT_STREQ(glbl_ptr->cacheDetail[1].shortName, "L1I");
    EXPECT_STREQ(glbl_ptr->cacheDetail[3].shortName, "L3");
    EXPECT_STREQ(glbl_ptr->cacheDetail[3].description, "Level 3 Unified cache, size(KBytes)= 32");

    // Ordinals are first-seen: processor 8 is the second thread of package 0's first core.
    const IdAffMskOrdMapping_t& r8 = glbl_ptr->pApicAffOrdMapping[8];
    EXPECT_EQ(r8.packageORD, 0u);
    EXPECT_EQ(r8.coreORD, 0u);
    EXPECT_EQ(r8.threadORD, 1u);
    EXPECT_EQ(getEnumerateAPICID(8), 1u);
    EXPECT_EQ(getEnumerateAPICID(16), static_cast<unsigned>(-1));

    EXPECT_EQ(SlectOrdfromPkg(1, -1, -1), 4u);
    EXPECT_EQ(SlectOrdfromPkg(1, 2, 1), 14u);
    EXPECT_EQ(SlectOrdfromPkg(-1, -1, -1), 0u) << "a wildcard package is not below the count";
    EXPECT_EQ(SlectOrdfromPkg(0, 9, -1), 0u) << "a missing core answers the first processor";
    EXPECT_EQ(SlectOrdfromPkg(2, -1, -1), 0u);

    ASSERT_EQ(GetHWMTConfig(1), 0);
    EXPECT_EQ(glbl_ptr->HWMT_SMTperCore, 1u) << "EBX of the model's levels";
    EXPECT_EQ(g_model.binds.back(), uint64_t{1} << 4) << "bound to package 1's first processor";
}

TEST_F(Topology, LegacyConstantsSplitTheApicIdByLeaf4Cores) {
    Model m;
    m.count = 8;
    m.maxLeaf = 4;
    m.maxLogical = 8;
    m.coresPerPackage = 4;  // 2 threads a core: SMT width 1, core width 2
    for (unsigned i = 0; i < 8; ++i) m.apic.push_back(i);
    m.process = m.system = Low(8);
    Use(m);
    EXPECT_EQ(GetSysProcessorPackageCount(), 1u);
    EXPECT_EQ(GetSysProcessorCoreCount(), 4u);
    EXPECT_EQ(GetEnumeratedThreadCount(0, 2), 2u);
    EXPECT_EQ(glbl_ptr->PkgSelectMaskShift, 3u);
    EXPECT_EQ(glbl_ptr->CoreSelectMask, 6u);
}

TEST_F(Topology, SingleThreadProcessorWithoutTheHttBit) {
    Model m;
    m.count = 1;
    m.maxLeaf = 1;
    m.htt = false;
    m.apic = {0};
    m.process = m.system = 1;
    Use(m);
    EXPECT_EQ(GetSysProcessorPackageCount(), 1u);
    EXPECT_EQ(GetSysProcessorCoreCount(), 1u);
    EXPECT_EQ(GetEnumeratedThreadCount(0, 0), 1u);
    EXPECT_EQ(glbl_ptr->PkgSelectMask, 0xFFFFFFFFu);
}

// A guest that claims 254 logical processors per package with neither leaf 0xB nor leaf 4: the
// CPUID rule gives one core with two threads, whatever the kernel says.
TEST_F(Topology, VirtualMachineWithoutLeafBOrLeaf4FollowsTheCpuidRule) {
    Model m;
    m.count = 2;
    m.maxLeaf = 13;
    m.maxLogical = 254;
    m.apic = {182, 51};
    m.process = m.system = 3;
    Use(m);
    EXPECT_EQ(GetSysProcessorPackageCount(), 1u);
    EXPECT_EQ(GetSysProcessorCoreCount(), 1u);
    EXPECT_EQ(GetEnumeratedThreadCount(0, 0), 2u);
    EXPECT_EQ(GetSysEachCacheCount(0), 0u) << "leaf 4 lists no cache";
}

TEST_F(Topology, ConsistencyFailuresSetTheErrorWordAndEveryCountAnswersZero) {
    struct Case {
        const char* what;
        unsigned count;
        uint64_t process, system;
        uint32_t error;
    } cases[] = {
        {"more than 64 processors", 65, ~uint64_t{0}, ~uint64_t{0}, 0xC4000000u},
        {"an affinity narrower than the machine", 4, 0x5, 0xF, 0xC1000000u},
        {"a system mask with a hole", 4, 0xF, 0xB, 0xC3000000u},
    };
    for (const Case& c : cases) {
        Model m = TwoSocketLeafB();
        m.count = c.count;
        m.apic.resize(c.count);
        m.process = c.process;
        m.system = c.system;
        Use(m);
        EXPECT_EQ(GetSysProcessorPackageCount(), 0u) << c.what;
        EXPECT_EQ(GetSysProcessorCoreCount(), 0u) << c.what;
        EXPECT_EQ(GetSysLogicalProcessorCount(), 0u) << c.what;
        EXPECT_EQ(getEnumerateAPICID(0), static_cast<unsigned>(-1)) << c.what;
        EXPECT_EQ(glbl_ptr->error, c.error) << c.what;
    }
}

TEST_F(Topology, LeafBWithoutAnSmtLevelAndARefusedBindFail) {
    Model m = TwoSocketLeafB();
    m.smtShift = -1;
    Use(m);
    EXPECT_EQ(GetSysProcessorCoreCount(), 0u);
    EXPECT_EQ(glbl_ptr->error, 0x80000000u);

    // 41 processors: countBits sees only the low 32 of either mask.
    m = TwoSocketLeafB();
    m.count = 41;
    m.apic.resize(41);
    m.process = m.system = Low(41);
    Use(m);
    EXPECT_EQ(GetSysLogicalProcessorCount(), 0u);
    EXPECT_EQ(glbl_ptr->error, 0xC3000000u);

    // A processor that refuses the bind ends the walk.
    m = TwoSocketLeafB();
    m.refuse = uint64_t{1} << 5;
    Use(m);
    EXPECT_EQ(GetSysLogicalProcessorCount(), 0u);
    EXPECT_EQ(glbl_ptr->error, 0xC2000000u);
    EXPECT_EQ(glbl_ptr->logicalCount, 5u) << "the five processors before it were read";
}

TEST_F(Topology, BindContextKeepsTheThirtyTwoBitMask) {
    Use(TwoSocketLeafB());
    EXPECT_EQ(BindContext(64), -1);
    EXPECT_TRUE(g_model.binds.empty()) << "64 and above never reach the system";
    ASSERT_EQ(BindContext(33), 0);
    EXPECT_EQ(g_model.binds.back(), uint64_t{2}) << "the shift count is taken modulo 32";
    BindContext(31);
    EXPECT_EQ(g_model.binds.back(), 0xFFFFFFFF80000000ull) << "widened with its sign";
    EXPECT_EQ(countBits(0xFFFFFFFF00000001ull), 1);
}

TEST(TopologyMask, BitsLiveInBytesAndCompare) {
    GenericAffinityMask a{}, b{};
    ASSERT_EQ(AllocateGenericAffinityMask(&a, 20), 0);
    ASSERT_EQ(AllocateGenericAffinityMask(&b, 20), 0);
    EXPECT_EQ(a.maxByteLength, 3u);
    SetGenericAffinityBit(&a, 9);
    EXPECT_EQ(a.AffinityMask[1], 2);
    EXPECT_EQ(TestGenericAffinityBit(&a, 9), 1);
    EXPECT_EQ(CompareEqualGenericAffinity(&a, &b), 0);
    SetGenericAffinityBit(&b, 9);
    EXPECT_EQ(CompareEqualGenericAffinity(&a, &b), 1);
    ClearGenericAffinityBit(&a, 9);
    EXPECT_EQ(TestGenericAffinityBit(&a, 9), 0);
    SetGenericAffinityBit(&a, 23);
    ClearGenericAffinityMask(&a);
    EXPECT_EQ(TestGenericAffinityBit(&a, 23), 0);
    FreeGenericAffinityMask(&a);
    FreeGenericAffinityMask(&b);
}

// The capacity messages go to standard output, so the child writes them through a pipe that the
// parent reads back.
std::string ChildStdout(void (*body)()) {
    int fds[2];
    if (pipe(fds) != 0) return "pipe failed";
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        body();
        std::fflush(stdout);
        _exit(0);
    }
    close(fds[1]);
    std::string out;
    char buf[512];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    out += WIFEXITED(status) ? "|exit " + std::to_string(WEXITSTATUS(status)) : "|killed";
    return out;
}

TEST(TopologyBye, CapacityErrorsPrintTheirLineAndExitWithTwo) {
    std::string set = ChildStdout([] {
        GenericAffinityMask a{};
        AllocateGenericAffinityMask(&a, 8);
        SetGenericAffinityBit(&a, 8);
    });
    EXPECT_TRUE(
        set.starts_with("Error: Wanted cpu 8 but mask only supports up to 8 cpus at "
                        "ZORBase/ZORBasUtils.m/src/ZORBasCpuTopology "))
        << set;
    EXPECT_TRUE(set.ends_with(". Bye\n|exit 2")) << set;

    std::string test = ChildStdout([] {
        GenericAffinityMask a{};
        AllocateGenericAffinityMask(&a, 8);
        TestGenericAffinityBit(&a, 4000000000u);
    });
    EXPECT_TRUE(
        test.starts_with("Error: Wanted cpu -294967296 but mask only supports up to 8 cpus"))
        << "the test and clear forms print signed: " << test;

    std::string leaves = ChildStdout([] {
        g_model = TwoSocketLeafB();
        g_model.maxLeaf = 0x20;
        static const ZORBasCpuTopologyPlatform platform{ModelCpuid, ModelCount, ModelMasks,
                                                        ModelBind};
        SetCpuTopologyPlatform(&platform);
        InitCpuTopology();
    });
    EXPECT_TRUE(
        leaves.starts_with("got maxCPUID= 0x20 but the array only handles up to 0x1d. Bye at "
                           "ZORBase/ZORBasUtils.m/src/ZORBasCpuTopology "))
        << leaves;
    EXPECT_TRUE(leaves.ends_with("|exit 2")) << leaves;
}

// --- The machine the test runs on. The CPUID rule decides cores and threads; the kernel decides
// which processors exist and which this process may use.

std::set<std::string> KernelValues(const char* field, unsigned count) {
    std::set<std::string> values;
    for (unsigned c = 0; c < count; ++c) {
        std::ifstream f("/sys/devices/system/cpu/cpu" + std::to_string(c) + "/topology/" + field);
        std::string v;
        if (f >> v) values.insert(v);
    }
    return values;
}

TEST(TopologyOnThisMachine, CountsAgreeWithTheKernelAndTheCallerKeepsItsAffinity) {
    SetCpuTopologyPlatform(nullptr);
    cpu_set_t before;
    CPU_ZERO(&before);
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof before, &before), 0);
    unsigned online = static_cast<unsigned>(sysconf(_SC_NPROCESSORS_ONLN));
    if (static_cast<unsigned>(CPU_COUNT(&before)) != online)
        GTEST_SKIP() << "this process runs on a narrowed affinity; the child test covers it";

    // Kernel-sourced counts: processors online and usable, packages.
    EXPECT_EQ(GetOSLogicalProcessorCount(), online) << "source: sysconf online processors";
    EXPECT_EQ(GetSysLogicalProcessorCount(), online) << "source: sched_getaffinity";
    EXPECT_EQ(GetSysProcessorPackageCount(), KernelValues("physical_package_id", online).size())
        << "source: /sys/devices/system/cpu/*/topology/physical_package_id";
    // CPUID-sourced: cores times threads per core covers every processor once.
    unsigned threads = 0;
    for (unsigned p = 0; p < GetSysProcessorPackageCount(); ++p)
        for (unsigned c = 0; c < GetEnumeratedCoreCount(p); ++c)
            threads += GetEnumeratedThreadCount(p, c);
    EXPECT_EQ(threads, online) << "source: the CPUID rule's ordinals";
    EXPECT_EQ(glbl_ptr->error, 0u);

    cpu_set_t after;
    CPU_ZERO(&after);
    ASSERT_EQ(pthread_getaffinity_np(pthread_self(), sizeof after, &after), 0);
    EXPECT_TRUE(CPU_EQUAL(&before, &after)) << "the enumeration gives the thread its affinity back";
    FiniCpuTopology();
}

TEST(TopologyOnThisMachine, ANarrowedAffinitySetsTheProcessMaskError) {
    if (sysconf(_SC_NPROCESSORS_ONLN) < 2) GTEST_SKIP() << "one processor cannot be narrowed";
    std::string out = ChildStdout([] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(0, &one);
        if (sched_setaffinity(0, sizeof one, &one) != 0) _exit(10);
        SetCpuTopologyPlatform(nullptr);
        unsigned cores = GetSysProcessorCoreCount();  // enumerates before the record is read
        std::printf("cores %u error %08x\n", cores, glbl_ptr->error);
    });
    EXPECT_EQ(out, "cores 0 error c1000000\n|exit 0") << "exit 10: the child could not narrow";
}

}  // namespace

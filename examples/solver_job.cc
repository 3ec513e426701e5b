// The demonstration job: what a solver rank does with the base library, end to end, printing
// what it did. It grows with the library.
#include <cerrno>
#include <cstdio>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <cmath>
#include <vector>

#include "companions/alloc/ZORBasErrorStack.h"
#include "companions/alloc/ZORBasPhaseTracker.h"
#include "companions/alloc/mem_Malloc.h"
#include "zorbas/cow/cow_COW.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/base/ZORBasUtlSystem.h"
#include "zorbas/crash/omi_ExceptionFilter.h"
#include "zorbas/filters/ZORBasPlt_Filters.h"
#include "zorbas/frame/ZORBasShared.h"
#include "zorbas/errors/ZORBasUtlException.h"
#include "zorbas/intsets/omi_BlkBitVect.h"
#include "zorbas/intsets/omi_UintTable.h"
#include "zorbas/memory/ZORBasSrmAllocator.h"
#include "zorbas/os/ZORBasCommandLine.h"
#include "zorbas/os/ZORBasOmniProcessInfo.h"
#include "zorbas/spatial/omi_Octree.h"

namespace {

struct ElementBlock {
    int ids[4];
    double volume;
};

void Strings() {
    cow_String job("plate_impact");
    cow_String copy = job;  // shares the text
    std::printf("strings: '%s' shared by %d handles\n", job.CStr(), job.References());
    copy += ".rank00";
    std::printf("strings: after an edit, '%s' and '%s' (%d and %d references)\n", job.CStr(),
                copy.CStr(), job.References(), copy.References());
    cow_String title = cow_String("  Solver Run  ").LeftTrim().RightTrim().ToLower();
    std::printf("strings: trimmed and lowered '%s', '%s' found at %d\n", title.CStr(), "run",
                title.Find("run"));
}

void Handles() {
    cow_COW<ElementBlock> a(ElementBlock{{1, 2, 3, 4}, 0.5});
    cow_COW<ElementBlock> b = a;
    std::printf("handles: two handles share one block (%d references)\n", a.References());
    b.Get().volume = 0.75;  // the write barrier copies before the write
    std::printf("handles: after a write through one, volumes %.2f and %.2f\n", a.ConstGet().volume,
                b.ConstGet().volume);
}

// A block mesh of n x n x n hexahedral elements of unit size; element ids start at 1000 and
// leave every tenth id unused, as renumbered meshes do.
struct Mesh {
    int n;
    unsigned Id(int i, int j, int k) const {
        return IdOf(static_cast<unsigned>((i * n + j) * n + k));
    }
    unsigned IdOf(unsigned e) const { return 1000 + e + e / 9; }
    // The box of element `e` (its index in i, j, k order).
    void Box(unsigned e, float* min, float* max) const {
        unsigned un = static_cast<unsigned>(n);
        min[0] = static_cast<float>(e / (un * un));
        min[1] = static_cast<float>(e / un % un);
        min[2] = static_cast<float>(e % un);
        for (int a = 0; a < 3; ++a) max[a] = min[a] + 1;
    }
};

void MeshIds(const Mesh& mesh) {
    omi_UintTable<int, ZORBasSrmAllocator<3>> material;  // element id -> material number
    omi_BlkBitVect active, failed;
    for (int i = 0; i < mesh.n; ++i)
        for (int j = 0; j < mesh.n; ++j)
            for (int k = 0; k < mesh.n; ++k) {
                unsigned id = mesh.Id(i, j, k);
                material.Insert(id, k < mesh.n / 2 ? 1 : 2);
                active.SetBit(id);
                if (i == j && j == k) failed.SetBit(id);  // the diagonal has eroded
            }
    active -= failed;
    int steel = 0;
    omi_UintTableIterator<int, ZORBasSrmAllocator<3>> walk(material);
    unsigned first = 0, last = 0;
    for (walk.First(); !walk.IsDone(); walk.Next()) {
        if (walk.CurrentValue() == 1) ++steel;
        if (first == 0) first = walk.CurrentKey();
        last = walk.CurrentKey();
    }
    std::printf("mesh ids: %d elements, ids %u..%u, %d of material 1; %u active after %u failed\n",
                material.Size(), first, last, steel, active.BitCount(), failed.BitCount());
}

void ElementBoxes(void* client, unsigned index, float* min, float* max) {
    static_cast<const Mesh*>(client)->Box(index, min, max);
}

void Contact(const Mesh& mesh) {
    float half = mesh.n / 2.0f;
    omi_Octree tree(omi_OctVector(half, half, half), omi_OctVector(half, half, half), 1e-4f,
                    ElementBoxes, const_cast<Mesh*>(&mesh));
    unsigned count = static_cast<unsigned>(mesh.n * mesh.n * mesh.n);
    for (unsigned e = 0; e < count; ++e) {
        float lo[3], hi[3];
        mesh.Box(e, lo, hi);
        tree.InsertBox(e, omi_OctVector(lo), omi_OctVector(hi));
    }
    const float probe[3] = {3.5f, 7.25f, 12.5f};
    const omi_OctreeLeaf* leaf = tree.FindCell(probe);
    unsigned hit = count;
    for (unsigned c = 0; c < leaf->Count(); ++c) {
        float lo[3], hi[3];
        mesh.Box(leaf->CellIndex(c), lo, hi);
        if (lo[0] <= probe[0] && probe[0] <= hi[0] && lo[1] <= probe[1] && probe[1] <= hi[1] &&
            lo[2] <= probe[2] && probe[2] <= hi[2])
            hit = leaf->CellIndex(c);
    }
    std::printf(
        "contact search: %u element boxes in an octree; the point (%.2f %.2f %.2f) lies in "
        "a leaf of %u candidates, inside element %u\n",
        count, probe[0], probe[1], probe[2], leaf->Count(), mesh.IdOf(hit));
}

// A half-sine acceleration pulse with a ringing sensor, filtered with a 4th-order Butterworth
// forward and backward (no phase shift), as a post-processor cleans a result curve.
void TimeHistory() {
    const int samples = 2000, pad = 50, count = samples + 2 * pad;
    const double dt = 1e-5;
    std::vector<float> timeBuffer(count), valueBuffer(count);
    float peakRaw = 0;
    for (int i = 0; i < samples; ++i) {
        double t = i * dt;
        double pulse = t < 0.01 ? 100.0 * std::sin(M_PI * t / 0.01) : 0.0;
        double ringing = 15.0 * std::sin(2 * M_PI * 12000.0 * t);
        timeBuffer[pad + i] = static_cast<float>(t);
        valueBuffer[pad + i] = static_cast<float>(pulse + ringing);
        peakRaw = std::fmax(peakRaw, valueBuffer[pad + i]);
    }
    float* times = timeBuffer.data();
    float* values = valueBuffer.data();
    ZORBasPlt_iirFilter(times, values, count, pad, 1000.0f, dt, 4, 0.0f, ZORBasPlt_EndAntiMirror,
                        ZORBasPlt_EndAntiMirror, ZORBasPlt_Butterworth, true);
    float peak = 0;
    for (int i = 0; i < samples; ++i) peak = std::fmax(peak, values[pad + i]);
    std::printf(
        "time history: %d samples, peak %.1f with sensor ringing, %.1f after a 1 kHz "
        "Butterworth forward and back (pulse peak 100)\n",
        samples, peakRaw, peak);
}

void Lists() {
    cow_List<double> nodal;
    for (int i = 0; i < 100000; ++i) nodal.Append(i * 0.5);
    cow_List<double> snapshot = nodal;  // free: the blocks are shared
    nodal.Get(42) = -1.0;               // copies the directory and one block
    std::printf(
        "lists: %d nodal values; after a write the snapshot still reads %.1f, the list "
        "%.1f\n",
        nodal.Length(), snapshot.ConstGet(42), nodal.ConstGet(42));
}

void Failures() {
    try {
        errno = ENOENT;
        ZORBasUtlExceptionModel::throwSystemErrorException(cow_SystemErrorCode(ErrorCodeRuntime));
    } catch (const ZORBasException& e) {
        std::printf("failures: caught code %d: %s\n", e.GetCode(),
                    e.AsString(ZORBasStringModeUTF8));
    }
}

// Who this rank is: the names its report files will carry, and its command line.
void Identity() {
    ZORBasOmniProcessInfo::Initialize();
    std::printf("identity: %s (pid %d, rank %02d) from %s\n", ZORBasOmniProcessInfo::ExeName(),
                ZORBasOmniProcessInfo::ProcessId(), ZORBasOmniProcessInfo::Rank(),
                ZORBasOmniProcessInfo::ExePath());
    ZORBasGetCommandArgs args;
    std::printf("identity: command line of %d argument(s):", args.Argc());
    for (int i = 0; i < args.Argc(); ++i) std::printf(" '%s'", args.Argv()[i]);
    std::printf("\n");
}

// Crash handling. The job says who it is and where it stands (job name, directories, phase,
// messages), so that whatever it leaves when it dies carries that context. With --fault KIND it
// then fails here; with --fault-rank R only rank R fails and the others wait until the launcher
// ends them, as the ranks of a real job do.
volatile int* volatile g_unassignedElement = nullptr;
volatile int g_emptyBlock = 0;

// The faults are the point: the undefined-behaviour sanitizer must let the hardware see them.
__attribute__((noinline, no_sanitize("undefined"))) int ElementStiffness() {
    return *g_unassignedElement;
}
__attribute__((noinline, no_sanitize("undefined"))) int SplitBlock() { return 1000 / g_emptyBlock; }

__attribute__((noinline)) int AssembleRecursively(int level) {
    if (level < 0) return 0;  // never: the recursion ends in the guard area
    volatile char frame[1024];
    frame[0] = static_cast<char>(level);
    return AssembleRecursively(level + 1) + frame[0];
}

void Fault(const char* kind) {
    if (!std::strcmp(kind, "segv")) std::printf("%d\n", ElementStiffness());
    if (!std::strcmp(kind, "stack")) std::printf("%d\n", AssembleRecursively(0));
    if (!std::strcmp(kind, "fpe")) std::printf("%d\n", SplitBlock());
    if (!std::strcmp(kind, "abort")) std::abort();
    if (!std::strcmp(kind, "term")) std::raise(SIGTERM);
    if (!std::strcmp(kind, "thread")) std::thread([] { std::printf("%d\n", ElementStiffness()); }).join();
    std::fprintf(stderr, "*** Error: unknown fault '%s' (segv, stack, fpe, abort, term, thread)\n",
                 kind);
    std::exit(2);
}

void Crash(int argc, char** argv) {
    const char* kind = nullptr;
    int faultRank = -1;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--fault")) kind = argv[i + 1];
        if (!std::strcmp(argv[i], "--fault-rank")) faultRank = std::atoi(argv[i + 1]);
    }
    ZORBasErrorStack::SetJobname("plate_impact");
    ZORBasErrorStack::SetContext(ZORBasErrorStack::kAssembly);
    for (const char* phase : {"input", "element loop", "ordering", "assembly"})
        ZORBasPhaseTracker::SaveMarker(phase);
    ZORBasErrorStack::PushMessage("assembling element block 7 of 12");
    int rank = ZORBasOmniProcessInfo::Rank();
    std::printf("crash: rank %d in phase %s of job %s%s%s\n", rank,
                ZORBasErrorStack::ContextAsString(), ZORBasErrorStack::Jobname(),
                kind ? ", failing with " : "", kind ? kind : "");
    std::fflush(stdout);
    if (!kind) return;
    if (faultRank >= 0 && rank != faultRank) {
        for (int waited = 0; waited < 600; ++waited) ZORBasUtlsleep(100);
        return;
    }
    Fault(kind);
}

}  // namespace

int main(int argc, char** argv) {
    omi_SetExceptionFilterStd();  // as the suite's executables do, first thing
    int use = 0;
    ZORBasShared_initialize(use);  // nests inside the start done at load
    std::printf("library: started (nested start added %d sections)\n", use);
    Identity();
    Strings();
    Handles();
    Lists();
    Mesh mesh{20};
    MeshIds(mesh);
    Contact(mesh);
    TimeHistory();
    Failures();
    Crash(argc, argv);
    std::printf("memory: tracked heap holds %zu bytes, peak %zu\n", mem_Footprint(),
                mem_MaxFootprint());
    ZORBasShared_finalize(use);
    std::printf("library: nested end done; the library ends when it is unloaded\n");
    return 0;
}

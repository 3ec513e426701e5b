// The demonstration job: what a solver rank does with the base library, end to end, printing
// what it did. It grows with the library.
#include <cerrno>
#include <cstdio>

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/cow/cow_COW.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/frame/ZORBasShared.h"
#include "zorbas/frame/ZORBasUtlException.h"

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

void Failures() {
    try {
        errno = ENOENT;
        ZORBasUtlExceptionModel::throwSystemErrorException(cow_SystemErrorCode(ErrorCodeRuntime));
    } catch (const ZORBasException& e) {
        std::printf("failures: caught code %d: %s\n", e.GetCode(),
                    e.AsString(ZORBasStringModeUTF8));
    }
}

}  // namespace

int main() {
    int use = 0;
    ZORBasShared_initialize(use);  // nests inside the start done at load
    std::printf("library: started (nested start added %d sections)\n", use);
    Strings();
    Handles();
    Failures();
    std::printf("memory: tracked heap holds %zu bytes, peak %zu\n", mem_Footprint(),
                mem_MaxFootprint());
    ZORBasShared_finalize(use);
    std::printf("library: nested end done; the library ends when it is unloaded\n");
    return 0;
}

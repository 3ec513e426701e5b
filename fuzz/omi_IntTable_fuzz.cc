// omi_IntTable<int> against std::map<int, int>: negative and positive keys, walked upward
// across the two halves.
#include "fuzz/fuzz_Tables.h"
#include "zorbas/intsets/omi_IntTable.h"

namespace {

using Table = omi_IntTable<int, ZORBasOmiDefaultAllocator>;
using Twin = std::map<int, int>;

void Check(const Table& table, const Twin& twin, unsigned slot, const char* step) {
    fuzz_CheckTable<Table, omi_IntTableIterator<int, ZORBasOmiDefaultAllocator>, int>(
        table, twin, slot, step, "omi_IntTable");
}

const char* Step(fuzz_Ops& ops, Table& table, Twin& twin, const Table&, const Twin&) {
    int key = static_cast<int>(ops.Key(4000) - 2000u);
    return fuzz_StepTable(
        ops, table, twin, key, [](unsigned v) { return static_cast<int>(v); }, "omi_IntTable");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<Table, Twin>(data, size, Step, fuzz_CopyTable<Table>, Check);
}

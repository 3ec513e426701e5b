// omi_UintTable<cow_String> against std::map<unsigned, std::string>, walked both ways.
#include "fuzz/fuzz_Tables.h"
#include "zorbas/intsets/omi_UintTable.h"

namespace {

using Table = omi_UintTable<cow_String, ZORBasOmiDefaultAllocator>;
using Twin = std::map<unsigned, std::string>;
constexpr const char* kName = "omi_UintTable";

void Check(const Table& table, const Twin& twin, unsigned slot, const char* step) {
    fuzz_CheckTable<Table, omi_UintTableIterator<cow_String, ZORBasOmiDefaultAllocator>, unsigned>(
        table, twin, slot, step, kName);
    omi_UintTableIterator<cow_String, ZORBasOmiDefaultAllocator> it(table);
    auto down = twin.rbegin();
    for (it.Last(); !it.IsDone(); it.Previous(), ++down) {
        FUZZ_CHECK(down != twin.rend() && it.CurrentKey() == down->first,
                   "%s slot %u after %s: the downward walk gave key %u where the twin differs",
                   kName, slot, step, it.CurrentKey());
    }
    FUZZ_CHECK(down == twin.rend(), "%s slot %u after %s: the downward walk is too short", kName,
               slot, step);
}

const char* Step(fuzz_Ops& ops, Table& table, Twin& twin, const Table&, const Twin&) {
    // Dense keys share a block and its pages; the others spread over blocks and grow the table.
    unsigned key = ops.Key(5000);
    return fuzz_StepTable(
        ops, table, twin, key, [](unsigned v) { return cow_String(std::to_string(v).c_str()); },
        kName);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<Table, Twin>(data, size, Step, fuzz_CopyTable<Table>, Check);
}

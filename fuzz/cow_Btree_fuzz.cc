// cow_Btree<int, int> against std::map<int, int>: inserts, removals and writes through Get on
// trees that share nodes through copies, checked by lookups (absent keys read the null value)
// and by the iterator in both directions.
#include <iterator>
#include <map>

#include "fuzz/fuzz_Driver.h"
#include "zorbas/cow/cow_Btree.h"

namespace {

using Tree = cow_Btree<int, int>;
using Twin = std::map<int, int>;

void Check(const Tree& tree, const Twin& twin, unsigned slot, const char* step) {
    FUZZ_CHECK(tree.Count() == static_cast<int>(twin.size()),
               "cow_Btree slot %u after %s: count %d, the twin has %zu", slot, step, tree.Count(),
               twin.size());
    cow_BtreeIterator<int, int> it(tree);
    auto up = twin.begin();
    for (it.First(); !it.IsDone(); it.Next(), ++up) {
        FUZZ_CHECK(up != twin.end() && it.CurrentKey() == up->first &&
                       it.CurrentValue() == up->second && tree.ConstGet(up->first) == up->second,
                   "cow_Btree slot %u after %s: the upward walk gave %d=%d where the twin differs",
                   slot, step, it.CurrentKey(), it.CurrentValue());
    }
    FUZZ_CHECK(up == twin.end(), "cow_Btree slot %u after %s: the upward walk is too short", slot,
               step);
    auto down = twin.rbegin();
    for (it.Last(); !it.IsDone(); it.Previous(), ++down) {
        FUZZ_CHECK(down != twin.rend() && it.CurrentKey() == down->first,
                   "cow_Btree slot %u after %s: the downward walk gave key %d where the twin "
                   "differs",
                   slot, step, it.CurrentKey());
    }
    FUZZ_CHECK(down == twin.rend(), "cow_Btree slot %u after %s: the downward walk is too short",
               slot, step);
}

const char* Step(fuzz_Ops& ops, Tree& tree, Twin& twin, const Tree&, const Twin&) {
    int key = static_cast<int>(ops.Key(128) - 32u);
    int value = static_cast<int>(ops.Below(1000)) + 1;
    switch (ops.Below(4)) {
        case 0:
        case 1: {
            bool added = tree.InsertUnlessMember(key, value);
            FUZZ_CHECK(added == twin.emplace(key, value).second,
                       "cow_Btree InsertUnlessMember(%d) gave %d", key, added);
            return "InsertUnlessMember";
        }
        case 2: {
            bool removed = tree.Remove(key);
            FUZZ_CHECK(removed == (twin.erase(key) == 1), "cow_Btree Remove(%d) gave %d", key,
                       removed);
            FUZZ_CHECK(tree.ConstGet(key) == 0 && !tree.IsMember(key),
                       "cow_Btree key %d still reads %d after Remove", key, tree.ConstGet(key));
            return "Remove";
        }
        default: {
            if (twin.empty()) return "nothing";
            auto at = twin.begin();
            std::advance(at, ops.Below(static_cast<unsigned>(twin.size())));
            tree.Get(at->first) = value;
            at->second = value;
            return "Get";
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<Tree, Twin>(
        data, size, Step, [](const Tree& t) { return std::make_unique<Tree>(t); }, Check);
}

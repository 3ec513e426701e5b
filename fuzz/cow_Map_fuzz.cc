// cow_Map<int, cow_String> against std::map<int, std::string>: inserts, replacements, removals
// and writes through Get on maps that share nodes through copies, checked through lookups, the
// sorted walk and the pre-order walk.
#include <cstring>
#include <iterator>
#include <map>
#include <string>

#include "fuzz/fuzz_Driver.h"
#include "zorbas/cow/cow_Map.h"

namespace {

using Map = cow_Map<int, cow_String>;
using Twin = std::map<int, std::string>;

void Check(const Map& map, const Twin& twin, unsigned slot, const char* step) {
    FUZZ_CHECK(map.Size() == static_cast<int>(twin.size()),
               "cow_Map slot %u after %s: size %d, the twin has %zu", slot, step, map.Size(),
               twin.size());
    cow_ConstMapSortedIt<int, cow_String> sorted(map);
    auto at = twin.begin();
    for (sorted.First(); !sorted.IsDone(); sorted.Next(), ++at) {
        FUZZ_CHECK(at != twin.end(), "cow_Map slot %u after %s: the sorted walk is too long", slot,
                   step);
        FUZZ_CHECK(sorted.CurrentKey() == at->first &&
                       std::strcmp(sorted.CurrentValue().CStr(), at->second.c_str()) == 0,
                   "cow_Map slot %u after %s: the sorted walk gave %d=\"%s\", the twin %d=\"%s\"",
                   slot, step, sorted.CurrentKey(), sorted.CurrentValue().CStr(), at->first,
                   at->second.c_str());
    }
    FUZZ_CHECK(at == twin.end(), "cow_Map slot %u after %s: the sorted walk is too short", slot,
               step);
    int walked = 0;
    cow_ConstMapIterator<int, cow_String> plain(map);
    for (plain.First(); !plain.IsDone(); plain.Next(), ++walked) {
        auto found = twin.find(plain.CurrentKey());
        FUZZ_CHECK(
            found != twin.end() && map.IsMember(plain.CurrentKey()) &&
                std::strcmp(map.ConstGet(plain.CurrentKey()).CStr(), found->second.c_str()) == 0,
            "cow_Map slot %u after %s: key %d of the walk has no equal twin entry", slot, step,
            plain.CurrentKey());
    }
    FUZZ_CHECK(walked == map.Size(), "cow_Map slot %u after %s: the walk gave %d of %d keys", slot,
               step, walked, map.Size());
}

// Keys near zero on both sides and now and then anywhere, so that the sign bit and long
// chains of shared low bits both steer the tree.
int Key(fuzz_Ops& ops) { return static_cast<int>(ops.Key(96) - 32u); }

const char* Step(fuzz_Ops& ops, Map& map, Twin& twin, const Map&, const Twin&) {
    int key = Key(ops);
    std::string value = std::to_string(ops.Below(1000));
    switch (ops.Below(4)) {
        case 0:
        case 1:
            FUZZ_CHECK(map.Insert(key, value.c_str()), "cow_Map Insert(%d) gave false", key);
            twin[key] = value;
            return "Insert";
        case 2: {
            bool removed = map.Remove(key);
            FUZZ_CHECK(removed == (twin.erase(key) == 1), "cow_Map Remove(%d) gave %d", key,
                       removed);
            return "Remove";
        }
        default: {
            if (twin.empty()) return "nothing";
            // A member picked by rank, written through the unsharing Get.
            auto at = twin.begin();
            std::advance(at, ops.Below(static_cast<unsigned>(twin.size())));
            map.Get(at->first) = value.c_str();
            at->second = value;
            FUZZ_CHECK(!map.IsMember(key) || twin.count(key) == 1,
                       "cow_Map IsMember(%d) is true for an absent key", key);
            return "Get";
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<Map, Twin>(
        data, size, Step, [](const Map& m) { return std::make_unique<Map>(m); }, Check);
}

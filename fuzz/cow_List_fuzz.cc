// cow_List<int> against std::vector<int>: every write of the list's interface, on lists that
// share directories and blocks through copies, and a cursor that must keep the contents it was
// taken on while its list is written.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_Driver.h"
#include "zorbas/cow/cow_List.h"

namespace {

using List = cow_List<int>;
using Twin = std::vector<int>;

void Check(const List& list, const Twin& twin, unsigned slot, const char* step) {
    FUZZ_CHECK(list.Length() == static_cast<int>(twin.size()),
               "cow_List slot %u after %s: length %d, the twin has %zu", slot, step, list.Length(),
               twin.size());
    int i = 0;
    for (cow_ListIter<int> it(list); it.NotDone(); it.Next(), ++i) {
        FUZZ_CHECK(it.CurrentItem() == twin[i] && list.ConstGet(i) == twin[i],
                   "cow_List slot %u after %s: element %d is %d (cursor %d), the twin has %d", slot,
                   step, i, list.ConstGet(i), it.CurrentItem(), twin[i]);
    }
    FUZZ_CHECK(i == list.Length(), "cow_List slot %u after %s: the cursor gave %d of %d elements",
               slot, step, i, list.Length());
}

const char* Step(fuzz_Ops& ops, List& list, Twin& twin, const List& other, const Twin& otherTwin) {
    int size = static_cast<int>(twin.size());
    int x = static_cast<int>(ops.Below(64));
    switch (ops.Below(16)) {
        case 0:
            list.Append(x);
            twin.push_back(x);
            return "Append";
        case 1:
            list.Prepend(x);
            twin.insert(twin.begin(), x);
            return "Prepend";
        case 2: {
            int i = static_cast<int>(ops.Below(size + 1));
            list.InsertIndex(i, x);
            twin.insert(twin.begin() + i, x);
            return "InsertIndex";
        }
        case 3: {
            if (size == 0) return "nothing";
            int i = static_cast<int>(ops.Below(size));
            list.RemoveIndex(i);
            twin.erase(twin.begin() + i);
            return "RemoveIndex";
        }
        case 4: {
            if (size == 0) return "nothing";
            int i = static_cast<int>(ops.Below(size));
            list.Get(i) = x;
            twin[i] = x;
            return "Get";
        }
        case 5: {
            if (size == 0) return "nothing";
            int last = list.Pop();
            FUZZ_CHECK(last == twin.back(), "cow_List Pop gave %d, the twin %d", last, twin.back());
            twin.pop_back();
            return "Pop";
        }
        case 6: {
            // Above the length, Resize only makes room: the length stays.
            int n = static_cast<int>(ops.Below(size + 40));
            list.Resize(n);
            if (n < size) twin.resize(n);
            return "Resize";
        }
        case 7: {
            int n = static_cast<int>(ops.Below(size + 40));
            list.Fill(n, x);
            if (n > size) twin.resize(n, x);
            return "Fill";
        }
        case 8: {
            // Concatenating a list to itself doubles it; the cap keeps a run's cost linear.
            if (size + otherTwin.size() > 4096) return "nothing";
            Twin tail = otherTwin;
            list.Concatenate(other);
            twin.insert(twin.end(), tail.begin(), tail.end());
            return "Concatenate";
        }
        case 9: {
            list.RemoveMember(x);
            auto at = std::find(twin.begin(), twin.end(), x);
            if (at != twin.end()) twin.erase(at);
            return "RemoveMember";
        }
        case 10:
            list.AppendUnlessMember(x);
            if (std::find(twin.begin(), twin.end(), x) == twin.end()) twin.push_back(x);
            return "AppendUnlessMember";
        case 11: {
            int from = static_cast<int>(ops.Below(size + 1));
            int to = from + static_cast<int>(ops.Below(size - from + 1));
            list = list.Slice(from, to);
            twin = Twin(twin.begin() + from, twin.begin() + to);
            return "Slice";
        }
        case 12:
            list.Sort();
            std::sort(twin.begin(), twin.end());
            return "Sort";
        case 13: {
            Twin from = otherTwin;
            list.SetFromArray(from.data(), static_cast<int>(from.size()));
            twin = from;
            return "SetFromArray";
        }
        case 14: {
            Twin rest;
            for (int v : twin)
                if (std::find(otherTwin.begin(), otherTwin.end(), v) == otherTwin.end())
                    rest.push_back(v);
            list = list.Difference(other);
            twin = rest;
            return "Difference";
        }
        default: {
            // A cursor keeps what it was taken on while the list is written under it.
            cow_ListIter<int> cursor(list);
            Twin before = twin;
            list.Append(x);
            twin.push_back(x);
            if (size > 0) list.Get(0) = twin[0] = x + 1;
            Check(cursor, before, 99, "writes under a cursor");
            FUZZ_CHECK(list.FindMember(x) ==
                           static_cast<int>(std::find(twin.begin(), twin.end(), x) - twin.begin()),
                       "cow_List FindMember(%d) gave %d", x, list.FindMember(x));
            return "cursor";
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_Run<List, Twin>(
        data, size, Step, [](const List& l) { return std::make_unique<List>(l); }, Check);
}

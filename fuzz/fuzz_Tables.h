// The step and the check shared by the integer-table fuzz targets: Insert (new or overwriting),
// Remove, writes through Get, Clear, against a std::map twin, on tables copied by Copy() at
// random points (a table copy is deep, so a write must never reach another slot).
#pragma once

#include <iterator>
#include <map>
#include <memory>
#include <string>

#include "fuzz/fuzz_Driver.h"
#include "zorbas/cow/cow_String.h"

// What the twins hold for a table's element: a std::string for a cow_String, the value itself
// otherwise.
inline std::string fuzz_Value(const cow_String& s) { return s.CStr(); }
inline int fuzz_Value(int v) { return v; }

template <class Table, class Iterator, class Key, class Twin>
void fuzz_CheckTable(const Table& table, const Twin& twin, unsigned slot, const char* step,
                     const char* name) {
    FUZZ_CHECK(table.Size() == static_cast<int>(twin.size()),
               "%s slot %u after %s: size %d, the twin has %zu", name, slot, step, table.Size(),
               twin.size());
    Iterator it(table);
    auto up = twin.begin();
    for (it.First(); !it.IsDone(); it.Next(), ++up) {
        FUZZ_CHECK(up != twin.end() && static_cast<Key>(it.CurrentKey()) == up->first &&
                       fuzz_Value(it.CurrentValue()) == up->second,
                   "%s slot %u after %s: the walk gave key %lld where the twin differs", name, slot,
                   step, static_cast<long long>(it.CurrentKey()));
    }
    FUZZ_CHECK(up == twin.end(), "%s slot %u after %s: the walk is too short", name, slot, step);
    for (const auto& [key, value] : twin) {
        FUZZ_CHECK(table.IsMember(key) && fuzz_Value(table.ConstGet(key)) == value,
                   "%s slot %u after %s: key %lld is missing or differs", name, slot, step,
                   static_cast<long long>(key));
    }
}

template <class Table, class Key, class Twin, class MakeValue>
const char* fuzz_StepTable(fuzz_Ops& ops, Table& table, Twin& twin, Key key, MakeValue make,
                           const char* name) {
    auto value = make(ops.Below(1000));
    switch (ops.Below(16)) {
        case 0:
            table.Clear();
            twin.clear();
            return "Clear";
        case 1:
        case 2:
        case 3: {
            bool removed = table.Remove(key);
            FUZZ_CHECK(removed == (twin.erase(key) == 1), "%s Remove(%lld) gave %d", name,
                       static_cast<long long>(key), removed);
            FUZZ_CHECK(!table.IsMember(key), "%s key %lld is a member after Remove", name,
                       static_cast<long long>(key));
            return "Remove";
        }
        case 4:
        case 5:
        case 6: {
            if (twin.empty()) return "nothing";
            auto at = twin.begin();
            std::advance(at, ops.Below(static_cast<unsigned>(twin.size())));
            table.Get(at->first) = value;
            at->second = fuzz_Value(value);
            return "Get";
        }
        default: {
            bool added = table.Insert(key, value);
            bool twinAdded = twin.insert_or_assign(key, fuzz_Value(value)).second;
            FUZZ_CHECK(added == twinAdded, "%s Insert(%lld) gave %d", name,
                       static_cast<long long>(key), added);
            return "Insert";
        }
    }
}

template <class Table>
std::unique_ptr<Table> fuzz_CopyTable(const Table& table) {
    return std::unique_ptr<Table>(table.Copy());
}

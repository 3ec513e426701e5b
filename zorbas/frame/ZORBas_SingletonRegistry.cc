#include "zorbas/frame/ZORBas_SingletonRegistry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

ZORBAS_SINGLETON_DEFINE(ZORBas_SingletonRegistry)

namespace {
using DestroyFunction = ZORBas_SingletonRegistry::DestroyFunction;
void* AsEntry(DestroyFunction f) { return reinterpret_cast<void*>(f); }
DestroyFunction AsFunction(void* entry) { return reinterpret_cast<DestroyFunction>(entry); }
}  // namespace

ZORBas_SingletonRegistry::~ZORBas_SingletonRegistry() {
    Destroy();
    m_table.Clear();
}

void ZORBas_SingletonRegistry::Tag(const int& id, DestroyFunction destroy) {
    m_table.Insert(id, AsEntry(destroy));
}

int ZORBas_SingletonRegistry::Destroy(const int& id) {
    void* entry = nullptr;
    if (!m_table.ConstGetValue(id, entry)) return 0;
    AsFunction(entry)();
    m_table.Remove(id);  // by key: the function may have tagged or destroyed other entries
    return 1;
}

void ZORBas_SingletonRegistry::Destroy(const SingletonDestructPhase& phase) {
    auto run = [this](std::initializer_list<int> ids) {
        for (int id : ids) Destroy(id);
    };
    const SingletonDestructCondition& c = m_condition;
    if (phase == 0) {
        if (c.conditionTwo)
            run({1, 10});
        else if (!c.conditionThree)
            run({20, 10});
        if (!c.conditionOne) run({5});
        run({2, 3, 4});
        run({9, 11});
        if (c.conditionOne) run({14, 24});
        run({18, 21});
        run({28, 29});
    } else if (phase == 1) {
        run({6, 7});
        run({11, 23});
        run({8, 25});
        if (c.conditionTwo) run({26, 12, 16, 22, 17});
        run({13, 15});
        if (c.conditionTwo)
            run({18, 19});
        else if (c.conditionThree)
            run({18});
        run({28, 29});
        run({27});
    }
}

namespace {
// The suite's two texts, kept with their odd directives: "%s" and "%n" both stand for the integer
// identifier. Handing an int to printf under either directive is undefined (the first reads
// through it, the second writes through it), so the directive is replaced by the digits here.
constexpr const char kLeftOver[] = "Singleton with ID %s is registered but not finalized";
constexpr const char kFinalized[] = "Singleton with ID %n is now finalized in the end";

void PrintWithId(const char* format, int id) {
    const char* directive = std::strchr(format, '%');
    std::printf("%.*s%d%s\n", static_cast<int>(directive - format), format, id, directive + 2);
    std::fflush(stdout);
}
}  // namespace

void ZORBas_SingletonRegistry::Destroy() {
    const bool print = std::getenv("ZOR_PRINT_FINALIZED_LEFTOVER_SINGLETON") != nullptr;
    omi_IntTableIterator<void*, ZORBasOmiDefaultAllocator> it(m_table);
    for (it.First(); !it.IsDone(); it.Next()) {
        int id = it.CurrentKey();
        if (id <= 0) {
            if (print) PrintWithId(kLeftOver, id);
        } else {
            AsFunction(it.CurrentValue())();
            if (print) PrintWithId(kFinalized, id);
        }
    }
}

// The phase-ordered registry of singletons that programs of the suite tag by integer identifier.
// Nothing in this library tags or destroys by phase: the identifiers, the three condition flags
// and the two phases belong to those programs. What is left at the end is walked once more, with
// two optional messages whose odd formats ("%s" and "%n" with an integer) are kept as they are.
#pragma once

#include "zorbas/base/omi_Singleton.h"
#include "zorbas/intsets/omi_IntTable.h"
#include "zorbas/memory/ZORBasOmiDefaultAllocator.h"

struct SingletonDestructCondition {
    bool conditionOne;
    bool conditionTwo;
    bool conditionThree;
    bool unused;
    SingletonDestructCondition()
        : conditionOne(false), conditionTwo(false), conditionThree(false), unused(false) {}
};

// A fixed underlying type: callers may pass any int, and values other than 0 and 1 do nothing.
enum SingletonDestructPhase : int { SingletonDestructPhase0 = 0, SingletonDestructPhase1 = 1 };

class ZORBAS_API ZORBas_SingletonRegistry : public omi_Singleton<ZORBas_SingletonRegistry>,
                                            public mem_AllocationOperators {
  public:
    using DestroyFunction = void (*)();

    ZORBas_SingletonRegistry() = default;
    // Runs Destroy(), then clears the table.
    ~ZORBas_SingletonRegistry();

    void Tag(const int& id, DestroyFunction destroy);
    // Calls and removes the entry: 1 when `id` was tagged, 0 (and nothing called) otherwise.
    int Destroy(const int& id);
    // The fixed order of one phase; a phase other than 0 and 1 does nothing.
    void Destroy(const SingletonDestructPhase& phase);
    // The final walk over what is left, in the table's order; entries stay in the table.
    void Destroy();

    SingletonDestructCondition& Condition() { return m_condition; }
    int Size() const { return m_table.Size(); }

  private:
    // Identifier to destroy function, stored as the table's pointer element; the table walks in
    // ascending signed order.
    omi_IntTable<void*, ZORBasOmiDefaultAllocator> m_table;
    SingletonDestructCondition m_condition;
};

ZORBAS_SINGLETON_EXTERN(ZORBas_SingletonRegistry)

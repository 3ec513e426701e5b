// The ids that generation rules describe, as an input deck gives them: "first to last by step".
// The rules are kept, not expanded, so ten million ids in a few runs cost a few dozen bytes.
// Membership tests each rule (O(rules)); the walk merges the rules in ascending order and gives
// an id once where rules overlap (O(rules) a step); Expand writes the ids into a bit vector.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"
#include "zorbas/intsets/omi_BlkBitVect.h"

class ZORBAS_API omi_GeneratedSet : public mem_AllocationOperators {
  public:
    // first, first + step, ... up to last, which is stored as the last id the rule reaches.
    struct Rule {
        unsigned first;
        unsigned last;
        unsigned step;
    };

    omi_GeneratedSet() = default;
    omi_GeneratedSet(const omi_GeneratedSet& other);
    omi_GeneratedSet& operator=(const omi_GeneratedSet& other);
    ~omi_GeneratedSet();

    // first <= last and step >= 1 are the caller's to check: a violation ends the program.
    void Add(unsigned first, unsigned last, unsigned step = 1);
    void Add(unsigned id) { Add(id, id, 1); }
    void Clear() { ruleCount = 0; }

    int RuleCount() const { return ruleCount; }
    const Rule& GetRule(int i) const { return rules[i]; }

    bool IsMember(unsigned id) const;
    // Distinct ids. When the rules' ranges do not overlap this is a sum over the rules; otherwise
    // the ids are expanded into a bit vector and counted.
    unsigned Size() const;
    // Sets every id in `into`; a step-1 rule is set a word at a time.
    void Expand(omi_BlkBitVect& into) const;

  private:
    Rule* rules = nullptr;
    int ruleCount = 0;
    int capacity = 0;
};

// Walks a generated set in ascending order, each id once:
// for (it.First(); !it.IsDone(); it.Next()) it.CurrentKey(). Valid while the set is unchanged.
class ZORBAS_API omi_GeneratedSetIter : public mem_AllocationOperators {
  public:
    explicit omi_GeneratedSetIter(const omi_GeneratedSet& set);
    omi_GeneratedSetIter(const omi_GeneratedSetIter&) = delete;
    omi_GeneratedSetIter& operator=(const omi_GeneratedSetIter&) = delete;
    ~omi_GeneratedSetIter();

    void First();
    void Next();
    bool IsDone() const { return done; }
    unsigned CurrentKey() const { return current; }

  private:
    void Advance();

    const omi_GeneratedSet& set;
    // The next id of each rule; a rule that has given its last id is marked in `spent`.
    unsigned* cursor;
    bool* spent;
    unsigned current = 0;
    bool done = true;
};

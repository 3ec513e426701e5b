#include "zorbas/intsets/omi_GeneratedSet.h"

#include <cstring>
#include <new>

#include "companions/framework/PLXFatalError.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasOmni.m/src/omi_GeneratedSet";

unsigned long long RuleSize(const omi_GeneratedSet::Rule& r) {
    return (r.last - r.first) / r.step + 1ull;
}

void* Allocate(size_t bytes) {
    void* p = mem_Malloc(bytes ? bytes : 1);
    if (!p) throw std::bad_alloc();
    return p;
}

}  // namespace

omi_GeneratedSet::omi_GeneratedSet(const omi_GeneratedSet& other) { *this = other; }

omi_GeneratedSet& omi_GeneratedSet::operator=(const omi_GeneratedSet& other) {
    if (this == &other) return *this;
    if (capacity < other.ruleCount) {
        mem_Free(rules);
        rules = static_cast<Rule*>(Allocate(sizeof(Rule) * other.ruleCount));
        capacity = other.ruleCount;
    }
    if (other.ruleCount) std::memcpy(rules, other.rules, sizeof(Rule) * other.ruleCount);
    ruleCount = other.ruleCount;
    return *this;
}

omi_GeneratedSet::~omi_GeneratedSet() { mem_Free(rules); }

void omi_GeneratedSet::Add(unsigned first, unsigned last, unsigned step) {
    ZORBAS_ASSERT(step >= 1, kFile, __LINE__);
    ZORBAS_ASSERT(first <= last, kFile, __LINE__);
    if (ruleCount == capacity) {
        int grown = capacity < 4 ? 4 : 2 * capacity;
        void* fresh = mem_Realloc(rules, sizeof(Rule) * grown);
        if (!fresh) throw std::bad_alloc();
        rules = static_cast<Rule*>(fresh);
        capacity = grown;
    }
    rules[ruleCount++] = Rule{first, first + (last - first) / step * step, step};
}

bool omi_GeneratedSet::IsMember(unsigned id) const {
    for (int i = 0; i < ruleCount; ++i) {
        const Rule& r = rules[i];
        if (id >= r.first && id <= r.last && (id - r.first) % r.step == 0) return true;
    }
    return false;
}

unsigned omi_GeneratedSet::Size() const {
    // Ranges that do not overlap pairwise: the quadratic test beats a sort for the few rules that
    // an input deck gives.
    bool disjoint = true;
    for (int i = 0; i < ruleCount && disjoint; ++i) {
        for (int j = i + 1; j < ruleCount; ++j) {
            if (rules[i].first <= rules[j].last && rules[j].first <= rules[i].last) {
                disjoint = false;
                break;
            }
        }
    }
    if (disjoint) {
        unsigned long long n = 0;
        for (int i = 0; i < ruleCount; ++i) n += RuleSize(rules[i]);
        return static_cast<unsigned>(n);
    }
    omi_BlkBitVect bits;
    Expand(bits);
    return bits.BitCount();
}

void omi_GeneratedSet::Expand(omi_BlkBitVect& into) const {
    for (int i = 0; i < ruleCount; ++i) {
        const Rule& r = rules[i];
        if (r.step == 1) {
            into.SetFromTo(r.first, r.last);
            continue;
        }
        for (unsigned id = r.first;; id += r.step) {
            into.SetBit(id);
            if (id == r.last) break;
        }
    }
}

omi_GeneratedSetIter::omi_GeneratedSetIter(const omi_GeneratedSet& set_)
    : set(set_),
      cursor(static_cast<unsigned*>(Allocate(sizeof(unsigned) * set_.RuleCount()))),
      spent(static_cast<bool*>(Allocate(sizeof(bool) * set_.RuleCount()))) {}

omi_GeneratedSetIter::~omi_GeneratedSetIter() {
    mem_Free(cursor);
    mem_Free(spent);
}

void omi_GeneratedSetIter::First() {
    for (int i = 0; i < set.RuleCount(); ++i) {
        cursor[i] = set.GetRule(i).first;
        spent[i] = false;
    }
    Advance();
}

void omi_GeneratedSetIter::Next() {
    if (done) return;
    // Every rule that stands on the current id moves past it, so overlaps give the id once.
    for (int i = 0; i < set.RuleCount(); ++i) {
        if (spent[i] || cursor[i] != current) continue;
        const omi_GeneratedSet::Rule& r = set.GetRule(i);
        if (cursor[i] == r.last) {
            spent[i] = true;
        } else {
            cursor[i] += r.step;
        }
    }
    Advance();
}

void omi_GeneratedSetIter::Advance() {
    done = true;
    for (int i = 0; i < set.RuleCount(); ++i) {
        if (spent[i]) continue;
        if (done || cursor[i] < current) current = cursor[i];
        done = false;
    }
}

// Pattern matching on cow_String: match (through a process-wide cache of compiled patterns or
// without it), split, join and substitute. A match answers an rgx_ReIterator, a value that holds
// the subject and the offsets of the whole match and its groups; it tests false when nothing
// matched. Patterns are PCRE2 patterns (see rgx_pcre.h) of at most 15 groups; a match that sets
// a sixteenth throws ZORBasExecException with error 0.
//
// Costs: a cached match is a compare with the calling thread's last pattern (a lookup in the
// cache's digital tree when it differs) and one engine call; the iterator holds its offsets inline
// and shares a cow_String subject, so it allocates nothing then. rgx_matchNC compiles every time.
// split and subn match each tail in place (no copy of the tail), so they are linear in the text and
// the number of matches.
//
// Kept on purpose, though they look like faults: rgx_split drops leading and repeated empty
// fields but keeps a trailing one; rgx_split and rgx_subn match every tail on its own, so `^`
// holds again at each tail's start; rgx_subn expands `$1`..`$9`, `$&`, `` $` ``, `$'` once, from
// the first match, and uses that text at every substitution; rgx_matchNC leaves its compiled
// block behind after a match; PercentFull is a fraction.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "zorbas/base/ZORBasAtiGlobalSingleton.h"
#include "zorbas/cow/cow_CountedHld.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_Map.h"
#include "zorbas/cow/cow_String.h"
#include "zorbas/text/rgx_pcre.h"

// Owns one compiled block; the cache's holders free it when the last of them goes.
class ZORBAS_API rgx_CompiledBlock : public mem_AllocationOperators {
  public:
    explicit rgx_CompiledBlock(rgx_pcre* b) : block(b) {}
    ~rgx_CompiledBlock() { rgx_pcre_free(block); }
    rgx_CompiledBlock(const rgx_CompiledBlock&) = delete;
    rgx_CompiledBlock& operator=(const rgx_CompiledBlock&) = delete;
    rgx_pcre* block;
};

using rgx_CompiledHld = cow_CountedHld<rgx_CompiledBlock>;

// The map of the cache, with the single lookup that the cache's hot path needs.
class ZORBAS_API rgx_PatternMap : public cow_Map<cow_String, rgx_CompiledHld> {
  public:
    using cow_Map<cow_String, rgx_CompiledHld>::ConstFind;
};

// Compiled patterns of the whole process, keyed by the pattern's text up to its first NUL.
// Capacity 100; when full, an insertion first drops 50 keys in the map's iteration order, with
// no regard to age or use. No lock of its own: one thread at a time (or the singleton's
// Lock()/Unlock()); threads that match concurrently use rgx_matchNC.
class ZORBAS_API rgx_ReCompileCache : public mem_AllocationOperators {
  public:
    // The compiled block of `pattern`, compiled and inserted when absent. A pattern that does not
    // compile throws ZORBasPatternException (PCRE2's text and offset) and adds nothing. The block
    // is valid until the next Get.
    void* Get(const cow_String& pattern);
    void Insert(const cow_String& pattern, void* compiled);
    bool IsFull() const;
    // Size over capacity as a fraction in [0, 1] (0.0 for capacity 0), not a percentage.
    double PercentFull() const;
    ~rgx_ReCompileCache();

  private:
    friend class ZORBasAtiGlobalSingleton<rgx_ReCompileCache>;
    friend struct rgx_Facade;
    rgx_ReCompileCache() : capacity(100) {}
    // Get's lookup, answering the holder so that a caller may keep the block across later Gets.
    const rgx_CompiledHld& Hold(const cow_String& pattern);

    int capacity;
    rgx_PatternMap map;
};

// A match and the cursor over its groups. Position is always even: 0 for the whole match, 2k for
// group k. A group that took no part has negative offsets and gives the empty string.
class ZORBAS_API rgx_ReIterator {
  public:
    rgx_ReIterator() : position(0), groupCount(0), matched(0) {}
    // Copies carry the pairs in use only.
    rgx_ReIterator(const rgx_ReIterator& other)
        : subject(other.subject),
          position(other.position),
          groupCount(other.groupCount),
          matched(other.matched) {
        CopyPairs(other);
    }
    rgx_ReIterator& operator=(const rgx_ReIterator& other) {
        subject = other.subject;
        position = other.position;
        groupCount = other.groupCount;
        matched = other.matched;
        CopyPairs(other);
        return *this;
    }
    rgx_ReIterator& operator=(rgx_ReIterator&& other) { return *this = other; }

    int operator!() const { return !matched; }
    operator int() const { return matched; }

    void First() { position = 0; }
    // Group 1, unless the cursor is done.
    void Second() {
        if (!IsDone()) position = 2;
    }
    bool IsDone() const { return position / 2 == groupCount; }
    // Offsets of the current group; an empty iterator ends the program here (bounds check).
    int Start() const { return Offset(position); }
    int End() const { return Offset(position + 1); }
    cow_String String() const;
    // The current group's text as a group reference: "&" 0, "'" -1, "`" -2, else atoi.
    int StringAsGroupNum() const;
    // -2: the subject before the whole match; -1: after it; 0 up to the group count: that
    // group's text; anything else the empty string.
    cow_String NthString(int n) const;

  protected:
    friend struct rgx_Facade;
    // Copies the subject and 2 x groups offsets; the array stays the caller's.
    rgx_ReIterator(const cow_String& subject, const int* offsets, int groups);

  private:
    // The pairs live inline: the engine never sets more than kMaxPairs (a match that would throws
    // before an iterator is made), and a match then costs no block from the tracked heap. Only the
    // first 2 x groupCount entries are meaningful; an index past them aborts, as a list would.
    static constexpr int kMaxPairs = 16;
    int Offset(int i) const {
        if (static_cast<unsigned>(i) >= static_cast<unsigned>(2 * groupCount)) OutOfRange();
        return offsets[i];
    }
    [[noreturn]] static void OutOfRange();
    void CopyPairs(const rgx_ReIterator& other) {
        for (int i = 0; i < 2 * groupCount; ++i) offsets[i] = other.offsets[i];
    }

    cow_String subject;
    int position;
    int groupCount;
    int matched;
    int offsets[2 * kMaxPairs];
};

ZORBAS_API rgx_ReIterator rgx_match(const cow_String& pattern, const char* subject);
ZORBAS_API rgx_ReIterator rgx_match(const cow_String& pattern, const cow_String& subject);
// The same match with no cache, for patterns made on the fly. Prints "Bad pattern: Throw
// exception" or "Bad Execution: Throw exception" on standard output before it throws.
ZORBAS_API rgx_ReIterator rgx_matchNC(const cow_String& pattern, const char* subject);
ZORBAS_API rgx_ReIterator rgx_matchNC(const cow_String& pattern, const cow_String& subject);
// The fields of `text` between matches of `pattern`. A pattern that matches the empty string at
// the start of a tail would never advance; it is a contract violation and ends the program.
ZORBAS_API cow_List<cow_String> rgx_split(const cow_String& pattern, const cow_String& text);
ZORBAS_API cow_String rgx_join(const cow_List<cow_String>& pieces, const cow_String& separator);
// `subject` with up to `count` matches of `pattern` replaced by `replacement`.
ZORBAS_API cow_String rgx_subn(const cow_String& pattern, const cow_String& replacement,
                               const cow_String& subject, int count);

extern template class ZORBasAtiGlobalSingleton<rgx_ReCompileCache>;

#include "zorbas/text/rgx_Regex.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "companions/coreutils/ZORBasException.h"
#include "companions/framework/PLXFatalError.h"

// The map's instantiation stays inside the library (its holder type is not exported), so the
// header's inline code never reaches into it.
template class cow_MapNode<cow_String, rgx_CompiledHld>;
template class cow_Map<cow_String, rgx_CompiledHld>;
template class cow_ConstMapIterator<cow_String, rgx_CompiledHld>;
template class ZORBasAtiGlobalSingleton<rgx_ReCompileCache>;

namespace {

constexpr const char* kFile = "regex/rgx_Regex";
// 16 start/end pairs: the whole match and 15 groups.
constexpr int kVectorSize = 32;

// The key of a pattern: its text up to the first NUL (shared when there is no NUL inside).
cow_String Key(const cow_String& pattern) {
    const char* text = pattern.CStr();
    if (static_cast<int>(std::strlen(text)) == pattern.Length()) return pattern;
    return cow_String(text);
}

// Advanced whenever the block a key maps to may change: at every insertion (which may evict) and
// at the cache's end. A block remembered under an older generation is never used.
std::atomic<uint64_t> g_generation{0};  // 64 bits: it never wraps

// The calling thread's last pattern through the cache and the block the cache answered for it.
// Plain static TLS with no destructor: a hit costs a few loads and one short compare.
constexpr int kShortcutText = 96;
struct LastPattern {
    const rgx_ReCompileCache* cache;
    uint64_t generation;
    int length;  // -1: nothing remembered
    const rgx_pcre* block;
    char text[kShortcutText];
};
__attribute__((tls_model("initial-exec"))) thread_local LastPattern t_last{
    nullptr, 0, -1, nullptr, {}};

}  // namespace

// The facade's internals, a friend of the cache and the iterator.
struct rgx_Facade {
    // One engine call on text[0, length) into `vector`; throws on an execution error and on a
    // vector too small (a match of more than 15 groups). Answers the group count, 0 for none.
    static int Exec(const rgx_pcre* code, const char* text, int length, int* vector, bool loud) {
        int rc = rgx_pcre_exec(code, nullptr, text, length, 0, vector, kVectorSize);
        if (rc == -1) return 0;
        if (rc < -1 || rc == 0) {
            if (loud) {
                std::fputs("Bad Execution: Throw exception\n", stdout);
                std::fflush(stdout);
            }
            ZORBasExceptionModel::throwExecException(rc);
        }
        return rc;
    }

    // The iterator of one match of `code` on text[0, length), length being the text's strlen;
    // `shared` is the subject when the caller already holds it as a cow_String of exactly that
    // text.
    static rgx_ReIterator Match(const rgx_pcre* code, const char* text, int length,
                                const cow_String* shared, bool loud) {
        // The engine writes the pairs straight into the iterator (named, so returned in place).
        static_assert(sizeof(rgx_ReIterator::offsets) == kVectorSize * sizeof(int));
        rgx_ReIterator it;
        int groups = Exec(code, text, length, it.offsets, loud);
        if (groups == 0) return it;
        if (shared)
            it.subject = *shared;
        else
            it.subject = cow_String(text);
        it.groupCount = groups;
        it.matched = 1;
        return it;
    }

    static rgx_ReIterator Cached(const cow_String& pattern, const char* text, int length,
                                 const cow_String* shared) {
        return Match(Compiled(pattern), text, length, shared, false);
    }

    // The cache's block for `pattern`: the calling thread's last block when the text and the
    // cache's generation are the same, else the cache's Get.
    static const rgx_pcre* Compiled(const cow_String& pattern) {
        rgx_ReCompileCache* cache = ZORBasAtiGlobalSingleton<rgx_ReCompileCache>::Instance();
        const uint64_t generation = g_generation.load(std::memory_order_relaxed);
        const int length = pattern.Length();
        LastPattern& last = t_last;
        if (length == last.length && cache == last.cache && generation == last.generation &&
            std::memcmp(pattern.CStr(), last.text, static_cast<size_t>(length)) == 0)
            return last.block;
        const auto* code = static_cast<const rgx_pcre*>(cache->Get(pattern));
        // Only a key without a NUL inside is remembered, so that equal text means equal key.
        if (length < kShortcutText && static_cast<int>(std::strlen(pattern.CStr())) == length) {
            last.cache = cache;
            last.generation = generation;
            last.length = length;
            last.block = code;
            std::memcpy(last.text, pattern.CStr(), static_cast<size_t>(length));
        }
        return code;
    }

    static rgx_ReIterator Uncached(const cow_String& pattern, const char* text, int length,
                                   const cow_String* shared) {
        const char* error = nullptr;
        int offset = 0;
        rgx_pcre* code = rgx_pcre_compile(pattern.CStr(), 0, &error, &offset);
        if (!code) {
            std::fputs("Bad pattern: Throw exception\n", stdout);
            std::fflush(stdout);
            ZORBasExceptionModel::throwPatternException(offset, error);
        }
        rgx_ReIterator it;
        try {
            it = Match(code, text, length, shared, true);
        } catch (...) {
            LeaveBehind(code);
            throw;
        }
        if (!it) {
            rgx_pcre_free(code);
        } else {
            LeaveBehind(code);
        }
        return it;
    }

    // The uncached match keeps its block after a match or an execution error, as callers of the
    // suite have always seen; nothing frees it. The leak checker is told it is not a fault.
    static void LeaveBehind([[maybe_unused]] rgx_pcre* code) {
#if defined(__SANITIZE_ADDRESS__)
        __lsan_ignore_object(code);
#endif
    }

    static rgx_CompiledHld Hold(const cow_String& pattern) {
        return ZORBasAtiGlobalSingleton<rgx_ReCompileCache>::Instance()->Hold(pattern);
    }
};

// ---- cache ----

const rgx_CompiledHld& rgx_ReCompileCache::Hold(const cow_String& pattern) {
    cow_String key = Key(pattern);
    if (const auto* node = map.ConstFind(key)) return node->value;
    const char* error = nullptr;
    int offset = 0;
    rgx_pcre* code = rgx_pcre_compile(key.CStr(), 0, &error, &offset);
    if (!code) ZORBasExceptionModel::throwPatternException(offset, error);
    // The cache keeps a pattern for many matches, so the JIT pays for itself here; without a
    // JIT the interpreter answers the same.
    rgx_pcre_free(rgx_pcre_study(code, 0, &error));
    Insert(key, code);
    return map.ConstFind(key)->value;
}

void* rgx_ReCompileCache::Get(const cow_String& pattern) { return Hold(pattern).GetPtr()->block; }

void rgx_ReCompileCache::Insert(const cow_String& pattern, void* compiled) {
    g_generation.fetch_add(1, std::memory_order_relaxed);
    // Own the block first, so that nothing leaks if the eviction below throws.
    rgx_CompiledHld held(new rgx_CompiledBlock(static_cast<rgx_pcre*>(compiled)));
    if (IsFull()) {
        cow_ConstMapIterator<cow_String, rgx_CompiledHld> it(map);
        int removed = 0;
        for (it.First(); removed < capacity / 2 && !it.IsDone(); it.Next(), ++removed)
            map.Remove(it.CurrentKey());
    }
    map.Insert(Key(pattern), held);
}

rgx_ReCompileCache::~rgx_ReCompileCache() { g_generation.fetch_add(1, std::memory_order_relaxed); }

bool rgx_ReCompileCache::IsFull() const { return map.Size() == capacity; }

double rgx_ReCompileCache::PercentFull() const {
    return capacity == 0 ? 0.0 : static_cast<double>(map.Size()) / capacity;
}

// ---- iterator ----

rgx_ReIterator::rgx_ReIterator(const cow_String& s, const int* array, int groups)
    : subject(s), position(0), groupCount(groups), matched(1) {
    if (groups < 0 || groups > kMaxPairs) OutOfRange();
    std::memcpy(offsets, array, sizeof(int) * 2 * static_cast<size_t>(groups));
}

void rgx_ReIterator::OutOfRange() { std::abort(); }

cow_String rgx_ReIterator::String() const {
    int s = Start(), e = End();
    if (s >= 0 && e > s) return subject.Substr(s, e);
    return cow_String();
}

int rgx_ReIterator::StringAsGroupNum() const {
    cow_String text = String();
    if (text == "&") return 0;
    if (text == "'") return -1;
    if (text == "`") return -2;
    return std::atoi(text.CStr());
}

cow_String rgx_ReIterator::NthString(int n) const {
    if (groupCount == 0) return cow_String();
    if (n == -2) return Offset(0) > 0 ? subject.Substr(0, Offset(0)) : cow_String();
    if (n == -1) {
        int e = Offset(1);
        return e < subject.Length() ? subject.Substr(e, subject.Length()) : cow_String();
    }
    if (n < 0 || n >= groupCount) return cow_String();
    int s = Offset(2 * n), e = Offset(2 * n + 1);
    if (s >= 0 && e > s) return subject.Substr(s, e);
    return cow_String();
}

// ---- functions ----

static int Length(const char* text) { return static_cast<int>(std::strlen(text)); }

rgx_ReIterator rgx_match(const cow_String& pattern, const char* subject) {
    return rgx_Facade::Cached(pattern, subject, Length(subject), nullptr);
}

// The text ends at its first NUL; when it has none the iterator shares the caller's string.
static const cow_String* Whole(const cow_String& s, int length) {
    return length == s.Length() ? &s : nullptr;
}

rgx_ReIterator rgx_match(const cow_String& pattern, const cow_String& subject) {
    const int length = Length(subject.CStr());
    return rgx_Facade::Cached(pattern, subject.CStr(), length, Whole(subject, length));
}

rgx_ReIterator rgx_matchNC(const cow_String& pattern, const char* subject) {
    return rgx_Facade::Uncached(pattern, subject, Length(subject), nullptr);
}

rgx_ReIterator rgx_matchNC(const cow_String& pattern, const cow_String& subject) {
    const int length = Length(subject.CStr());
    return rgx_Facade::Uncached(pattern, subject.CStr(), length, Whole(subject, length));
}

// Each tail is matched in place as a subject of its own: the engine sees text[at, at + strlen),
// which is exactly what a match on a copy of the tail sees.
cow_List<cow_String> rgx_split(const cow_String& pattern, const cow_String& text) {
    rgx_CompiledHld held = rgx_Facade::Hold(pattern);
    const rgx_pcre* code = held.GetPtr()->block;
    const char* base = text.CStr();
    const int total = text.Length();
    int vector[kVectorSize];
    int at = 0;
    int tailLength = static_cast<int>(std::strlen(base));
    if (!rgx_Facade::Exec(code, base, tailLength, vector, false)) return cow_List<cow_String>(text);
    cow_List<cow_String> pieces;
    do {
        int s = vector[0], e = vector[1];
        if (e == 0)
            zorbas_wassert("rgx_split: the pattern matches the empty string", kFile, __LINE__);
        if (s > 0) pieces.Append(cow_String(base + at, s));
        at += e;
        tailLength -= e;
    } while (rgx_Facade::Exec(code, base + at, tailLength, vector, false));
    pieces.Append(at == 0 ? text : cow_String(base + at, total - at));
    return pieces;
}

cow_String rgx_join(const cow_List<cow_String>& pieces, const cow_String& separator) {
    const int n = pieces.Length();
    int size = n > 1 ? (n - 1) * separator.Length() : 0;
    for (int i = 0; i < n; ++i) size += pieces.ConstGet(i).Length();
    cow_String joined(size, PreSize);
    for (int i = 0; i < n; ++i) {
        if (i > 0) joined.Append(separator);
        joined.Append(pieces.ConstGet(i));
    }
    return joined;
}

namespace {

// The replacement with its references replaced, once, from the captures of the first match.
cow_String Expand(const cow_String& replacement, const rgx_ReIterator& first) {
    static const cow_String reference("\\$([1-9]+|&|`|')");
    cow_String tail = replacement;
    rgx_ReIterator ref = rgx_match(reference, tail);
    if (!ref) return replacement;
    cow_String expanded;
    while (ref) {
        ref.Second();
        int s = ref.Start(), e = ref.End();
        if (s >= 2) expanded.Append(tail.Substr(0, s - 1));
        expanded.Append(first.NthString(ref.StringAsGroupNum()));
        tail = tail.Substr(e, tail.Length());
        ref = rgx_match(reference, tail);
    }
    expanded.Append(tail);
    return expanded;
}

// The substitution's result as it grows, on the tracked heap; doubling keeps the appends linear
// and the one cow_String is made at the end.
class TextBuffer {
  public:
    explicit TextBuffer(size_t reserve) { Grow(reserve + 1); }
    ~TextBuffer() { mem_Free(data); }
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;
    void Append(const char* s, int n) {
        const auto count = static_cast<size_t>(n);
        if (size + count + 1 > capacity) Grow(2 * (size + count + 1));
        std::memcpy(data + size, s, count);
        size += count;
    }
    void Append(const cow_String& s) { Append(s.CStr(), s.Length()); }
    cow_String Text() const { return cow_String(data, static_cast<int>(size)); }

  private:
    void Grow(size_t room) {
        auto* grown = static_cast<char*>(mem_Realloc(data, room));
        if (!grown) throw std::bad_alloc();
        data = grown;
        capacity = room;
    }
    char* data = nullptr;
    size_t size = 0;
    size_t capacity = 0;
};

}  // namespace

cow_String rgx_subn(const cow_String& pattern, const cow_String& replacement,
                    const cow_String& subject, int count) {
    rgx_CompiledHld held = rgx_Facade::Hold(pattern);
    const rgx_pcre* code = held.GetPtr()->block;
    const int subjectLength = Length(subject.CStr());
    rgx_ReIterator first = rgx_Facade::Match(code, subject.CStr(), subjectLength,
                                             Whole(subject, subjectLength), false);
    if (!first || count < 1) return subject;
    const cow_String expanded = Expand(replacement, first);

    // `rest` is base[at, total): the tail, matched in place. A tail cut from the subject ends at
    // the subject's first NUL, as every string cut from a cow_String does.
    const char* base = subject.CStr();
    const int total = subjectLength;
    int at = 0;
    int vector[kVectorSize] = {first.Start(), first.End()};
    TextBuffer result(static_cast<size_t>(total + expanded.Length()));
    int substitutions = 0;
    for (;;) {
        int s = vector[0], e = vector[1];
        const bool restEmpty = at == total;
        if (s > 0 && !restEmpty) {
            result.Append(base + at, s);
            result.Append(expanded);
        } else if (s == 0 && e == 0 && !restEmpty) {
            result.Append(expanded);
            result.Append(base + at, 1);
            e = 1;
        } else {
            result.Append(expanded);
        }
        if (restEmpty) break;
        at += e;
        if (++substitutions >= count) break;
        if (!rgx_Facade::Exec(code, base + at, total - at, vector, false)) break;
    }
    result.Append(base + at, total - at);
    return result.Text();
}

#include "zorbas/text/rgx_pcre.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <new>

#include "companions/alloc/mem_Malloc.h"

// Both block kinds start with a tag, so that rgx_pcre_free can tell them apart.
struct rgx_pcre {
    unsigned tag;
    bool jit;
    pcre2_code* code;
};

struct rgx_pcre_extra {
    unsigned tag;
    bool jit;
};

namespace {

constexpr unsigned kCodeTag = 0x52474343u;   // "RGCC"
constexpr unsigned kExtraTag = 0x52474345u;  // "RGCE"

void* HeapAlloc(PCRE2_SIZE size, void*) { return mem_Malloc(size); }
void HeapFree(void* p, void*) { mem_Free(p); }

// Made once and kept for the life of the process: every block and workspace refers to it.
pcre2_general_context* General() {
    static pcre2_general_context* const general =
        pcre2_general_context_create(HeapAlloc, HeapFree, nullptr);
    return general;
}

pcre2_compile_context* Compile() {
    static pcre2_compile_context* const compile = pcre2_compile_context_create(General());
    return compile;
}

// The calling thread's match workspace, grown to the largest vector asked for and never shrunk.
// A match asked for with a smaller vector still runs with all the pairs, and is answered with 0
// when the pairs it set do not fit the caller's vector, as a vector of the caller's size would.
// The workspace itself is a plain pair in static TLS (one load per match); its owner, which frees
// it when the thread ends, is reached only when the workspace grows.
struct Workspace {
    pcre2_match_data* data;
    int capacity;
};
__attribute__((tls_model("initial-exec"))) thread_local Workspace t_workspace{nullptr, 0};

struct WorkspaceOwner {
    bool armed = false;
    ~WorkspaceOwner() {
        if (t_workspace.data) pcre2_match_data_free(t_workspace.data);
        t_workspace = {nullptr, 0};
    }
};
thread_local WorkspaceOwner t_owner;

pcre2_match_data* Grow(int pairs) {
    pcre2_match_data* grown = pcre2_match_data_create(static_cast<uint32_t>(pairs), General());
    if (!grown) throw std::bad_alloc();
    t_owner.armed = true;
    if (t_workspace.data) pcre2_match_data_free(t_workspace.data);
    t_workspace = {grown, pairs};
    return grown;
}

pcre2_match_data* WorkspaceFor(int pairs) {
    constexpr int kMinPairs = 16;
    if (pairs < kMinPairs) pairs = kMinPairs;
    return pairs <= t_workspace.capacity ? t_workspace.data : Grow(pairs);
}

thread_local char t_message[256];

const char* Message(int error) {
    if (pcre2_get_error_message(error, reinterpret_cast<PCRE2_UCHAR*>(t_message),
                                sizeof t_message) < 0)
        return "unknown error";
    return t_message;
}

}  // namespace

rgx_pcre* rgx_pcre_compile(const char* pattern, int options, const char** errortext,
                           int* erroffset) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_code* code =
        pattern ? pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern), PCRE2_ZERO_TERMINATED,
                                static_cast<uint32_t>(options), &error, &offset, Compile())
                : nullptr;
    if (!code) {
        if (errortext) *errortext = pattern ? Message(error) : "pattern is null";
        if (erroffset) *erroffset = static_cast<int>(offset);
        return nullptr;
    }
    void* room = mem_Malloc(sizeof(rgx_pcre));
    if (!room) {
        pcre2_code_free(code);
        throw std::bad_alloc();
    }
    return new (room) rgx_pcre{kCodeTag, false, code};
}

int rgx_pcre_exec(const rgx_pcre* code, const rgx_pcre_extra*, const char* subject, int length,
                  int options, int* ovector, int ovecsize) {
    if (!code || code->tag != kCodeTag || !subject || (ovecsize > 0 && !ovector))
        return PCRE2_ERROR_NULL;
    if (length < 0 || ovecsize < 0) return PCRE2_ERROR_BADOPTION;
    const int pairs = ovecsize / 2;
    pcre2_match_data* data = WorkspaceFor(pairs);
    const auto text = reinterpret_cast<PCRE2_SPTR>(subject);
    const auto size = static_cast<PCRE2_SIZE>(length);
    const auto opts = static_cast<uint32_t>(options);
    int rc = code->jit ? pcre2_jit_match(code->code, text, size, 0, opts, data, nullptr)
                       : PCRE2_ERROR_JIT_STACKLIMIT;
    // The interpreter has no JIT stack limit: it answers where the JIT ran out of stack.
    if (rc == PCRE2_ERROR_JIT_STACKLIMIT)
        rc = pcre2_match(code->code, text, size, 0, opts, data, nullptr);
    if (rc <= 0) return rc;
    const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(data);
    const int set = rc < pairs ? rc : pairs;
    for (int i = 0; i < 2 * set; ++i)
        ovector[i] = ov[i] == PCRE2_UNSET ? -1 : static_cast<int>(ov[i]);
    return rc > pairs ? 0 : rc;
}

rgx_pcre_extra* rgx_pcre_study(rgx_pcre* code, int, const char** errortext) {
    if (errortext) *errortext = nullptr;
    if (!code || code->tag != kCodeTag) {
        if (errortext) *errortext = "argument is not a compiled regular expression";
        return nullptr;
    }
    if (!code->jit) {
        int rc = pcre2_jit_compile(code->code, PCRE2_JIT_COMPLETE);
        if (rc == PCRE2_ERROR_JIT_BADOPTION) return nullptr;  // no JIT on this host
        if (rc != 0) {
            if (errortext) *errortext = Message(rc);
            return nullptr;
        }
        code->jit = true;
    }
    void* room = mem_Malloc(sizeof(rgx_pcre_extra));
    if (!room) throw std::bad_alloc();
    return new (room) rgx_pcre_extra{kExtraTag, true};
}

int rgx_pcre_info(const rgx_pcre* code, int* options, int* firstchar) {
    if (!code || code->tag != kCodeTag) return PCRE2_ERROR_NULL;
    uint32_t groups = 0;
    pcre2_pattern_info(code->code, PCRE2_INFO_CAPTURECOUNT, &groups);
    if (options) {
        uint32_t o = 0;
        pcre2_pattern_info(code->code, PCRE2_INFO_ARGOPTIONS, &o);
        *options = static_cast<int>(o);
    }
    if (firstchar) {
        uint32_t type = 0, unit = 0;
        pcre2_pattern_info(code->code, PCRE2_INFO_FIRSTCODETYPE, &type);
        pcre2_pattern_info(code->code, PCRE2_INFO_FIRSTCODEUNIT, &unit);
        *firstchar = type == 1 ? static_cast<int>(unit) : -1;
    }
    return static_cast<int>(groups);
}

const char* rgx_pcre_version() {
    static char banner[64];
    static const bool once = [] { return pcre2_config(PCRE2_CONFIG_VERSION, banner) > 0; }();
    return once ? banner : "";
}

void rgx_pcre_free(void* block) {
    if (!block) return;
    unsigned tag = *static_cast<unsigned*>(block);
    if (tag != kCodeTag && tag != kExtraTag) return;  // not a block of this layer
    if (tag == kCodeTag) pcre2_code_free(static_cast<rgx_pcre*>(block)->code);
    mem_Free(block);
}

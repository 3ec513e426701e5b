// The pattern engine under the regex facade: a thin layer over PCRE2 (8-bit) with the calling
// conventions the facade was written against. Options are 0, an offset vector holds start/end
// pairs (ovecsize / 2 of them), and rgx_pcre_exec answers the number of pairs set, 0 when the
// vector was too small for the highest group that took part, -1 for no match and below -1 for an
// execution error (PCRE2's own error numbers). Error texts are PCRE2's own.
//
// Syntax is PCRE2's: where it differs from older PCRE releases, PCRE2 holds. The JIT is used only
// on blocks that rgx_pcre_study has compiled, and a JIT stack overflow falls back to the
// interpreter, so the JIT never changes a result. All engine memory but the JIT's executable pages
// comes from the tracked heap. A compiled block may be matched from several threads at once; each
// thread keeps its own match workspace.
#pragma once

#include "companions/framework/zorbas_export.h"

struct rgx_pcre;        // a compiled pattern
struct rgx_pcre_extra;  // what rgx_pcre_study learned (the JIT state)

// A new compiled block, or null with *errortext (static, PCRE2's message) and *erroffset (byte
// offset into the pattern) set. The block belongs to the caller, who releases it with
// rgx_pcre_free.
ZORBAS_API rgx_pcre* rgx_pcre_compile(const char* pattern, int options, const char** errortext,
                                      int* erroffset);

// Matches `code` on subject[0, length). `extra` may be null. Answers as the header says; on a
// match, ovector[2i], ovector[2i + 1] are the offsets of group i, -1 for a group that did not
// take part.
ZORBAS_API int rgx_pcre_exec(const rgx_pcre* code, const rgx_pcre_extra* extra, const char* subject,
                             int length, int options, int* ovector, int ovecsize);

// Compiles `code` for the JIT (in place: later matches of the block use it, with or without the
// returned record). Answers a record to release with rgx_pcre_free, or null when nothing was
// learned (no JIT on this host); *errortext is set only on a real failure.
ZORBAS_API rgx_pcre_extra* rgx_pcre_study(rgx_pcre* code, int options, const char** errortext);

// The number of capturing groups of `code`, or a negative PCRE2 error number. When not null,
// *options gets the compile options and *firstchar the byte every match starts with, or -1.
ZORBAS_API int rgx_pcre_info(const rgx_pcre* code, int* options, int* firstchar);

// PCRE2's version banner, such as "10.42 2022-12-11".
ZORBAS_API const char* rgx_pcre_version();

// Releases a block from rgx_pcre_compile or rgx_pcre_study; null is ignored.
ZORBAS_API void rgx_pcre_free(void* block);

// Asks every question of the URL parser about random text and checks that the answers agree with
// each other after every input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "companions/coreutils/ZORBasException.h"
#include "zorbas/os/ZORBasUtlUrlParser.h"

namespace {

void Check(bool ok, const char* what, const std::string& url) {
    if (ok) return;
    std::fprintf(stderr, "invariant failed: %s for '%s'\n", what, url.c_str());
    std::abort();
}

bool Only(const cow_String& s, const char* allowed) {
    for (int i = 0; i < s.Length(); ++i)
        if (!std::strchr(allowed, s[i])) return false;
    return true;
}

bool Lacks(const cow_String& s, char c) {
    const char text[2] = {c, 0};
    return s.Find(text) < 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    text = text.substr(0, text.find('\0'));
    const cow_String url(text.c_str());
    using P = ZORBasUtlUrlParser;

    const cow_String scheme = P::GetScheme(url);
    if (P::IsUrl(url)) {
        Check(P::IsRFCUrl(url), "a URL is an RFC URL", text);
        Check(scheme == "vldrdb", "the one known scheme", text);
    }
    if (!scheme.Empty()) {
        Check(P::IsRFCUrl(url), "a scheme makes an RFC URL", text);
        // The scheme is pasted into a pattern as it stands, so a "+" in it is a quantifier: the
        // pattern may then miss the scheme's own text, or repeat nothing and not compile.
        try {
            const bool own = P::IsScheme(url, scheme);
            Check(own || scheme.Find("+") >= 0, "IsScheme of its own scheme", text);
        } catch (const ZORBasPatternException&) {
            Check(scheme.Find("+") >= 0, "only a '+' makes a scheme's pattern fail", text);
        }
    }
    Check(P::HasPath(url) == !P::GetPath(url).Empty(), "HasPath and GetPath agree", text);
    Check(Lacks(P::GetPath(url), '?'), "no query in the path", text);
    Check(Only(P::GetPort(url), "0123456789"), "a port is digits", text);
    Check(Lacks(P::GetHost(url), ':') && Lacks(P::GetHost(url), '/'), "host", text);
    Check(Lacks(P::GetUser(url), ':'), "user", text);
    Check(Lacks(P::GetPass(url), '@'), "password", text);
    if (P::HasPass(url)) Check(!P::GetPass(url).Empty(), "HasPass gives a password", text);
    if (P::HasUser(url)) Check(!P::GetUser(url).Empty(), "HasUser gives a user", text);
    P::HasHost(url);
    P::HasPort(url);
    return 0;
}

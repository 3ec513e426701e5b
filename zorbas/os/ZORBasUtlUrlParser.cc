#include "zorbas/os/ZORBasUtlUrlParser.h"

#include "zorbas/text/rgx_Regex.h"

namespace {

// The table of known schemes, null-terminated.
const char* const kKnownSchemes[] = {"vldrdb", nullptr};

// The patterns are kept as strings for the life of the process, so that a question builds none.
#define ZORBAS_URL_PATTERN(text)               \
    [] {                                       \
        static const cow_String pattern(text); \
        return pattern;                        \
    }()

bool Matches(const cow_String& pattern, const cow_String& text) { return rgx_match(pattern, text); }

// Group `n` of the match of `pattern` on `text`, or the empty string.
cow_String Group(const cow_String& pattern, const cow_String& text, int n) {
    rgx_ReIterator it = rgx_match(pattern, text);
    return it ? it.NthString(n) : cow_String();
}

}  // namespace

bool ZORBasUtlUrlParser::IsRFCUrl(const cow_String& url) {
    if (url.Find(":") < 0) return false;  // the pattern needs a colon: spare most paths a match
    return Matches(ZORBAS_URL_PATTERN("([a-zA-Z\\+\\.-]+):"), url);
}

cow_String ZORBasUtlUrlParser::GetScheme(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^([a-zA-Z\\+\\.-]+):"), url, 1);
}

bool ZORBasUtlUrlParser::IsUrl(const cow_String& url) {
    if (!IsRFCUrl(url)) return false;
    cow_String scheme = GetScheme(url);
    for (const char* const* known = kKnownSchemes; *known; ++known)
        if (scheme == *known) return true;
    return false;
}

bool ZORBasUtlUrlParser::IsScheme(const cow_String& url, const cow_String& scheme) {
    return Matches(ZORBAS_URL_PATTERN("^[a-zA-Z\\+\\.-]+$"), scheme) &&
           rgx_match("^" + scheme + ":", url);
}

cow_String ZORBasUtlUrlParser::ExtractServer(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^[a-zA-Z\\+\\.-]+://([^/]*)"), url, 1);
}

bool ZORBasUtlUrlParser::HasUser(const cow_String& url) {
    return Matches(ZORBAS_URL_PATTERN("^[^:]+.*@"), ExtractServer(url));
}
cow_String ZORBasUtlUrlParser::GetUser(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^([^:]+).*@"), ExtractServer(url), 1);
}
bool ZORBasUtlUrlParser::HasPass(const cow_String& url) {
    return Matches(ZORBAS_URL_PATTERN(":[^@]+@"), ExtractServer(url));
}
cow_String ZORBasUtlUrlParser::GetPass(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN(":([^@]+)@"), ExtractServer(url), 1);
}
bool ZORBasUtlUrlParser::HasHost(const cow_String& url) {
    return Matches(ZORBAS_URL_PATTERN("^([^@]+@)?[^:]+"), ExtractServer(url));
}
cow_String ZORBasUtlUrlParser::GetHost(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^([^@]+@)?([^:]*)"), ExtractServer(url), 2);
}
bool ZORBasUtlUrlParser::HasPort(const cow_String& url) {
    return Matches(ZORBAS_URL_PATTERN("^([^@]*@)?([^:]*:)?[0-9]+"), ExtractServer(url));
}
cow_String ZORBasUtlUrlParser::GetPort(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^([^@]*@)?([^:]*:)?([0-9]*)"), ExtractServer(url), 3);
}
bool ZORBasUtlUrlParser::HasPath(const cow_String& url) {
    return Matches(ZORBAS_URL_PATTERN("^[a-zA-Z\\+\\.-]+://[^/]*/[^\\?]+"), url);
}
cow_String ZORBasUtlUrlParser::GetPath(const cow_String& url) {
    return Group(ZORBAS_URL_PATTERN("^[a-zA-Z\\+\\.-]+://[^/]*/([^\\?]+)"), url, 1);
}

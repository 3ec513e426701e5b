// The pieces of a URL, each answered by one cached match of a fixed pattern, so a question costs
// a cache lookup and one engine call. Only the schemes in the table of known schemes (one entry,
// "vldrdb") make a URL in the library's sense; "http://x" or "C:\x" are paths to it.
// IsRFCUrl has no anchor: any "word:" inside the text counts, as the suite has always had it.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasUtlUrlParser {
  public:
    static bool IsUrl(const cow_String& url);
    static bool IsRFCUrl(const cow_String& url);
    static cow_String GetScheme(const cow_String& url);
    // The scheme goes into the second pattern as it stands, so a "+" in it is a quantifier: "b+"
    // misses "b+:", and "+x" repeats nothing and throws ZORBasPatternException.
    static bool IsScheme(const cow_String& url, const cow_String& scheme);
    static bool HasUser(const cow_String& url);
    static cow_String GetUser(const cow_String& url);
    static bool HasPass(const cow_String& url);
    static cow_String GetPass(const cow_String& url);
    static bool HasHost(const cow_String& url);
    static cow_String GetHost(const cow_String& url);
    static bool HasPort(const cow_String& url);
    static cow_String GetPort(const cow_String& url);
    static bool HasPath(const cow_String& url);
    static cow_String GetPath(const cow_String& url);

  private:
    // The user, password, host and port part between "scheme://" and the next "/".
    static cow_String ExtractServer(const cow_String& url);
};

// The flat entries. Their two buffer rules differ on purpose: callers of the suite rely on each.
#include "zorbas/machine/ZORBasUtlVersion_C.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zorbas/machine/ZORBasUtlVersion.h"

namespace {

ZORBasUtlVersion& Version() { return omi_Singleton<ZORBasUtlVersion>::Instance(); }

// At most 20 characters, then a terminator at the text's full length (so a text of more than 20
// leaves the bytes between as they were).
char* FillShort(const char* entry, const cow_String& text, int bufLen, char* buf) {
    if (text.Length() >= bufLen) {
        std::fprintf(stderr, "%s: bufLen too small", entry);
        return buf;
    }
    std::snprintf(buf, static_cast<size_t>(bufLen), "%.20s", text.CStr());
    buf[text.Length()] = 0;
    if (std::getenv("VLD_DBG_UTI")) std::fprintf(stderr, "%s() -> '%s'\n", entry, buf);
    return buf;
}

char* FillPadded(const cow_String& text, int bufLen, char* buf) {
    if (text.Length() >= bufLen) {
        std::fputs("bufLen too small", stderr);
        return buf;
    }
    std::strncpy(buf, text.CStr(), static_cast<size_t>(bufLen));
    return buf;
}

}  // namespace

char* ZORBasUtlVersion_VersionNumber(int bufLen, char* buf) {
    return FillShort("ZORBasUtlVersion_VersionNumber", Version()._QNTVersion(false), bufLen, buf);
}

char* ZORBasUtlVersion_VersionFromValues(int major, int minor, int update, bool extended,
                                         int bufLen, char* buf) {
    int type = extended ? ZORBasUtlVersion::TypeExtended : ZORBasUtlVersion::TypeGenMaint;
    return FillPadded(Version().VersionNumberFromValues(major, minor, update, type, ""), bufLen,
                      buf);
}

char* ZORBasUtlVersion_LegacyTitle(int bufLen, char* buf) {
    return FillPadded(Version().LegacyTitle(true), bufLen, buf);
}

char* ZORBasUtlVersion_QNTTitle(int bufLen, char* buf) {
    return FillPadded(Version()._QNTTitle(true), bufLen, buf);
}

char* ZORBasUtlVersion_CheckStackVersion(int bufLen, char* buf) {
    return FillShort("ZORBasUtlVersion_CheckStackVersion", Version().checkStackVersion(), bufLen,
                     buf);
}

int ZORBasUtlVersion_MajorVersion() { return ZORBasUtlVersion::MajorVersion(); }
int ZORBasUtlVersion_MinorVersion() { return ZORBasUtlVersion::MinorVersion(); }
int ZORBasUtlVersion_UpdateVersion() { return ZORBasUtlVersion::UpdateVersion(); }
int ZORBasUtlVersion_ExtendedRelease() { return Version().Extended() ? 1 : 0; }
bool ZORBasUtlVersion_InVeldorGui() { return Version().InVeldorGui(); }
bool ZORBasUtlVersion_InVeldorKernel() { return Version().InVeldorKernel(); }

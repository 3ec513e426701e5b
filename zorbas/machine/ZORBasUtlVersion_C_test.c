/* Compiled as C: the flat header must be plain C, and the entries callable as C functions. The
 * C++ test checks the answer; this side only calls and joins. */
#include <string.h>

#include "zorbas/machine/ZORBasUtlVersion_C.h"

int ZORBasVersionFromC(char* out, int outLen);

int ZORBasVersionFromC(char* out, int outLen) {
    char number[32];
    char title[48];
    bool extended = true;
    ZORBasShared_initializeC();
    ZORBasUtlVersion_VersionFromValues(6, 19, 3, extended, (int)sizeof number, number);
    ZORBasUtlVersion_LegacyTitle((int)sizeof title, title);
    if ((int)(strlen(number) + strlen(title) + 2) <= outLen) {
        strcpy(out, number);
        strcat(out, "|");
        strcat(out, title);
    }
    ZORBasShared_finalizeC();
    return ZORBasUtlVersion_MajorVersion() * 10000 + ZORBasUtlVersion_MinorVersion() * 100 +
           ZORBasUtlVersion_UpdateVersion();
}

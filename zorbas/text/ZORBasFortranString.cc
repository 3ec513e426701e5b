#include "zorbas/text/ZORBasFortranString.h"

#include <cstring>

int ZORBasFortranTrimmedLength(const char* fortran, int length) {
    if (!fortran) return 0;
    while (length > 0 && (fortran[length - 1] == ' ' || fortran[length - 1] == '\0')) --length;
    return length < 0 ? 0 : length;
}

int ZORBasFortranToC(const char* fortran, int length, char* buf, int bufLen) {
    int trimmed = ZORBasFortranTrimmedLength(fortran, length);
    if (bufLen <= 0 || !buf) return trimmed;
    int copied = trimmed < bufLen ? trimmed : bufLen - 1;
    if (copied > 0) std::memcpy(buf, fortran, static_cast<size_t>(copied));
    buf[copied] = 0;
    return trimmed;
}

int ZORBasCToFortran(const char* text, char* fortran, int length) {
    int full = text ? static_cast<int>(std::strlen(text)) : 0;
    if (!fortran || length <= 0) return full;
    int copied = full < length ? full : length;
    if (copied > 0) std::memcpy(fortran, text, static_cast<size_t>(copied));
    std::memset(fortran + copied, ' ', static_cast<size_t>(length - copied));
    return full;
}

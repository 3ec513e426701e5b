/* Conversions between Fortran character variables (a length, blank-padded, no terminator) and C
 * strings (NUL-terminated). Plain C symbols, so that Fortran reaches them through bind(C) and C or
 * C++ code that receives a Fortran string and its hidden length can use them too. Neither
 * allocates; both follow snprintf's habit of answering the length the whole text needs, so that a
 * caller sees a cut by comparing the answer with its buffer. Only trailing blanks are padding:
 * leading and inner blanks are text. */
#ifndef ZORBAS_TEXT_ZORBASFORTRANSTRING_H
#define ZORBAS_TEXT_ZORBASFORTRANSTRING_H

#include "companions/framework/zorbas_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The Fortran string of `length` bytes without its trailing blanks (and NULs, which some C callers
 * leave in a Fortran buffer) into `buf`, terminated. Answers the trimmed length; when that is not
 * below bufLen, the first bufLen - 1 bytes are written (nothing when bufLen is 0 or less). A null
 * or empty Fortran string gives "". */
ZORBAS_API int ZORBasFortranToC(const char* fortran, int length, char* buf, int bufLen);

/* The C string `text` into the Fortran string of `length` bytes, blank-padded on the right. Answers
 * strlen(text); when that exceeds `length`, the text was cut to `length` bytes. A null text gives
 * an all-blank string. */
ZORBAS_API int ZORBasCToFortran(const char* text, char* fortran, int length);

/* The length of the Fortran string without its trailing blanks: Fortran's LEN_TRIM. */
ZORBAS_API int ZORBasFortranTrimmedLength(const char* fortran, int length);

#ifdef __cplusplus
}
#endif

#endif

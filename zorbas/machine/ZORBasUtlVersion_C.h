/* The version answers and the library's start and end for C and Fortran callers: plain C symbols.
 * Text entries fill a caller-owned buffer of bufLen bytes and return it. A text that does not fit
 * (its length not below bufLen) leaves the buffer alone and says so on standard error, without a
 * newline. VersionNumber and CheckStackVersion copy at most 20 characters and put the terminator at
 * the text's full length; the others copy with strncpy and NUL-fill the rest of the buffer. */
#ifndef ZORBAS_MACHINE_ZORBASUTLVERSION_C_H
#define ZORBAS_MACHINE_ZORBASUTLVERSION_C_H

#include "companions/framework/zorbas_export.h"

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

/* Nested start and end; only the last end ends the library's sections. */
ZORBAS_API void ZORBasShared_initializeC(void);
ZORBAS_API void ZORBasShared_finalizeC(void);

/* The packaging name, with the release suffix: "VLDZORBasShared 6.19.1". VLD_DBG_UTI in the
 * environment echoes the answer on standard error. */
ZORBAS_API char* ZORBasUtlVersion_VersionNumber(int bufLen, char* buf);
/* The year form of a general-maintenance (or, when extended, extended) release: "R2019 HF2". */
ZORBAS_API char* ZORBasUtlVersion_VersionFromValues(int major, int minor, int update, bool extended,
                                                    int bufLen, char* buf);
/* "<product> <legacy number>", and in development mode ", <build info>". */
ZORBAS_API char* ZORBasUtlVersion_LegacyTitle(int bufLen, char* buf);
/* "<product> <packaging name> (<type>)", and in development mode ", <build info>". */
ZORBAS_API char* ZORBasUtlVersion_QNTTitle(int bufLen, char* buf);
/* The short packaging name. VLD_DBG_UTI echoes the answer. */
ZORBAS_API char* ZORBasUtlVersion_CheckStackVersion(int bufLen, char* buf);
ZORBAS_API int ZORBasUtlVersion_MajorVersion(void);
ZORBAS_API int ZORBasUtlVersion_MinorVersion(void);
ZORBAS_API int ZORBasUtlVersion_UpdateVersion(void);
/* 1 when the release type is one of the extended ones, otherwise 0. */
ZORBAS_API int ZORBasUtlVersion_ExtendedRelease(void);
ZORBAS_API bool ZORBasUtlVersion_InVeldorGui(void);
ZORBAS_API bool ZORBasUtlVersion_InVeldorKernel(void);

#ifdef __cplusplus
}
#endif

#endif

// The exception report: the one file a user sends in when a job dies. A series of mark-up
// elements in fixed order (description, details, previous messages, context, phases, call
// stack, memory, directories, installation), appended to "<job>.<rank>.<pid>.exception" (or
// "<exe>.<pid>.<rank>.exception" without a job name) and copied to the matching ".dmp" name,
// which each later report of the process replaces. The text is not XML: nothing is escaped.
// Names live in static buffers and the file is written with write(2), so the report may run on
// an alternate signal stack; it takes no lock and is not safe for two threads at once.
#pragma once

#include "companions/framework/zorbas_export.h"

// `description` brings its own line end. Null `details` or `callStack` are left out (the call
// stack is then taken from the error stack, or captured here); a null `jobName` means the error
// stack's job name, and an empty one counts as none.
extern "C" ZORBAS_API void omi_ExceptionReport(const char* description, const char* details,
                                               const char* callStack, const char* jobName);

// The names the next report of this process would use, for tools and tests: `which` 0 the
// report, 1 its copy. Static buffer, overwritten by the next call.
ZORBAS_API const char* omi_ExceptionReportName(int which, const char* jobName);

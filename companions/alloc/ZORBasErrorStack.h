// The process's error context, which the exception report reads when a job dies: job name,
// directories, executable path, a stack of messages and a context index whose text is a phase
// word. Crash paths read it, so every getter returns text from fixed static buffers and neither
// allocates nor locks; setters (serialised by a spin lock among themselves) rewrite the buffers.
// Once SetFatalException(true) is called the context is frozen: setters are ignored, so the
// report sees what the program held when the fault happened.
#pragma once

#include <cstddef>

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasErrorStack {
  public:
    static constexpr int kMaxMessages = 32;    // the oldest message is dropped beyond this
    static constexpr int kMessageBytes = 256;  // longer messages are cut
    static constexpr int kPathBytes = 4096;    // longer names and paths are cut
    // Context indices and their phase words; an index outside the table reads "Unknown".
    enum Context {
        kUnknown = 0,
        kInitialization,
        kInput,
        kPreprocessing,
        kSolution,
        kPostprocessing,
        kOutput,
        kTermination,
        kContextCount
    };

    // Everything above as one text: "Job: ...", "Phase: ...", the executable, the directories,
    // then "Messages:" and one message a line.
    static const char* CStr();
    // The phase word of the current context index.
    static const char* ContextAsString();
    // The messages, oldest first, one a line ("" when there is none).
    static const char* ErrorMessages();
    // The number of messages held.
    static int Length();
    // The tracked heap's footprint in bytes (one atomic read).
    static size_t GetMem();
    static const char* Jobname();
    static const char* ExePath();
    static const char* Tmpdir();
    static const char* Outdir();
    static const char* Indir();
    static const char* Cwd();
    static void SetFatalException(bool on);
    static bool FatalException();

    // Setters. At load the executable path is /proc/self/exe, the job name its base name, the
    // working, input and output directories the working directory, and the temporary directory
    // $TMPDIR or "/tmp".
    static void SetJobname(const char* name);
    static void SetExePath(const char* path);
    static void SetTmpdir(const char* path);
    static void SetOutdir(const char* path);
    static void SetIndir(const char* path);
    static void SetCwd(const char* path);
    static void PushMessage(const char* message);
    static void PopMessage();  // drops the newest message
    static void ClearMessages();
    static void SetContext(int index);
    static int GetContext();
    static const char* ContextWord(int index);
};

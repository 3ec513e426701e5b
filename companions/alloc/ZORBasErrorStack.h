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
    // Context indices: the solver phase a job is in. Their words are what a user reads after
    // "*** ERROR CATEGORY:" in a crash report; an index outside the table reads "UNKNOWN".
    enum Context {
        kUnknown = 0,           // "UNKNOWN"
        kPre,                   // "PRE"
        kElementLoop,           // "ELEMENT LOOP"
        kOrdering,              // "ORDERING"
        kAssembly,              // "ASSEMBLY"
        kSolver,                // "SOLVER"
        kIterativeSolver,       // "ITERATIVE SOLVER"
        kRegularizationSolver,  // "REGULARIZATION SOLVER"
        kLanczosSolver,         // "LANCZOS SOLVER"
        kAmsSolver,             // "AMS SOLVER"
        kContact,               // "CONTACT"
        kInitialStress,         // "INITIAL STRESS"
        kPackage,               // "PACKAGE"
        kExplicit,              // "EXPLICIT"
        kSensitivityAnalysis,   // "SENSITIVITY ANALYSIS"
        kLinearDynamics,        // "LINEAR DYNAMICS"
        kCfd,                   // "CFD"
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
    // The process's size as of the error, in megabytes: its virtual size (the measure of
    // ZORBasMemInfo::Current) read when SetFatalException(true) set the flag, and kept after the
    // flag is cleared. 0 while no error has been flagged or when the size could not be read, so
    // that a report falls back to the size at the time it is written.
    static size_t GetMem();
    // The job name: empty until a program sets it, so that a report can tell a job's files from
    // an anonymous process's (which it names after the executable, see ExePath).
    static const char* Jobname();
    static const char* ExePath();
    static const char* Tmpdir();
    static const char* Outdir();
    static const char* Indir();
    static const char* Cwd();
    // Sets or clears the fatal flag; setting it (from a signal handler too: it reads /proc with
    // open and read only) freezes the context and records the size that GetMem answers.
    static void SetFatalException(bool on);
    static bool FatalException();

    // Setters. At load the executable path is /proc/self/exe, the job name is empty, the working,
    // input and output directories are the working directory, and the temporary directory is
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

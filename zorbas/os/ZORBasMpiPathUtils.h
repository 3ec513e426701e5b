// Where the MPI launchers of the suite's runtimes lie on this machine. Each Search function
// builds the candidate paths in the order they are tried; each PathTo answers the first that
// exists, or an empty string. Candidates are built with "/" between folders; the list variables
// are split at PathSep(), the text ";", as the suite's installation scripts write them.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_Map.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasMpiPathUtils {
  public:
    using Environment = cow_Map<cow_String, cow_String>;

    // For every folder in the variable `name` (read with getenv; unset gives no candidates):
    // <folder>/bin/ZORExternal/pmpi/bin/mpirun.
    static cow_List<cow_String> SearchPathsToPMpirun(const cow_String& name,
                                                     const Environment& environment);
    // The same with impi and mpiexec.hydra.
    static cow_List<cow_String> SearchPathsToIMpirun(const cow_String& name,
                                                     const Environment& environment);
    // <root>/<folder>/bin/mpiexec.exe for the Microsoft MPI and HPC Pack folders in their fixed
    // order, the root being environment["ProgramFiles"] when present, else `root`; then
    // <MSMPI_BIN>/mpiexec.exe when the environment has MSMPI_BIN.
    static cow_List<cow_String> SearchPathsToMSMpirun(const cow_String& name,
                                                      const Environment& environment,
                                                      const cow_String& root = DefaultRoot());

    static cow_String PathToPMpirun(const cow_String& name, const Environment& environment);
    static cow_String PathToIMpirun(const cow_String& name, const Environment& environment);
    static cow_String PathToMSMpirun(const cow_String& name, const Environment& environment,
                                     const cow_String& root = DefaultRoot());

    // Whether a Microsoft MPI launcher is found from the process's own environment.
    static bool MSMpiExists();

    // The pieces of `text` between occurrences of `delimiter`; empty pieces are dropped (a
    // trailing ";" in a list variable is common and names no folder).
    static cow_List<cow_String> SplitStringOnDelimiter(const cow_String& text,
                                                       const cow_String& delimiter);
    static const char* PathSep();
    // "C:\Program Files".
    static cow_String DefaultRoot();
};

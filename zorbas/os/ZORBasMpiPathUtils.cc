#include "zorbas/os/ZORBasMpiPathUtils.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

extern char** environ;

namespace {

constexpr const char* kDir = "/";

cow_List<cow_String> UnderListVariable(const cow_String& name, const char* family,
                                       const char* launcher) {
    cow_List<cow_String> candidates;
    const char* value = std::getenv(name.CStr());
    if (!value) return candidates;
    cow_String tail = cow_String(kDir) + "bin" + kDir + "ZORExternal" + kDir + family + kDir +
                      "bin" + kDir + launcher;
    cow_List<cow_String> folders =
        ZORBasMpiPathUtils::SplitStringOnDelimiter(value, ZORBasMpiPathUtils::PathSep());
    for (int i = 0; i < folders.Length(); ++i) candidates.Append(folders.ConstGet(i) + tail);
    return candidates;
}

cow_String FirstExisting(const cow_List<cow_String>& candidates) {
    struct stat st;
    for (int i = 0; i < candidates.Length(); ++i)
        if (stat(candidates.ConstGet(i).CStr(), &st) == 0) return candidates.ConstGet(i);
    return cow_String();
}

}  // namespace

cow_List<cow_String> ZORBasMpiPathUtils::SearchPathsToPMpirun(const cow_String& name,
                                                              const Environment&) {
    return UnderListVariable(name, "pmpi", "mpirun");
}

cow_List<cow_String> ZORBasMpiPathUtils::SearchPathsToIMpirun(const cow_String& name,
                                                              const Environment&) {
    return UnderListVariable(name, "impi", "mpiexec.hydra");
}

cow_List<cow_String> ZORBasMpiPathUtils::SearchPathsToMSMpirun(const cow_String&,
                                                               const Environment& environment,
                                                               const cow_String& root) {
    static const char* const kFolders[] = {
        "Microsoft MPI",           "Microsoft HPC Pack",          "Microsoft HPC Pack 2008 R2",
        "Microsoft HPC Pack 2008", "Microsoft HPC Pack 2008 SDK", "Microsoft HPC Pack 2012"};
    const cow_String programFiles("ProgramFiles");
    const cow_String& base =
        environment.IsMember(programFiles) ? environment.ConstGet(programFiles) : root;
    const cow_String tail = cow_String(kDir) + "bin" + kDir + "mpiexec.exe";
    cow_List<cow_String> candidates;
    for (const char* folder : kFolders) candidates.Append(base + kDir + folder + tail);
    const cow_String bin("MSMPI_BIN");
    if (environment.IsMember(bin))
        candidates.Append(environment.ConstGet(bin) + kDir + "mpiexec.exe");
    return candidates;
}

cow_String ZORBasMpiPathUtils::PathToPMpirun(const cow_String& name,
                                             const Environment& environment) {
    return FirstExisting(SearchPathsToPMpirun(name, environment));
}

cow_String ZORBasMpiPathUtils::PathToIMpirun(const cow_String& name,
                                             const Environment& environment) {
    return FirstExisting(SearchPathsToIMpirun(name, environment));
}

cow_String ZORBasMpiPathUtils::PathToMSMpirun(const cow_String& name,
                                              const Environment& environment,
                                              const cow_String& root) {
    return FirstExisting(SearchPathsToMSMpirun(name, environment, root));
}

bool ZORBasMpiPathUtils::MSMpiExists() {
    Environment environment;
    for (char** e = environ; e && *e; ++e) {
        const char* eq = std::strchr(*e, '=');
        if (!eq) continue;
        environment.Insert(cow_String(*e, static_cast<int>(eq - *e)), cow_String(eq + 1));
    }
    return !PathToMSMpirun(cow_String(), environment, DefaultRoot()).Empty();
}

cow_List<cow_String> ZORBasMpiPathUtils::SplitStringOnDelimiter(const cow_String& text,
                                                                const cow_String& delimiter) {
    cow_List<cow_String> pieces;
    const int step = delimiter.Length();
    int from = 0;
    while (from <= text.Length()) {
        int at = step > 0 ? text.Find(delimiter, from) : -1;
        int end = at < 0 ? text.Length() : at;
        if (end > from) pieces.Append(text.Substr(from, end));
        if (at < 0) break;
        from = at + step;
    }
    return pieces;
}

const char* ZORBasMpiPathUtils::PathSep() { return ";"; }

cow_String ZORBasMpiPathUtils::DefaultRoot() { return cow_String("C:\\Program Files"); }

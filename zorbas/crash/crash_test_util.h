// Starting crash_child for the tests: a fresh directory, an environment, the streams in files,
// and what the child left behind when it ended.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace crash_test {

// The fault-path children check what our handlers write for a real fault. Under the sanitizers
// their runtime stands between the fault and the handler (UBSan stops an integer division by zero
// before the processor traps, ASan's frames hide the faulting function, TSan reports the
// allocations that libdw makes to name file and line, which the fault path accepts everywhere but
// on the stack-overflow path), so those children run in the release build only.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS() \
    GTEST_SKIP() << "the sanitizer's runtime owns the fault; the release build runs this child"
#else
#define ZORBAS_SKIP_FAULT_CHILD_UNDER_SANITIZERS() (void)0
#endif

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline std::string MakeTempDir() {
    char templ[] = "/tmp/crash_testXXXXXX";
    const char* made = mkdtemp(templ);
    return made ? made : "";
}

inline std::set<std::string> FilesIn(const std::string& dir) {
    std::set<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.insert(e->d_name);
        closedir(d);
    }
    return names;
}

struct ChildRun {
    pid_t pid = 0;
    int status = 0;
    std::string dir, out, err;
    bool Signaled(int signal) const { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }
    bool Exited(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    std::set<std::string> Files() const {
        auto all = FilesIn(dir);
        all.erase("stdout");
        all.erase("stderr");
        std::erase_if(all, [](const std::string& f) { return f.rfind("core", 0) == 0; });
        return all;
    }
    std::string File(const std::string& name) const { return ReadFile(dir + "/" + name); }
    std::string Describe() const {
        std::string s = "status " + std::to_string(status) + "\n--- stdout\n" + out +
                        "--- stderr\n" + err + "--- files:";
        for (const auto& f : Files()) s += " " + f;
        return s;
    }
};

#ifdef CRASH_CHILD
// Starts the child in `dir` (made when empty) with the test's environment less the crash
// layer's switches, plus `env`; its streams go to files "stdout" and "stderr" in `streams`
// (`dir` when empty).
inline pid_t StartChild(const std::vector<std::string>& args,
                        const std::map<std::string, std::string>& env, std::string& dir,
                        std::string streams = "") {
    if (dir.empty()) dir = MakeTempDir();
    if (streams.empty()) streams = dir;
    static const std::set<std::string> kCleared = {
        "MRW_DEBUG_POPUP",    "VEL_DEBUG_POPUP", "VLD_DEBUGGER",
        "GRN_ODT_IN",         "MC_RESULT",       "VEL_PARALLEL_DEBUG",
        "VLD_ENABLE_WINDUMP", "MPI_RANKID",      "PMI_RANK",
        "GLOBAL_ENABLE_FPE",  "PLXTemp",         "TEMP"};
    std::vector<std::string> envText;
    for (char** e = environ; *e; ++e) {
        std::string entry = *e;
        if (!kCleared.count(entry.substr(0, entry.find('=')))) envText.push_back(entry);
    }
    for (const auto& [k, v] : env) envText.push_back(k + "=" + v);
    std::vector<char*> envp, argv;
    for (auto& e : envText) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> argText = args;
    argText.insert(argText.begin(), CRASH_CHILD);
    for (auto& a : argText) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, dir.c_str());
    posix_spawn_file_actions_addopen(&actions, 1, (streams + "/stdout").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, (streams + "/stderr").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = 0;
    posix_spawn(&pid, CRASH_CHILD, &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

inline ChildRun Finish(pid_t pid, const std::string& dir, const std::string& streams) {
    ChildRun run;
    run.pid = pid;
    run.dir = dir;
    waitpid(pid, &run.status, 0);
    run.out = ReadFile(streams + "/stdout");
    run.err = ReadFile(streams + "/stderr");
    return run;
}

inline ChildRun RunChild(const std::vector<std::string>& args,
                         const std::map<std::string, std::string>& env = {}) {
    std::string dir;
    pid_t pid = StartChild(args, env, dir);
    return Finish(pid, dir, dir);
}

#endif  // CRASH_CHILD

inline int CountLines(const std::string& text) {
    int n = 0;
    for (char c : text) n += c == '\n';
    return n;
}

// The text between "<Tag>\n" and "</Tag>\n" at or after `from`, "" when absent.
inline std::string Element(const std::string& text, const std::string& tag, size_t from = 0) {
    size_t open = text.find("<" + tag + ">\n", from);
    if (open == std::string::npos) return "";
    open += tag.size() + 3;
    size_t close = text.find("</" + tag + ">\n", open);
    return close == std::string::npos ? "" : text.substr(open, close - open);
}

}  // namespace crash_test

// Scratch folders and whole-file helpers shared by the file and process tests.
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <link.h>
#include <unistd.h>

namespace os_test {

// A fresh folder under /tmp, removed with everything in it when the object goes.
class ScratchDir {
  public:
    ScratchDir() {
        char name[] = "/tmp/zorbas_os_XXXXXX";
        path_ = mkdtemp(name) ? name : "";
    }
    ~ScratchDir() {
        if (!path_.empty()) std::system(("rm -rf '" + path_ + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

inline std::string ReadAll(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline void WriteAll(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

// The path of the running test binary, to start it again as a child under another name.
inline std::string SelfPath() {
    char buf[4096];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    return std::string(buf, n > 0 ? static_cast<size_t>(n) : 0);
}

// "LD_LIBRARY_PATH=..." naming the folders of the library and its companions as this process
// loaded them, so that a copy of the test binary elsewhere finds them too.
inline std::string LibraryPathSetting() {
    std::string dirs;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* out) {
            std::string lib = info->dlpi_name ? info->dlpi_name : "";
            size_t slash = lib.rfind('/');
            if (slash != std::string::npos && lib.find("/libVLDZORBas", slash) == slash)
                *static_cast<std::string*>(out) += lib.substr(0, slash) + ":";
            return 0;
        },
        &dirs);
    return "LD_LIBRARY_PATH='" + dirs + "'";
}

// Runs a shell command and returns what it wrote on standard output.
inline std::string Capture(const std::string& command) {
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buf[512];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
        pclose(p);
    }
    return out;
}

}  // namespace os_test

// Splits random paths under both flavours and checks the pieces after every input: the
// separators end where they must, the pieces join back to AbsolutePathName(), and an absolute
// name without references splits to itself again. Input: the path, then optionally "\n" and a
// selector byte for a fixed root; roots that would break a precondition are not offered.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zorbas/os/ZORBasUtlFilePath.h"

namespace {

cow_String Cwd() { return "C:\\w"; }
bool DriveCwd(int drive, char* buffer, int size) {
    if (drive != 3) return false;
    std::snprintf(buffer, static_cast<size_t>(size), "C:\\w");
    return true;
}
const char* Env(const char* name) {
    if (!std::strcmp(name, "DECK")) return "decks";
    if (!std::strcmp(name, "NEST")) return "%DECK%\\in";
    if (!std::strcmp(name, "SELF")) return "%SELF%x";
    if (!std::strcmp(name, "LOOP")) return "$LOOP.y";
    return nullptr;
}
cow_String PosixCwd() { return "/home/job"; }

const ZORBasUtlPathFlavour kWin{'\\', '/', true, Cwd, DriveCwd, Env};
const ZORBasUtlPathFlavour kPosix{'/', 0, false, PosixCwd, DriveCwd, Env};

void Check(bool ok, const char* what, const std::string& path) {
    if (ok) return;
    std::fprintf(stderr, "invariant failed: %s for path '%s'\n", what, path.c_str());
    std::abort();
}

bool EndsWith(const cow_String& s, char c) { return s.Length() > 0 && s[s.Length() - 1] == c; }

void Run(const ZORBasUtlPathFlavour& f, const std::string& path, const char* rootText) {
    ZORBasUtlFilePath p(f, path.c_str(), rootText);
    if (p.IsUrl() || p.IsRemote()) {
        Check(p.AbsolutePathName() == p.BaseName(), "a whole name", path);
        return;
    }
    const char sep = f.separator;
    const char seps[2] = {sep, 0};
    Check(p.RootDir().Empty() || EndsWith(p.RootDir(), sep), "rootDir ends in a separator", path);
    Check(p.Dir().Empty() || EndsWith(p.Dir(), sep), "dir ends in a separator", path);
    Check((p.BaseName() + p.Ext()).Find(seps) < 0, "no separator in the file name", path);
    Check(p.Ext().Empty() || (p.Ext()[0] == '.' && p.Ext().Find(".", 1) < 0),
          "ext is one dot and what follows", path);
    Check(p.FileName() == p.BaseName() + p.Ext(), "FileName", path);
    Check(p.PathName() == p.Dir() + p.FileName(), "PathName", path);
    cow_String root = p.RootDir();
    if (EndsWith(root, sep) && p.Dir().Length() > 0 && p.Dir()[0] == sep) root.RightTrim(seps);
    const cow_String absolute = p.AbsolutePathName();
    Check(absolute == root + p.Dir() + p.FileName(), "the pieces join to the absolute name", path);
    Check(p.AbsoluteDirectoryPath() == root + p.Dir(), "the directory joins", path);

    const bool rooted =
        absolute[0] == sep ||
        (f.drives && absolute.Length() >= 3 && absolute[1] == ':' && absolute[2] == sep &&
         std::isalpha(static_cast<unsigned char>(absolute[0])));
    // A name without a file part ends in its separator, which a new split would strip; under
    // Windows rules a separator and one character is not absolute.
    if (rooted && !EndsWith(absolute, sep) && !(f.drives && absolute.Length() < 3) &&
        absolute.Find("%") < 0 && absolute.Find("$") < 0 &&
        !(f.drives && absolute.Length() >= 2 && absolute[1] == sep))
        Check(ZORBasUtlFilePath(f, absolute).AbsolutePathName() == absolute,
              "an absolute name splits to itself", path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);
    std::string path = input.substr(0, input.find('\n'));
    path = path.substr(0, path.find('\0'));
    const bool withRoot = path.size() < input.size() && path.size() + 1 < input.size();
    const int selector = withRoot ? static_cast<unsigned char>(input[path.size() + 1]) % 3 : -1;

    Run(kPosix, path, selector == 0 ? "/r" : selector == 1 ? "/data/run/" : "");
    // Under Windows rules a root is offered only where the split's preconditions hold: no root
    // for a path that starts with a drive or a separator.
    const bool plain = !(path.size() >= 2 && path[1] == ':') && !path.empty() && path[0] != '/' &&
                       path[0] != '\\' && path[0] != '%' && path[0] != '$';
    Run(kWin, path, plain && selector == 0 ? "D:\\r" : plain && selector == 1 ? "\\\\srv\\s" : "");
    return 0;
}

#include "zorbas/os/ZORBasUtlFilePath.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "companions/framework/PLXFatalError.h"
#include "zorbas/base/ZORBasUtlSystem.h"
#include "zorbas/cow/ZORBasI18n.h"
#include "zorbas/os/ZORBasUtlStat.h"
#include "zorbas/os/ZORBasUtlUrlParser.h"

namespace {

constexpr const char* kFile = "ZORBase/ZORBasUtils.m/src/ZORBasUtlFilePath";
constexpr const char* kConnectors = "Network connectors";
constexpr const char* kConnectorsSlash = "Network connectors/";

cow_String ProcessCwd() { return cow_String(ZORBasUtlgetcwd()); }

// The process knows one current directory, not one per drive.
bool NoDriveCwd(int, char*, int) { return false; }

const char* ProcessEnv(const char* name) { return ZORBasGetEnv(name); }

bool Letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

bool EndsWith(const cow_String& s, char c) { return s.Length() > 0 && s[s.Length() - 1] == c; }

void Assert(bool ok, const char* text, int line) {
    if (!ok) zorbas_wassert(text, kFile, line);
}

using Expander = void (*)(cow_String&, const cow_List<cow_String>&, const ZORBasUtlPathFlavour&);

// Replaces s[start, end), a reference to `var`, by the variable's value, after expanding the
// references of the same kind (`sign`) in the value with `var` added to the visited list. A
// visited or unset variable stays literal. Answers where the search goes on.
int Resolve(cow_String& s, int start, int end, const cow_String& var,
            const cow_List<cow_String>& visited, const ZORBasUtlPathFlavour& f, const char* sign,
            Expander expand) {
    if (visited.IsMember(var)) return end;
    const char* v = f.env(var.CStr());
    if (!v) return end;
    cow_String value(v);
    if (value.Find(sign) >= 0) {
        cow_List<cow_String> deeper = visited;
        deeper.Append(var);
        expand(value, deeper, f);
    }
    s.Replace(start, end - start, value);
    return start + value.Length();
}

// Expands %NAME% references in `s`; names in `visited` stay literal, which ends reference loops.
void ExpandPercent(cow_String& s, const cow_List<cow_String>& visited,
                   const ZORBasUtlPathFlavour& f) {
    int from = 0;
    for (;;) {
        int open = s.Find("%", from);
        if (open < 0) return;
        int close = s.Find("%", open + 1);
        if (close < 0) return;
        from =
            Resolve(s, open, close + 1, s.Substr(open + 1, close), visited, f, "%", ExpandPercent);
    }
}

// Expands $NAME references: a letter, then letters, digits and underscores; a multi-byte
// character ends the name.
void ExpandDollar(cow_String& s, const cow_List<cow_String>& visited,
                  const ZORBasUtlPathFlavour& f) {
    int from = 0;
    for (;;) {
        int d = s.Find("$", from);
        if (d < 0 || d == s.Length() - 1) return;
        const auto* next = reinterpret_cast<const unsigned char*>(s.CStr() + d + 1);
        int len = atr_utf8_len(next);
        if (len > 1 || !Letter(static_cast<char>(*next))) {
            from = d + 1 + len;
            continue;
        }
        int end = d + 1;
        while (end < s.Length()) {
            auto c = static_cast<unsigned char>(s[end]);
            if (c >= 0x80 || !(std::isalnum(c) || c == '_')) break;
            ++end;
        }
        from = Resolve(s, d, end, s.Substr(d + 1, end), visited, f, "$", ExpandDollar);
    }
}

// Most paths hold no reference; they pay for no visited list.
void Expand(cow_String& s, const ZORBasUtlPathFlavour& f) {
    if (s.Find("%") < 0 && s.Find("$") < 0) return;
    cow_List<cow_String> visited;
    ExpandPercent(s, visited, f);
    ExpandDollar(s, visited, f);
}

void Replace(cow_String& s, char from, char to) {
    if (s.Find(cow_String(&from, 1).CStr()) < 0) return;  // leave a shared text shared
    for (int i = 0; i < s.Length(); ++i)
        if (s[i] == from) s[i] = to;
}

// The current directory of the drive `letter` names, or the empty string.
cow_String DriveCwd(const ZORBasUtlPathFlavour& f, char letter) {
    char buffer[260];
    int drive = std::toupper(static_cast<unsigned char>(letter)) - 64;
    return f.dcwd(drive, buffer, sizeof buffer) ? cow_String(buffer) : cow_String();
}

}  // namespace

const ZORBasUtlPathFlavour& ZORBasUtlPathFlavour::Posix() {
    static const ZORBasUtlPathFlavour posix{'/', 0, false, ProcessCwd, NoDriveCwd, ProcessEnv};
    return posix;
}

const ZORBasUtlPathFlavour& ZORBasUtlPathFlavour::Windows() {
    static const ZORBasUtlPathFlavour windows{'\\', '/', true, ProcessCwd, NoDriveCwd, ProcessEnv};
    return windows;
}

cow_String& substitute(cow_String& text, const char* what, const char* by) {
    for (int at = text.Find(what, 0); at >= 0; at = text.Find(what, at + 1)) text[at] = by[0];
    return text;
}

cow_String& toNative(cow_String& text) { return substitute(text, "/", "\\"); }
cow_String& toPortable(cow_String& text) { return substitute(text, "\\", "/"); }

cow_String getdevice(const ZORBasUtlPathFlavour& flavour) { return flavour.cwd().Substr(0, 2); }
cow_String getdevice() { return getdevice(ZORBasUtlPathFlavour::Native()); }

ZORBasUtlFilePath::ZORBasUtlFilePath()
    : url(false), remote(false), flavour(&ZORBasUtlPathFlavour::Native()) {}

ZORBasUtlFilePath::ZORBasUtlFilePath(cow_String path, cow_String root)
    : ZORBasUtlFilePath(ZORBasUtlPathFlavour::Native(), path, root) {}

ZORBasUtlFilePath::ZORBasUtlFilePath(const ZORBasUtlPathFlavour& f, cow_String path,
                                     cow_String root)
    : url(false), remote(false), flavour(&f) {
    SetFilePath(path, root);
}

void ZORBasUtlFilePath::SetFilePath(cow_String path, cow_String root) {
    const ZORBasUtlPathFlavour& f = *flavour;
    const char sep = f.separator;
    url = remote = false;
    rootDir = dir = name = ext = cow_String();

    if (ZORBasUtlUrlParser::IsUrl(path) || ZORBasUtlUrlParser::IsUrl(root)) {
        url = true;
        name = path;
        return;
    }
    if (IsPrefixRemoteFileAccessor(path) || IsPrefixRemoteFileAccessor(root)) {
        TrimPrefixNetworkConnectors(path);
        name = kConnectors + path;
        remote = true;
        return;
    }
    if (f.foreign) {
        Replace(path, f.foreign, sep);
        Replace(root, f.foreign, sep);
    }
    Expand(root, f);
    Expand(path, f);

    if (path.Empty() || path == ".") {
        rootDir = (root.Empty() || root == ".") ? f.cwd() : root;
        if (!rootDir.Empty() && !EndsWith(rootDir, sep)) rootDir += cow_String(&sep, 1);
        return;
    }

    const int len = path.Length();
    const char c = path[0];
    bool absolute;
    if (!f.drives) {
        absolute = c == sep;
    } else {
        absolute = (len >= 3 && c == sep && path[1] != sep && path[1] != ':') ||
                   (c == sep && path[1] == sep && path[2] != sep) ||
                   (Letter(c) && path[1] == ':' && (len == 2 || path[2] == sep));
    }
    const bool rootAbsolute =
        f.drives ? (root[0] == sep && root[1] == sep && root[2] != sep) ||
                       (root.Length() >= 3 && Letter(root[0]) && root[1] == ':' && root[2] == sep)
                 : root[0] == sep;

    if (absolute) {
        // rootDir stays empty and the root is ignored.
    } else if (f.drives && Letter(c) && path[1] == ':') {
        Assert(root.Length() == 0, "root.Length() == 0", __LINE__);
        rootDir = DriveCwd(f, c);
        path = path.Substr(2, path.Length());
    } else if (rootAbsolute) {
        Assert(path[0] != sep, "path[0] != slash[0]", __LINE__);
        rootDir = root;
    } else {
        const int rootLen = root.Length();
        const bool bRootHasDrive = f.drives && Letter(root[0]) && root[1] == ':';
        const bool bRootHasAbsoluteDir = root[0] == sep && root[1] != sep;
        Assert(!bRootHasAbsoluteDir || !bRootHasDrive, "! bRootHasAbsoluteDir || ! bRootHasDrive",
               __LINE__);
        if (bRootHasDrive) {
            Assert(rootLen == 2, "rootLen == 2", __LINE__);
            rootDir = c != sep ? DriveCwd(f, root[0]) : root;
        } else if (bRootHasAbsoluteDir) {
            rootDir = getdevice(f) + root;
        } else {
            Assert(rootLen == 0, "rootLen == 0", __LINE__);
            rootDir = f.cwd();
        }
        if (c == sep) {
            int n = 0;
            while (n < path.Length() && path[n] == sep) ++n;
            path.Erase(0, n);
            if (path.Empty()) path = cow_String(&sep, 1);
        }
    }
    if (!rootDir.Empty() && !EndsWith(rootDir, sep)) rootDir += cow_String(&sep, 1);

    const int last = path.Length() - 1;
    Assert(last >= 0, "nCharIdx >= 0", __LINE__);
    const bool endsWithSlash = path[last] == sep;
    const bool driveOnly = f.drives && path.Length() == 2 && Letter(path[0]) && path[1] == ':';
    const bool driveRoot =
        f.drives && path.Length() == 3 && Letter(path[0]) && path[1] == ':' && path[2] == sep;
    if (driveOnly) {
        path += cow_String(&sep, 1);
    } else if (endsWithSlash && path.Length() > 1 && !driveRoot) {
        int keep = path.Length();
        while (keep > 0 && path[keep - 1] == sep) --keep;
        // Under POSIX rules "//" is the root, not an empty path.
        if (keep == 0 && !f.drives) keep = 1;
        path.Erase(keep, path.Length() - keep);
    }

    int slash = path.RFind(cow_String(&sep, 1).CStr());
    cow_String rest = path;
    if (slash >= 0) {
        dir = path.Substr(0, slash + 1);
        rest = path.Substr(slash + 1, path.Length());
        if (rest.Empty()) rest = ".";
    }
    int dot = rest.RFind(".");
    if (dot >= 0) {
        name = rest.Substr(0, dot);
        ext = rest.Substr(dot, rest.Length());
    } else {
        name = rest;
    }
}

ZORBasUtlFilePath& ZORBasUtlFilePath::Portable() {
    if (Local() && flavour->separator != '/') {
        Replace(rootDir, flavour->separator, '/');
        Replace(dir, flavour->separator, '/');
        Replace(name, flavour->separator, '/');
    }
    return *this;
}

ZORBasUtlFilePath& ZORBasUtlFilePath::Native() {
    if (Local() && flavour->separator != '/') {
        Replace(rootDir, '/', flavour->separator);
        Replace(dir, '/', flavour->separator);
        Replace(name, '/', flavour->separator);
    }
    return *this;
}

cow_String ZORBasUtlFilePath::Join(const cow_String& tail) const {
    const char sep = flavour->separator;
    cow_String root = rootDir;
    if (EndsWith(root, sep) && dir.Length() > 0 && dir[0] == sep)
        root.RightTrim(cow_String(&sep, 1).CStr());
    cow_String joined(root.Length() + dir.Length() + tail.Length(), PreSize);
    return joined.Append(root).Append(dir).Append(tail);
}

cow_String ZORBasUtlFilePath::PathName() const { return Local() ? dir + name + ext : name; }

cow_String ZORBasUtlFilePath::AbsolutePathName() const { return Local() ? Join(name + ext) : name; }

cow_String ZORBasUtlFilePath::AbsoluteDirectoryPath() const {
    return Local() ? Join(cow_String()) : cow_String();
}

cow_String ZORBasUtlFilePath::FileName() const { return Local() ? name + ext : name; }

bool ZORBasUtlFilePath::Exists() const {
    return !Local() || ::access(AbsolutePathName().CStr(), F_OK) == 0;
}

bool ZORBasUtlFilePath::IsDir() const {
    return Local() && Exists() && ZORBasUtlStat(AbsolutePathName()).IsDir();
}

bool ZORBasUtlFilePath::IsReadable() const {
    return !Local() || ::access(AbsolutePathName().CStr(), R_OK) == 0;
}

// A name that is not there is writeable when a file of that name can be made (and goes again).
bool ZORBasUtlFilePath::IsWriteable() const {
    if (!Local()) return false;
    cow_String absolute = AbsolutePathName();
    if (::access(absolute.CStr(), F_OK) == 0) return ::access(absolute.CStr(), W_OK) == 0;
    int fd = ::open(absolute.CStr(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    ::unlink(absolute.CStr());
    ::close(fd);
    return true;
}

bool ZORBasUtlFilePath::IsExecutable() const {
    return Local() && (ext == ".exe" || ext == ".bat") &&
           ::access(AbsolutePathName().CStr(), R_OK) == 0;
}

bool ZORBasUtlFilePath::IsPrefixRemoteFileAccessor(const cow_String& s) {
    if (s.Empty() || s == ".") return false;
    for (const char* prefix : {kConnectors, kConnectors, kConnectorsSlash, kConnectorsSlash})
        if (std::strncmp(s.CStr(), prefix, std::strlen(prefix)) == 0) return true;
    return false;
}

// LeftTrim takes the prefix's text as a set of characters, so letters of that set right after
// the prefix go too ("Network connectorsnet/x" keeps "/x"); the slash is never in the set.
void ZORBasUtlFilePath::TrimPrefixNetworkConnectors(cow_String& s) {
    for (const char* prefix : {kConnectors, kConnectors, kConnectorsSlash, kConnectorsSlash}) {
        if (std::strncmp(s.CStr(), prefix, std::strlen(prefix)) == 0) {
            cow_String trimmed = s;
            trimmed.LeftTrim(kConnectors);
            s = trimmed;
            return;
        }
    }
}

ZORBasUtlFilePathCae::ZORBasUtlFilePathCae(const cow_String& path, const cow_String& root)
    : ZORBasUtlFilePath(ZORBasI18n::ToUTF8(path), ZORBasI18n::ToUTF8(root)) {}

ZORBasUtlFilePathCae::ZORBasUtlFilePathCae(const ZORBasUtlPathFlavour& flavour,
                                           const cow_String& path, const cow_String& root)
    : ZORBasUtlFilePath(flavour, ZORBasI18n::ToUTF8(path), ZORBasI18n::ToUTF8(root)) {}

cow_String ZORBasUtlFilePathCae::AbsolutePathName() const {
    return ZORBasI18n::ToLocale(ZORBasUtlFilePath::AbsolutePathName());
}

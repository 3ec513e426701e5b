// A path split once, at construction, into root directory, directory, name and extension, with
// environment references (%NAME% and $NAME) expanded and the special forms resolved: URLs of a
// known scheme and remote file accessor paths stay whole in the name. Two flavours share the one
// splitting routine: POSIX (separator "/", no drives; native here and the default) and Windows
// (backslash, drive letters, drive-relative paths, network paths), whose directory services are
// injected so that it runs anywhere.
//
// Invariants after a split of a local path: rootDir is empty or ends in the separator, dir is
// empty or ends in it, ext is empty or starts with ".". A split costs a few string copies; the
// queries join at most four strings.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_List.h"
#include "zorbas/cow/cow_String.h"

// The rules and the directory services of one flavour. Services answer from the process by
// default; a test injects its own (a current directory per drive, an environment).
struct ZORBAS_API ZORBasUtlPathFlavour {
    char separator;  // native separator
    char foreign;    // the separator turned into the native one on entry, 0 for none
    bool drives;     // drive letters, drive-relative paths and network paths
    // The current directory, or the empty string when it is unknown.
    cow_String (*cwd)();
    // The current directory of drive 1 (A) to 26 (Z) into `buffer` (260 bytes); false when the
    // drive has none.
    bool (*dcwd)(int drive, char* buffer, int size);
    // The value of an environment variable, or null when it is not set.
    const char* (*env)(const char* name);

    static const ZORBasUtlPathFlavour& Posix();
    // Windows rules with the process's services: the current directory of a drive other than that
    // of the process is unknown.
    static const ZORBasUtlPathFlavour& Windows();
    static const ZORBasUtlPathFlavour& Native() { return Posix(); }
};

class ZORBAS_API ZORBasUtlFilePath {
  public:
    ZORBasUtlFilePath();
    ZORBasUtlFilePath(cow_String path, cow_String root = cow_String());
    ZORBasUtlFilePath(const ZORBasUtlPathFlavour& flavour, cow_String path,
                      cow_String root = cow_String());
    ZORBasUtlFilePath(const ZORBasUtlFilePath&) = default;
    ZORBasUtlFilePath& operator=(const ZORBasUtlFilePath&) = default;
    ZORBasUtlFilePath& operator=(ZORBasUtlFilePath&&) = default;
    virtual ~ZORBasUtlFilePath() = default;

    // Splits anew under the object's flavour. A path or root that breaks a precondition of the
    // split ends the program with the assertion's text.
    void SetFilePath(cow_String path, cow_String root);

    // For a local path, separators to "/" (Portable) or to the flavour's own (Native) in rootDir,
    // dir and name, not ext; nothing for a URL or a remote path.
    ZORBasUtlFilePath& Portable();
    ZORBasUtlFilePath& Native();

    cow_String PathName() const;
    cow_String AbsolutePathName() const;
    cow_String AbsoluteDirectoryPath() const;
    cow_String FileName() const;
    cow_String BaseName() const { return name; }
    const cow_String& RootDir() const { return rootDir; }
    const cow_String& Dir() const { return dir; }
    const cow_String& Ext() const { return ext; }
    bool IsUrl() const { return url; }
    bool IsRemote() const { return remote; }

    // A URL or remote path exists and is readable by definition, but is never writeable, a
    // directory or executable: callers rely on this asymmetry.
    bool Exists() const;
    bool IsDir() const;
    bool IsReadable() const;
    bool IsWriteable() const;
    // Only the exact extensions ".exe" and ".bat" count, as the suite's launchers expect.
    bool IsExecutable() const;

    static bool IsPrefixRemoteFileAccessor(const cow_String& s);

  protected:
    static void TrimPrefixNetworkConnectors(cow_String& s);
    bool Local() const { return !url && !remote; }

  private:
    cow_String Join(const cow_String& tail) const;

    bool url;
    bool remote;
    cow_String rootDir;
    cow_String dir;
    cow_String name;
    cow_String ext;
    const ZORBasUtlPathFlavour* flavour;
};

// The same path with its two strings in the locale encoding: they are converted to UTF-8 before
// the split, and AbsolutePathName() back to the locale.
class ZORBAS_API ZORBasUtlFilePathCae : public ZORBasUtlFilePath {
  public:
    ZORBasUtlFilePathCae(const cow_String& path, const cow_String& root = cow_String());
    ZORBasUtlFilePathCae(const ZORBasUtlPathFlavour& flavour, const cow_String& path,
                         const cow_String& root = cow_String());
    cow_String AbsolutePathName() const;
    ZORBasUtlFilePathCae& Portable() {
        ZORBasUtlFilePath::Portable();
        return *this;
    }
};

// Overwrites the character at each occurrence of `what` with the first character of `by` and
// goes on one character further: meant for one-character `what`. Works in place.
ZORBAS_API cow_String& substitute(cow_String& text, const char* what, const char* by);
// "/" to "\" and back, in place.
ZORBAS_API cow_String& toNative(cow_String& text);
ZORBAS_API cow_String& toPortable(cow_String& text);
// The first two characters of the current directory (a drive such as "C:" under Windows rules).
ZORBAS_API cow_String getdevice();
ZORBAS_API cow_String getdevice(const ZORBasUtlPathFlavour& flavour);

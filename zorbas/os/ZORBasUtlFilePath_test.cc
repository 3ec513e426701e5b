#include "zorbas/os/ZORBasUtlFilePath.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "zorbas/os/ZORBasUtlUrlParser.h"

namespace {

std::string S(const cow_String& s) { return std::string(s.CStr(), s.Length()); }

// The injected services of the Windows rules: current directory "C:\w", a current directory on
// drive D, and an environment of the test's own.
std::map<std::string, std::string> g_env;

cow_String TestCwd() { return "C:\\w"; }
bool TestDriveCwd(int drive, char* buffer, int size) {
    const char* dir = drive == 3 ? "C:\\w" : drive == 4 ? "D:\\data" : nullptr;
    if (!dir) return false;
    std::snprintf(buffer, static_cast<size_t>(size), "%s", dir);
    return true;
}
const char* TestEnv(const char* name) {
    auto it = g_env.find(name);
    return it == g_env.end() ? nullptr : it->second.c_str();
}
const ZORBasUtlPathFlavour kWin{'\\', '/', true, TestCwd, TestDriveCwd, TestEnv};
const ZORBasUtlPathFlavour kPosix{
    '/', 0, false, [] { return cow_String("/home/job"); }, TestDriveCwd, TestEnv};

struct Split {
    const char* path;
    const char* root;
    const char* rootDir;
    const char* dir;
    const char* name;
    const char* ext;
    const char* absolute;
};

void ExpectSplit(const ZORBasUtlPathFlavour& f, const Split& c) {
    ZORBasUtlFilePath p(f, c.path, c.root);
    SCOPED_TRACE(std::string("path '") + c.path + "' root '" + c.root + "'");
    EXPECT_EQ(S(p.RootDir()), c.rootDir);
    EXPECT_EQ(S(p.Dir()), c.dir);
    EXPECT_EQ(S(p.BaseName()), c.name);
    EXPECT_EQ(S(p.Ext()), c.ext);
    EXPECT_EQ(S(p.AbsolutePathName()), c.absolute);
}

TEST(FilePathWindows, DrivesNetworkPathsAndRoots) {
    const Split cases[] = {
        {"a/b.c.d", "", "C:\\w\\", "a\\", "b.c", ".d", "C:\\w\\a\\b.c.d"},
        {"C:", "", "", "C:\\", "", ".", "C:\\."},
        {"C:\\", "", "", "C:\\", "", ".", "C:\\."},
        {"dir/", "", "C:\\w\\", "", "dir", "", "C:\\w\\dir"},
        {"noext", "", "C:\\w\\", "", "noext", "", "C:\\w\\noext"},
        {".profile", "", "C:\\w\\", "", "", ".profile", "C:\\w\\.profile"},
        {"D:x.txt", "", "D:\\data\\", "", "x", ".txt", "D:\\data\\x.txt"},
        {"E:x", "", "", "", "x", "", "x"},  // a drive with no current directory
        {"//srv/share/f.txt", "", "", "\\\\srv\\share\\", "f", ".txt", "\\\\srv\\share\\f.txt"},
        {"/abs/f", "D:\\r", "", "\\abs\\", "f", "", "\\abs\\f"},  // absolute: root ignored
        {"\\x", "", "C:\\w\\", "", "x", "", "C:\\w\\x"},          // too short to be absolute
        {"sub/f", "D:\\r", "D:\\r\\", "sub\\", "f", "", "D:\\r\\sub\\f"},
        {"sub/f", "//srv", "\\\\srv\\", "sub\\", "f", "", "\\\\srv\\sub\\f"},
        {"f", "D:", "D:\\data\\", "", "f", "", "D:\\data\\f"},
        {"\\x", "D:", "D:\\", "", "x", "", "D:\\x"},
        {"f", "\\r", "C:\\r\\", "", "f", "", "C:\\r\\f"},
        {"f/", "\\r", "C:\\r\\", "", "f", "", "C:\\r\\f"},
        {"\\", "", "C:\\w\\", "\\", "", ".", "C:\\w\\."},
        {"a\\\\\\", "", "C:\\w\\", "", "a", "", "C:\\w\\a"},
    };
    for (const Split& c : cases) ExpectSplit(kWin, c);
}

TEST(FilePathWindows, DotAndEmptyAreTheDirectoryWithNoFilePart) {
    for (const char* root : {"", "."}) {
        ZORBasUtlFilePath p(kWin, ".", root);
        EXPECT_EQ(S(p.RootDir()), "C:\\w\\");
        EXPECT_EQ(S(p.PathName()), "");
        EXPECT_EQ(S(p.AbsoluteDirectoryPath()), "C:\\w\\");
    }
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "", "D:\\x").RootDir()), "D:\\x\\");
}

TEST(FilePathWindows, PortableAndNativeTurnTheSeparatorsOfALocalPath) {
    ZORBasUtlFilePath p(kWin, "a/b.c", "D:\\r");
    EXPECT_EQ(S(p.Portable().AbsolutePathName()), "D:/r/a/b.c");
    EXPECT_EQ(S(p.FileName()), "b.c");
    EXPECT_EQ(S(p.Native().AbsolutePathName()), "D:\\r\\a\\b.c");
}

TEST(FilePathWindowsDeathTest, BrokenPreconditionsAreAssertions) {
    EXPECT_DEATH(ZORBasUtlFilePath(kWin, "D:x", "C:\\r"), "root.Length\\(\\) == 0");
    EXPECT_DEATH(ZORBasUtlFilePath(kWin, "\\x", "D:\\r"), "path\\[0\\] != slash\\[0\\]");
    EXPECT_DEATH(ZORBasUtlFilePath(kWin, "f", "D:x"), "rootLen == 2");
    EXPECT_DEATH(ZORBasUtlFilePath(kWin, "f", "relative"), "rootLen == 0");
}

class FilePathEnv : public ::testing::Test {
  protected:
    void TearDown() override { g_env.clear(); }
};

TEST_F(FilePathEnv, PercentAndDollarReferencesExpandAndLoopsEndByTheVisitedList) {
    g_env = {{"DECK", "C:\\decks"}, {"NEST", "%DECK%\\nested"},
             {"SELF", "%SELF%x"},   {"A", "$B\\a"},
             {"B", "$A\\b"},        {"U_1", "u"}};
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "%DECK%/plate.k").AbsolutePathName()),
              "C:\\decks\\plate.k");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "$DECK/plate.k").AbsolutePathName()), "C:\\decks\\plate.k");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "%NEST%/f").AbsolutePathName()), "C:\\decks\\nested\\f");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "f", "%DECK%").AbsolutePathName()), "C:\\decks\\f");
    // Unset variables and what is not a reference stay literal.
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "%NOPE%/f").Dir()), "%NOPE%\\");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "$1x/$/$U_1$").Dir()), "$1x\\$\\");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "$1x/$/$U_1$").BaseName()), "u$");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "$\xc3\xa9t\xc3\xa9").BaseName()), "$\xc3\xa9t\xc3\xa9");
    // A reference to itself, or a ring of two, ends literal at its second encounter.
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "%SELF%").BaseName()), "%SELF%x");
    EXPECT_EQ(S(ZORBasUtlFilePath(kWin, "$A").Dir()), "$A\\b\\");
}

TEST(FilePathUrl, KnownSchemeAndRemotePathsStayWholeAndAreNeverWriteable) {
    for (const ZORBasUtlPathFlavour* f : {&kWin, &kPosix}) {
        ZORBasUtlFilePath url(*f, "vldrdb://u:p@h:80/x?y");
        EXPECT_TRUE(url.IsUrl());
        EXPECT_EQ(S(url.AbsolutePathName()), "vldrdb://u:p@h:80/x?y");
        EXPECT_EQ(S(url.PathName()), "vldrdb://u:p@h:80/x?y");
        EXPECT_EQ(S(url.AbsoluteDirectoryPath()), "");
        EXPECT_TRUE(url.Exists());
        EXPECT_TRUE(url.IsReadable());
        EXPECT_FALSE(url.IsDir());
        EXPECT_FALSE(url.IsWriteable());
        EXPECT_FALSE(url.IsExecutable());
        EXPECT_TRUE(ZORBasUtlFilePath(*f, "x", "vldrdb://h/").IsUrl());

        ZORBasUtlFilePath http(*f, "http://h/x.html");
        EXPECT_FALSE(http.IsUrl());
        EXPECT_EQ(S(http.BaseName()), "x");

        ZORBasUtlFilePath remote(*f, "Network connectors/db/run");
        EXPECT_TRUE(remote.IsRemote());
        EXPECT_EQ(S(remote.BaseName()), "Network connectors/db/run");
        EXPECT_FALSE(remote.IsWriteable());
        // Only the root carried the prefix: the path is the one that gets it.
        EXPECT_EQ(S(ZORBasUtlFilePath(*f, "f", "Network connectors/r").BaseName()),
                  "Network connectorsf");
    }
    EXPECT_FALSE(ZORBasUtlFilePath::IsPrefixRemoteFileAccessor("."));
    EXPECT_FALSE(ZORBasUtlFilePath::IsPrefixRemoteFileAccessor(""));
    EXPECT_FALSE(ZORBasUtlFilePath::IsPrefixRemoteFileAccessor("Network"));
}

TEST(FilePathPosix, SlashRulesWithoutDrives) {
    const Split cases[] = {
        {"/a/b/c.txt", "", "", "/a/b/", "c", ".txt", "/a/b/c.txt"},
        {"x/y", "", "/home/job/", "x/", "y", "", "/home/job/x/y"},
        {"x/y", "/r", "/r/", "x/", "y", "", "/r/x/y"},
        {"/", "", "", "/", "", ".", "/."},
        {"//", "", "", "/", "", ".", "/."},
        {"a/b//", "", "/home/job/", "a/", "b", "", "/home/job/a/b"},
        {"C:x", "", "/home/job/", "", "C:x", "", "/home/job/C:x"},
        {"a\\b.c", "", "/home/job/", "", "a\\b", ".c", "/home/job/a\\b.c"},
    };
    for (const Split& c : cases) ExpectSplit(kPosix, c);
    ZORBasUtlFilePath p(kPosix, "a/b");
    EXPECT_EQ(S(p.Portable().AbsolutePathName()), "/home/job/a/b");
    EXPECT_EQ(S(p.Native().AbsolutePathName()), "/home/job/a/b");
}

TEST(FilePathPosix, TheProcessDirectoryIsTheDefaultRoot) {
    char buffer[4096];
    ASSERT_NE(getcwd(buffer, sizeof buffer), nullptr);
    ZORBasUtlFilePath p("deck.k");
    EXPECT_EQ(S(p.AbsolutePathName()), std::string(buffer) + "/deck.k");
    EXPECT_EQ(S(getdevice()), std::string(buffer, 2));
    ZORBasUtlFilePathCae cae("deck.k");
    EXPECT_EQ(S(cae.AbsolutePathName()), S(p.AbsolutePathName()));
}

TEST(FilePathPosix, FileQueriesAskTheFileSystem) {
    char dir[] = "/tmp/fpXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string exe = std::string(dir) + "/tool.exe";
    std::string upper = std::string(dir) + "/TOOL.EXE";
    for (const std::string& f : {exe, upper}) std::fclose(std::fopen(f.c_str(), "w"));

    EXPECT_TRUE(ZORBasUtlFilePath(dir).IsDir());
    EXPECT_TRUE(ZORBasUtlFilePath(exe.c_str()).Exists());
    EXPECT_FALSE(ZORBasUtlFilePath(exe.c_str()).IsDir());
    EXPECT_TRUE(ZORBasUtlFilePath(exe.c_str()).IsExecutable());
    EXPECT_FALSE(ZORBasUtlFilePath(upper.c_str()).IsExecutable());  // the comparison is exact
    EXPECT_TRUE(ZORBasUtlFilePath(exe.c_str()).IsWriteable());

    // A name that is not there is writeable when it can be made, and is not left behind.
    std::string fresh = std::string(dir) + "/fresh.dat";
    EXPECT_FALSE(ZORBasUtlFilePath(fresh.c_str()).Exists());
    EXPECT_TRUE(ZORBasUtlFilePath(fresh.c_str()).IsWriteable());
    EXPECT_NE(access(fresh.c_str(), F_OK), 0);
    EXPECT_FALSE(ZORBasUtlFilePath((std::string(dir) + "/no/such/f").c_str()).IsWriteable());

    for (const std::string& f : {exe, upper}) std::remove(f.c_str());
    rmdir(dir);
}

TEST(FilePathFunctions, SubstituteOverwritesOneCharacterPerHit) {
    cow_String a("a/b/c");
    cow_String shared = a;
    EXPECT_EQ(S(toNative(a)), "a\\b\\c");
    EXPECT_EQ(S(shared), "a/b/c");  // the edit does not show through a copy
    EXPECT_EQ(S(toPortable(a)), "a/b/c");
    cow_String b("a//b//");
    EXPECT_EQ(S(substitute(b, "//", "x")), "ax/bx/");
}

TEST(UrlParser, PiecesOfAKnownSchemeUrl) {
    const cow_String url("vldrdb://u:p@h:80/x?y");
    EXPECT_TRUE(ZORBasUtlUrlParser::IsUrl(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetScheme(url)), "vldrdb");
    EXPECT_TRUE(ZORBasUtlUrlParser::HasUser(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetUser(url)), "u");
    EXPECT_TRUE(ZORBasUtlUrlParser::HasPass(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetPass(url)), "p");
    EXPECT_TRUE(ZORBasUtlUrlParser::HasHost(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetHost(url)), "h");
    EXPECT_TRUE(ZORBasUtlUrlParser::HasPort(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetPort(url)), "80");
    EXPECT_TRUE(ZORBasUtlUrlParser::HasPath(url));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetPath(url)), "x");

    const cow_String bare("vldrdb://host");
    EXPECT_FALSE(ZORBasUtlUrlParser::HasUser(bare));
    EXPECT_FALSE(ZORBasUtlUrlParser::HasPass(bare));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetHost(bare)), "host");
    EXPECT_FALSE(ZORBasUtlUrlParser::HasPort(bare));
    EXPECT_EQ(S(ZORBasUtlUrlParser::GetPort(bare)), "");
    EXPECT_FALSE(ZORBasUtlUrlParser::HasPath(bare));
}

TEST(UrlParser, OnlyTheOneSchemeIsAUrlAndTheRfcTestHasNoAnchor) {
    EXPECT_FALSE(ZORBasUtlUrlParser::IsUrl("http://h/x"));
    EXPECT_FALSE(ZORBasUtlUrlParser::IsUrl("C:\\x"));
    EXPECT_TRUE(ZORBasUtlUrlParser::IsRFCUrl("C:\\x"));
    EXPECT_TRUE(ZORBasUtlUrlParser::IsRFCUrl("a path with note: inside"));
    EXPECT_FALSE(ZORBasUtlUrlParser::IsRFCUrl("plain/path"));
    EXPECT_FALSE(ZORBasUtlUrlParser::IsUrl(" vldrdb://h"));  // the scheme must start the text
    EXPECT_TRUE(ZORBasUtlUrlParser::IsScheme("vldrdb://h", "vldrdb"));
    EXPECT_FALSE(ZORBasUtlUrlParser::IsScheme("vldrdb://h", "vld"));
    EXPECT_FALSE(ZORBasUtlUrlParser::IsScheme("vldrdb://h", "v.*"));  // not a scheme's text
}

}  // namespace

// Whole-file operations: copying over, refusing, and the name forms of the runtime calls.
#include "zorbas/os/ZORBasFileSystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "zorbas/os/os_files_test_util.h"

using os_test::ReadAll;
using os_test::ScratchDir;
using os_test::WriteAll;

namespace {

std::string RandomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(rng());
    return s;
}

TEST(CopyFile, ReplacesALongerTargetWithTheSourceBytesAndMode) {
    ScratchDir dir;
    const std::string data = RandomBytes(200000, 1);  // zeros included, several kernel chunks
    WriteAll(dir / "src", data);
    chmod((dir / "src").c_str(), 0640);
    WriteAll(dir / "dst", RandomBytes(300000, 2));
    ASSERT_TRUE(ZORBasFileSystem::CopyFile((dir / "src").c_str(), (dir / "dst").c_str()));
    EXPECT_EQ(ReadAll(dir / "dst"), data);
    struct stat st;
    ASSERT_EQ(stat((dir / "dst").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 200000);

    ASSERT_TRUE(ZORBasFileSystem::CopyFile((dir / "src").c_str(), (dir / "new").c_str()));
    ASSERT_EQ(stat((dir / "new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(ReadAll(dir / "new"), data);
}

TEST(CopyFile, CopiesFilesWhoseSizeTheSystemDoesNotKnow) {
    ScratchDir dir;
    ASSERT_TRUE(ZORBasFileSystem::CopyFile("/proc/self/status", (dir / "status").c_str()));
    EXPECT_NE(ReadAll(dir / "status").find("Pid:"), std::string::npos);
}

TEST(CopyFile, FailuresPrintTheSystemTextAndLeaveFilesAlone) {
    ScratchDir dir;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ZORBasFileSystem::CopyFile((dir / "missing").c_str(), (dir / "dst").c_str()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "*** Error: CopyFile failed: No such file or directory\n");
    EXPECT_FALSE(ZORBasFileSystem::FileExists((dir / "dst").c_str()));

    WriteAll(dir / "self", "keep me");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ZORBasFileSystem::CopyFile((dir / "self").c_str(), (dir / "self").c_str()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "*** Error: CopyFile failed: Invalid argument\n");
    EXPECT_EQ(ReadAll(dir / "self"), "keep me");
}

TEST(FileSystem, ExistsRemoveAndTheSeparatorText) {
    ScratchDir dir;
    const std::string f = dir / "f";
    EXPECT_FALSE(ZORBasFileSystem::FileExists(f.c_str()));
    EXPECT_TRUE(ZORBasFileSystem::FileExists(dir.path().c_str()));
    WriteAll(f, "x");
    EXPECT_TRUE(ZORBasFileSystem::FileExists(f.c_str()));
    EXPECT_EQ(ZORBasFileRemove(f.c_str()), 0);
    EXPECT_FALSE(ZORBasFileSystem::FileExists(f.c_str()));
    errno = 0;
    EXPECT_EQ(ZORBasFileSystem::RemoveFile(f.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_STREQ(ZORBasFileSystem::PathSeparator(), "\\");
}

TEST(FileOps, EveryNameFormReachesTheSameFile) {
    ScratchDir dir;
    const std::string name = dir / "d\xc3\xa9j\xc3\xa0";  // UTF-8 "déjà"
    int fd = ZORBasFileOps::Open(name.c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "abc", 3), 3);
    close(fd);

    const ZORString zs(name.c_str());
    const cow_String cs(name.c_str());
    const ZOROsString wide(name.c_str(), ZOROsString::WChar);
    const ZOROsString utf8(name.c_str(), ZOROsString::UTF8);
    for (FILE* f : {ZORBasFileOps::Fopen(zs, "rb"), ZORBasFileOps::Fopen(cs, "rb"),
                    ZORBasFileOps::Fopen(wide, "rb"), ZORBasFileOps::Fopen(utf8, "rb"),
                    ZORBasFileOps::Fopen(name.c_str(), "rb")}) {
        ASSERT_NE(f, nullptr);
        char buf[4] = {};
        EXPECT_EQ(fread(buf, 1, 3, f), 3u);
        EXPECT_STREQ(buf, "abc");
        fclose(f);
    }
    for (int d : {ZORBasFileOps::Open(zs, O_RDONLY, 0), ZORBasFileOps::Open(cs, O_RDONLY, 0),
                  ZORBasFileOps::Open(wide, O_RDONLY, 0)}) {
        EXPECT_GE(d, 0);
        close(d);
    }
    EXPECT_EQ(ZORBasFileOps::Unlink(zs), 0);
    EXPECT_EQ(ZORBasFileOps::Fopen(zs, "rb"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(FileOps, TextThatIsNotUtf8IsRefusedWithTheConversionException) {
    EXPECT_THROW(ZORBasFileOps::Fopen("/tmp/\xff\xfe", "rb"), ZORBasOsStringConversion);
    EXPECT_THROW(ZORBasFileSystem::FileExists("/tmp/\xc3"), ZORBasOsStringConversion);
}

}  // namespace

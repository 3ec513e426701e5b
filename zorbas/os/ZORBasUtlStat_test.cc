#include "zorbas/os/ZORBasUtlStat.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

class StatFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(mkdtemp(dir), nullptr);
        file = std::string(dir) + "/data.bin";
        int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0600);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, "0123456789", 10), 10);
        close(fd);
    }
    void TearDown() override {
        unlink(file.c_str());
        rmdir(dir);
    }
    // Names in the directory, data.bin included.
    int Entries() const {
        int n = 0;
        DIR* d = opendir(dir);
        while (dirent* e = readdir(d)) n += e->d_name[0] != '.';
        closedir(d);
        return n;
    }
    char dir[32] = "/tmp/statXXXXXX";
    std::string file;
};

TEST_F(StatFiles, AttributesOfAFileAndADirectory) {
    ZORBasUtlStat st(cow_String(file.c_str()));
    ASSERT_TRUE(st.Exists());
    EXPECT_FALSE(st.IsDir());
    EXPECT_TRUE(st.IsNormal());
    EXPECT_EQ(st.Record().size, 10u);
    EXPECT_EQ(st.Record().links, 1u);
    struct stat ref;
    ASSERT_EQ(stat(file.c_str(), &ref), 0);
    EXPECT_EQ(st.Record().fileIndex, ref.st_ino);
    EXPECT_LE(std::labs(st.Record().lastWrite - std::time(nullptr)), 5);

    int fd = open(file.c_str(), O_RDONLY);
    ZORBasUtlStat byFd(fd);
    ZORBasUtlStat byHandle(reinterpret_cast<void*>(static_cast<intptr_t>(fd)));
    EXPECT_EQ(byFd.Record().fileIndex, ref.st_ino);
    EXPECT_EQ(byHandle.Record().size, 10u);
    close(fd);

    ZORBasUtlStat d{cow_String(dir)};
    EXPECT_TRUE(d.IsDir());
    EXPECT_FALSE(d.IsNormal());
    ZORBasUtlStat copy(d);
    EXPECT_TRUE(copy.IsDir());
}

TEST_F(StatFiles, NotFoundIsAnAnswerAndOtherFailuresThrow) {
    ZORBasUtlStat missing(cow_String((std::string(dir) + "/none").c_str()));
    EXPECT_FALSE(missing.Exists());
    EXPECT_FALSE(missing.IsDir());
    try {
        missing.ThrowIfFileNotFound();
        FAIL() << "no exception";
    } catch (const ZORBasUtlSystemErrorException& e) {
        EXPECT_EQ(e.GetSec().SystemCode(), ENOENT);
    }
    // A component that is a file: ENOTDIR, a real failure.
    try {
        ZORBasUtlStat bad(cow_String((file + "/x").c_str()));
        FAIL() << "no exception";
    } catch (const ZORBasUtlSystemErrorException& e) {
        EXPECT_EQ(e.GetSec().SystemCode(), ENOTDIR);
        EXPECT_EQ(std::string(e.AsString(ZORBasStringModeUTF8)), "System Error: Not a directory");
    }
    EXPECT_THROW(ZORBasUtlStat(-1), ZORBasUtlSystemErrorException);
    EXPECT_THROW(ZORBasUtlStat(999999), ZORBasUtlSystemErrorException);
}

TEST_F(StatFiles, InodesCompareByIndexAndEmptyOnesOrderFirst) {
    std::string other = std::string(dir) + "/other";
    int a1 = open(file.c_str(), O_RDONLY), a2 = open(file.c_str(), O_RDONLY);
    int b = open(other.c_str(), O_CREAT | O_RDWR, 0600);
    ZORBasUtlInode x, y, z, empty1, empty2;
    EXPECT_TRUE(x.Set(a1));
    EXPECT_TRUE(y.Set(a2));
    EXPECT_TRUE(z.Set(b));
    EXPECT_EQ(x.Compare(x), 0);
    EXPECT_EQ(x.Compare(y), 0);
    EXPECT_NE(x.Compare(z), 0);
    EXPECT_EQ(x.Compare(z), -z.Compare(x));
    EXPECT_EQ(empty1.Compare(empty2), 0);
    EXPECT_EQ(empty1.Compare(x), -1);
    EXPECT_EQ(x.Compare(empty1), 1);
    EXPECT_FALSE(z.Set(-1));
    EXPECT_TRUE(z.Set(a1));  // a new identity after a failed Set
    EXPECT_EQ(z.Compare(x), 0);
    close(a1), close(a2), close(b);
    unlink(other.c_str());
}

TEST_F(StatFiles, UnnamedTempFilesLeaveNoNameAndFollowTheDirectoryOrder) {
    int fd = ZORBasUtlUnnamedTempFile::Create(dir, nullptr);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, "abc", 3), 3);
    char back[4] = {};
    EXPECT_EQ(pread(fd, back, 3, 0), 3);
    EXPECT_STREQ(back, "abc");
    close(fd);
    EXPECT_EQ(Entries(), 1) << "a name was left in the directory";

    EXPECT_EQ(ZORBasUtlUnnamedTempFile::Create("/no/such/dir", dir), -1);
    // Without a directory: TMPDIR, then SCRATCH, then the fallback.
    const char* saved = std::getenv("TMPDIR");
    std::string keep = saved ? saved : "";
    setenv("TMPDIR", "/no/such/dir", 1);
    EXPECT_EQ(ZORBasUtlUnnamedTempFile::Create(nullptr, dir), -1);
    unsetenv("TMPDIR");
    setenv("SCRATCH", dir, 1);
    fd = ZORBasUtlUnnamedTempFile::Create(nullptr, "/no/such/dir");
    EXPECT_GE(fd, 0);
    close(fd);
    unsetenv("SCRATCH");
    if (saved) setenv("TMPDIR", keep.c_str(), 1);
}

}  // namespace

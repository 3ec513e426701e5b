// Binary files: the results of Read and Write at their edges, 64-bit sizes, share modes between
// processes, a write that hits the file size limit, and file identity.
#include "zorbas/os/ZORBasFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "zorbas/os/os_files_test_util.h"

using os_test::ReadAll;
using os_test::ScratchDir;
using os_test::WriteAll;

namespace {

constexpr size_t kGiB = size_t(1) << 30;

TEST(File, ReadPastTheEndAnswersZeroAndLeavesTheRestOfTheBuffer) {
    ScratchDir dir;
    std::string data(65536, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7 + 1);
    WriteAll(dir / "f", data);

    ZORBasFile f;
    ASSERT_EQ(f.OpenRead((dir / "f").c_str(), ZORBasFile::SharingDefault), 0);
    std::vector<char> buf(70000, '#');
    EXPECT_EQ(f.Read(buf.data(), buf.size()), 0);
    EXPECT_EQ(std::string(buf.data(), 65536), data);
    EXPECT_EQ(std::string(buf.data() + 65536, 70000 - 65536), std::string(70000 - 65536, '#'));
    buf.assign(10, '#');
    EXPECT_EQ(f.Read(buf.data(), 10), 0);  // at the end: nothing comes, nothing changes
    EXPECT_EQ(std::string(buf.data(), 10), std::string(10, '#'));
}

TEST(File, ReadOnlyRefusesWritesAndTruncationButFlushes) {
    ScratchDir dir;
    WriteAll(dir / "f", "original");
    ZORBasFile f;
    ASSERT_EQ(f.OpenRead((dir / "f").c_str(), ZORBasFile::SharingDefault), 0);
    EXPECT_TRUE(f.IsReadOnly());
    EXPECT_EQ(f.Write("xx", 2), -1);
    EXPECT_EQ(f.Truncate(3), -1);
    EXPECT_EQ(f.Flush(), 0);
    size_t size = 0;
    EXPECT_EQ(f.FileSize(size), 0);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(ReadAll(dir / "f"), "original");
}

TEST(File, WriteSeekTruncateAndReadBackAcrossSteps) {
    ScratchDir dir;
    const std::string name = dir / "f";
    std::string data(3 * 65536 + 123, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i % 251);
    {
        ZORBasFile f;
        ASSERT_EQ(f.OpenWrite(name.c_str(), ZORBasFile::SharingDefault), 0);
        EXPECT_FALSE(f.IsReadOnly());
        EXPECT_STREQ(f.FileName().CStr(), name.c_str());
        ASSERT_EQ(f.Write(data.data(), data.size()), 0);
        ASSERT_EQ(f.Seek(65530), 0);
        ASSERT_EQ(f.Write("ABCDEFGHIJKL", 12), 0);  // across the first step's end
        data.replace(65530, 12, "ABCDEFGHIJKL");
        EXPECT_EQ(f.Flush(), 0);
        size_t size = 0;
        ASSERT_EQ(f.FileSize(size), 0);
        EXPECT_EQ(size, data.size());

        std::string back(data.size(), '\0');
        ASSERT_EQ(f.Seek(0), 0);
        ASSERT_EQ(f.Read(back.data(), back.size()), 0);
        EXPECT_EQ(back, data);

        ASSERT_EQ(f.Truncate(100), 0);
        ASSERT_EQ(f.Write("z", 1), 0);  // Truncate leaves the position at the new end
        ASSERT_EQ(f.FileSize(size), 0);
        EXPECT_EQ(size, 101u);
    }  // the destructor closes
    EXPECT_EQ(ReadAll(name), data.substr(0, 100) + "z");

    ZORBasFile again;
    ASSERT_EQ(again.OpenUpdate(name.c_str(), ZORBasFile::SharingDefault), 0);
    EXPECT_EQ(again.Write("Q", 1), 0);
    EXPECT_EQ(again.Close(), 0);
    EXPECT_FALSE(again.IsOpen());
    EXPECT_EQ(again.Close(), -1);
    EXPECT_EQ(ReadAll(name), "Q" + data.substr(1, 99) + "z");  // update keeps the rest

    ASSERT_EQ(again.OpenWrite(name.c_str(), ZORBasFile::SharingDefault), 0);
    size_t size = 1;
    EXPECT_EQ(again.FileSize(size), 0);
    EXPECT_EQ(size, 0u);  // write replaces
}

TEST(File, MissingFilesAreNotCreatedByReadOrUpdate) {
    ScratchDir dir;
    ZORBasFile f;
    errno = 0;
    EXPECT_EQ(f.OpenRead((dir / "none").c_str(), ZORBasFile::SharingDefault), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(f.OpenUpdate((dir / "none").c_str(), ZORBasFile::SharingDefault), -1);
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(f.OpenWrite((dir / "no/such/dir").c_str(), ZORBasFile::SharingDefault), -1);
    EXPECT_EQ(access((dir / "none").c_str(), F_OK), -1);
    size_t size = 0;
    EXPECT_EQ(f.FileSize(size), -1);
    EXPECT_EQ(size, ~size_t(0));
}

TEST(File, SizesAndPositionsUseAll64Bits) {
    ScratchDir dir;
    ZORBasFile f;
    ASSERT_EQ(f.OpenWrite((dir / "sparse").c_str(), ZORBasFile::SharingDefault), 0);
    const size_t far = 4 * kGiB + 5;  // a sparse file: no disk space behind the hole
    ASSERT_EQ(f.Seek(far), 0);
    ASSERT_EQ(f.Write("end", 3), 0);
    size_t size = 0;
    ASSERT_EQ(f.FileSize(size), 0);
    EXPECT_EQ(size, far + 3);
    char back[4] = {};
    ASSERT_EQ(f.Seek(far), 0);
    ASSERT_EQ(f.Read(back, 3), 0);
    EXPECT_STREQ(back, "end");
    ASSERT_EQ(f.Truncate(5 * kGiB), 0);
    ASSERT_EQ(f.FileSize(size), 0);
    EXPECT_EQ(size, 5 * kGiB);
}

// A child that opens `name` in one of the three forms and exits 0 when that worked, 2 when it
// was refused for sharing (EBUSY), and 1 otherwise.
enum Form { Write, Read, Update };
int OpenInChild(const std::string& name, Form form, ZORBasFile::Sharing sharing) {
    pid_t pid = fork();
    if (pid == 0) {
        ZORBasFile f;
        int r = form == Write  ? f.OpenWrite(name.c_str(), sharing)
                : form == Read ? f.OpenRead(name.c_str(), sharing)
                               : f.OpenUpdate(name.c_str(), sharing);
        _exit(r == 0 ? 0 : errno == EBUSY ? 2 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(File, ShareModesHoldBetweenProcesses) {
    ScratchDir dir;
    const std::string name = dir / "shared";
    using S = ZORBasFile;
    struct Case {
        Form held;
        S::Sharing heldSharing;
        Form tried;
        S::Sharing triedSharing;
        int expect;  // exit code of the child: 0 opened, 2 refused for sharing
    };
    const Case cases[] = {
        // A writer that shares reading only.
        {Write, S::SharingDefault, Read, S::SharingDefault, 0},
        {Write, S::SharingDefault, Read, S::SharingRead, 2},  // the reader won't share writing
        {Write, S::SharingDefault, Update, S::SharingReadWrite, 2},
        {Write, S::SharingDefault, Write, S::SharingReadWrite, 2},
        // A writer that shares everything.
        {Write, S::SharingReadWrite, Update, S::SharingReadWrite, 0},
        {Write, S::SharingReadWrite, Update, S::SharingDefault, 2},  // would deny the writer
        {Write, S::SharingReadWrite, Read, S::SharingDefault, 0},
        // A reader that shares reading only.
        {Read, S::SharingRead, Read, S::SharingRead, 0},
        {Read, S::SharingRead, Update, S::SharingReadWrite, 2},
        // A reader that shares everything.
        {Read, S::SharingDefault, Update, S::SharingReadWrite, 0},
        {Read, S::SharingDefault, Write, S::SharingDefault, 0},
        // An updater behaves as a writer.
        {Update, S::SharingDefault, Read, S::SharingDefault, 0},
        {Update, S::SharingDefault, Update, S::SharingDefault, 2},
    };
    for (const Case& c : cases) {
        WriteAll(name, "contents");
        ZORBasFile held;
        ASSERT_EQ(c.held == Write  ? held.OpenWrite(name.c_str(), c.heldSharing)
                  : c.held == Read ? held.OpenRead(name.c_str(), c.heldSharing)
                                   : held.OpenUpdate(name.c_str(), c.heldSharing),
                  0);
        if (c.held == Write) {
            ASSERT_EQ(held.Write("contents", 8), 0);
        }
        EXPECT_EQ(OpenInChild(name, c.tried, c.triedSharing), c.expect)
            << "held form " << c.held << " sharing " << c.heldSharing << ", tried form " << c.tried
            << " sharing " << c.triedSharing;
        if (c.expect == 2) {
            EXPECT_EQ(ReadAll(name), "contents");  // a refused write didn't empty it
        }
        ASSERT_EQ(held.Close(), 0);
        EXPECT_EQ(OpenInChild(name, c.tried, c.triedSharing), 0) << "after the holder closed";
    }
}

TEST(File, AWriteBeyondTheSizeLimitLeavesTheFileAsBefore) {
    ScratchDir dir;
    const std::string name = dir / "limited";
    WriteAll(name, std::string(50000, 'a'));
    pid_t pid = fork();
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {100000, 100000};
        setrlimit(RLIMIT_FSIZE, &limit);
        ZORBasFile f;
        if (f.OpenUpdate(name.c_str(), ZORBasFile::SharingDefault) != 0) _exit(10);
        if (f.Seek(50000) != 0) _exit(11);
        std::string big(200000, 'b');
        if (f.Write(big.data(), big.size()) != -1) _exit(12);
        if (errno != EFBIG) _exit(13);
        size_t size = 0;
        if (f.FileSize(size) != 0 || size != 50000) _exit(14);
        if (f.Write("cc", 2) != 0) _exit(15);  // the position went back to where it was
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "10 open, 11 seek, 12 write answered, 13 errno, "
                                         "14 size after the failure, 15 position";
    EXPECT_EQ(ReadAll(name), std::string(50000, 'a') + "cc");
}

TEST(FileID, OneFileUnderTwoNamesIsOneKey) {
    ScratchDir dir;
    WriteAll(dir / "a", "1");
    WriteAll(dir / "b", "2");
    ASSERT_EQ(link((dir / "a").c_str(), (dir / "hard").c_str()), 0);
    const ZORBasFileID a(ZORString((dir / "a").c_str()));
    const ZORBasFileID hard(ZORString((dir / "hard").c_str()));
    const ZORBasFileID dotted(ZORString((dir.path() + "/./a").c_str()));
    const ZORBasFileID b(ZORString((dir / "b").c_str()));

    struct stat st;
    ASSERT_EQ(stat((dir / "a").c_str(), &st), 0);
    EXPECT_EQ(a.IndexLow(), static_cast<uint32_t>(st.st_ino));
    EXPECT_EQ(a.VolumeSerial(), static_cast<uint32_t>(st.st_dev));

    std::map<ZORBasFileID, int> opened;
    ++opened[a];
    ++opened[hard];
    ++opened[dotted];
    ++opened[b];
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[a], 3);
    EXPECT_TRUE((a < b) != (b < a));
}

TEST(FileID, AMissingFileSaysSoAndKeepsItsFields) {
    testing::internal::CaptureStdout();
    const ZORBasFileID missing(ZORString("/tmp/zorbas-no-such-file/x"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ZORBasFileID file hand invalid\n");
    EXPECT_EQ(missing.VolumeSerial(), 0u);
    EXPECT_EQ(missing.IndexHigh(), 0u);
    EXPECT_EQ(missing.IndexLow(), 0u);
}

}  // namespace

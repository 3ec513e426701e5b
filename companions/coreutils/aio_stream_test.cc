#include "companions/coreutils/aio_stream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string WriteTemp(const std::string& text) {
    char path[] = "/tmp/aio_stream_testXXXXXX";
    int fd = mkstemp(path);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(fd);
    return path;
}

}  // namespace

TEST(InputStream, ReadsLinesWithoutTheirEnds) {
    std::string path = WriteTemp("first\r\n\nthird line\n" + std::string(100, 'L') + "\nlast");
    aio_ifstream in;
    in.open(path.c_str());
    ASSERT_TRUE(in.is_open());
    std::vector<std::string> lines;
    char buf[16];
    while (in.getline(buf, sizeof buf)) lines.push_back(buf);
    EXPECT_EQ(lines,
              (std::vector<std::string>{"first", "", "third line", std::string(15, 'L'), "last"}));
    EXPECT_TRUE(in.eof());
    EXPECT_TRUE(in.fail());
    EXPECT_STREQ(buf, "");
    in.close();
    EXPECT_FALSE(in.is_open());
    in.close();  // twice is harmless
    unlink(path.c_str());
}

TEST(InputStream, AFileEndingInANewlineHasNoExtraLine) {
    std::string path = WriteTemp("a\nb\n");
    aio_ifstream in(path.c_str());
    char buf[8];
    int n = 0;
    while (in.getline(buf, sizeof buf)) ++n;
    EXPECT_EQ(n, 2);
    in.open(path.c_str());  // reopening starts afresh
    ASSERT_TRUE(in.getline(buf, sizeof buf));
    EXPECT_STREQ(buf, "a");
    EXPECT_EQ(in.gcount(), 1);
    unlink(path.c_str());
}

TEST(InputStream, AMissingFileFailsAtOnce) {
    aio_ifstream in("/nonexistent/dir/file.xml");
    EXPECT_FALSE(in.is_open());
    EXPECT_TRUE(in.fail());
    char buf[8] = "x";
    EXPECT_FALSE(in.getline(buf, sizeof buf));
    EXPECT_STREQ(buf, "");
    aio_ios none;
    EXPECT_FALSE(none.is_open());
    none.close();
}

TEST(OutputStream, WidthAppliesToTheNextItemOnly) {
    char* text = nullptr;
    size_t size = 0;
    FILE* mem = open_memstream(&text, &size);
    {
        aio_ostream out(mem);
        aio_setwidth(out, 5) << 42;
        out << "|" << 7 << '|' << 1.5 << "|" << 12345678901ULL;
        out.flush();
        EXPECT_STREQ(text, "   42|7|1.5|12345678901");
    }  // a borrowed C stream is not closed by the stream
    std::fputs("!", mem);
    std::fclose(mem);
    EXPECT_STREQ(text, "   42|7|1.5|12345678901!");
    std::free(text);
}

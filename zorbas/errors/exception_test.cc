// The exception family, the system error table and the replaceable exception factory.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "zorbas/errors/ZORBasUtlException.h"

namespace {

TEST(ExceptionFamily, CodesAndTexts) {
    ZORBasUtlReadError read{ZORBasSystemError(ENOENT)};
    ZORBasUtlShortRead shortRead;
    ZORBasUtlSystemError system("open", ZORBasSystemError(EACCES));
    ZORBasUtlSystemErrorException sec{cow_SystemErrorCode(omi_SystemErrorCode(10054, 0))};
    ZORBasUtlWriteError write{ZORBasSystemError(ENOSPC)};
    ZORBasUtlShortWrite shortWrite;
    const ZORBasException* all[] = {&read, &shortRead, &system, &sec, &write, &shortWrite};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(all[i]->GetCode(), 303 + i);
    auto m = ZORBasStringModeUTF8;
    EXPECT_STREQ(read.AsString(m), "Read Error: No such file or directory");
    EXPECT_STREQ(shortRead.AsString(m), "All the data requested could not be read.");
    EXPECT_STREQ(system.AsString(m), "System Error open: Permission denied");
    EXPECT_STREQ(sec.AsString(m), "System Error: WSAECONNRESET (10054) Connection reset by peer.");
    EXPECT_STREQ(write.AsString(m), "Write Error: No space left on device");
    EXPECT_STREQ(shortWrite.AsString(m), "All the data provided to write could not be written.");
    EXPECT_STREQ(system.GetServiceName(), "open");
    EXPECT_EQ(read.GetSystemErrorCode().Code(), ENOENT);

    // The service name is an argument of the text, never part of its format.
    ZORBasUtlSystemError odd("fopen %s", ZORBasSystemError(EACCES));
    EXPECT_STREQ(odd.AsString(m), "System Error fopen %s: Permission denied");
    ZORBasUtlSystemError percent("%1%2", ZORBasSystemError(ENOENT));
    EXPECT_STREQ(percent.AsString(m), "System Error %1%2: No such file or directory");
}

TEST(ExceptionFamily, PropagateThrowsTheMostDerivedCopyAndCloneCopies) {
    ZORBasUtlWriteError write{ZORBasSystemError(EIO)};
    const ZORBasException& base = write;
    EXPECT_THROW(base.Propagate(), ZORBasUtlWriteError);
    ZORBasException* copy = base.Clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetCode(), 307);
    delete copy;
}

TEST(SystemErrorCode, TableHitsMissesAndRuntimeNumbers) {
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(10004, 0)).GetText(),
              "WSAEINTR (10004) Interrupted function call.");
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(11004, 0)).GetText(),
              "WSANO_DATA (11004) Valid name, no data record of requested type.");
    // Between rows and outside the table: the system's own text.
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(ENOENT, 0)).GetText(), std::strerror(ENOENT));
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(10005, 0)).GetText(), std::strerror(10005));
    EXPECT_EQ(cow_SystemErrorCode(omi_SystemErrorCode(-1, EBADF)).GetText(), std::strerror(EBADF));
    errno = EPIPE;
    cow_SystemErrorCode runtime(ErrorCodeRuntime);
    EXPECT_EQ(runtime.SystemCode(), -1);
    EXPECT_EQ(runtime.GetText(), std::strerror(EPIPE));
}

struct CountingFactory : ZORBasUtlExceptionFactory {
    static inline int destroyed = 0;
    ~CountingFactory() override { ++destroyed; }
    [[noreturn]] void throwSystemErrorException(cow_SystemErrorCode code) override {
        throw code.SystemCode();
    }
};

TEST(ExceptionModel, ReplaceableFactoryAndSetBehaviorFreesTheOldOne) {
    EXPECT_THROW(ZORBasUtlExceptionModel::throwSystemErrorException(
                     cow_SystemErrorCode(omi_SystemErrorCode(10061, 0))),
                 ZORBasUtlSystemErrorException);
    CountingFactory::destroyed = 0;
    EXPECT_TRUE(ZORBasUtlExceptionModel::setBehavior(new CountingFactory));
    EXPECT_THROW(ZORBasUtlExceptionModel::throwSystemErrorException(
                     cow_SystemErrorCode(omi_SystemErrorCode(42, 0))),
                 int);
    EXPECT_TRUE(ZORBasUtlExceptionModel::setBehavior(new CountingFactory));
    EXPECT_EQ(CountingFactory::destroyed, 1);
    ZORBasUtlExceptionModel::setBehavior(new ZORBasUtlExcDefaultFactory);
    EXPECT_EQ(CountingFactory::destroyed, 2);
    try {
        ZORBasUtlExceptionModel::throwSystemErrorException(
            cow_SystemErrorCode(omi_SystemErrorCode(10061, 0)));
    } catch (const ZORBasUtlSystemErrorException& e) {
        EXPECT_STREQ(e.File(), "ZORBase/ZORBasUtils.m/src/ZORBasUtlExcDefaultFactory");
        EXPECT_EQ(e.GetSec().SystemCode(), 10061);
    }
}

}  // namespace

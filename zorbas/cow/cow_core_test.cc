// The counted holder and the write barrier, proved with an element type that counts its copies.
#include <gtest/gtest.h>

#include "zorbas/cow/ZORBasCowAllocator.h"
#include "zorbas/cow/cow_COW.h"
#include "zorbas/base/omi_Singleton.h"

namespace {

struct Counted {
    static inline int copies = 0;
    static inline int live = 0;
    int value;
    explicit Counted(int v) : value(v) { ++live; }
    Counted(const Counted& o) : value(o.value) {
        ++copies;
        ++live;
    }
    ~Counted() { --live; }
};

class CowCore : public ::testing::Test {
  protected:
    void SetUp() override { Counted::copies = Counted::live = 0; }
    void TearDown() override { EXPECT_EQ(Counted::live, 0) << "a referent leaked"; }
};

TEST_F(CowCore, GetOnAnExclusiveHandleReturnsTheSameReferent) {
    cow_COW<Counted> a(Counted(1));
    int copiesBefore = Counted::copies;
    Counted* before = a.GetPtr();
    EXPECT_EQ(&a.Get(), before);
    EXPECT_EQ(Counted::copies, copiesBefore);
}

TEST_F(CowCore, GetOnASharedHandleCopiesOnceAndLeavesTheOtherAlone) {
    cow_COW<Counted> a(Counted(1));
    cow_COW<Counted> b = a;
    int copiesBefore = Counted::copies;
    EXPECT_EQ(a.References(), 2);
    EXPECT_EQ(a.GetPtr(), b.GetPtr()) << "a copy shares";
    b.Get().value = 2;
    EXPECT_EQ(Counted::copies, copiesBefore + 1);
    EXPECT_NE(a.GetPtr(), b.GetPtr());
    EXPECT_EQ(a.ConstGet().value, 1);
    EXPECT_EQ(b.ConstGet().value, 2);
    EXPECT_EQ(a.References(), 1) << "the old referent's count fell by one";
    EXPECT_EQ(b.References(), 1);
    b.Get();  // now alone: no further copy
    EXPECT_EQ(Counted::copies, copiesBefore + 1);
}

TEST_F(CowCore, ConstGetNeverCopies) {
    cow_COW<Counted> a(Counted(5));
    cow_COW<Counted> b = a;
    int copiesBefore = Counted::copies;
    EXPECT_EQ(b.ConstGet().value, 5);
    EXPECT_EQ(Counted::copies, copiesBefore);
    EXPECT_EQ(a.References(), 2);
}

TEST_F(CowCore, SelfAssignmentKeepsTheCount) {
    cow_COW<Counted> a(Counted(1));
    cow_COW<Counted> b = a;
    cow_COW<Counted>& alias = a;
    a = alias;
    EXPECT_EQ(a.References(), 2);
    EXPECT_EQ(a.ConstGet().value, 1);
}

TEST_F(CowCore, AssignmentMovesBetweenGroupsAndFreesTheLastReferent) {
    cow_COW<Counted> a(Counted(1));
    cow_COW<Counted> b(Counted(2));
    EXPECT_EQ(Counted::live, 2);
    a = b;  // a's old referent had one holder: it goes
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ(b.References(), 2);
    EXPECT_EQ(a.ConstGet().value, 2);
}

TEST_F(CowCore, PointerAssignmentLeavesASharedGroupOrReplacesAnExclusiveReferent) {
    cow_COW<Counted> a(Counted(1));
    cow_COW<Counted> b = a;
    a = cow_New<Counted>(3);  // shared: a leaves with a new counter, b keeps the old referent
    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(b.References(), 1);
    EXPECT_EQ(b.ConstGet().value, 1);
    EXPECT_EQ(Counted::live, 2);
    a = cow_New<Counted>(4);  // exclusive: the old referent is deleted
    EXPECT_EQ(Counted::live, 2);
    EXPECT_EQ(a.ConstGet().value, 4);
}

TEST_F(CowCore, NullHoldersCopyAndCompare) {
    cow_COW<Counted> empty;
    EXPECT_TRUE(empty.IsNull());
    cow_COW<Counted> other = empty;
    EXPECT_TRUE(other.IsNull());
    EXPECT_EQ(empty.References(), 2);
}

TEST_F(CowCore, HandleCopiesAllocateNothing) {
    cow_COW<Counted> a(Counted(1));
    size_t before = mem_LiveBlocks();
    {
        cow_COW<Counted> b = a;
        cow_COW<Counted> c = b;
        EXPECT_EQ(mem_LiveBlocks(), before);
    }
}

TEST(CowCounter, SetCounterReportsOnlyAChange) {
    cow_IntrusiveCountedBase base;
    cow_Counter first, second;
    ::testing::internal::CaptureStderr();
    base.SetCounter(&first);
    base.SetCounter(&first);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ::testing::internal::CaptureStderr();
    base.SetCounter(&second);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ERROR: Resetting counter on cow_IntrusiveCountedBase\n");
    EXPECT_EQ(base.GetCounter(), &second);
}

TEST(CowCounter, DecrementSaysWhenTheLastReferenceWent) {
    cow_Counter c;
    EXPECT_EQ(c.References(), 1);
    c.Increment();
    EXPECT_FALSE(c.Decrement());
    EXPECT_TRUE(c.Decrement());
}

TEST(CowTrackingAllocator, CountsInTheContainersPoolAndActivatesIt) {
    ZORBasCowTrackingAllocator alloc;
    ZORBasMemPoolCow& pool = omi_Singleton<ZORBasMemPoolCow>::Instance();
    EXPECT_TRUE(pool.Active());
    size_t before = alloc.MemoryCurrent();
    void* p = alloc.allocate(1000);
    EXPECT_EQ(alloc.MemoryCurrent(), before + 1000);
    EXPECT_GE(alloc.MemoryPeak(), before + 1000);
    alloc.deallocate(p, 1000);
    EXPECT_EQ(alloc.MemoryCurrent(), before);
    ZORBasCowTrackingAllocator other;
    other = alloc;  // copies the pool over itself: nothing changes
    EXPECT_EQ(other.PoolID(), alloc.PoolID());
    EXPECT_STREQ(other.PoolName(), "Cow");
    EXPECT_EQ(other.MemoryCurrent(), before);
}

}  // namespace

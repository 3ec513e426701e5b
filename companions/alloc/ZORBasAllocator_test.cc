#include "companions/alloc/ZORBasAllocator.h"

#include <gtest/gtest.h>

#include <set>

namespace {

// A source that counts what it hands out and records its own end.
class CountingSource : public ZORBasAllocatorBase {
  public:
    explicit CountingSource(bool* ended) : m_ended(ended) {}
    ~CountingSource() override { *m_ended = true; }
    void* Alloc(size_t size) override {
        void* p = mem_OperatorNewThrow(size);
        live.insert(p);
        return p;
    }
    void Free(void* block) override {
        EXPECT_EQ(live.erase(block), 1u) << "a block this source never gave";
        mem_Free(block);
    }
    std::set<void*> live;

  private:
    bool* m_ended;
};

}  // namespace

TEST(AllocatorHandle, TheLastHandleEndsTheSource) {
    bool ended = false;
    auto* source = new CountingSource(&ended);
    {
        ZORBasAllocator a(source);
        ZORBasAllocator b(a);
        ZORBasAllocator c(ZORBasAllocatorBase::Heap());
        c = b;
        ZORBasAllocator& alias = c;
        c = alias;  // self-assignment keeps the source alive
        void* p = c.Alloc(10);
        EXPECT_EQ(source->live.size(), 1u);
        size_t given = 0;
        void* q = a.Alloc(7, given);
        EXPECT_EQ(given, 7u);
        a.Free(p);
        b.Free(q);
        EXPECT_TRUE(source->live.empty());
        EXPECT_EQ(a.LargeBlockAllocator().Source(), source);  // no large source: itself
    }
    EXPECT_TRUE(ended);
    ZORBasAllocator none(nullptr);
    EXPECT_THROW(none.Alloc(1), std::bad_alloc);
}

TEST(MemAllocator, LargeBlocksGoToTheLargeSourceAndReturnThere) {
    bool ended = false;
    auto* large = new CountingSource(&ended);
    auto* mem = new ZORBasMemAllocator;
    ZORBasAllocator handle(mem);
    size_t base = mem_Footprint();

    size_t given = 0;
    void* small = mem->Alloc(100, given);
    EXPECT_EQ(given, 100u);
    void* bigBefore = mem->Alloc(ZORBasMemAllocator::LargeBlockThreshold());
    EXPECT_EQ(handle.LargeBlockAllocator().Source(), mem);

    mem->LargeBlockAllocator(ZORBasAllocator(large));
    EXPECT_EQ(handle.LargeBlockAllocator().Source(), large);
    void* big = mem->allocate(ZORBasMemAllocator::LargeBlockThreshold() + 1, nullptr);
    EXPECT_EQ(large->live.count(big), 1u);
    int* ints = mem->AllocInt(10);
    double* doubles = mem->AllocDouble(3);
    ints[9] = 1;
    doubles[2] = 1.5;
    EXPECT_TRUE(large->live.count(ints) == 0 && large->live.count(doubles) == 0);

    mem->deallocate(big, ZORBasMemAllocator::LargeBlockThreshold() + 1);
    EXPECT_TRUE(large->live.empty());
    mem->Free(bigBefore);  // made before the routing: back to the heap
    mem->Free(small);
    mem->Free(ints);
    handle.Free(doubles);
    EXPECT_EQ(mem_Footprint(), base);
    EXPECT_THROW(mem->AllocInt(-1), std::bad_alloc);
}

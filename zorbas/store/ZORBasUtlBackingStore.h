// Numbered blocks of memory, more of them than may stay in memory at once, kept against a scratch
// file of the store's own. A caller creates a block once, then works on it between Access (or
// AccessConst) and Release. When the blocks in memory pass the limit, the least recently released
// go out: to the file at once when the priority is negative, otherwise to the process's cache
// manager, which writes and frees them when it decides (possibly on another thread) and hands back
// what it did not free. A block read back has the bytes last written. The file is created (or
// replaced) by the constructor and removed by the destructor; its positions are 32-bit, so one
// store holds at most 2 GiB of blocks.
//
// Costs: Access of a block in memory is a map lookup and a few links under the store lock; a
// purged block costs one read of its size; a purge writes only dirty blocks (Access marks a block
// dirty, AccessConst does not). Every public operation but GetStatistics holds the store lock;
// reads and writes of the file hold the file lock, always taken after the store lock.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>

#include "companions/alloc/ZORBasAllocator.h"
#include "companions/coreutils/ZORBasAtiLock.h"
#include "companions/coreutils/ZORBasCam.h"
#include "companions/coreutils/ZORString.h"
#include "zorbas/memory/ZORBasMemStdAllocator.h"

class ZORBAS_API ZORBasUtlBackingStore : public mem_AllocationOperators {
  public:
    // Creates the scratch file `name`, replacing what is there. `priority` is the cache priority
    // (negative: purged blocks go straight to the file). Throws ZORBasUtlSystemError with the
    // service name "CreateFile" when the file can't be created.
    ZORBasUtlBackingStore(const ZORString& name, size_t memoryLimit, int priority);
    ~ZORBasUtlBackingStore();
    ZORBasUtlBackingStore(const ZORBasUtlBackingStore&) = delete;
    ZORBasUtlBackingStore& operator=(const ZORBasUtlBackingStore&) = delete;

    // A new block of `size` bytes; it has no memory and no place in the file until first used.
    // An identifier made twice is a contract violation.
    void Create(int id, size_t size);
    // The block, pinned and marked dirty; a block never written reads as zeros. May purge others
    // and throw the file's read or write errors; a block is never lost by a throw.
    void* Access(int id);
    // As Access, but not marked dirty; a block that has never been purged and has no memory can't
    // be read (contract violation).
    const void* AccessConst(int id);
    // Unpins the block: it becomes the most recently released. Pins aren't counted: one Release
    // frees a block pinned twice, and releasing a released block is the caller's fault.
    void Release(int id);
    // inMemory: bytes counted against the limit (pinned and released blocks); allocated and
    // blocksInMemory: bytes and number of the blocks holding memory, the cache manager's
    // included; blocks: all blocks. Takes no lock: exact while no other thread creates blocks.
    void GetStatistics(size_t& inMemory, size_t& allocated, int& blocksInMemory, int& blocks) const;
    // Transfers with the file since the store was made (reads of blocks, writes of blocks).
    void GetTransfers(long long& reads, long long& writes) const;

    // A block as the cache manager sees it. Internal to the store but for FreeBulkData, which the
    // manager calls, perhaps from another thread, with the file lock as the only lock it needs.
    class ZORBAS_API MemoryItem : public ZORBasCamMemoryItem {
      public:
        MemoryItem();
        MemoryItem(int id, int file, ZORBasAllocator& allocator, size_t size,
                   ZORBasAtiMutex* fileLock);
        ~MemoryItem() override;
        size_t FreeBulkData() override;
        size_t AllocSize() const override { return mAllocSize.load(std::memory_order_relaxed); }
        size_t BulkSize() const override { return mSize; }

      private:
        friend class ZORBasUtlBackingStore;
        void Allocate();
        void Delete();
        void Load();
        void Flush();
        void Zero();
        void Seek(long position);
        void Read(char* buffer, size_t bytes);
        void Write(char* buffer, size_t bytes);

        int mId = 0;
        int mFile = -1;
        ZORBasAllocator mAllocator{nullptr};  // the large-block source, copied once
        void* mData = nullptr;
        bool mStoreAllocated = false;
        long mPosition = 0;
        size_t mSize = 0;
        std::atomic<size_t> mAllocSize{0};  // read without the store lock by GetStatistics
        bool mDirty = false;
        bool mInCache = false;
        ZORBasAtiMutex* mFileLock = nullptr;
        std::atomic<long long>* mReads = nullptr;
        std::atomic<long long>* mWrites = nullptr;
    };

  private:
    void Open();
    void Close();
    void Pin(MemoryItem* item);
    void UnPin(MemoryItem* item);
    void Activate(MemoryItem* item);
    void Purge();
    MemoryItem* Find(int id);
    // Gives a block without memory its memory: read from the file, or zeros when it has no place.
    void Bring(MemoryItem* item);

    using ItemMap = std::map<int, MemoryItem*, std::less<int>,
                             ZORBasMemStdAllocator<std::pair<const int, MemoryItem*>>>;

    ZORString mName;
    int mFile = -1;
    int mPriority;
    size_t mMemoryLimit;
    ZORBasAllocator mAllocator;
    long mNextOffset = 0;
    size_t mInMemory = 0;
    MemoryItem* mFreeHead;
    MemoryItem* mFreeTail;
    ItemMap mItemMap;
    ZORBasAtiMutex* mStoreLock;
    ZORBasAtiMutex* mFileLock;
    std::atomic<long long> mReads{0};
    std::atomic<long long> mWrites{0};
};

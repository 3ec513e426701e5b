#include "zorbas/store/ZORBasUtlBackingStore.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <vector>

#include "companions/framework/PLXFatalError.h"
#include "zorbas/base/ZORBasAtiGlobalSingleton.h"
#include "zorbas/errors/ZORBasUtlException.h"

#define STORE_FILE "ZORBase/ZORBasUtils.m/src/ZORBasUtlBackingStore"

// A contract check of the store, reported with the store's own text.
#define STORE_ASSERT(ok, text)                                                            \
    do {                                                                                  \
        if (!(ok)) {                                                                      \
            ZORBasBexAssertFormalize();                                                   \
            PLXFatalError("AssertionFailed:" text, nullptr, nullptr, nullptr, STORE_FILE, \
                          __LINE__);                                                      \
        }                                                                                 \
    } while (0)

namespace {

using Guard = std::lock_guard<ZORBasAtiMutex>;

ZORBasCamCacheManager* CacheManager() {
    return ZORBasAtiGlobalSingleton<ZORBasCamCacheManager>::Instance();
}

// The store's only contact with the operating system's files, kept in one place so that the
// library's file class can take its place.
namespace scratch {
int Create(const char* path) {
    int fd = ::open(path, O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0) posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    return fd;
}
long Seek(int fd, long position) { return static_cast<long>(::lseek(fd, position, SEEK_SET)); }
ssize_t Read(int fd, char* buffer, size_t bytes) { return ::read(fd, buffer, bytes); }
ssize_t Write(int fd, const char* buffer, size_t bytes) { return ::write(fd, buffer, bytes); }
void Close(int fd) { ::close(fd); }
void Remove(const char* path) { ::unlink(path); }
}  // namespace scratch

// The scratch file's name in the locale encoding.
std::vector<char> LocalePath(const ZORString& name) {
    size_t size = 0;
    name.ConvertToLocale(nullptr, &size);
    std::vector<char> path(size + 1);
    size = path.size();
    name.ConvertToLocale(path.data(), &size);
    return path;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// MemoryItem

ZORBasUtlBackingStore::MemoryItem::MemoryItem() = default;

ZORBasUtlBackingStore::MemoryItem::MemoryItem(int id, int file, ZORBasAllocator& allocator,
                                              size_t size, ZORBasAtiMutex* fileLock)
    : mId(id),
      mFile(file),
      mAllocator(allocator.LargeBlockAllocator()),
      mSize(size),
      mFileLock(fileLock) {}

ZORBasUtlBackingStore::MemoryItem::~MemoryItem() { Delete(); }

void ZORBasUtlBackingStore::MemoryItem::Allocate() {
    size_t given = 0;
    mData = mAllocator.Alloc(mSize, given);
    mAllocSize.store(given, std::memory_order_relaxed);
}

void ZORBasUtlBackingStore::MemoryItem::Delete() {
    if (mData) mAllocator.Free(mData);
    mData = nullptr;
    mAllocSize.store(0, std::memory_order_relaxed);
}

void ZORBasUtlBackingStore::MemoryItem::Zero() { std::memset(mData, 0, mSize); }

void ZORBasUtlBackingStore::MemoryItem::Load() {
    Guard guard(*mFileLock);
    Seek(mPosition);
    Read(static_cast<char*>(mData), mSize);
    mDirty = false;
    if (mReads) mReads->fetch_add(1, std::memory_order_relaxed);
}

void ZORBasUtlBackingStore::MemoryItem::Flush() {
    if (!mDirty) return;
    Guard guard(*mFileLock);
    Seek(mPosition);
    Write(static_cast<char*>(mData), mSize);
    mDirty = false;
    if (mWrites) mWrites->fetch_add(1, std::memory_order_relaxed);
}

size_t ZORBasUtlBackingStore::MemoryItem::FreeBulkData() {
    Flush();
    if (!mData) return 0;
    size_t freed = AllocSize();
    Delete();
    return freed;
}

void ZORBasUtlBackingStore::MemoryItem::Seek(long position) {
    errno = 0;
    if (scratch::Seek(mFile, position) == -1L && errno != 0)
        ZORBasUtlSystemError("SetFilePointer", ZORBasSystemError(errno))
            .Throw(STORE_FILE, __LINE__);
}

namespace {
// Moves all `bytes` with `transfer` (a read or a write of the file), resuming after a partial
// transfer or an interrupt; a failure throws `Failed`, a transfer of nothing `Short`.
template <class Failed, class Short, class Transfer>
void TransferAll(char* buffer, size_t bytes, Transfer transfer) {
    while (bytes > 0) {
        ssize_t done = transfer(buffer, bytes);
        if (done < 0) {
            if (errno == EINTR) continue;
            Failed(ZORBasSystemError(errno)).Throw(STORE_FILE, __LINE__);
        }
        if (done == 0) Short().Throw(STORE_FILE, __LINE__);
        buffer += done;
        bytes -= static_cast<size_t>(done);
    }
}
}  // namespace

void ZORBasUtlBackingStore::MemoryItem::Read(char* buffer, size_t bytes) {
    TransferAll<ZORBasUtlReadError, ZORBasUtlShortRead>(
        buffer, bytes, [this](char* b, size_t n) { return scratch::Read(mFile, b, n); });
}

void ZORBasUtlBackingStore::MemoryItem::Write(char* buffer, size_t bytes) {
    TransferAll<ZORBasUtlWriteError, ZORBasUtlShortWrite>(
        buffer, bytes, [this](char* b, size_t n) { return scratch::Write(mFile, b, n); });
}

// ---------------------------------------------------------------------------------------------
// The store

ZORBasUtlBackingStore::ZORBasUtlBackingStore(const ZORString& name, size_t memoryLimit,
                                             int priority)
    : mName(name),
      mPriority(priority),
      mMemoryLimit(memoryLimit),
      mAllocator(new ZORBasMemAllocator),
      mFreeHead(new MemoryItem),
      mFreeTail(new MemoryItem),
      mStoreLock(ZORBasAtiThreadingModel::newMutex()),
      mFileLock(ZORBasAtiThreadingModel::newMutex()) {
    mFreeHead->next = mFreeTail;
    mFreeTail->prev = mFreeHead;
    try {
        Open();
    } catch (...) {
        delete mFreeHead;
        delete mFreeTail;
        delete mStoreLock;
        delete mFileLock;
        throw;
    }
}

ZORBasUtlBackingStore::~ZORBasUtlBackingStore() {
    for (auto& [id, item] : mItemMap) {
        STORE_ASSERT(item != 0, "item != 0");
        if (item->mInCache) CacheManager()->RemoveItem(item);
        delete item;
    }
    delete mFreeHead;
    delete mFreeTail;
    Close();
    delete mStoreLock;
    delete mFileLock;
}

void ZORBasUtlBackingStore::Open() {
    std::vector<char> path = LocalePath(mName);
    mFile = scratch::Create(path.data());
    if (mFile < 0)
        ZORBasUtlSystemError("CreateFile", ZORBasSystemError(errno)).Throw(STORE_FILE, __LINE__);
}

void ZORBasUtlBackingStore::Close() {
    scratch::Close(mFile);
    mFile = -1;
    scratch::Remove(LocalePath(mName).data());
}

ZORBasUtlBackingStore::MemoryItem* ZORBasUtlBackingStore::Find(int id) {
    auto place = mItemMap.find(id);
    STORE_ASSERT(place != mItemMap.end(), "place != mItemMap.end()");
    MemoryItem* item = place->second;
    STORE_ASSERT(item != 0, "item != 0");
    return item;
}

void ZORBasUtlBackingStore::Create(int newId, size_t size) {
    Guard guard(*mStoreLock);
    STORE_ASSERT(mItemMap.find(newId) == mItemMap.end(), "mItemMap.find(newId) == mItemMap.end()");
    auto* item = new MemoryItem(newId, mFile, mAllocator, size, mFileLock);
    item->mReads = &mReads;
    item->mWrites = &mWrites;
    mItemMap.emplace(newId, item);
}

void ZORBasUtlBackingStore::Bring(MemoryItem* item) {
    item->Allocate();
    mInMemory += item->AllocSize();
    if (!item->mStoreAllocated) {
        item->Zero();
        return;
    }
    try {
        item->Load();
    } catch (...) {
        // The file keeps the block; it stays purged.
        mInMemory -= item->AllocSize();
        item->Delete();
        throw;
    }
}

void* ZORBasUtlBackingStore::Access(int id) {
    Guard guard(*mStoreLock);
    MemoryItem* item = Find(id);
    Pin(item);
    if (!item->mData) Bring(item);
    if (mInMemory > mMemoryLimit) Purge();
    item->mDirty = true;
    return item->mData;
}

const void* ZORBasUtlBackingStore::AccessConst(int id) {
    Guard guard(*mStoreLock);
    MemoryItem* item = Find(id);
    Pin(item);
    if (!item->mData) {
        STORE_ASSERT(item->mStoreAllocated, "item->mStoreAllocated");
        Bring(item);
    }
    if (mInMemory > mMemoryLimit) Purge();
    return item->mData;
}

void ZORBasUtlBackingStore::Release(int id) {
    Guard guard(*mStoreLock);
    UnPin(Find(id));
}

void ZORBasUtlBackingStore::Pin(MemoryItem* item) {
    if (item->mInCache) {
        // What the manager freed meanwhile comes back without memory and is loaded again.
        CacheManager()->RemoveItem(item);
        item->mInCache = false;
        mInMemory += item->AllocSize();
    } else {
        Activate(item);
    }
}

void ZORBasUtlBackingStore::UnPin(MemoryItem* item) {
    STORE_ASSERT(item != 0, "item != 0");
    STORE_ASSERT(mFreeHead != 0, "mFreeHead != 0");
    item->prev = mFreeHead;
    item->next = mFreeHead->next;
    mFreeHead->next->prev = item;
    mFreeHead->next = item;
}

void ZORBasUtlBackingStore::Activate(MemoryItem* item) {
    if (!item->next && !item->prev) return;
    item->prev->next = item->next;
    item->next->prev = item->prev;
    item->next = item->prev = nullptr;
}

void ZORBasUtlBackingStore::Purge() {
    ZORBasCamMemoryItem* first = nullptr;
    MemoryItem* last = nullptr;
    while (mFreeTail->prev != mFreeHead) {
        auto* item = static_cast<MemoryItem*>(mFreeTail->prev);
        Activate(item);
        mInMemory -= item->AllocSize();
        if (!item->mStoreAllocated) {
            STORE_ASSERT(static_cast<unsigned long>(mNextOffset) + item->mSize <= LONG_MAX &&
                             mNextOffset + static_cast<long>(item->mSize) <= INT_MAX,
                         "mNextOffset + size <= 2147483647");
            item->mPosition = mNextOffset;
            item->mStoreAllocated = true;
            mNextOffset += static_cast<long>(item->mSize);
        }
        if (mPriority >= 0) {
            item->prev = last;
            item->next = nullptr;
            (last ? last->next : first) = item;
            last = item;
            item->mInCache = true;
        } else {
            try {
                item->FreeBulkData();
            } catch (...) {
                // Back where it was, the oldest release, with its memory and its dirty mark.
                mInMemory += item->AllocSize();
                item->next = mFreeTail;
                item->prev = mFreeTail->prev;
                mFreeTail->prev->next = item;
                mFreeTail->prev = item;
                throw;
            }
        }
        if (mInMemory <= mMemoryLimit) break;
    }
    if (first) CacheManager()->AddItem(mPriority, ZORBasCamCacheFreeWhenNeeded, first, last);
}

void ZORBasUtlBackingStore::GetStatistics(size_t& inMemory, size_t& allocated, int& blocksInMemory,
                                          int& blocks) const {
    inMemory = mInMemory;
    allocated = 0;
    blocksInMemory = 0;
    blocks = 0;
    for (const auto& [id, item] : mItemMap) {
        ++blocks;
        if (size_t size = item->AllocSize()) {
            ++blocksInMemory;
            allocated += size;
        }
    }
}

void ZORBasUtlBackingStore::GetTransfers(long long& reads, long long& writes) const {
    reads = mReads.load(std::memory_order_relaxed);
    writes = mWrites.load(std::memory_order_relaxed);
}

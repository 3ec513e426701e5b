#include "companions/alloc/ZORBasMemPool.h"
#include "companions/coreutils/ZORBasCam.h"

ZORBasCamPool::ZORBasCamPool(const char* name) : m_name(name ? name : "") {}

void* ZORBasCamPool::Alloc(size_t size) { return m_bytes.Alloc(size); }

size_t ZORBasCamPool::Free(void* block) { return m_bytes.Free(block); }

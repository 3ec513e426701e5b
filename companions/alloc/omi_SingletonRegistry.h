// The process-wide list of live singletons, by type name. It exists from the load of the
// allocation library to its unload; Instance() is null before and after, and every caller tests
// for that. Add and Remove are guarded by the registry's own lock.
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API omi_SingletonRegistry {
  public:
    static omi_SingletonRegistry* Instance();
    // 1 when added, 0 when the name was already there (the object is then replaced).
    int Add(const char* typeName, void* object);
    // 1 when removed, 0 when the name was not registered.
    int Remove(const char* typeName);
    // The object registered under the name, or null.
    void* Find(const char* typeName) const;
    int Size() const;

    omi_SingletonRegistry();
    ~omi_SingletonRegistry();

  private:
    struct Impl;
    Impl* m_impl;
};

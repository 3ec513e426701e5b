// Singletons first reached from one thread. omi_SingletonBase keeps the one instance and registers
// its type name with the process's singleton registry; omi_Singleton adds the creating Instance().
// Neither takes a lock: use ZORBasAtiGlobalSingleton when several threads may ask first.
#pragma once

#include <cstdlib>
#include <type_traits>
#include <typeinfo>

#include "companions/alloc/mem_Malloc.h"
#include "companions/alloc/omi_SingletonRegistry.h"
#include "companions/framework/PLXFatalError.h"
#include "companions/framework/zorbas_export.h"

template <class T>
class ZORBAS_API omi_SingletonBase {
  public:
    // Ends the instance, when there is one; finalizing twice is harmless.
    static void Finalize() {
        if (omi_SingletonRegistry* registry = omi_SingletonRegistry::Instance())
            registry->Remove(typeid(T).name());
        if (instance) {
            T* doomed = instance;
            delete doomed;
        }
        instance = nullptr;
    }

  protected:
    omi_SingletonBase() {
        if constexpr (std::is_base_of_v<omi_SingletonBase<T>, T>) Adopt(static_cast<T*>(this));
    }
    ~omi_SingletonBase() = default;
    // The bare pointer, null when no instance lives.
    static T* Instance() { return instance; }
    // Stores and registers a new instance: the constructor's work, also used for a type that
    // cannot derive from this base (a companion's class).
    static void Adopt(T* object) {
        ZORBAS_ASSERT(instance == 0, "ZORBase/ProtectedInterfaces/omi_SingletonBase", 22);
        instance = object;
        if (omi_SingletonRegistry* registry = omi_SingletonRegistry::Instance())
            registry->Add(typeid(T).name(), instance);
    }

  private:
    static inline T* instance = nullptr;
};

// `T` normally derives from omi_Singleton<T>, whose base constructor stores the instance; a type
// that cannot (a companion's class) is adopted after construction. `T` allocates through the
// tracked heap (a mem_AllocationOperators base).
template <class T>
class ZORBAS_API omi_Singleton : public omi_SingletonBase<T> {
  public:
    omi_Singleton() = default;

    static T& Instance() {
        if (T* live = omi_SingletonBase<T>::Instance()) return *live;
        T* made = new T;
        if constexpr (!std::is_base_of_v<omi_SingletonBase<T>, T>)
            omi_SingletonBase<T>::Adopt(made);
        if (made != omi_SingletonBase<T>::Instance()) std::abort();
        return *made;
    }
};

// Both classes of one singleton type, with the prefix "extern" for the declarations in the
// type's header or none for the definitions in its source.
#define ZORBAS_SINGLETON_CLASSES(P, T)     \
    P template class omi_SingletonBase<T>; \
    P template class omi_Singleton<T>;
#define ZORBAS_SINGLETON_EXTERN(T) ZORBAS_SINGLETON_CLASSES(extern, T)
#define ZORBAS_SINGLETON_DEFINE(T) ZORBAS_SINGLETON_CLASSES(, T)

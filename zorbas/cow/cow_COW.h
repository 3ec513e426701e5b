// The copy-on-write handle. Copies share; `Get()` is the write barrier: a handle that is not
// alone copies the referent (through Copier) before handing it out, whether or not the caller
// then writes. `ConstGet()` never copies. In a structure linked by cow_COW, walking with Get()
// copies the path only and leaves everything off the path shared.
#pragma once

#include "zorbas/cow/cow_CountedHld.h"

// Copies a referent with T's copy constructor, on the tracked heap.
template <class T>
struct cow_Direct {
    static T* Copy(const T& value) { return cow_New<T>(value); }
};

template <class T, class Copier = cow_Direct<T>>
class cow_COW : public cow_CountedHld<T>, public ZORBasCowAllocator {
    using Base = cow_CountedHld<T>;

  public:
    cow_COW() : Base(nullptr) {}
    explicit cow_COW(const T& value) : Base(Copier::Copy(value)) {}
    explicit cow_COW(T* p) : Base(p) {}
    cow_COW(const cow_COW& other) : Base(other) {}
    cow_COW& operator=(const cow_COW& other) {
        Base::operator=(other);
        return *this;
    }
    cow_COW& operator=(T* p) {
        Base::operator=(p);
        return *this;
    }

    T& Get() {
        if (this->ref && !this->Exclusive()) Base::operator=(Copier::Copy(*this->ref));
        return *this->ref;
    }
    const T& ConstGet() const { return *this->ref; }
    bool IsNull() const { return this->ref == nullptr; }
};

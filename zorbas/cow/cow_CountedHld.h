// A counted holder: the referent and its separate counter, shared by every holder of the group.
// Copying a holder is two pointer copies and an increment; the last holder to go deletes both.
// Invariant: `count` is never null on a live holder; `ref` is null for a null holder.
#pragma once

#include "companions/framework/PLXFatalError.h"
#include "zorbas/cow/ZORBasCowAllocator.h"
#include "zorbas/cow/cow_Counter.h"

template <class T>
class cow_CountedHld {
  public:
    explicit cow_CountedHld(T* p = nullptr) : count(new cow_Counter), ref(p) {}
    cow_CountedHld(const cow_CountedHld& other) : count(other.count), ref(other.ref) {
        count->Increment();
    }
    ~cow_CountedHld() {
        if (count) DropReference();
    }

    // Leaves the group when shared (a new counter), or deletes the old referent when alone;
    // then holds `p`. Assigning the pointer it already holds alone would delete it: don't.
    cow_CountedHld& operator=(T* p) {
        if (count->References() != 1) {
            count->Decrement();
            count = new cow_Counter;
        } else {
            DeleteReferent();
        }
        ref = p;
        return *this;
    }

    // Increment the source first, so that self-assignment keeps the count where it was.
    cow_CountedHld& operator=(const cow_CountedHld& other) {
        other.count->Increment();
        cow_Counter* c = other.count;
        T* r = other.ref;
        DropReference();
        count = c;
        ref = r;
        return *this;
    }

    bool Exclusive() const { return count->References() == 1; }
    bool IsNull() const { return ref == nullptr; }
    const T& GetRef() const { return *ref; }
    T* GetPtr() const { return ref; }
    int References() const { return count->References(); }

  protected:
    void DropReference() {
        if (count->Decrement()) Delete();
    }
    void Delete() {
        ZORBAS_ASSERT(count->References() == 0, "ZORBase/ProtectedInterfaces/cow_CountedHld", 17);
        cow_Delete(ref);
        ref = nullptr;
        delete count;
        count = nullptr;
    }
    void DeleteReferent() {
        ZORBAS_ASSERT(count->References() >= 0, "ZORBase/ProtectedInterfaces/cow_CountedHld", 32);
        cow_Delete(ref);
    }

    cow_Counter* count;
    T* ref;
};

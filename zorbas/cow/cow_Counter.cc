#include "zorbas/cow/cow_Counter.h"

#include <cstdio>

void cow_IntrusiveCountedBase::SetCounter(cow_Counter* counter) {
    if (m_counter && m_counter != counter)
        std::fputs("ERROR: Resetting counter on cow_IntrusiveCountedBase\n", stderr);
    m_counter = counter;
}

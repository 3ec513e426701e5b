// The names of the phases a job went through, newest last, for the exception report and the
// resource monitor. The last kCapacity markers are kept in a static ring (names cut at
// kNameBytes - 1 bytes), so reading them allocates nothing and takes no lock; SaveMarker is
// serialised by a spin lock.
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API ZORBasPhaseTracker {
  public:
    static constexpr int kCapacity = 64;
    static constexpr int kNameBytes = 128;

    static void SaveMarker(const char* name);
    // Markers saved since load, including those the ring no longer keeps.
    static long long Saved();

    // Walks the kept markers, oldest first. Starts at the oldest. A report tells the last six
    // phases, oldest first, in one line:
    //     it.Position(-6);
    //     for (; !it.Last(); it.Next()) fprintf(f, "%s | ", it.Value());
    //     fprintf(f, "%s\n", it.Value());
    class ZORBAS_API Iterator {
      public:
        Iterator();
        // Moves to the i-th kept marker: from the oldest (0) when i >= 0, from the end when
        // i < 0 (-1 the newest, -6 the sixth from the end, or the oldest when fewer are kept).
        // From the oldest, an i of Size() or more leaves the iterator done.
        void Position(int i);
        // The current marker's name, or null when done.
        const char* Value() const;
        // The number of kept markers when the iterator was made.
        int Size() const { return m_size; }
        // True when no newer marker follows the current one: at the newest, or done.
        bool Last() const { return m_pos >= m_size - 1; }
        // Moves to the next newer marker; false when there is none (the iterator is then done).
        bool Next();
        bool IsDone() const { return m_pos < 0 || m_pos >= m_size; }

      private:
        long long m_first;  // sequence number of the oldest kept marker
        int m_size;
        int m_pos;
    };
};

// The counted start and end of one section of the library or a companion. The first start adds
// one to the caller's `use` and does the start work; the last end takes one off and does the end
// work; calls in between only nest. Counts are plain ints: start and end run on one thread.
#pragma once

struct zorbas_Section {
    int count = 0;

    void Start(int& use, void (*work)() = nullptr) {
        int old = count;
        ++count;
        if (old == 0) {
            ++use;
            if (work) work();
        }
    }
    void End(int& use, void (*work)() = nullptr) {
        --count;
        if (count == 0) {
            --use;
            if (work) work();
        }
    }
};

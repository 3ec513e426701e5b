// A user's program: includes the umbrella header and uses a shared string.
#include <VLDZORBasShared.h>

#include <cstdio>

int main() {
    cow_String a("installed");
    cow_String b = a;
    std::printf("'%s' shared by %d\n", b.CStr(), a.References());
    return a.References() == 2 ? 0 : 1;
}

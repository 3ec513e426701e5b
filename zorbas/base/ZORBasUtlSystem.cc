#include "zorbas/base/ZORBasUtlSystem.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

void ZORBasUtlsleep(int milliseconds) {
    if (milliseconds <= 0) return;
    timespec left{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

const char* ZORBasUtlgetcwd() {
    thread_local char cwd[ZORBasUtlCwdBytes];
    if (!getcwd(cwd, sizeof cwd)) cwd[0] = 0;
    return cwd;
}

const char* ZORBasGetEnv(const char* name) {
    if (!name || !*name || std::strchr(name, '=')) return nullptr;
    return std::getenv(name);
}

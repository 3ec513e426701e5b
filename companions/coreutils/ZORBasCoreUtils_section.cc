#include "companions/coreutils/ZORBasCoreUtils_section.h"

#include "companions/framework/zorbas_section.h"

namespace {
zorbas_Section s_section;
}

void ZORBasCoreUtils_initialize(int& use) { s_section.Start(use); }
void ZORBasCoreUtils_finalize(int& use) { s_section.End(use); }

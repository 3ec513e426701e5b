#include "companions/alloc/ZORBasAlloc_section.h"

#include "companions/framework/zorbas_section.h"

namespace {
zorbas_Section s_section;
}

void ZORBasAlloc_initialize(int& use) { s_section.Start(use); }
void ZORBasAlloc_finalize(int& use) { s_section.End(use); }

#include "companions/generics/ZORBasGenericsLib_section.h"

#include "companions/framework/zorbas_section.h"

namespace {
zorbas_Section s_section;
}

void ZORBasGenericsLib_initialize(int& use) { s_section.Start(use); }
void ZORBasGenericsLib_finalize(int& use) { s_section.End(use); }

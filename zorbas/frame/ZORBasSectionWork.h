// The start and end work of the sections that do more than count. Each runs once: at the first
// start or the last end of its section.
#pragma once

void ZORBasUtils_startWork();
void ZORBasUtils_endWork();
void ZORBasOmni_startWork();
void ZORBasOmni_endWork();
void ZORBasFil_endWork();

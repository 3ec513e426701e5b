// The one export macro of the library and its companions. Everything is built with hidden
// visibility; a type or function that programs of the suite call is marked ZORBAS_API.
#pragma once

#define ZORBAS_API __attribute__((visibility("default")))

// The one export macro of the library, and the hidden default.
#pragma once

#define NEX_EXPORT extern "C" __attribute__((visibility("default")))
// For data, inside an extern "C" { } block (a braced initialiser after
// extern "C" would read as an initialised extern declaration).
#define NEX_VISIBLE __attribute__((visibility("default")))
#define NEX_HIDDEN __attribute__((visibility("hidden")))
#define NEX_NOINLINE __attribute__((noinline))

#pragma once
// Marks a routine of the export table. Everything else in the library has
// hidden visibility; the version script derived from the table has the last word.

#if defined(_WIN32)
#define TAV_EXPORT extern "C"
#else
#define TAV_EXPORT extern "C" __attribute__((visibility("default")))
#endif

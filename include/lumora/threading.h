// How many threads an operation may spread its rows over.
//
// Operations on images large enough to pay for it split their rows into
// bands, one per thread; smaller ones run on the caller's thread. Every
// result is the same for every thread count.
//
// The count starts from the environment variable LUMORA_NUM_THREADS, read
// at the first operation, and otherwise is every core of the machine.
// SetLumoraThreadCount replaces it for the whole process: 0 or a negative
// count means every core, and counts above 256 are taken as 256. Set it
// while no operation runs.
#pragma once

#include <lumora/export.h>

LUMORA_API void SetLumoraThreadCount(int count);

// The count operations use now, 1 to 256.
LUMORA_API int GetLumoraThreadCount();

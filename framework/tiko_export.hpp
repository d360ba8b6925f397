#pragma once

// Marks what the host framework library exports; everything else stays hidden.
#if defined(_WIN32)
#if defined(TIKO_HELPER_BUILD)
#define TIKO_API __declspec(dllexport)
#else
#define TIKO_API __declspec(dllimport)
#endif
#else
#define TIKO_API __attribute__((visibility("default")))
#endif

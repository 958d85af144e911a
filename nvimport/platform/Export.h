#pragma once

/* Marks what the shared library shows; everything else in it is hidden. */
#if defined(_WIN32)
#if defined(NVIMPORT_BUILDING)
#define NVIMPORT_API __declspec(dllexport)
#else
#define NVIMPORT_API __declspec(dllimport)
#endif
#else
#define NVIMPORT_API __attribute__((visibility("default")))
#endif

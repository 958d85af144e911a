#pragma once

/* Marks what the shared library shows; everything else in it is hidden, and all of the static one.
 */
#if defined(NVIMPORT_STATIC)
#define NVIMPORT_API
#elif !defined(_WIN32)
#define NVIMPORT_API __attribute__((visibility("default")))
#elif defined(NVIMPORT_BUILDING)
#define NVIMPORT_API __declspec(dllexport)
#else
#define NVIMPORT_API __declspec(dllimport)
#endif

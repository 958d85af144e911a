#pragma once

// Marks what the library of dialogs shows.
#if !defined(_WIN32)
#define NVIMPORT_QT_API __attribute__((visibility("default")))
#elif defined(NVIMPORT_QT_BUILDING)
#define NVIMPORT_QT_API __declspec(dllexport)
#else
#define NVIMPORT_QT_API __declspec(dllimport)
#endif

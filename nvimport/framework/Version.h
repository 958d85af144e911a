/* The version of NvImport, in its only place. Plain C99. */
#ifndef NVIMPORT_FRAMEWORK_VERSION_H
#define NVIMPORT_FRAMEWORK_VERSION_H

#include "nvimport/platform/Export.h"

/* Of these headers; for #if. */
#define NVIMPORT_VERSION_MAJOR 1
#define NVIMPORT_VERSION_MINOR 0
#define NVIMPORT_VERSION_PATCH 0
#define NVIMPORT_VERSION_NUMBER \
  (NVIMPORT_VERSION_MAJOR * 10000 + NVIMPORT_VERSION_MINOR * 100 + NVIMPORT_VERSION_PATCH)

/* The same as text, "1.0.0". */
#define NVIMPORT_VERSION                                                       \
  NVIMPORT_VERSION_TEXT(NVIMPORT_VERSION_MAJOR)                                \
  "." NVIMPORT_VERSION_TEXT(NVIMPORT_VERSION_MINOR) "." NVIMPORT_VERSION_TEXT( \
      NVIMPORT_VERSION_PATCH)
#define NVIMPORT_VERSION_TEXT(number) NVIMPORT_VERSION_DIGITS(number)
#define NVIMPORT_VERSION_DIGITS(number) #number

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the version of the library that the program runs with, as NVIMPORT_VERSION_NUMBER has it
 * and, likewise, as text. */
NVIMPORT_API int NvImportGetVersionNumber(void);
NVIMPORT_API const char* NvImportGetVersion(void);

#ifdef __cplusplus
}
#endif

#endif

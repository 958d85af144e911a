#include "nvimport/framework/Version.h"

int NvImportGetVersionNumber() { return NVIMPORT_VERSION_NUMBER; }

const char* NvImportGetVersion() { return NVIMPORT_VERSION; }

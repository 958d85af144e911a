/* A plug-in in plain C whose one format is good, or wrong in the way that a macro says. Its sheet
 * is one row: how many formats it says it has, which it asks through its own exported name. */
#include <stddef.h>
#include <string.h>

#include "framework/NvImport.h"

#ifndef FORMAT_NAME
#define FORMAT_NAME "Test File"
#endif
#ifndef FORMAT_COUNT
#define FORMAT_COUNT 1
#endif
#ifndef CAN_READ
#define CAN_READ true
#endif
#ifndef EXTENSIONS
#define EXTENSIONS 1, ".tst"
#endif

static int released_count = 0;
int TestPluginReleased(void);
int TestPluginReleased(void) { return released_count; }

void NvImportInitPackage(void) {}
void NvImportReleasePackage(void) { released_count++; }

int NvImportSizeFileFormatsSupported(void) { return FORMAT_COUNT; }

NvImportFormatInfo* NvImportGetFileFormatInfo(int format) {
  static NvImportFormatInfo info = {
      FORMAT_NAME, "Test Files (*.tst)", NULL, EXTENSIONS, false, CAN_READ, true, true, false};
#ifdef NULL_INFO
  return format == FORMAT_COUNT ? NULL : &info;
#else
  (void)format;
  return &info;
#endif
}

#ifndef WITHOUT_TEST
char NvImportIsCorrectFileType(int format, const char* path) {
  (void)format;
  return strstr(path, ".tst") != NULL ? 2 : 0;
}
#endif

char NvImportOpen(int format, const char* path, char mode, long* handle,
                  NvImportOpenOptions* options) {
  (void)format;
  (void)mode;
  (void)options;
  *handle = 7;
  return strstr(path, "refused") == NULL;
}

char NvImportEstablishSize(int format, long handle, int* rows, int* columns) {
  (void)format;
  (void)handle;
  *rows = 1;
  *columns = 1;
  return 1;
}

#ifndef WITHOUT_READ
char NvImportRead(int format, long handle, NvImportReadData* data) {
  (void)format;
  (void)handle;
  data->set_size(data, 1, 1);
  if (data->next_index(data, 0) < 0) return 1;
  data->set_number(data, 1, 1, (float)NvImportSizeFileFormatsSupported());
  return 1;
}
#endif

void NvImportClose(int format, long handle) {
  (void)format;
  (void)handle;
}

const char* NvImportGetLastError(int format, long handle) {
  (void)format;
  return handle == 7 ? "The test plug-in refused." : "Not the handle that was given.";
}

const char* NvImportGetWarning(int format, long handle) {
  (void)format;
  (void)handle;
  return "A warning.";
}

/* A plug-in in plain C whose one format is good, or wrong in the way that a macro says. Its sheet
 * is one row: how many formats it says it has, which it asks through its own exported name. */
#include <signal.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "nvimport/framework/NvImportMore.h"

#ifndef FAULT
#define FAULT
#endif
#ifndef FAULT_AT
#define FAULT_AT "NvImportInitPackage"
#endif

static NvImportFormatInfo info = {
    "Test File", "Test Files (*.tst)", NULL, 1, ".tst", false, true, true, true, false};
static NvImportFormatInfo* below_first = &info;
static int format_count = 1;
static int missing = 0; /* a format without a description */
static char test_answer = 2;
static bool opens_missing = false;
static long given_handle = 7;
static bool refills = false; /* one record, and one name, for all formats */
static char refilled[] = "A File";
static bool closed = false;
static char success = 1;
static int row = 1;
static bool gives_null = false;
static int column = 1;
static const char* told_key = "";
static const char* error = "The test plug-in refused.";

/* What a fault may be, beside other values of the above. */
void Throw(void);
#define CRASH raise(SIGSEGV)
#define HANG \
  for (;;) sleep(1)
#define LEAVE exit(0)
#define HOARD \
  for (;;) memset(malloc(1 << 24), 1, 1 << 24) /* crashes where memory ends */

/* Every function passes here; the fault comes to pass in the one that FAULT_AT names. */
static void Pass(const char* function) {
  if (strcmp(function, FAULT_AT) == 0) {
    FAULT;
  }
}

static int released_count = 0;
int TestPluginReleased(void);
int TestPluginReleased(void) { return released_count; }

void NvImportInitPackage(void) { Pass(__func__); }
void NvImportReleasePackage(void) {
  Pass(__func__);
  released_count++;
}

int NvImportSizeFileFormatsSupported(void) {
  Pass(__func__);
  return format_count;
}

NvImportFormatInfo* NvImportGetFileFormatInfo(int format) {
  Pass(__func__);
  if (format < 1) return below_first;
  if (refills) {
    refilled[0] = (char)('A' + format);
    info.name = refilled;
  }
  return format == missing ? NULL : &info;
}

#ifndef WITHOUT_TEST
char NvImportIsCorrectFileType(int format, const char* path) {
  (void)format;
  Pass(__func__);
  return strstr(path, ".tst") != NULL ? test_answer : 0;
}
#endif

char NvImportOpen(int format, const char* path, char mode, long* handle,
                  NvImportOpenOptions* options) {
  (void)format;
  (void)options;
  Pass(__func__);
#ifdef FAULT_BY_NAME
  if (strstr(path, "crash") != NULL) CRASH;
  if (strstr(path, "leave") != NULL) LEAVE;
  if (strstr(path, "hang") != NULL) HANG;
#endif
  *handle = given_handle;
  closed = false;
  if (mode == 0 && info.can_write) return 1;
  return mode != 0 && (opens_missing || access(path, R_OK) == 0) && strstr(path, "refused") == NULL;
}

char NvImportEstablishSize(int format, long handle, int* rows, int* columns) {
  (void)format;
  (void)handle;
  Pass(__func__);
  *rows = 1;
  *columns = 1;
  return 1;
}

#ifndef WITHOUT_READ
char NvImportRead(int format, long handle, NvImportReadData* data) {
  (void)format;
  (void)handle;
  Pass(__func__);
  if (closed) return 0;
  data->set_size(data, 1, 1);
  if (data->next_index(data, 0) < 0) return success;
  if (gives_null)
    data->set_text(data, row, 1, NULL);
  else
    data->set_number(data, row, 1, (float)NvImportSizeFileFormatsSupported());
  return success;
}
#endif

#ifdef WITH_MORE
char NvImportReadWhole(int format, long handle, NvImportWholeData* data) {
  (void)format;
  (void)handle;
  Pass(__func__);
  data->set_size(data, 1, 1);
  data->set_whole(data, 1, column, 9007199254740993LL);
  return 1;
}

char NvImportDescribe(int format, long handle, NvImportDescription* description) {
  (void)format;
  (void)handle;
  Pass(__func__);
  if (description->state != NULL) description->state(description, 0, "Label", told_key, "value", 5);
  return 1;
}

const char* NvImportGetNote(int format, long handle, int number) {
  (void)format;
  (void)handle;
  return number == 0 ? "1 cell is older than the others" : NULL;
}
#endif

#ifdef WITH_WRITE
char NvImportWrite(int format, long handle, NvImportWriteData* data) {
  (void)format;
  (void)handle;
  /* Column first where the row comes first. */
  return data->kind(data, data->columns, data->rows) == 0;
}
#endif

void NvImportClose(int format, long handle) {
  (void)format;
  (void)handle;
  Pass(__func__);
}

const char* NvImportGetLastError(int format, long handle) {
  (void)format;
  return handle == 7 ? error : "Not the handle that was given.";
}

const char* NvImportGetWarning(int format, long handle) {
  (void)format;
  (void)handle;
  return "A warning.";
}

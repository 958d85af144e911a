/* The C interface from plain C99: one small file through its functions. With NVIMPORT_TEST_32BIT
 * it is only compiled, for the sizes that plug-ins of 32-bit hosts are built against. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "nvimport/framework/NvImportMore.h"

/* What is compiled in plug-ins and hosts, for pointers of 4 and of 8 bytes. */
#define IS(name, value, of_4, of_8) \
  typedef char name[(value) == (sizeof(void*) == 4 ? (of_4) : (of_8)) ? 1 : -1]
IS(read_data, sizeof(NvImportReadData), 28, 48);
IS(read_data_rows, offsetof(NvImportReadData, rows), 12, 24);
IS(read_data_next_index, offsetof(NvImportReadData, next_index), 24, 40);
IS(write_data, sizeof(NvImportWriteData), 24, 40);
IS(write_data_rows, offsetof(NvImportWriteData, rows), 16, 32);
IS(open_options, sizeof(NvImportOpenOptions), 8, 16);
IS(open_options_data, offsetof(NvImportOpenOptions, data), 4, 8);
IS(format_info, sizeof(NvImportFormatInfo), 28, 48);
IS(format_info_extensions, offsetof(NvImportFormatInfo, extensions), 16, 32);
IS(format_info_can_write, offsetof(NvImportFormatInfo, can_write), 20, 40);
IS(format_info_flag5, offsetof(NvImportFormatInfo, flag5), 24, 44);
IS(whole_data, sizeof(NvImportWholeData), 36, 64);
IS(whole_data_rows, offsetof(NvImportWholeData, rows), 28, 56);
IS(description, sizeof(NvImportDescription), 20, 40);
#ifdef NVIMPORT_TEST_32BIT
typedef char pointers_have_4_bytes[sizeof(void*) == 4 ? 1 : -1];
#endif

struct sheet {
  NvImportReadData data;
  char cells[64];
};

static void set_number(NvImportReadData* data, int row, int column, float value) {
  sprintf(((struct sheet*)data)->cells, "%d,%d: unexpected number %g", row, column, value);
}

static void set_text(NvImportReadData* data, int row, int column, const char* text) {
  char* cells = ((struct sheet*)data)->cells;
  const size_t length = strlen(cells);
  snprintf(cells + length, sizeof((struct sheet*)data)->cells - length, "%d,%d=%s;", row, column,
           text);
}

static void set_size(NvImportReadData* data, int rows, int columns) {
  data->rows = rows;
  data->columns = columns;
}

static int failures = 0;

static void check(int holds, const char* what) {
  if (holds) return;
  ++failures;
  fprintf(stderr, "not so: %s\n", what);
}

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "NvImportHeader.txt";
  unsigned char by_semicolon[] = {1, 0, 0, 0, ';', 0};
  NvImportOpenOptions options = {sizeof by_semicolon, by_semicolon};
  struct sheet sheet = {{set_number, set_text, set_size, 0, 0, 0, NULL}, ""};
  NvImportWriteData nothing = {0, 0, 0, 0, 0, 0};
  long handle = 0;
  int rows = 0;
  int columns = 0;
  int text_format = 0;
  int format;
  FILE* file = fopen(path, "wb");
  if (file == NULL) return 2;
  fputs("a;b\n;1,5\n", file);
  fclose(file);

  NvImportInitPackage();
  for (format = 1; format <= NvImportSizeFileFormatsSupported(); ++format)
    if (strcmp(NvImportGetFileFormatInfo(format)->name, "Text File") == 0) text_format = format;
  check(text_format == 17, "text is format 17");
  check(strcmp(NvImportGetVersion(), NVIMPORT_VERSION) == 0,
        "the library has the header's version");
  check(NvImportGetVersionNumber() == NVIMPORT_VERSION_NUMBER, "and its number");
  check(NvImportIsCorrectFileType(text_format, path) == 1, "the file may be text");
  check(NvImportOpen(text_format, path, 1, &handle, &options) == 1, "the file opens");
  check(NvImportEstablishSize(text_format, handle, &rows, &columns) == 1, "it has a size");
  check(rows == 2 && columns == 2, "of 2 by 2");
  check(NvImportRead(text_format, handle, &sheet.data) == 1, "it is read");
  check(strcmp(sheet.cells, "1,1=a;1,2=b;2,1=;2,2=1,5;") == 0, sheet.cells);
  check(NvImportGetWarning(text_format, handle) == NULL, "without a warning");
  check(NvImportWrite(text_format, handle, &nothing) == 0, "it is not written");
  check(*NvImportGetLastError(text_format, handle) != '\0', "which is said");
  NvImportClose(text_format, handle);
  NvImportReleasePackage();
  remove(path);
  return failures == 0 ? 0 : 1;
}

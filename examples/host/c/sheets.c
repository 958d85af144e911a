/* sheets-c WORKBOOK: prints the names of its worksheets, a line each. Plain C99. */
#include <nvimport/framework/NvImportMore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The record comes first, so that the callback finds the rest behind it. */
struct names {
  NvImportDescription description;
  int count;
};

static void print_name(NvImportDescription* description, int row, const char* label,
                       const char* key, const char* value, size_t length) {
  (void)row, (void)label;
  if (strcmp(key, "worksheet") != 0) return;
  printf("%.*s\n", (int)length, value);
  ((struct names*)description)->count++;
}

int main(int argc, char** argv) {
  struct names names = {{sizeof names.description, print_name, NULL, NULL, NULL}, 0};
  /* Answers the question which of them is read: the first (docs/open-options.md). */
  unsigned char first[8] = {0};
  NvImportOpenOptions options = {sizeof first, first};
  int format;
  if (argc != 2) {
    fputs("sheets-c WORKBOOK\n", stderr);
    return 2;
  }
  NvImportInitPackage();
  for (format = 1; names.count == 0 && format <= NvImportSizeFileFormatsSupported(); format++) {
    long handle = 0;
    if (NvImportIsCorrectFileType(format, argv[1]) == 0) continue;
    if (NvImportOpen(format, argv[1], 1, &handle, &options))
      NvImportDescribe(format, handle, &names.description);
    NvImportClose(format, handle);
  }
  if (names.count == 0) fprintf(stderr, "%s: no workbook\n", argv[1]);
  NvImportReleasePackage();
  return names.count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/* host-c FILE [CHOICE]: finds the format of a file among those built in, and prints its cells,
 * "row,column: value" a line. Plain C99, over the twelve functions of
 * nvimport/framework/NvImport.h.
 *
 * A host in C has no dialogs: what a format would ask is said in the bytes of its open options
 * (docs/open-options.md). CHOICE is the delimiter of a text, or what spectra want to be told, such
 * as range=1,0 for all points. */
#include <nvimport/framework/NvImport.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The record comes first, so that the callbacks find the rest behind it. */
struct table {
  NvImportReadData data;
  long numbers;
  long texts;
};

static void set_number(NvImportReadData* data, int row, int column, float value) {
  ((struct table*)data)->numbers++;
  printf("%d,%d: %g\n", row, column, value);
}

static void set_text(NvImportReadData* data, int row, int column, const char* text) {
  ((struct table*)data)->texts++;
  printf("%d,%d: \"%s\"\n", row, column, text);
}

static int has_extension(const NvImportFormatInfo* info, const char* path) {
  const char* wanted = strrchr(path, '.');
  const char* extension = info->extensions;
  for (int i = 0; wanted != NULL && i < info->extension_count; i++) {
    if (strcmp(extension, wanted) == 0) return 1;
    extension += strlen(extension) + 1;
  }
  return 0;
}

/* The format that is certain, else the last of those possible that has the extension; 0 for none.
 */
static int format_of(const char* path) {
  int possible = 0;
  for (int format = 1; format <= NvImportSizeFileFormatsSupported(); format++) {
    const NvImportFormatInfo* info = NvImportGetFileFormatInfo(format);
    const char answer = NvImportIsCorrectFileType(format, path);
    if (answer == 2) return format;
    if (answer == 1 && info->can_read && has_extension(info, path)) possible = format;
  }
  return possible;
}

/* The length of the choice in 32 bits, and the choice. Behind a delimiter stands whether a run of
 * them counts as one. */
static NvImportOpenOptions options_of(int format, const char* choice, unsigned char* bytes) {
  const int length = (int)strlen(choice);
  const int is_text = strcmp(NvImportGetFileFormatInfo(format)->name, "Text File") == 0;
  NvImportOpenOptions options = {4 + length + is_text, bytes};
  memset(bytes, 0, (size_t)options.size);
  bytes[0] = (unsigned char)length;
  memcpy(bytes + 4, choice, (size_t)length);
  return options;
}

static int print_file(int format, const char* path, NvImportOpenOptions* options) {
  struct table table = {{set_number, set_text, NULL, 0, 0, 0, NULL}, 0, 0};
  long handle = 0;
  int rows = 0;
  int columns = 0;
  int done = NvImportOpen(format, path, 1, &handle, options) &&
             NvImportEstablishSize(format, handle, &rows, &columns) &&
             NvImportRead(format, handle, &table.data);
  if (!done) fprintf(stderr, "%s: %s\n", path, NvImportGetLastError(format, handle));
  if (done)
    printf("%s: %d rows, %d columns, %ld numbers, %ld texts\n",
           NvImportGetFileFormatInfo(format)->name, rows, columns, table.numbers, table.texts);
  NvImportClose(format, handle); /* also when it could not be opened */
  return done;
}

int main(int argc, char** argv) {
  const char* choice = argc == 3 ? argv[2] : NULL;
  unsigned char bytes[4 + 255 + 1];
  NvImportOpenOptions options;
  int format;
  int done = 0;
  if (argc < 2 || argc > 3 || (choice != NULL && strlen(choice) > 255)) {
    fputs("host-c FILE [CHOICE]\n", stderr);
    return 2;
  }
  NvImportInitPackage();
  format = format_of(argv[1]);
  if (format == 0) {
    fprintf(stderr, "%s: no format reads it\n", argv[1]);
  } else if (choice == NULL) {
    done = print_file(format, argv[1], NULL);
  } else {
    options = options_of(format, choice, bytes);
    done = print_file(format, argv[1], &options);
  }
  NvImportReleasePackage();
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

/* What NvImport's plain C interface has beside its twelve functions: reading with whole values,
 * what a file says of itself, and notes. Plain C99.
 *
 * A plug-in may export these and need not. Each record begins with its size, so that it can grow: a
 * field that lies beyond it is one that the caller doesn't know. Everything that NvImport.h says of
 * its functions holds here.
 */
#ifndef NVIMPORT_FRAMEWORK_NVIMPORTMORE_H
#define NVIMPORT_FRAMEWORK_NVIMPORTMORE_H

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C too

#include "nvimport/framework/NvImport.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct NvImportWholeData NvImportWholeData;
typedef struct NvImportDescription NvImportDescription;

/* Where the cells of a read go that come as the file has them; filled by the caller. As in
 * NvImportReadData each callback gets the record itself, and may be null. */
struct NvImportWholeData {
  size_t size; /* of this record in bytes */
  /* Store a number cell: of a file that holds floats, doubles or whole numbers. */
  void (*set_float)(NvImportWholeData* data, int row, int column, float value);
  void (*set_double)(NvImportWholeData* data, int row, int column, double value);
  void (*set_whole)(NvImportWholeData* data, int row, int column, long long value);
  /* Stores a text cell of `length` bytes and a NUL; `text` is valid only during the call. */
  void (*set_text)(NvImportWholeData* data, int row, int column, const char* text, size_t length);
  /* Announces the size of the data. */
  void (*set_size)(NvImportWholeData* data, int rows, int columns);
  /* The next index wanted after `previous` (0 before the first), negative to stop. Null stands for
   * previous + 1. */
  int (*next_index)(NvImportWholeData* data, int previous);
  int rows;    /* the current size, read by the library when a reader asks for it */
  int columns; /* see rows */
};

/* Where goes what a file says of itself; filled by the caller. Texts are the file's bytes, valid
 * only during the call. */
struct NvImportDescription {
  size_t size; /* of this record in bytes */
  /* A statement about the row of the sheet, 0 for the whole file: the file's own label, a
   * normalised key (docs/descriptions-keys.md) or "", and the value with its length. */
  void (*state)(NvImportDescription* description, int row, const char* label, const char* key,
                const char* value, size_t length);
  /* What an axis ('x', 'y' or 'z') shows and its unit, "" each where the file does not say. */
  void (*name_axis)(NvImportDescription* description, char axis, const char* label,
                    const char* unit);
  /* The x values of `count` columns from `first_column` on. */
  void (*set_x)(NvImportDescription* description, int first_column, const double* values,
                size_t count);
  /* How many statements were cut or left out since they are too long or too many. */
  void (*set_cut)(NvImportDescription* description, size_t count);
};

/* Asks to leave the size of the sheet open where it takes a pass over the file; between
 * NvImportOpen and NvImportEstablishSize. Returns 1 where that is done: then NvImportEstablishSize
 * tells 2147483647 rows and the columns of the first ones until all was read, and `set_size` more
 * columns as they come. */
NVIMPORT_API char NvImportLeaveSizeOpen(int format, long handle);

/* Reads every cell into the callbacks of `data`, as NvImportRead does. */
NVIMPORT_API char NvImportReadWhole(int format, long handle, NvImportWholeData* data);

/* Gives the callbacks of `description` what the file says of itself. At any time while it is open
 * for reading. Without `state` and `name_axis` only the x values are looked for, which is quick.
 * Returns 1 on success; a file that says nothing is one. */
NVIMPORT_API char NvImportDescribe(int format, long handle, NvImportDescription* description);

/* Returns what the last read tells of cells that came otherwise than the file has them, a line at a
 * time by its number from 0; null beyond the last one. Valid until the next call for the handle. */
NVIMPORT_API const char* NvImportGetNote(int format, long handle, int number);

/* Returns the status that the file is in, of which NvImportGetLastError has the text; 0 while
 * nothing has failed. */
NVIMPORT_API int NvImportGetStatus(int format, long handle);

#ifdef __cplusplus
}
#endif

#endif

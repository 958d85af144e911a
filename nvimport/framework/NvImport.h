/* NvImport's plain C interface: twelve functions over every built-in format. Plain C99.
 *
 * A plug-in format library exports the same twelve names with the same signatures, so this header
 * is both what the library offers and what it asks of plug-ins.
 *
 * Order of calls: NvImportInitPackage; any number of NvImportSizeFileFormatsSupported,
 * NvImportGetFileFormatInfo and NvImportIsCorrectFileType; for each file NvImportOpen,
 * NvImportEstablishSize, NvImportRead or NvImportWrite, and NvImportClose, with
 * NvImportGetLastError after any failure and NvImportGetWarning after any success; at the end
 * NvImportReleasePackage.
 *
 * Formats are numbered from 1. Rows and columns are numbered from 1 and stand row first, except in
 * the flag callback. Results of type char are 1 (success, true) or 0. No exception leaves a
 * function: running out of memory and option bytes that make no sense are a 0 result with a text.
 * This library's functions may be called in several threads at the same time, those of one handle
 * in one at a time; the dialogs, log and progress of a call are those that its thread installed.
 * Nothing of the kind is asked of a plug-in: calls into one never overlap.
 */
#ifndef NVIMPORT_FRAMEWORK_NVIMPORT_H
#define NVIMPORT_FRAMEWORK_NVIMPORT_H

#include "nvimport/framework/Version.h"
#include "nvimport/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

typedef struct NvImportReadData NvImportReadData;
typedef struct NvImportWriteData NvImportWriteData;
typedef struct NvImportOpenOptions NvImportOpenOptions;
typedef struct NvImportFormatInfo NvImportFormatInfo;

/* Where the cells of a read go; filled by the caller. Each callback gets the record itself first,
 * so that a caller can put it at the head of a larger struct of its own. A callback may be null,
 * here and in the record below: what it would get is dropped, what it would give is missing. */
struct NvImportReadData {
  /* Stores a number cell. */
  void (*set_number)(NvImportReadData* data, int row, int column, float value);
  /* Stores a text cell; `text` is valid only during the call. Whole numbers too large for a float
   * arrive here as decimal text. */
  void (*set_text)(NvImportReadData* data, int row, int column, const char* text);
  /* Announces the size of the data. */
  void (*set_size)(NvImportReadData* data, int rows, int columns);
  /* The current size, read by the library when a reader asks for it. */
  int rows;
  int columns;  /* see rows */
  int reserved; /* 0 */
  /* The next index wanted after `previous` (0 before the first), negative to stop. Null stands for
   * previous + 1. */
  int (*next_index)(NvImportReadData* data, int previous);
};

/* Where the cells of a write come from; filled by the caller. */
struct NvImportWriteData {
  /* 1 number, 2 text, 3 missing; anything else is an empty cell. */
  char (*kind)(NvImportWriteData* data, int row, int column);
  /* The value of a number cell. */
  float (*number)(NvImportWriteData* data, int row, int column);
  /* The value of a text cell. Few formats (DIF) ask it of a number cell too, for the text to write
   * instead of the number's shortest form, or null. */
  const char* (*text)(NvImportWriteData* data, int row, int column);
  /* A flag of the cell. Column first, unlike the others. */
  char (*flag)(NvImportWriteData* data, int column, int row);
  int rows;    /* of the sheet */
  int columns; /* of the sheet */
};

/* The settings of one import. Each format defines the bytes (docs/open-options.md). */
struct NvImportOpenOptions {
  int size;            /* of data, in bytes; 0 when there are none */
  unsigned char* data; /* `size` bytes, or null */
};

/* What the library tells of one format. The library owns the record and its texts. */
struct NvImportFormatInfo {
  const char* name;         /* shown to users, and what formats are told apart by */
  const char* read_filter;  /* of a file dialog, "Text Files (*.txt; *.dat)" */
  const char* write_filter; /* likewise, or null */
  int extension_count;      /* at most 64 */
  const char* extensions;   /* that many NUL-terminated extensions one after another, ".txt" */
  bool can_write;           /* the format has a writer */
  bool can_read;            /* the format has a reader */
  bool several_at_once;     /* several files may be imported together, one observation a file */
  bool flag4;               /* a host shows its wait cursor while the size is established */
  bool flag5;               /* reserved */
};

/* Readies the library. This one has nothing to do here; a plug-in may. */
NVIMPORT_API void NvImportInitPackage(void);

/* Ends the use of the library. This one has nothing to do here; a plug-in may. */
NVIMPORT_API void NvImportReleasePackage(void);

/* Returns the number of formats, which is also the highest format index. */
NVIMPORT_API int NvImportSizeFileFormatsSupported(void);

/* Returns the description of format `format`, null beyond the last one. Values below 1 give the
 * first. The record stays owned by the library and valid until it is unloaded. */
NVIMPORT_API NvImportFormatInfo* NvImportGetFileFormatInfo(int format);

/* Returns 2 when the file at `path` certainly is of format `format`, 1 when it may be, 0 when it
 * is not. */
NVIMPORT_API char NvImportIsCorrectFileType(int format, const char* path);

/* Makes a reader or writer of format `format`, stores its handle in `*handle` and opens the file at
 * `path`: for reading when `mode` is not 0, for writing (which replaces the file) when it is 0.
 * Returns 1 when the open succeeded. The handle must be closed in either case. `options` may be
 * null; the record of a format that asked the user is filled with the choice when it came with
 * size 0 and null data, and those bytes stay owned by the handle until it is closed. */
NVIMPORT_API char NvImportOpen(int format, const char* path, char mode, long* handle,
                               NvImportOpenOptions* options);

/* Stores the number of rows and columns that a read will give, -1 each where it can't be known.
 * Returns 1 when both are 0 or more. `format` is for plug-ins that serve several formats; this
 * library looks at the handle alone, here and in the functions below. */
NVIMPORT_API char NvImportEstablishSize(int format, long handle, int* rows, int* columns);

/* Reads every cell into the callbacks of `data`. Returns 1 on success. After a failure the cells
 * that were delivered before it stand. */
NVIMPORT_API char NvImportRead(int format, long handle, NvImportReadData* data);

/* Writes the cells that the callbacks of `data` give. Returns 1 on success. */
NVIMPORT_API char NvImportWrite(int format, long handle, NvImportWriteData* data);

/* Closes the file and destroys its object; the handle is invalid afterwards. Out of a callback of
 * the file's own read or write nothing is closed. */
NVIMPORT_API void NvImportClose(int format, long handle);

/* Returns the text of the handle's last failure, at most 254 bytes, empty when there was none. It
 * stands in one buffer for all handles of a thread, valid until its next call of this function. */
NVIMPORT_API const char* NvImportGetLastError(int format, long handle);

/* Returns the warning of the last read, or null when there is none. */
NVIMPORT_API const char* NvImportGetWarning(int format, long handle);

#ifdef __cplusplus
}
#endif

#endif

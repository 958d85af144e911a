/* A consumer of Arrow's C stream interface, after what Arrow publishes of it and nothing of ours:
   the table as text, or what is wrong with it. The caller frees the text. */

#include <inttypes.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary;
  void (*release)(struct ArrowSchema*);
  void* private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers;
  struct ArrowArray** children;
  struct ArrowArray* dictionary;
  void (*release)(struct ArrowArray*);
  void* private_data;
};

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
  int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
  const char* (*get_last_error)(struct ArrowArrayStream*);
  void (*release)(struct ArrowArrayStream*);
  void* private_data;
};

struct Text {
  char* bytes;
  size_t size;
};

static void add(struct Text* text, const char* form, ...) {
  char piece[256];
  va_list values;
  va_start(values, form);
  const int size = vsnprintf(piece, sizeof piece, form, values);
  va_end(values);
  if (size < 0 || (size_t)size >= sizeof piece) abort();
  text->bytes = realloc(text->bytes, text->size + (size_t)size + 1);
  memcpy(text->bytes + text->size, piece, (size_t)size + 1);
  text->size += (size_t)size;
}

static int is_valid(const struct ArrowArray* array, int64_t row) {
  const uint8_t* bits = array->buffers[0];
  return bits == NULL || (bits[row / 8] >> (row % 8) & 1) != 0;
}

static void add_cell(struct Text* text, const char* format, const struct ArrowArray* array,
                     int64_t row) {
  const void* values = array->buffers[1];
  if (!is_valid(array, row)) {
    add(text, "null");
  } else if (strcmp(format, "g") == 0) {
    add(text, "%.17g", ((const double*)values)[row]);
  } else if (strcmp(format, "f") == 0) {
    add(text, "%.9g", (double)((const float*)values)[row]);
  } else if (strcmp(format, "l") == 0 || strcmp(format, "tsn:") == 0) {
    add(text, "%" PRId64, ((const int64_t*)values)[row]);
  } else if (strcmp(format, "u") == 0) {
    const int32_t* ends = values;
    add(text, "'%.*s'", (int)(ends[row + 1] - ends[row]),
        (const char*)array->buffers[2] + ends[row]);
  } else {
    add(text, "?");
  }
}

/* What an array breaks of the published rules. */
static const char* fault(const char* format, const struct ArrowArray* array, int64_t rows) {
  int64_t nulls = 0;
  for (int64_t row = 0; row < array->length; ++row) nulls += !is_valid(array, row);
  if (array->length != rows || array->offset != 0) return "length";
  if (array->null_count != nulls) return "null_count";
  if (array->n_buffers != (*format == 'u' ? 3 : 2) || array->n_children != 0) return "buffers";
  if (array->dictionary != NULL || array->release == NULL) return "release";
  return NULL;
}

/* Children that are moved away outlive what they came in. */
static void move_children(struct ArrowArray* from, struct ArrowArray* to) {
  for (int64_t i = 0; i < from->n_children; ++i) {
    to[i] = *from->children[i];
    from->children[i]->release = NULL;
  }
  from->release(from);
}

char* consume_arrow(struct ArrowArrayStream* stream) {
  struct Text text = {NULL, 0};
  struct ArrowSchema schema;
  struct ArrowArray batch;
  if (stream->get_schema(stream, &schema) != 0 || strcmp(schema.format, "+s") != 0) return NULL;
  for (int64_t i = 0; i < schema.n_children; ++i)
    add(&text, "%s:%s ", schema.children[i]->name, schema.children[i]->format);
  const char* said = schema.metadata;
  int32_t pairs = 0;
  if (said != NULL) memcpy(&pairs, said, sizeof pairs);
  add(&text, "\n%d said\n", pairs);
  while (stream->get_next(stream, &batch) == 0 && batch.release != NULL) {
    const int64_t rows = batch.length;
    const int64_t count = batch.n_children;
    struct ArrowArray* columns = calloc((size_t)count + 1, sizeof *columns);
    if (count != schema.n_children || batch.n_buffers != 1) add(&text, "wrong: children\n");
    move_children(&batch, columns);
    for (int64_t i = 0; i < count; ++i) {
      const char* wrong = fault(schema.children[i]->format, &columns[i], rows);
      if (wrong != NULL) add(&text, "wrong: %s\n", wrong);
    }
    for (int64_t row = 0; row < rows; ++row) {
      for (int64_t i = 0; i < count; ++i) {
        add_cell(&text, schema.children[i]->format, &columns[i], row);
        add(&text, i + 1 < count ? " " : "\n");
      }
    }
    for (int64_t i = 0; i < count; ++i) columns[i].release(&columns[i]);
    free(columns);
  }
  schema.release(&schema);
  stream->release(stream);
  if (stream->release != NULL) add(&text, "wrong: not released\n");
  return text.bytes;
}

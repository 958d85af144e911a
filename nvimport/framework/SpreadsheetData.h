#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <type_traits>

#include "nvimport/platform/Export.h"

// All of NvImport in C++. The C functions, their records and the macros are global.
namespace nvimport {

// The contract between formats and sheets. Every reader delivers its cells into a
// ReadSpreadSheetData, every writer takes them from a WriteSpreadSheetData; neither knows what
// holds the sheet.
//
// A cell is addressed column first, then row, both from 1. A cell is a number (a 32-bit float), a
// text (NUL-terminated bytes that the sink copies before it returns) or missing (never set). Names
// of variables and observations are ordinary text cells.

// What a cell holds. The values cross the C interface, so they are fixed.
enum class CellKind : char { kNumber = 1, kText = 2, kMissing = 3 };

// What sink and source have in common: the current extent of the sheet.
class NVIMPORT_API SpreadSheetDataBase {
 public:
  SpreadSheetDataBase() = default;
  SpreadSheetDataBase(const SpreadSheetDataBase&) = default;
  SpreadSheetDataBase& operator=(const SpreadSheetDataBase&) = default;
  virtual ~SpreadSheetDataBase();

  // The number of columns.
  virtual int GetNumberOfColumns() = 0;

  // The number of rows.
  virtual int GetNumberOfRows() = 0;
};

// The sink. A subclass that overrides only the text and float overloads writes
// `using ReadSpreadSheetData::Set;`, else its two overloads hide the other three.
class NVIMPORT_API ReadSpreadSheetData : public virtual SpreadSheetDataBase {
 public:
  // Whole numbers and doubles become the nearest float.
  virtual void Set(int column, int row, int value);
  virtual void Set(int column, int row, long long value);
  virtual void Set(int column, int row, double value);

  // Whole numbers of the other types, as the one above that holds all of theirs.
  template <std::integral Whole>
  void Set(int column, int row, Whole value) {
    if constexpr (sizeof(Whole) < sizeof(int))
      Set(column, row, static_cast<int>(value));
    else if constexpr (std::is_signed_v<Whole> || sizeof(Whole) < sizeof(long long))
      Set(column, row, static_cast<long long>(value));
    else
      Set(column, row, static_cast<double>(value));
  }

  // Stores a text cell, whose bytes are valid only during the call.
  virtual void Set(int column, int row, const char* text) = 0;

  // Stores a number cell.
  virtual void Set(int column, int row, float value) = 0;

  // Whether the sink has a use for more than floats. What its file holds as a double or as a whole
  // number then comes through SetExact, as it is there. Not at first.
  virtual bool TakesExact();

  // Stores a number cell with all its digits; at first as the Set of its type does.
  virtual void SetExact(int column, int row, double value);
  virtual void SetExact(int column, int row, long long value);

  // Stores a text cell of `length` bytes, which end with a NUL all the same; at first as the one
  // without a length does. Readers that know the length spare the sink the search for it.
  virtual void Set(int column, int row, const char* text, std::size_t length);

  // The index wanted after `previous` (0 before the first). A reader that walks its rows through
  // this stops, successfully, at a negative answer. The default is previous + 1.
  virtual int GetNextIndex(int previous);

  // Announces the size of the data before cells are set. A reader may still set cells beyond it.
  virtual void SetDataSize(int columns, int rows) = 0;
};

// The source. At most one of IsNumber, IsText and IsMissing is true for a cell; a cell for which
// none is true is written as an empty one. The text returned is copied at once.
class NVIMPORT_API WriteSpreadSheetData : public virtual SpreadSheetDataBase {
 public:
  // The value of a number cell.
  virtual float GetNumber(int column, int row) = 0;

  // The value of a number cell that is wider than a float, as far as a double holds it; none of the
  // others, and none at first.
  virtual std::optional<double> GetExact(int column, int row);

  // The text of a text cell. For a number cell, the text to write in its place, or null; see
  // KeepsTextOf.
  virtual const char* GetText(int column, int row) = 0;

  // A mark that a host keeps with its cells; no format here writes it.
  virtual bool CellFlag(int column, int row) = 0;

  // The kind of the cell.
  virtual bool IsNumber(int column, int row) = 0;
  virtual bool IsMissing(int column, int row) = 0;
  virtual bool IsText(int column, int row) = 0;

  // Whether GetText gives a number cell's text as it is to be written, 1.50 for what is 1.5. Not
  // at first: a source may answer GetText with whatever it has for a cell that is no text.
  virtual bool KeepsTextOf(int column, int row);
};

// Sink and source in one: the sheet that a host reads into and writes from.
class NVIMPORT_API SpreadsheetData : public ReadSpreadSheetData, public WriteSpreadSheetData {
 public:
  // Keeps a number for the host's own use and returns it.
  virtual int SetTag(int value);
  int GetTag() const { return tag_; }

 private:
  int tag_ = 0;
};

}  // namespace nvimport

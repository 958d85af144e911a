#pragma once

#include <string>

namespace nvimport {

class Description;
class MemorySheet;

// How the spectra of a sheet, or the columns of a table, are drawn.
struct PictureSettings {
  std::string kind;  // "svg", "png", or "pdf"
  int width = 0;     // in pixels
  int height = 0;
  bool is_reversed = false;                  // x falls from left to right
  const Description* description = nullptr;  // names the axes and has their x values; null for none
};

// Draws `sheet` into the file at `path`. False, with the reason in `why`, when it could not be
// written; empty when the sheet holds nothing to draw. A library of its own has this function,
// since hosts shall need nothing of what draws.
using DrawPictureFunction = bool(MemorySheet& sheet, const PictureSettings& settings,
                                 const std::string& path, std::string& why);
inline constexpr const char* kDrawPicture = "NvImportDrawPicture";
inline constexpr const char* kDrawingLibrary = "nvimport-draw.so";

}  // namespace nvimport

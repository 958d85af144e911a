#pragma once

#include <memory>
#include <utility>

#include "nvimport/formats/UnbuiltFile.h"
#include "nvimport/framework/SprFileFactory.h"

namespace nvimport {

// A format whose reader is not built yet. It keeps its place in the registry; one that tells its
// files by their content claims none until it can.
class UnbuiltFactory : public SprFileFactory {
 public:
  UnbuiltFactory(Confidence confidence, FormatTraits traits)
      : SprFileFactory(Unbuilt(std::move(traits))), confidence_(confidence) {}

  int IsCorrectFileType(const char*) override { return confidence_; }
  SpreadsheetFile* Create() override { return std::make_unique<UnbuiltFile>().release(); }

 private:
  static FormatTraits Unbuilt(FormatTraits traits) {
    traits.has_reader = traits.has_writer = false;
    return traits;
  }

  Confidence confidence_;
};

// Kept: three formats have a write filter though they cannot write, and some answer to more
// extensions than their filter names.
struct BrooksideFileFileFactory final : UnbuiltFactory {
  BrooksideFileFileFactory()
      : UnbuiltFactory(kNoOpinion, {.name = "Brookside File",
                                    .read_filter = "Brookside Files (*.trn; *.pkg)",
                                    .extensions = {".trn", ".pkg"}}) {}
};
struct BrooksideXMLFactory final : UnbuiltFactory {
  BrooksideXMLFactory()
      : UnbuiltFactory(kNotThis, {.name = "Brookside Ver. 2.6 XML File",
                                  .read_filter = "Brookside Ver. 2.6 XML Files (*.xml)",
                                  .extensions = {".xml"},
                                  .several_at_once = true}) {}
};
struct ThermoSIEVEFileFactory final : UnbuiltFactory {
  ThermoSIEVEFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "Thermo SIEVE File",
                                  .read_filter = "Thermo SIEVE Files (*.txt)",
                                  .write_filter = "Thermo SIEVE File (*.txt)",
                                  .extensions = {".txt"},
                                  .flag5 = true}) {}
};
struct UnscramblerFileFactory final : UnbuiltFactory {
  UnscramblerFileFactory()
      : UnbuiltFactory(kNotThis, {.name = "Unscrambler File",
                                  .read_filter = "Unscrambler Files (*.uns; *.inp)",
                                  .extensions = {".uns", ".inp"}}) {}
};

}  // namespace nvimport

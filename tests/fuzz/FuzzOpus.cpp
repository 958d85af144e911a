// Bruker OPUS files, one or two. Bytes of the program's version, which says nothing of the layout,
// say how they are read:
//   4 the first point   5 the last   6 bit 0 all blocks, else the usual ones; bit 1 brought onto
//   the x values of the first; bit 2 two files, cut in the middle

#include "nvimport/formats/spectra/BrukerOPUSFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

// A user who takes all blocks, or what is usual, which are no interferograms among others.
class TakingBlocks final : public Taking {
 public:
  using Taking::Taking;

  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    const auto is_interferogram = [&](std::size_t item) {
      return question.items[item].find("Interferogram") != std::string::npos;
    };
    const auto count = std::ranges::count_if(question.usual, is_interferogram);
    Check(!question.usual.empty(), "something is usual");
    Check(count == 0 || count == std::ssize(question.usual), "what is usual goes together");
    return Taking::SelectItems(question);
  }
};

}  // namespace

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 6);
  const TakingBlocks dialogs((settings & 1) != 0);
  const std::size_t cut = (settings & 4) != 0 ? input.size() / 2 : input.size();
  const MemoryFile first(input.substr(0, cut));
  const MemoryFile second(input.substr(cut));
  const std::string path = cut < input.size() ? FileSelection::Join({first.path(), second.path()})
                                              : std::string(first.path());
  std::string pairs =
      "range=" + std::to_string(Setting(input, 4) + 1) + "," + std::to_string(Setting(input, 5));
  if ((settings & 2) != 0) pairs += ";reference=1";
  OpenOptions options = OpenOptions::Pairs(pairs);
  BrukerOPUSFile file;
  OpenAndRead(file, path, options.get());
  OpenOptions none = OpenOptions::Pairs("");
  BrukerOPUSFile whole;
  OpenAndRead(whole, path, none.get());
}

}  // namespace nvimport

// MATLAB files. Bytes of the header's text, which no reader looks at, say how they are read:
//   100 bit 0 all matrices, else the usual one; bit 1 below each other, bit 2 without names
// What is packed can hardly be damaged and still be unpacked: input that begins with 'P' is packed
// here, as a variable behind a header.

#include "nvimport/formats/matrix/MatFile.h"
#include "tests/fuzz/Fuzz.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "tests/support/MatFixture.h"
#endif

namespace nvimport {

namespace {

// A user who takes all there is, or what is usual.
class Taking final : public Dialogs {
 public:
  explicit Taking(int settings) : settings_(settings) { Install(this); }
  Taking(const Taking&) = delete;
  Taking& operator=(const Taking&) = delete;
  ~Taking() override { Install(nullptr); }

  std::optional<ItemsChoice> SelectItems(const ItemsQuestion& question) override {
    ItemsChoice choice{question.usual, (settings_ & 2) != 0 ? 1U : 0U};
    for (std::size_t i = 0; (settings_ & 1) != 0 && i < question.items.size(); ++i)
      choice.items.push_back(i);
    return choice;
  }

 private:
  int settings_;
};

}  // namespace

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 100);
  const Taking dialogs(settings);
  std::string bytes(input);
#ifdef NVIMPORT_HAS_PACKAGES
  if (input.starts_with('P')) {
    const MatFixture fixture;
    bytes = fixture.Header() + fixture.Packed(bytes.substr(1));
  }
#endif
  const MemoryFile place(bytes);
  MatFile file;
  OpenOptions options = OpenOptions::Pairs((settings & 4) != 0 ? "names=0" : "");
  OpenAndRead(file, place.path(), options.get());
}

}  // namespace nvimport

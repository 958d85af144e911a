#include "nvimport/framework/SpreadsheetOpenOptions.h"

#include <algorithm>

#include "nvimport/platform/Exception.h"
#include "nvimport/platform/StreamReader.h"
#include "nvimport/platform/StreamWriter.h"

namespace nvimport {

struct SpreadsheetOpenOptions::Held {
  NvImportOpenOptions record{};

  Held() = default;
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { FreeOpenOptions(&record); }
};

SpreadsheetOpenOptions::SpreadsheetOpenOptions() = default;

SpreadsheetOpenOptions::SpreadsheetOpenOptions(const NvImportOpenOptions* options) {
  Reset(options);
}

SpreadsheetOpenOptions::SpreadsheetOpenOptions(StreamReader& reader) { Read(reader); }

SpreadsheetOpenOptions::SpreadsheetOpenOptions(const SpreadsheetOpenOptions& other) {
  Reset(other);
}

SpreadsheetOpenOptions& SpreadsheetOpenOptions::operator=(const SpreadsheetOpenOptions& other) {
  if (this != &other) Reset(other);
  return *this;
}

SpreadsheetOpenOptions& SpreadsheetOpenOptions::operator=(const NvImportOpenOptions* options) {
  if (options == nullptr || options != static_cast<const NvImportOpenOptions*>(*this))
    Reset(options);
  return *this;
}

SpreadsheetOpenOptions::~SpreadsheetOpenOptions() = default;

SpreadsheetOpenOptions::operator const NvImportOpenOptions*() const {
  return held_ ? &held_->record : nullptr;
}

void SpreadsheetOpenOptions::Write(StreamWriter& writer) const {
  writer.WriteBool(held_ != nullptr);
  if (!held_) return;
  writer.WriteInt32(held_->record.size);
  writer.WriteUInt8Vector(held_->record.data, held_->record.size);
}

void SpreadsheetOpenOptions::Read(StreamReader& reader) {
  held_.reset();
  if (!reader.ReadBool()) return;
  const int size = reader.ReadInt32();
  if (size < 0) throw Exception("The stored import options are damaged.");
  // The size is a claim until its bytes have come, so they are gathered a piece at a time.
  constexpr int kPiece = 64 * 1024;
  std::vector<unsigned char> bytes;
  for (int left = size; left > 0;) {
    const int piece = std::min(left, kPiece);
    const std::size_t old_size = bytes.size();
    bytes.resize(old_size + static_cast<std::size_t>(piece));
    reader.ReadUInt8Vector(bytes.data() + old_size, piece);
    left -= piece;
  }
  auto held = std::make_unique<Held>();
  held->record.data = std::make_unique<unsigned char[]>(bytes.size()).release();
  held->record.size = size;
  std::ranges::copy(bytes, held->record.data);
  held_ = std::move(held);
}

void SpreadsheetOpenOptions::CopyOpenOptions(NvImportOpenOptions* target,
                                             const NvImportOpenOptions* source) {
  target->size = 0;
  target->data = nullptr;
  if (source->size <= 0 || source->data == nullptr) return;
  target->data =
      std::make_unique<unsigned char[]>(static_cast<std::size_t>(source->size)).release();
  target->size = source->size;
  std::copy_n(source->data, source->size, target->data);
}

NvImportOpenOptions* SpreadsheetOpenOptions::NewOpenOptions(std::vector<unsigned char> bytes) {
  const NvImportOpenOptions ours{static_cast<int>(bytes.size()), bytes.data()};
  auto options = std::make_unique<NvImportOpenOptions>();
  CopyOpenOptions(options.get(), &ours);
  return options.release();
}

void SpreadsheetOpenOptions::FreeOpenOptions(NvImportOpenOptions* options) {
  std::unique_ptr<unsigned char[]>(options->data).reset();
  options->data = nullptr;
  options->size = 0;
}

void SpreadsheetOpenOptions::Reset(const NvImportOpenOptions* options) {
  // The copy comes first: `options` may be part of what is held.
  std::unique_ptr<Held> held;
  if (options != nullptr) {
    held = std::make_unique<Held>();
    CopyOpenOptions(&held->record, options);
  }
  held_ = std::move(held);
}

}  // namespace nvimport

#include "nvimport/formats/workbook/ExcelStream.h"

#include <utility>

#include "nvimport/formats/workbook/BiffCipher.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

BaseStream::BaseStream(const char* path) : file_(path) {
  if (file_.is_open())
    Set(Status::kGood, file_.size());
  else
    Set(Status::kNoStorage, 0);
}

BaseStream::~BaseStream() = default;

void BaseStream::Set(Status status, std::uint64_t size) {
  status_ = status;
  size_ = size;
  capacity_ = std::clamp<std::uint64_t>(size, kSmallestWindow, kLargestWindow);
}

void BaseStream::Seek(std::uint64_t position) {
  if (!window_.Seek(position)) block_ = kFirstBlock;
}

char* BaseStream::PeekAcross(std::size_t count) {
  const std::size_t have = window_.size();
  const std::size_t wanted = std::min(std::max(count - have, block_), capacity_ - have);
  block_ = std::min(block_ * 2, capacity_);
  window_.Fill(wanted, [&](std::span<char> into) { return Fetch(Tell() + have, into); });
  return window_.size() >= count ? window_.data() : nullptr;
}

void BaseStream::SetCipher(std::unique_ptr<BiffCipher> cipher) {
  cipher_ = std::move(cipher);
  encrypted_from_ = Tell();
}

void BaseStream::Decrypt(BiffRecord& record) {
  if (Tell() < encrypted_from_) return;
  const auto length = static_cast<std::size_t>(record.length);
  decrypted_.assign(record.data, record.data + length);
  cipher_->Decrypt(Tell(), record.id, decrypted_);
  decrypted_.resize(length + RefillBuffer::kPadding);
  record.data = decrypted_.data();
}

std::ptrdiff_t BaseStream::Fetch(std::uint64_t position, std::span<char> into) {
  return file_.Seek(position) ? file_.Read(into) : -1;
}

ExcelStgStream::ExcelStgStream(const char* path, bool exact_names) {
  Set(Status::kNoStorage, 0);
  if (!compound_file_.Open(path)) return;
  const auto elements = compound_file_.Elements(0);
  if (!elements) return;
  const auto find = [&](auto is_wanted) {
    const auto found = std::ranges::find_if(*elements, [&](std::size_t element) {
      return is_wanted(compound_file_.entries()[element].name);
    });
    if (stream_ == nullptr && found != elements->end()) stream_ = compound_file_.OpenStream(*found);
  };
  if (exact_names) {
    find([](const std::string& name) { return name == "Workbook" || name == "Book"; });
  } else {
    for (const char* const wanted : {"Workbook", "Book"})
      find([&](const std::string& name) { return EqualIgnoringCase(name, wanted); });
  }
  if (stream_ != nullptr)
    Set(Status::kGood, stream_->size());
  else
    Set(Status::kNoStream, 0);
}

std::ptrdiff_t ExcelStgStream::Fetch(std::uint64_t position, std::span<char> into) {
  return compound_file_.Read(*stream_, position, into);
}

}  // namespace nvimport

#include "plugins/hdf5/ShownFile.h"

#include <algorithm>
#include <cstring>

namespace nvimport {

void ShownFile::Add(std::string_view bytes) {
  if (bytes.empty()) return;
  if (parts_.empty() || parts_.back().is_data) parts_.push_back({size_, 0, bytes_.size(), false});
  bytes_ += bytes;
  parts_.back().size += bytes.size();
  size_ += bytes.size();
}

void ShownFile::Add(const Hdf5Data& data) {
  if (data.bytes() == 0) return;
  parts_.push_back({size_, data.bytes(), data_.size(), true});
  data_.push_back(data);
  size_ += data.bytes();
}

void ShownFile::Pad(unsigned multiple) {
  Add(std::string((multiple - size_ % multiple) % multiple, '\0'));
}

void ShownFile::Change(std::uint64_t position, std::string_view bytes) {
  const auto part = std::ranges::upper_bound(parts_, position, {}, &Part::begin) - 1;
  bytes_.replace(part->at + static_cast<std::size_t>(position - part->begin), bytes.size(), bytes);
}

void ShownFile::CutTo(std::uint64_t size) {
  while (!parts_.empty() && parts_.back().begin >= size) {
    if (parts_.back().is_data)
      data_.pop_back();
    else
      bytes_.resize(parts_.back().at);
    parts_.pop_back();
  }
  if (!parts_.empty() && !parts_.back().is_data) {
    parts_.back().size = size - parts_.back().begin;
    bytes_.resize(parts_.back().at + static_cast<std::size_t>(parts_.back().size));
  }
  size_ = size;
}

std::int64_t ShownFile::Read(std::uint64_t position, std::uint64_t count, char* to,
                             std::uint64_t text_base, std::string& texts) {
  if (position >= size_) return 0;
  count = std::min(count, size_ - position);
  auto part = std::ranges::upper_bound(parts_, position, {}, &Part::begin) - 1;
  for (std::uint64_t done = 0; done < count; ++part) {
    const std::uint64_t at = position + done - part->begin;
    const std::uint64_t some = std::min(count - done, part->size - at);
    if (!part->is_data) {
      std::memcpy(to + done, bytes_.data() + part->at + at, static_cast<std::size_t>(some));
    } else {
      const Hdf5Data& data = data_[part->at];
      const std::uint64_t each = data.type.size;
      const std::uint64_t first = at / each;
      const std::uint64_t values = (at + some + each - 1) / each - first;
      if (at % each == 0 && some % each == 0) {
        if (!file_.Read(data, first, values, to + done, text_base, &texts)) return -1;
      } else {
        std::string whole(static_cast<std::size_t>(values * each), '\0');
        if (!file_.Read(data, first, values, whole.data(), text_base, &texts)) return -1;
        std::memcpy(to + done, whole.data() + at % each, static_cast<std::size_t>(some));
      }
    }
    done += some;
  }
  return static_cast<std::int64_t>(count);
}

}  // namespace nvimport

#include "formats/workbook/ZipPackage.h"

#include <minizip/unzip.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr std::size_t kLongestName = 4096;
constexpr unsigned kEncrypted = 1;

}  // namespace

// The directory is read byte by byte, so there is a buffer between it and the file.
struct ZipPackage::Access {
  InputFile file;
  std::uint64_t position = 0;
  std::vector<char> block = std::vector<char>(kBlock);
  std::uint64_t block_begin = 0;
  std::size_t block_size = 0;
  bool failed = false;

  std::size_t Read(char* into, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
      if (position < block_begin || position - block_begin >= block_size) {
        if (!FillBlock()) break;
      }
      const auto at = static_cast<std::size_t>(position - block_begin);
      const std::size_t part = std::min(count - done, block_size - at);
      std::memcpy(into + done, block.data() + at, part);
      done += part;
      position += part;
    }
    return done;
  }

  bool FillBlock() {
    block_begin = position;
    block_size = 0;
    const std::ptrdiff_t got = file.Seek(position) ? file.Read(block) : -1;
    failed = failed || got < 0;
    block_size = static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0));
    return block_size > 0;
  }

  bool Seek(std::uint64_t offset, int origin) {
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) offset += position;
    if (origin == ZLIB_FILEFUNC_SEEK_END) offset += file.size();
    position = offset;
    return true;
  }

  // What the archive's library calls.
  static zlib_filefunc64_def Functions(Access& access) {
    zlib_filefunc64_def functions{};
    functions.opaque = &access;
    functions.zopen64_file = [](void* self, const void*, int) { return self; };
    functions.zread_file = [](void* self, void*, void* into, uLong count) {
      return static_cast<uLong>(static_cast<Access*>(self)->Read(static_cast<char*>(into), count));
    };
    functions.ztell64_file = [](void* self, void*) {
      return static_cast<ZPOS64_T>(static_cast<Access*>(self)->position);
    };
    functions.zseek64_file = [](void* self, void*, ZPOS64_T offset, int origin) {
      return static_cast<Access*>(self)->Seek(offset, origin) ? 0L : -1L;
    };
    functions.zclose_file = [](void*, void*) { return 0; };
    functions.zerror_file = [](void* self, void*) {
      return static_cast<Access*>(self)->failed ? 1 : 0;
    };
    return functions;
  }
};

ZipPackage::ZipPackage() = default;

ZipPackage::~ZipPackage() {
  ClosePart();
  if (archive_ != nullptr) unzClose(archive_);
}

bool ZipPackage::Open(const char* path) {
  access_ = std::make_unique<Access>();
  access_->file = InputFile(path);
  if (!access_->file.is_open()) return false;
  size_ = access_->file.size();
  zlib_filefunc64_def functions = Access::Functions(*access_);
  archive_ = unzOpen2_64(path, &functions);
  buffer_.resize(kBlock);
  return archive_ != nullptr && ReadDirectory();
}

std::string ZipPackage::KeyOf(std::string_view name) {
  std::string key(name.substr(name.starts_with('/') ? 1 : 0));
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c == '\\') c = '/';
  }
  return key;
}

bool ZipPackage::ReadDirectory() {
  std::vector<char> name(kLongestName + 1);
  int status = unzGoToFirstFile(archive_);
  for (; status == UNZ_OK; status = unzGoToNextFile(archive_)) {
    unz_file_info64 info;
    unz64_file_pos place;
    if (unzGetCurrentFileInfo64(archive_, &info, name.data(), kLongestName, nullptr, 0, nullptr,
                                0) != UNZ_OK ||
        unzGetFilePos64(archive_, &place) != UNZ_OK)
      return false;
    if (info.size_filename > kLongestName) continue;
    parts_.try_emplace(KeyOf({name.data(), info.size_filename}),
                       Place{place.pos_in_zip_directory, place.num_of_file});
  }
  return status == UNZ_END_OF_LIST_OF_FILE && !access_->failed;
}

bool ZipPackage::OpenPart(std::string_view name, std::uint64_t most) {
  ClosePart();
  begin_ = end_ = 0;
  failed_ = is_too_large_ = false;
  part_size_ = 0;
  const auto found = parts_.find(KeyOf(name));
  if (found == parts_.end()) return false;
  const unz64_file_pos place{found->second.offset, found->second.number};
  unz_file_info64 info;
  if (unzGoToFilePos64(archive_, &place) != UNZ_OK ||
      unzGetCurrentFileInfo64(archive_, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
    return false;
  const bool is_known = info.compression_method == 0 || info.compression_method == Z_DEFLATED;
  if ((info.flag & kEncrypted) != 0 || !is_known) return false;
  part_size_ = info.uncompressed_size;
  is_too_large_ = part_size_ > most;
  is_open_ = !is_too_large_ && unzOpenCurrentFile(archive_) == UNZ_OK;
  return is_open_;
}

void ZipPackage::ClosePart() {
  if (!is_open_) return;
  is_open_ = false;
  if (unzCloseCurrentFile(archive_) != UNZ_OK) failed_ = true;
}

void ZipPackage::Skip(std::uint64_t count) {
  while (count > end_ - begin_) {
    count -= end_ - begin_;
    begin_ = end_;
    Fill(1);
    if (begin_ == end_) return;
  }
  begin_ += static_cast<std::size_t>(count);
}

void ZipPackage::Fill(std::size_t least) {
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  least = std::min(least, kMostAhead);
  while (is_open_ && end_ < least) {
    // As large as what has come, not as what may.
    if (end_ == buffer_.size()) buffer_.resize(std::min(2 * buffer_.size(), kMostAhead));
    const int got = unzReadCurrentFile(archive_, buffer_.data() + end_,
                                       static_cast<unsigned>(buffer_.size() - end_));
    if (got > 0)
      end_ += static_cast<std::size_t>(got);
    else
      ClosePart();
    if (got < 0) failed_ = true;
  }
}

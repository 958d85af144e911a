#if __has_include(<gsf/gsf-outfile.h>)  // as CompoundWriter.h needs it

#include "nvimport/platform/CompoundFile.h"
#include "tests/support/Cases.h"
#include "tests/support/CompoundWriter.h"

namespace nvimport {

namespace {

std::string Pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

std::string Contents(CompoundFile& file, std::size_t entry) {
  const CompoundFile::Stream* stream = file.OpenStream(entry);
  if (stream == nullptr) return "no stream";
  std::string bytes(stream->size(), '\0');
  bytes.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(file.Read(*stream, 0, bytes), 0)));
  return bytes;
}

// All streams by path, as WriteCompoundFile takes them.
void Gather(CompoundFile& file, std::size_t storage, const std::string& path,
            std::map<std::string, std::string>& streams) {
  const auto elements = file.Elements(storage);
  if (!elements) {
    streams[path + "?"] = "damaged";
    return;
  }
  for (const std::size_t element : *elements) {
    const std::string name = path + file.entries()[element].name;
    if (file.entries()[element].kind == CompoundFile::Kind::kStorage)
      Gather(file, element, name + "/", streams);
    else
      streams[name] = Contents(file, element);
  }
}

std::map<std::string, std::string> ReadCompoundFile(std::string_view bytes) {
  const MemoryFile memory(bytes);
  CompoundFile file;
  std::map<std::string, std::string> streams;
  if (file.Open(memory.path())) Gather(file, 0, "", streams);
  return streams;
}

// Nested storages, streams on both sides of the mini stream's limit, an empty one, names beyond
// ASCII; with 9 MB the list of the FAT's sectors leaves the header.
TEST(CompoundFile, ReadsWhatAnIndependentWriterWrote) {
  const std::map<std::string, std::string> streams = {
      {"Big", Pattern(9'000'000)},
      {"Empty", ""},
      {"Folder/4095", Pattern(4095)},
      {"Folder/4096", Pattern(4096)},
      {"Folder/One", "1"},
      {"Other/Mini", Pattern(64)},
      {"\xCE\xA9mega \xF0\x9F\x98\x80", "name"},
  };
  for (const unsigned sector_size : {512U, 4096U})
    EXPECT_EQ(ReadCompoundFile(WriteCompoundFile(streams, sector_size)), streams) << sector_size;
}

TEST(CompoundFile, ReadsAnyStretchOfAStream) {
  const std::string whole = Pattern(5000);
  const MemoryFile memory(WriteCompoundFile({{"A", whole}, {"B", "b"}}, 512));
  CompoundFile file;
  ASSERT_TRUE(file.Open(memory.path()));
  const std::size_t entry = (*file.Elements(0))[0];
  const CompoundFile::Stream* stream = file.OpenStream(entry);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(file.OpenStream(entry), stream) << "a stream can be opened again";
  for (const std::size_t at : {0U, 1U, 511U, 512U, 4607U, 4999U, 5000U, 9000U})
    for (const std::size_t size : {1U, 2U, 513U, 5000U}) {
      std::string bytes(size, '?');
      const std::ptrdiff_t got = file.Read(*stream, at, bytes);
      const std::string expected = at < whole.size() ? whole.substr(at, size) : "";
      EXPECT_EQ(bytes.substr(0, static_cast<std::size_t>(got)), expected) << at << " + " << size;
    }
}

// A small file laid out by hand: sector 0 the FAT, 1 the directory, 2 the mini FAT, 3 the mini
// stream, 4 to 12 the stream "Long" of 4,500 bytes. Entries: root, Long, Short, Third.
struct SmallFile {
  std::string bytes;

  SmallFile() : bytes(512 * 14, '\0') {
    bytes.replace(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
    Put16(24, 0x3E);
    Put16(26, 3);
    Put16(28, 0xFFFE);
    Put16(30, 9);
    Put16(32, 6);
    Put(44, 1);
    Put(48, 1);
    Put(56, 4096);
    Put(60, 2);
    Put(64, 1);
    Put(68, kEnd);
    for (int i = 0; i < 109; ++i) Put(76 + 4 * i, i == 0 ? 0 : kFree);
    for (int i = 0; i < 128; ++i) {
      Put(Fat(i), i < 4 ? (i == 0 ? 0xFFFFFFFD : kEnd) : i < 12 ? i + 1 : i == 12 ? kEnd : kFree);
      Put(MiniFat(i), i == 0 ? 1 : i == 1 ? kEnd : kFree);
    }
    Name(0, "Root Entry", 5, 3, 128);
    Name(1, "Long", 2, 4, 4500);
    Name(2, "Short", 2, 0, 100);
    Name(3, "Third", 1, 0, 0);
    Put(Entry(0) + 76, 2);
    Put(Entry(2) + 68, 1);
    Put(Entry(2) + 72, 3);
  }

  static constexpr std::uint32_t kEnd = 0xFFFFFFFE;
  static constexpr std::uint32_t kFree = 0xFFFFFFFF;
  static std::size_t Fat(int sector) { return 512 + 4 * static_cast<std::size_t>(sector); }
  static std::size_t MiniFat(int sector) { return 1536 + 4 * static_cast<std::size_t>(sector); }
  static std::size_t Entry(int entry) { return 1024 + 128 * static_cast<std::size_t>(entry); }

  void Put16(std::size_t at, std::uint16_t value) { std::memcpy(&bytes[at], &value, 2); }
  void Put(std::size_t at, std::uint32_t value) { std::memcpy(&bytes[at], &value, 4); }
  void Name(int entry, const std::string& name, char kind, std::uint32_t first,
            std::uint32_t size) {
    for (std::size_t i = 0; i < name.size(); ++i) bytes[Entry(entry) + 2 * i] = name[i];
    Put16(Entry(entry) + 64, static_cast<std::uint16_t>(2 * name.size() + 2));
    bytes[Entry(entry) + 66] = kind;
    for (const std::size_t link : {68, 72, 76}) Put(Entry(entry) + link, kFree);
    Put(Entry(entry) + 116, first);
    Put(Entry(entry) + 120, size);
  }
};

// What is found in it, in tree order: each name, and of a stream the bytes that it gave.
std::string Summary(const std::string& bytes) {
  const MemoryFile memory(bytes);
  CompoundFile file;
  if (!file.Open(memory.path())) return "refused";
  const auto elements = file.Elements(0);
  if (!elements) return "damaged tree";
  std::string summary;
  for (const std::size_t element : *elements) {
    summary += file.entries()[element].name;
    const CompoundFile::Stream* stream = file.OpenStream(element);
    summary +=
        stream == nullptr ? " - " : " " + std::to_string(Contents(file, element).size()) + " ";
  }
  return summary;
}

TEST(CompoundFile, EndsEveryChainAndTreeThatIsDamaged) {
  using F = SmallFile;
  const struct {
    const char* why;
    std::size_t at;
    std::uint32_t value;
    const char* summary;
  } kCases[] = {
      {"nothing", 44, 1, "Long 4500 Short 100 Third - "},
      {"another signature", 0, 0, "refused"},
      {"sectors of a size that is none", 30, 0x0006001F, "refused"},
      {"mini sectors of another size", 30, 0x00070009, "refused"},
      {"the FAT outside the file", 76, 13, "refused"},
      {"the FAT in the directory", 76, 1, "refused"},
      {"no FAT", 76, F::kFree, "refused"},
      {"the directory outside", 48, 13, "refused"},
      {"the directory loops", F::Fat(1), 1, "refused"},
      {"the directory runs into the FAT", F::Fat(1), 0, "refused"},
      {"no root", F::Entry(0) + 64, 0x00020016, "refused"},
      {"the tree's top outside", F::Entry(0) + 76, 4, "damaged tree"},
      {"the root in its own tree", F::Entry(0) + 76, 0, "damaged tree"},
      {"the tree loops", F::Entry(1) + 72, 2, "damaged tree"},
      {"the tree crosses itself", F::Entry(1) + 72, 3, "damaged tree"},
      {"a stream's chain loops", F::Fat(8), 4, "Long - Short 100 Third - "},
      {"it ends too soon", F::Fat(8), F::kEnd, "Long - Short 100 Third - "},
      {"it leaves the file", F::Fat(8), 13, "Long - Short 100 Third - "},
      {"it runs into another", F::Fat(8), 2, "Long - Short - Third - "},
      {"it claims more than it has", F::Entry(1) + 120, 5000, "Long - Short 100 Third - "},
      {"it claims more than the file has", F::Entry(1) + 120, F::kFree,
       "Long - Short 100 Third - "},
      {"it is longer than its stream", F::Entry(1) + 120, 4200, "Long 4200 Short 100 Third - "},
      {"a mini chain loops", F::MiniFat(0), 0, "Long 4500 Short - Third - "},
      {"a mini chain leaves the mini stream", F::MiniFat(0), 2, "Long 4500 Short - Third - "},
      {"no mini FAT", 60, F::kEnd, "Long 4500 Short - Third - "},
      {"the mini FAT loops", F::Fat(2), 2, "Long 4500 Short - Third - "},
      {"no mini stream", F::Entry(0) + 116, F::kEnd, "Long 4500 Short - Third - "},
      {"the limit is elsewhere", 56, 64, "Long 4500 Short - Third - "},
      {"the list goes on where all is listed", 68, 13, "Long 4500 Short 100 Third - "},
      {"a name without its terminator", F::Entry(1) + 64, 0x00020100,
       "Long 4500 Short 100 Third - "},
  };
  for (const auto& c : kCases) {
    SmallFile file;
    file.Put(c.at, c.value);
    EXPECT_EQ(Summary(file.bytes), c.summary) << c.why;
  }

  SmallFile full_name;
  full_name.Name(1, std::string(32, 'n'), 2, 4, 4500);
  EXPECT_EQ(Summary(full_name.bytes), std::string(32, 'n') + " 4500 Short 100 Third - ");

  for (std::size_t size = 0; size < full_name.bytes.size(); ++size)
    Summary(full_name.bytes.substr(0, size));
}

// The list of the FAT's sectors that continues in itself.
TEST(CompoundFile, EndsAListThatLoops) {
  std::string bytes = WriteCompoundFile({{"Big", Pattern(8'000'000)}}, 512);
  std::uint32_t sector = 0;
  std::memcpy(&sector, &bytes[68], 4);
  ASSERT_LT(sector, 20'000U);
  const std::size_t list = (sector + std::size_t{1}) * 512;
  std::memset(&bytes[list], 0xFF, 508);
  std::memcpy(&bytes[list + 508], &sector, 4);
  EXPECT_TRUE(ReadCompoundFile(bytes).empty());
}

}  // namespace

}  // namespace nvimport

#endif

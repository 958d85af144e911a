
#include <sstream>

#include "nvimport/platform/Exception.h"
#include "nvimport/platform/StreamReader.h"
#include "nvimport/platform/StreamWriter.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

const NvImportOpenOptions* Record(const SpreadsheetOpenOptions& options) { return options; }

// The bytes held, none when there is no record.
std::optional<std::string> Bytes(const SpreadsheetOpenOptions& options) {
  const NvImportOpenOptions* record = options;
  if (record == nullptr) return std::nullopt;
  return std::string(record->data, record->data + record->size);
}

SpreadsheetOpenOptions Holding(std::string bytes) {
  const NvImportOpenOptions record{static_cast<int>(bytes.size()),
                                   reinterpret_cast<unsigned char*>(bytes.data())};
  return SpreadsheetOpenOptions(&record);
}

std::string Stored(const SpreadsheetOpenOptions& options) {
  std::ostringstream stream;
  StreamWriter writer(stream);
  options.Write(writer);
  return stream.str();
}

TEST(SpreadsheetOpenOptions, OwnsACopyOfTheBytes) {
  unsigned char bytes[] = {'a', 0, 'b'};
  const NvImportOpenOptions record{3, bytes};
  SpreadsheetOpenOptions options(&record);
  const SpreadsheetOpenOptions copy(options);
  bytes[0] = 'x';
  EXPECT_EQ(Bytes(options), "a\0b"s);
  options = Holding("other");
  EXPECT_EQ(Bytes(options), "other");
  EXPECT_EQ(Bytes(copy), "a\0b"s);

  const NvImportOpenOptions* held = options;
  const SpreadsheetOpenOptions& self = options;
  options = self;
  EXPECT_EQ(Record(options), held);
  options = held;
  EXPECT_EQ(Record(options), held);
  const NvImportOpenOptions part{3, held->data + 1};
  options = &part;
  EXPECT_EQ(Bytes(options), "the");

  options = static_cast<const NvImportOpenOptions*>(nullptr);
  EXPECT_EQ(Bytes(options), std::nullopt);
  options = SpreadsheetOpenOptions(options);
  EXPECT_EQ(Bytes(options), std::nullopt);
}

TEST(SpreadsheetOpenOptions, CopiesAndFreesPlainRecords) {
  unsigned char byte = 7;
  for (const NvImportOpenOptions source :
       {NvImportOpenOptions{1, &byte}, {0, &byte}, {0, nullptr}, {5, nullptr}}) {
    NvImportOpenOptions target{99, &byte};
    SpreadsheetOpenOptions::CopyOpenOptions(&target, &source);
    const bool has_bytes = source.size == 1;
    EXPECT_EQ(target.size, has_bytes ? 1 : 0);
    EXPECT_EQ(target.data != nullptr, has_bytes);
    EXPECT_NE(target.data, &byte);
    SpreadsheetOpenOptions::FreeOpenOptions(&target);
    EXPECT_EQ(target.size, 0);
    EXPECT_EQ(target.data, nullptr);
  }
}

TEST(SpreadsheetOpenOptions, IsStoredByteByByte) {
  const NvImportOpenOptions nothing{0, nullptr};
  const struct {
    SpreadsheetOpenOptions options;
    std::string stored;
  } kCases[] = {{SpreadsheetOpenOptions(), "\0"s},
                {SpreadsheetOpenOptions(&nothing), "\1\0\0\0\0"s},
                {Holding("a\0\xff"s), "\1\3\0\0\0a\0\xff"s},
                {Holding(std::string(70'000, 'z')), "\1\x70\x11\1\0"s + std::string(70'000, 'z')}};
  for (const auto& c : kCases) {
    EXPECT_EQ(Stored(c.options), c.stored);
    std::istringstream stream(c.stored + "next");
    StreamReader reader(stream);
    const SpreadsheetOpenOptions read(reader);
    EXPECT_EQ(Bytes(read), Bytes(c.options));
    EXPECT_EQ(stream.get(), 'n') << "no byte too many was taken";
  }
}

TEST(SpreadsheetOpenOptions, RefusesDamagedStreams) {
  const std::string whole = "\1\3\0\0\0abc"s;
  std::vector<std::string> damaged = {"\2\3\0\0\0abc"s, "\1\xff\xff\xff\xff"s + "abc",
                                      "\1\xff\xff\xff\x7f"s + "abc", "\1\4\0\0\0abc"s};
  for (std::size_t size = 0; size < whole.size(); ++size) damaged.push_back(whole.substr(0, size));
  for (const std::string& bytes : damaged) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    SpreadsheetOpenOptions options = Holding("before");
    std::istringstream stream(bytes);
    StreamReader reader(stream);
    const AllocationCounter memory;
    EXPECT_THROW(options.Read(reader), Exception);
    EXPECT_LT(memory.Peak(), std::size_t{1} << 20) << "the size is only a claim";
    EXPECT_EQ(Bytes(options), std::nullopt);
  }
}

}  // namespace

}  // namespace nvimport

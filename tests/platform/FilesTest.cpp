#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/NvFile.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

TEST(InputFile, OpensRegularFilesOnly) {
  const TempFolder folder;
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {pipe, folder.path(), folder.path() + "/none", ""s, "/dev/null"s})
    EXPECT_FALSE(InputFile(path.c_str()).is_open()) << path;
}

TEST(InputFile, ReadsWhatIsThere) {
  const TempFile temp("abcdef");
  InputFile file(temp.path());
  std::array<char, 4> bytes{};
  EXPECT_EQ(file.size(), 6U);
  EXPECT_EQ(file.Read(bytes), 4);
  EXPECT_EQ(file.Read(bytes), 2);
  EXPECT_EQ(std::string(bytes.data(), 4), "efcd");
  EXPECT_EQ(file.Read(bytes), 0);
  EXPECT_TRUE(file.Seek(5));
  InputFile moved(std::move(file));
  EXPECT_EQ(moved.Read(bytes), 1);
  EXPECT_EQ(bytes[0], 'f');
}

TEST(Progress, ACancelFailsEveryBlockUntilTheNextOperation) {
  struct Counting : Progress {
    bool Advance(std::uint64_t at, std::uint64_t of) override {
      ++asked;
      position = at;
      size = of;
      return goes_on;
    }
    bool goes_on = false;
    int asked = 0;
    std::uint64_t position = 0;
    std::uint64_t size = 0;
  };
  const TempFile temp("abcdef");
  InputFile file(temp.path());
  std::array<char, 2> bytes{};
  Counting progress;
  Progress* const before = Progress::Install(&progress);
  EXPECT_EQ(file.Read(bytes), -1);
  EXPECT_EQ(progress.position, 2U);
  EXPECT_EQ(progress.size, 6U);
  progress.goes_on = true;
  EXPECT_EQ(file.Read(bytes), -1);
  EXPECT_EQ(progress.asked, 1);
  EXPECT_EQ(Progress::Install(&progress), &progress);
  EXPECT_EQ(file.Read(bytes), 2);
  Progress::Install(before);
  EXPECT_EQ(file.Read(bytes), 0);
}

TEST(OutputFile, RemembersItsFirstFailureUntilAsked) {
  OutputFile::TakeFailure();
  for (const std::size_t size : {1U, 300'000U}) {
    OutputFile full("/dev/full");
    ASSERT_TRUE(full.is_open());
    full.Write(std::string(size, 'x'));
    full.Close();
    EXPECT_EQ(OutputFile::TakeFailure(), std::strerror(ENOSPC));
    EXPECT_EQ(OutputFile::TakeFailure(), "");
  }
  {
    OutputFile full("/dev/full");
    full.Write("x");
    OutputFile closed(::open("/dev/null", O_RDONLY), true);
    closed.Write("x");
    full.Flush();
  }
  EXPECT_EQ(OutputFile::TakeFailure(), std::strerror(ENOSPC)) << "the first one counts";
}

TEST(OutputFile, WritesEveryByteInOrder) {
  const TempFolder folder;
  const std::string path = folder.Put("out", "something longer that is replaced");
  std::string expected;
  {
    OutputFile file(path.c_str());
    for (const std::size_t size : {1U, 262'143U, 1U, 262'144U, 262'145U, 0U, 5U}) {
      const std::string piece(size, static_cast<char>('a' + expected.size() % 7));
      expected += piece;
      file.Write(piece);
    }
    OutputFile moved(std::move(file));
    moved.Write("end");
  }
  expected += "end";
  std::string bytes(expected.size() + 1, '\0');
  EXPECT_EQ(InputFile(path.c_str()).Read(bytes), static_cast<std::ptrdiff_t>(expected.size()));
  bytes.pop_back();
  EXPECT_EQ(bytes, expected);
  EXPECT_EQ(OutputFile::TakeFailure(), "");
}

TEST(NvFile, TellsTheEncoding) {
  std::string wide;
  for (const char c : "Western text in 16 bits\r\n"s) wide += {c, '\0'};
  const std::string wide_back = '\0' + wide.substr(0, wide.size() - 1);
  const struct {
    const char* why;
    std::string bytes;
    ETextFileEncoding encoding;
  } kCases[] = {
      {"empty", "", ETextFileEncoding::kSingleByte},
      {"plain text", "plain", ETextFileEncoding::kSingleByte},
      {"UTF-8 without a mark", "\xc3\xa4", ETextFileEncoding::kSingleByte},
      {"UTF-8", "\xef\xbb\xbf", ETextFileEncoding::kUtf8},
      {"part of the UTF-8 mark", "\xef\xbb", ETextFileEncoding::kSingleByte},
      {"UTF-16", "\xff\xfe", ETextFileEncoding::kUtf16},
      {"UTF-16, big-endian", "\xfe\xff", ETextFileEncoding::kUtf16},
      {"UTF-32", "\xff\xfe\0\0"s, ETextFileEncoding::kUtf32},
      {"UTF-32, big-endian", "\0\0\xfe\xff"s, ETextFileEncoding::kUtf32},
      {"UTF-16 without a mark", wide, ETextFileEncoding::kUtf16},
      {"UTF-16, big-endian, without a mark", wide_back, ETextFileEncoding::kUtf16},
      {"an odd length", wide + "x", ETextFileEncoding::kSingleByte},
      {"a 16-bit zero", wide + "\0\0"s, ETextFileEncoding::kSingleByte},
      {"zeros on both sides", wide + "\0x"s, ETextFileEncoding::kSingleByte},
      {"too few zeros", wide + std::string(20, 'x'), ETextFileEncoding::kSingleByte},
  };
  for (const auto& c : kCases)
    EXPECT_EQ(NvFile::GetEncoding(TempFile(c.bytes).path()), c.encoding) << c.why;
  EXPECT_EQ(NvFile::GetEncoding("/"), ETextFileEncoding::kSingleByte);
}

}  // namespace

}  // namespace nvimport

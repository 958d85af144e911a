// Every reader where the system fails it: each ends in a status, and holds nothing afterwards.

#include <sys/stat.h>

#include <cerrno>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/Progress.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/FileFaults.h"
#include "tests/support/Samples.h"

namespace nvimport {

namespace {

std::ptrdiff_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// A sample with the answers to its questions.
struct Case {
  std::string path;
  int format = 0;
  NvImportOpenOptions options{0, nullptr};
  Outcome whole;

  explicit Case(const std::filesystem::path& sample) : path(sample) {
    format = DetectFormat(BuiltInFormats(), path.c_str()).format;
    if (format < 1) return;
    NvImportOpenOptions asked{0, nullptr};
    const auto reader = SprFileFactory::CreateReader(format);
    whole = ImportFile(*reader, path.c_str(), &asked);
    SpreadsheetOpenOptions::CopyOpenOptions(&options, &asked);
    reader->Close();
  }
  Case(const Case&) = delete;
  Case& operator=(const Case&) = delete;
  ~Case() { SpreadsheetOpenOptions::FreeOpenOptions(&options); }

  NvImportOpenOptions* given() { return options.data != nullptr ? &options : nullptr; }
  Outcome Import(SpreadsheetFile& reader) { return ImportFile(reader, path.c_str(), given()); }
};

// Runs `test` for every sample, and looks for what it left open.
void ForEachSample(const std::function<void(Case&)>& test) {
  Obliging dialogs;
  int samples = 0;
  for (const auto& path : Samples()) {
    SCOPED_TRACE(path);
    Case sample(path);
    if (sample.format < 1) continue;
    ASSERT_EQ(sample.whole.status, 0) << sample.whole.text;
    const std::ptrdiff_t open = OpenDescriptors();
    test(sample);
    EXPECT_EQ(OpenDescriptors(), open);
    ++samples;
  }
  EXPECT_GT(samples, 10);
}

TEST(Faults, ReadsThatReturnLessChangeNothing) {
  ForEachSample([](Case& sample) {
    for (const std::size_t most : {1, 7, 500}) {
      FileFaults faults;
      faults.most = most;
      const auto reader = SprFileFactory::CreateReader(sample.format);
      EXPECT_EQ(sample.Import(*reader).sheet, sample.whole.sheet) << most;
      EXPECT_GT(faults.calls, 1);
    }
  });
}

TEST(Faults, AReadThatFailsIsAFailure) {
  ForEachSample([](Case& sample) {
    int failures = 0;
    for (int failing = 0;; ++failing) {
      ASSERT_LT(failing, 10'000);
      FileFaults faults;
      faults.most = 200;
      faults.failing = failing;
      faults.error = EIO;
      const auto reader = SprFileFactory::CreateReader(sample.format);
      const Outcome got = sample.Import(*reader);
      if (faults.calls <= failing) break;
      if (got.status == 0) {
        // A read ahead of what is needed at all.
        EXPECT_EQ(got.sheet, sample.whole.sheet) << failing;
        continue;
      }
      ++failures;
      EXPECT_NE(got.text, "") << failing;
      reader->Close();
      EXPECT_EQ(reader->GetStatus(), 0) << failing;
    }
    EXPECT_GT(failures, 1);
  });
}

TEST(Faults, AFileThatChangesWhileItIsReadEndsWell) {
  const std::string other(3000, '#');
  ForEachSample([&](Case& sample) {
    const std::string extension = std::filesystem::path(sample.path).extension();
    for (const bool replaced : {false, true})
      for (int changing = 0; changing < 40; ++changing) {
        const TempFolder folder;
        const std::string path = folder.path() + "/file" + extension;
        std::filesystem::copy_file(sample.path, path);
        FileFaults faults;
        faults.most = 200;
        faults.before = [&](int call) {
          if (call != changing) return;
          if (replaced)
            folder.Put("file" + extension, other);
          else
            std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
        };
        const auto reader = SprFileFactory::CreateReader(sample.format);
        const Outcome got = ImportFile(*reader, path.c_str(), sample.given());
        EXPECT_TRUE(got.status == 0 || !got.text.empty());
      }
  });
}

TEST(Faults, AnyAllocationMayFail) {
  ForEachSample([](Case& sample) {
    const auto import = [&](SheetRecord& record, std::string& error) {
      long handle = 0;
      const bool done =
          NvImportOpen(sample.format, sample.path.c_str(), 1, &handle, sample.given()) != 0 &&
          NvImportRead(sample.format, handle, &record) != 0;
      if (!done) error = NvImportGetLastError(sample.format, handle);
      NvImportClose(sample.format, handle);
      return done;
    };
    std::string error;
    error.reserve(300);
    SheetRecord whole;
    whole.sheet.SetDataSize(100, 100);
    ASSERT_TRUE(import(whole, error));
    const std::string expected = SheetText(whole.sheet);
    const std::size_t before = AllocatedBytes();
    for (std::size_t granted = 0;; ++granted) {
      ASSERT_LT(granted, 20'000U);
      SheetRecord record;
      record.sheet.SetDataSize(100, 100);
      error.clear();
      bool done = false;
      bool happened = false;
      {
        const AllocationFault fault(granted);
        done = import(record, error);
        happened = fault.happened();
      }
      if (done) {
        EXPECT_EQ(SheetText(record.sheet), expected) << granted;
      } else {
        EXPECT_NE(error, "") << granted;
      }
      if (!happened) break;
    }
    EXPECT_EQ(AllocatedBytes(), before);
    const auto reader = SprFileFactory::CreateReader(sample.format);
    EXPECT_EQ(sample.Import(*reader).sheet, sample.whole.sheet);
  });
}

TEST(Faults, ASinkMayThrowAtAnyCell) {
  struct Full : MemorySheet {
    using MemorySheet::Set;
    int left = 0;
    void Take() {
      if (left-- == 0) throw std::runtime_error("full");
    }
    void Set(int column, int row, const char* text) override {
      Take();
      MemorySheet::Set(column, row, text);
    }
    void Set(int column, int row, float value) override {
      Take();
      MemorySheet::Set(column, row, value);
    }
  };
  ForEachSample([](Case& sample) {
    for (int cells = 0; cells < 40; ++cells) {
      const auto reader = SprFileFactory::CreateReader(sample.format);
      ASSERT_EQ(reader->Open(true, sample.path.c_str(), sample.given()), 0);
      Full sheet;
      sheet.left = cells;
      if (cells < 2) {
        EXPECT_THROW(reader->Read(&sheet), std::runtime_error);
      } else {
        try {
          reader->Read(&sheet);
        } catch (const std::runtime_error&) {
        }
      }
      reader->Close();
      EXPECT_EQ(sample.Import(*reader).sheet, sample.whole.sheet) << cells;
    }
  });
}

TEST(Faults, ASinkMayRefuseAnyRowOrColumn) {
  ForEachSample([](Case& sample) {
    for (int answers = 0; answers < 60; ++answers) {
      SheetRecord record;
      record.refused_after = answers;
      record.sheet.SetDataSize(100, 100);
      long handle = 0;
      ASSERT_EQ(NvImportOpen(sample.format, sample.path.c_str(), 1, &handle, sample.given()), 1);
      NvImportRead(sample.format, handle, &record);
      EXPECT_LE(std::strlen(NvImportGetLastError(sample.format, handle)), 254U);
      NvImportClose(sample.format, handle);
    }
  });
}

TEST(Faults, TheUserMayCancelAtAnyBlock) {
  class Impatient : public Progress {
   public:
    explicit Impatient(int calls) : left(calls) {}
    bool Advance(std::uint64_t, std::uint64_t) override { return left-- > 0; }
    int left;
  };
  ForEachSample([](Case& sample) {
    Impatient cancels(0);
    Progress* const before = Progress::Install(&cancels);
    const auto reader = SprFileFactory::CreateReader(sample.format);
    const Outcome got = sample.Import(*reader);
    Progress::Install(before);
    EXPECT_NE(got.status, 0);
    reader->Close();
    EXPECT_EQ(sample.Import(*reader).sheet, sample.whole.sheet);
  });
}

TEST(Faults, AWriteThatFailsIsAFailure) {
  MemorySheet sheet;
  sheet.SetDataSize(50, 1500);
  for (int row = 1; row <= 1500; ++row)
    for (int column = 1; column <= 50; ++column) sheet.Set(column, row, "some text");
  for (int format = 1; format <= SprFileFactory::GetNumberOfFormats(); ++format) {
    const NvImportFormatInfo& info = *SprFileFactory::GetFormat(format);
    const TempFolder folder;
    const std::string path = folder.path() + "/out" + info.extensions;
    const auto write = [&] {
      const auto writer = SprFileFactory::CreateReader(format);
      int status = writer->Open(false, path.c_str(), nullptr);
      if (status == 0) status = writer->Write(&sheet);
      writer->Close();
      // By its status no writer tells of its own file: the stream remembers it.
      const std::string failure = OutputFile::TakeFailure();
      return status == 0 ? failure : "status " + std::to_string(status);
    };
    if (!info.can_write || write() != "") continue;  // one that is still to be built
    SCOPED_TRACE(info.name);
    const std::ptrdiff_t open = OpenDescriptors();
    int failing = 0;
    for (;; ++failing) {
      ASSERT_LT(failing, 1000);
      FileFaults faults;
      faults.failing = failing;
      faults.error = ENOSPC;
      const std::string failure = write();
      if (faults.calls <= failing) break;
      EXPECT_TRUE(failure == std::strerror(ENOSPC) || failure.starts_with("status "))
          << failure << failing;
    }
    EXPECT_GT(failing, 1);
    EXPECT_EQ(OpenDescriptors(), open);
  }
}

}  // namespace

}  // namespace nvimport

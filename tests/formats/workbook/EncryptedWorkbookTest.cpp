// FILEPASS records, and a CODEPAGE record each, are those of files that Excel and others wrote.
#include "nvimport/formats/workbook/BiffCipher.h"
#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/WorkbookCrypto.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

std::string FromHex(std::string_view digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 2 <= digits.size(); at += 2)
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16));
  return bytes;
}

std::unique_ptr<BiffCipher> CipherOf(std::string file_pass, bool is_biff8) {
  const BiffRecord record{BiffRecord::kFilePass, static_cast<std::int16_t>(file_pass.size()),
                          file_pass.data()};
  return BiffCipher::Of(record, is_biff8);
}

const std::string kOffice97 = FromHex(
    "01000100010068a75dab8dff01c4fa376368e65efc5fdaa7a36e2421fba36ab4ec92fa2aa09af7896935e1c3adb716"
    "28edb7543c09fa");
std::string OfProvider(unsigned bits, std::string_view verifier, unsigned cipher = 0x6801) {
  return U16(1) + U16(2) + U16(2) + U32(4) + U32(32) + U32(4) + U32(0) + U32(cipher) + U32(0x8004) +
         U32(bits) + std::string(12, '\0') + FromHex(verifier);
}
const std::string kProvider40 = OfProvider(
    40,
    "10000000dff4c166e1f80193379eb69527be48ab24605bc330380d439dd8406d9cb0904f1400000059229dbec5ea41"
    "d18d8dd3820488feb674cbf1c5");

TEST(EncryptedWorkbook, TakesTheRightPasswordOfEveryKind) {
  if (!HasCrypto()) GTEST_SKIP() << "built without nettle";
  const struct {
    const char* why;
    std::string file_pass;
    bool is_biff8;
    const char* password;
    std::uint64_t position;
    const char* encrypted;
    const char* plain;
  } kCases[] = {
      {"RC4 of 40 bits", kOffice97, true, "password", 210, "1405", "b004"},
      {"RC4 of a provider, 40 bits", kProvider40, true, "11", 348, "d47e", "b004"},
      {"RC4 of a provider, 128 bits",
       OfProvider(128,
                  "100000007dcab8d9e535c4b8147dabd4d00f151d416d51f424353af6738a259ad92eebaa14000000"
                  "e7a67ab33e1db04feb7690225eb2af36c1c2c1a8"),
       true, "password", 412, "0b25", "b004"},
      {"obfuscation", FromHex("00004a511acc"), true, "abc", 30, "ccd7", "b004"},
      {"obfuscation in BIFF5", FromHex("7a14af83"), false, "password", 158, "1a3d", "e404"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    const auto cipher = CipherOf(c.file_pass, c.is_biff8);
    ASSERT_NE(cipher, nullptr);
    for (const char* wrong : {"", "Password", "passwore", "abd", "\xff"})
      EXPECT_FALSE(cipher->Unlock(wrong)) << wrong;
    EXPECT_TRUE(cipher->Unlock(c.password));
    std::string data = FromHex(c.encrypted);
    cipher->Decrypt(c.position, BiffRecord::kCodePage, data);
    EXPECT_EQ(data, FromHex(c.plain));
  }
  for (const std::string& unknown :
       {OfProvider(40, std::string(118, '0')), OfProvider(8, std::string(120, '0')),
        OfProvider(40, std::string(120, '0'), 0x660E), kOffice97.substr(0, 53), U16(2) + U16(1)})
    EXPECT_EQ(CipherOf(unknown, true), nullptr) << unknown.size();
}

// Answers with these in turn, then as a host without a user does.
struct Passwords final : Dialogs {
  explicit Passwords(std::vector<std::optional<std::string>> given) : answers(std::move(given)) {
    before = Dialogs::InstallForThread(this);
  }
  ~Passwords() override { Dialogs::InstallForThread(before); }
  std::optional<std::string> AskPassword(const PasswordQuestion& question) override {
    EXPECT_EQ(question.is_again, asked > 0);
    return asked < answers.size() ? answers[asked++] : "";
  }

  std::vector<std::optional<std::string>> answers;
  std::size_t asked = 0;
  Dialogs* before;
};

// A workbook of several blocks, whose records are encrypted; RC4 is the same both ways.
std::string Encrypted(const std::string& file_pass, const std::string& password) {
  std::string cells;
  for (unsigned row = 0; row < 120; ++row) cells += Number(row, 0, row * 0.5) + Number(row, 1, 7);
  std::string stream =
      WorkbookFixture{{{.cells = cells, .rows = 120}}, Record(0x002F, file_pass)}.Stream();
  const auto cipher = CipherOf(file_pass, true);
  EXPECT_TRUE(cipher->Unlock(password));
  bool is_encrypted = false;
  for (std::size_t at = 0; at < stream.size();) {
    const auto id = LoadLittle<std::uint16_t>(&stream[at]);
    const std::size_t size = LoadLittle<std::uint16_t>(&stream[at + 2]);
    if (is_encrypted) cipher->Decrypt(at, id, std::span(stream).subspan(at + 4, size));
    is_encrypted = is_encrypted || id == BiffRecord::kFilePass;
    at += 4 + size;
  }
  return stream;
}

TEST(EncryptedWorkbook, IsReadWithItsPassword) {
  if (!HasCrypto()) GTEST_SKIP() << "built without nettle";
  const struct {
    const char* why;
    std::vector<std::optional<std::string>> answers;
    const char* failure;
  } kCases[] = {
      {"the password", {"password"}, ""},
      {"after two others", {"x", "y", "password"}, ""},
      {"nobody knows it",
       {},
       "265 The workbook is encrypted with a password, which was not given."},
      {"wrong ones", {"x", "y", "z", "password"}, "266 The password does not open the workbook."},
      {"cancelled", {"x", std::nullopt}, "4"},
  };
  const std::string bytes = Encrypted(kOffice97, "password");
  for (const auto& c : kCases) {
    Passwords passwords(c.answers);
    const Outcome outcome = Import<ExcelFile>(bytes, "", ExcelRules::Off());
    if (*c.failure != '\0')
      EXPECT_TRUE(outcome.Summary().starts_with(c.failure)) << c.why << outcome.Summary();
    else
      EXPECT_TRUE(outcome.sheet.starts_with("0 | 7\n0.5 | 7\n") &&
                  outcome.sheet.ends_with("\n59.5 | 7\n"))
          << c.why << outcome.Summary();
    EXPECT_EQ(Import<ExcelFile>(bytes).status, 261);
  }
}

#ifdef NVIMPORT_HAS_PACKAGES

std::string Seed(const char* name) {
  return Contents(NVIMPORT_TEST_SAMPLES "/../tests/fuzz/seeds/"s + name);
}

Outcome ReadPackage(const std::string& bytes, const Excel2007Rules& rules = Excel2007Rules::Off()) {
  const TempFile file(bytes);
  Excel2007File reader(rules);
  auto options = OpenOptions::Made(Excel2007File::GetImportOptions({1}, false));
  return ImportFile(reader, file.path(), options.get());
}

// Of an independent writer, around one of the samples.
TEST(EncryptedPackage, IsReadAsThePackageInItIs) {
  if (!HasCrypto()) GTEST_SKIP() << "built without nettle";
  const std::string plain = ReadPackage(Contents(NVIMPORT_TEST_SAMPLES "/mill.xlsx")).Summary();
  EXPECT_TRUE(plain.starts_with("'Run'")) << plain;
  for (const char* name : {"package-agile", "package-standard"}) {
    EXPECT_EQ(ReadPackage(Seed(name)).Summary(), plain) << name;
    EXPECT_EQ(ReadPackage(Seed(name), {}).status, 3333) << name;
  }
  const std::string locked = Seed("package-password");
  EXPECT_EQ(ReadPackage(locked).Summary(),
            "3336 The workbook is encrypted with a password, which was not given.\n");
  {
    Passwords wrong({"passwort"});
    EXPECT_EQ(ReadPackage(locked).Summary(), "3337 The password does not open the workbook.\n");
  }
  Passwords right({"p\u00e4ssw\u00f6rd\u20ac"});
  EXPECT_EQ(ReadPackage(locked).Summary(), plain);
}

// What its description or its bytes say, wherever it is damaged.
TEST(EncryptedPackage, DamageIsRefusedOrTold) {
  if (!HasCrypto()) GTEST_SKIP() << "built without nettle";
  const std::string whole = Seed("package-agile");
  const auto with = [&](std::string_view from, std::string_view to) {
    EXPECT_EQ(from.size(), to.size());  // nothing else moves
    std::string bytes = whole;
    return bytes.replace(bytes.find(from), from.size(), to);
  };
  const std::string unknown = "3333 ";
  const struct {
    const char* why;
    std::string bytes;
    std::string begins;
  } kCases[] = {
      {"hashed too often",
       with(R"(spinCount="100000" saltSize="16")", R"(spinCount="99999999" saltSize="")"), unknown},
      {"hashed often, unasked",
       with(R"(spinCount="100000" saltSize="16")", R"(spinCount="9999999" saltSize="1")"), "3336"},
      {"another chain", with("ChainingModeCBC", "ChainingModeCFB"), unknown},
      {"a key of no such size", with("keyBits=\"256\"", "keyBits=\"255\""), unknown},
      {"another hash", with("SHA512", "SHA513"), unknown},
      {"no salt", with("saltValue=\"", "saltValve=\""), unknown},
      {"another check sum", with("encryptedHmacValue=\"Iu27", "encryptedHmacValue=\"AAAA"), "'"},
      {"no check sum", with("encryptedHmacValue", "encryptedHmacVaule"), "'"},
      {"a package longer than it is", with(U32(2786) + U32(0), U32(2801) + U32(0)), "3332"},
      {"a package longer than anything", with(U32(2786) + U32(0), U32(2786) + U32(~0U)), "3332"},
  };
  for (const auto& c : kCases) {
    const std::string summary = ReadPackage(c.bytes).Summary();
    EXPECT_TRUE(summary.starts_with(c.begins)) << c.why << ": " << summary;
    EXPECT_EQ(summary.find("check sum") != std::string::npos, c.begins == "'") << c.why;
  }
}

#endif

}  // namespace

}  // namespace nvimport

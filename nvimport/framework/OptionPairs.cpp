#include "nvimport/framework/OptionPairs.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <system_error>

#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

// "1,3" as numbers from 0 on; no value when it is anything else.
std::optional<std::vector<int>> Numbers(std::string_view text) {
  std::vector<int> numbers;
  const char* next = text.data();
  const char* const end = next + text.size();
  while (true) {
    int number = -1;
    const auto [parsed, error] = std::from_chars(next, end, number);
    if (error != std::errc{} || number < 0) return std::nullopt;
    numbers.push_back(number);
    if (parsed == end) return numbers;
    if (*parsed != ',') return std::nullopt;
    next = parsed + 1;
  }
}

constexpr std::string_view kSeparators = "%,;=";

// A name as it was before JoinNames; none where a percent sign stands before anything else.
std::optional<std::string> Decoded(std::string_view text) {
  std::string name;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      name += text[i];
      continue;
    }
    unsigned byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() < 2 || end != digits.data() + 2 || error != std::errc{}) return std::nullopt;
    name += static_cast<char>(byte);
    i += 2;
  }
  return name;
}

}  // namespace

std::optional<OptionPairs> OptionPairs::Parse(const NvImportOpenOptions* options) {
  if (options == nullptr || options->size == 0 || options->data == nullptr) return OptionPairs();
  if (options->size < 0) return std::nullopt;
  ByteReader reader(std::span(options->data, static_cast<std::size_t>(options->size)));
  const std::string_view text = reader.Text(reader.U32());
  if (!reader.ok() || reader.remaining() != 0) return std::nullopt;
  return Parse(text);
}

std::optional<OptionPairs> OptionPairs::Parse(std::string_view text) {
  OptionPairs pairs;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find(';'));
    text.remove_prefix(pair.size() < text.size() ? pair.size() + 1 : text.size());
    if (pair.empty()) continue;
    const std::size_t equals = pair.find('=');
    if (equals == std::string_view::npos || equals == 0) return std::nullopt;
    pairs.Set(pair.substr(0, equals), std::string(pair.substr(equals + 1)));
  }
  return pairs;
}

std::string OptionPairs::Join(const std::vector<int>& numbers) {
  std::string text;
  for (const int number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
  return text;
}

std::string OptionPairs::JoinNames(const std::vector<std::string>& names) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const std::string& name : names) {
    if (&name != &names.front()) text += ',';
    for (const char c : name) {
      const auto byte = static_cast<unsigned char>(c);
      const bool separates = byte <= ' ' || byte == 0x7f || kSeparators.find(c) != kSeparators.npos;
      if (separates)
        text.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xfU]});
      else
        text += c;
    }
  }
  return text;
}

std::optional<std::string_view> OptionPairs::Find(std::string_view key) const {
  for (const auto& [known, value] : pairs_)
    if (known == key) return value;
  return std::nullopt;
}

void OptionPairs::Set(std::string_view key, std::string value) {
  for (auto& [known, old] : pairs_)
    if (known == key) {
      old = std::move(value);
      return;
    }
  pairs_.emplace_back(key, std::move(value));
}

std::vector<unsigned char> OptionPairs::Bytes() const {
  std::string text;
  for (const auto& [key, value] : pairs_) {
    if (!text.empty()) text += ';';
    text.append(key).append("=").append(value);
  }
  ByteWriter writer;
  writer.WriteBinaryString(text);
  return {writer.bytes().begin(), writer.bytes().end()};
}

NvImportOpenOptions* OptionPairs::NewRecord() const {
  return SpreadsheetOpenOptions::NewOpenOptions(Bytes());
}

GivenOptions::GivenOptions(const char* source, const NvImportOpenOptions* options)
    : source_(source) {
  auto pairs = OptionPairs::Parse(options);
  if (pairs)
    pairs_ = *std::move(pairs);
  else
    Refuse("bytes", "the whole of them");
}

bool GivenOptions::TakeRange(std::string_view key, RangeChoice& range) {
  range = {};
  const auto text = Find(key);
  if (!text) return ok_;
  const auto found = Numbers(*text);
  if (!found || found->size() != 2 || found->front() < 1 ||
      (found->back() != 0 && found->back() < found->front()))
    return Refuse(key, *text);
  range = {found->front(), found->back()};
  return ok_;
}

bool GivenOptions::TakeNumbers(std::string_view key, std::vector<int>& numbers, int most) {
  numbers.clear();
  const auto text = Find(key);
  if (!text) return ok_;
  auto found = Numbers(*text);
  const auto is_one = [&](int number) { return number >= 1 && number <= most; };
  if (!found || !std::ranges::all_of(*found, is_one)) return Refuse(key, *text);
  numbers = *std::move(found);
  return ok_;
}

bool GivenOptions::TakeNames(std::string_view key, std::vector<std::string>& names) {
  names.clear();
  const auto text = Find(key);
  if (!text) return ok_;
  for (std::string_view rest = *text;;) {
    const std::string_view part = rest.substr(0, rest.find(','));
    auto name = Decoded(part);
    if (!name || name->empty()) return Refuse(key, *text);
    names.push_back(*std::move(name));
    if (part.size() == rest.size()) return ok_;
    rest.remove_prefix(part.size() + 1);
  }
}

bool GivenOptions::TakeWord(std::string_view key, const std::array<std::string_view, 2>& words,
                            bool& second) {
  const auto word = Find(key).value_or(words[0]);
  second = word == words[1];
  return second || word == words[0] ? ok_ : Refuse(key, word);
}

bool GivenOptions::Refuse(std::string_view key, std::string_view value) {
  if (std::exchange(ok_, false)) LogRefusedOption(source_, key, value);
  return false;
}

void LogRefusedOption(std::string_view source, std::string_view key, std::string_view value) {
  Log::WriteMessage(source, "Open",
                    "the options make no sense: " + std::string(key) + "=" + std::string(value),
                    Log::kNormal);
}

void GiveChoices(std::vector<unsigned char> bytes, std::vector<unsigned char>& kept,
                 NvImportOpenOptions* options) {
  if (!TakesChoices(options)) return;
  kept = std::move(bytes);
  *options = {static_cast<int>(kept.size()), kept.data()};
}

}  // namespace nvimport

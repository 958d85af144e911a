#include "nvimport/formats/workbook/XmlPart.h"

#include <expat.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "nvimport/formats/workbook/ZipPackage.h"
#include "nvimport/platform/CodePages.h"

namespace nvimport {

namespace {

// What the parser takes follows what is open, its longest tag and the names that it has met, of
// which a part may make up any number: so it draws from the budget of the part that is read.
class ParserMemory {
 public:
  explicit ParserMemory(Budget& budget) : before_(std::exchange(budget_, &budget)) {}
  ParserMemory(const ParserMemory&) = delete;
  ParserMemory& operator=(const ParserMemory&) = delete;
  ~ParserMemory() { budget_ = before_; }

  static const XML_Memory_Handling_Suite& Functions() {
    static constexpr XML_Memory_Handling_Suite kFunctions = {
        [](std::size_t size) { return Change(nullptr, size); }, Change,
        [](void* memory) { Free(memory); }};
    return kFunctions;
  }

 private:
  // Before what is handed out, its size.
  static constexpr std::size_t kHead = alignof(std::max_align_t);
  static constexpr std::size_t kOverhead = kHead + 16;

  static std::size_t& SizeOf(void* memory) {
    return *reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - kHead);
  }

  // NOLINTBEGIN(cppcoreguidelines-owning-memory): C's functions, as the parser has them.
  static void* Change(void* memory, std::size_t size) {
    if (!budget_->Take(size + kOverhead)) return nullptr;
    const std::size_t before = memory == nullptr ? 0 : SizeOf(memory) + kOverhead;
    void* const begin = memory == nullptr ? nullptr : static_cast<char*>(memory) - kHead;
    void* const changed = std::realloc(begin, kHead + size);
    budget_->Return(changed == nullptr ? size + kOverhead : before);
    if (changed == nullptr) return nullptr;
    char* const given = static_cast<char*>(changed) + kHead;
    SizeOf(given) = size;
    return given;
  }

  static void Free(void* memory) {
    if (memory == nullptr) return;
    budget_->Return(SizeOf(memory) + kOverhead);
    std::free(static_cast<char*>(memory) - kHead);
  }
  // NOLINTEND(cppcoreguidelines-owning-memory)

  Budget* before_;
  static thread_local Budget* budget_;
};

thread_local Budget* ParserMemory::budget_ = nullptr;

// What may be taken directly is not longer; and after so many tags in vain it is not tried again.
constexpr std::size_t kDirectPiece = 2048;
constexpr int kMostInVain = 256;

// The bytes up to the end of the next tag, if that is what the next '>' from `from` on is.
std::size_t ToEndOfTag(std::span<const char> ahead, std::size_t from) {
  const std::string_view text(ahead.data(), ahead.size());
  return std::min(text.find('>', from), text.size() - 1) + 1;
}

}  // namespace

std::optional<std::string_view> XmlAttributes::Find(std::string_view name) const {
  const bool any_prefix = name.starts_with("*:");
  for (const char** pair = pairs_; *pair != nullptr; pair += 2) {
    const std::string_view found = pair[0];
    if (any_prefix ? found.ends_with(name.substr(1)) : found == name) return pair[1];
  }
  return std::nullopt;
}

// No exception passes through the parser: it waits until the parser has returned.
struct XmlPart::Callbacks {
  template <typename Body>
  static void Guard(void* self, Body body) {
    XmlPart& part = *static_cast<XmlPart*>(self);
    if (part.is_stopped_) return;
    part.CountTag();
    try {
      body(part);
    } catch (...) {
      part.thrown_ = std::current_exception();
      part.is_stopped_ = true;
    }
    if (part.is_stopped_) XML_StopParser(part.parser_, XML_FALSE);
  }

  static void Start(void* self, const char* name, const char** attributes) {
    Guard(self, [&](XmlPart& part) { part.OnStart(name, attributes); });
  }
  static void End(void* self, const char*) {
    Guard(self, [](XmlPart& part) { part.OnEnd(); });
  }
  static void Text(void* self, const char* text, int size) {
    const XmlPart& inside = *static_cast<XmlPart*>(self);
    if (inside.skipped_ > 0 || inside.states_.empty()) return;
    Guard(self, [&](XmlPart& part) {
      part.Text(part.states_.back(), {text, static_cast<std::size_t>(size)});
    });
  }
  // The encoding that programs of Windows name, which the parser does not know.
  static int Encoding(void*, const XML_Char* name, XML_Encoding* encoding) {
    std::string lower(name);
    for (char& c : lower) c = static_cast<char>(c | (c >= 'A' && c <= 'Z' ? 0x20 : 0));
    if (lower != "windows-1252" && lower != "cp1252") return XML_STATUS_ERROR;
    for (int byte = 0; byte < 256; ++byte)
      encoding->map[byte] = static_cast<int>(FromWindows1252(static_cast<char>(byte)));
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return XML_STATUS_OK;
  }
  static void Doctype(void* self, const char*, const char*, const char*, int) {
    Guard(self, [](XmlPart& part) { part.Refuse(); });
  }
};

bool XmlPart::Read(ZipPackage& package) {
  const ParserMemory memory(package.budget());
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate_MM(nullptr, &ParserMemory::Functions(), nullptr), &XML_ParserFree);
  if (!parser) {
    if (!package.budget().overdrawn()) throw std::bad_alloc();
    return false;
  }
  parser_ = parser.get();
  budget_ = &package.budget();
  XML_SetUserData(parser_, this);
  XML_SetElementHandler(parser_, Callbacks::Start, Callbacks::End);
  XML_SetCharacterDataHandler(parser_, Callbacks::Text);
  XML_SetStartDoctypeDeclHandler(parser_, Callbacks::Doctype);
  if (prefixes_ == Prefixes::kAny)
    XML_SetUnknownEncodingHandler(parser_, Callbacks::Encoding, nullptr);

  std::uint64_t given = 0;
  std::size_t pending = 0;  // bytes of what has begun and not ended
  bool is_last = false;
  while (!is_stopped_ && !is_last) {
    if (is_offered_ && TakeDirectly(package, given) > 0) continue;
    // The parser goes through what has not ended from its beginning again: so it gets as much
    // again, or there would be no end to it.
    std::span<const char> ahead = package.Ahead(std::max<std::size_t>(pending, 1));
    is_last = ahead.empty();
    // Behind a tag the rest may be taken directly.
    if (is_offered_ && !is_last) ahead = ahead.first(ToEndOfTag(ahead, pending));
    const XML_Status status =
        XML_Parse(parser_, ahead.data(), static_cast<int>(ahead.size()), is_last ? 1 : 0);
    if (thrown_) std::rethrow_exception(thrown_);
    if (is_stopped_) break;
    if (XML_GetErrorCode(parser_) == XML_ERROR_NO_MEMORY && !package.budget().overdrawn())
      throw std::bad_alloc();
    given += ahead.size();
    const auto parsed = std::max<XML_Index>(XML_GetCurrentByteIndex(parser_), 0);
    pending = static_cast<std::size_t>(given - static_cast<std::uint64_t>(parsed));
    if (IsBetweenTags(given)) pending = 0;
    if (status != XML_STATUS_OK) Refuse();
    package.Skip(ahead.size());
  }
  return !is_refused_ && (is_left_ || package.PassRest());
}

// A hundred megabytes of empty elements, which pack to nearly nothing, are not worth the time.
void XmlPart::CountTag() {
  constexpr unsigned kAtOnce = 4096;
  constexpr std::uint64_t kWorth = 16;  // bytes read otherwise
  if (++unexcused_ < kAtOnce) return;
  unexcused_ = 0;
  if (!budget_->Work(kAtOnce * kWorth)) Refuse();
}

// All that the parser was given is parsed, and ended in an element that counts.
bool XmlPart::IsBetweenTags(std::uint64_t given) const {
  const auto parsed = static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser_)) +
                      static_cast<std::uint64_t>(XML_GetCurrentByteCount(parser_));
  return skipped_ == 0 && prefix_ == 0 && !states_.empty() && parsed == given;
}

std::size_t XmlPart::TakeDirectly(ZipPackage& package, std::uint64_t given) {
  if (!IsBetweenTags(given)) return 0;
  const std::span<const char> ahead = package.Ahead(kDirectPiece);
  const std::size_t taken = TakeDirectly(states_.back(), {ahead.data(), ahead.size()});
  package.Skip(taken);
  in_vain_ = taken > 0 ? 0 : in_vain_ + 1;
  if (in_vain_ > kMostInVain) is_offered_ = false;
  return taken;
}

XmlPart::State XmlPart::Next(State parent, const char* name) const {
  std::size_t prefix = 0;
  while (prefix < prefix_ && name[prefix] != '\0') ++prefix;
  if (prefixes_ == Prefixes::kAny)
    if (const char* const colon = std::strchr(name, ':')) name = colon + 1;
  for (const Step& step : steps_)
    if (step.parent == parent && (*step.name == '*' || std::strcmp(step.name, name + prefix) == 0))
      return step.state;
  return kNowhere;
}

void XmlPart::OnStart(const char* name, const char** attributes) {
  if (skipped_ > 0) {
    ++skipped_;
    return;
  }
  if (states_.empty() && prefixes_ == Prefixes::kOne) {
    const char* const colon = std::strchr(name, ':');
    prefix_ = colon == nullptr ? 0 : static_cast<std::size_t>(colon - name) + 1;
  }
  const State state = Next(states_.empty() ? kNowhere : states_.back(), name);
  if (state != kNowhere) {
    has_root_ = true;
    states_.push_back(state);
    element_ = name;
    Start(state, XmlAttributes(attributes));
  } else if (states_.empty()) {
    has_other_root_ = true;
    Refuse();
  } else {
    ++skipped_;
  }
}

void XmlPart::OnEnd() {
  if (skipped_ > 0) {
    --skipped_;
    return;
  }
  const State state = states_.back();
  states_.pop_back();
  End(state);
}

}  // namespace nvimport

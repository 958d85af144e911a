#include "formats/workbook/XmlPart.h"

#include <expat.h>

#include <memory>
#include <new>

#include "formats/workbook/ZipPackage.h"

namespace {

// The parser keeps what is open, and a tag until it ends.
constexpr std::uint64_t kDeepest = 256;
constexpr std::uint64_t kLongestTag = std::uint64_t{1} << 20;

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
  static void Guard(XmlPart& part, Body body) {
    if (part.is_stopped_) return;
    try {
      body();
    } catch (...) {
      part.thrown_ = std::current_exception();
      part.is_stopped_ = true;
    }
  }

  static void Start(void* parser, const char* name, const char** attributes) {
    XmlPart& part = Of(parser);
    Guard(part, [&] { part.OnStart(name, attributes); });
    StopIfAsked(parser, part);
  }
  static void End(void* parser, const char*) {
    XmlPart& part = Of(parser);
    Guard(part, [&] { part.OnEnd(); });
    StopIfAsked(parser, part);
  }
  static void Text(void* parser, const char* text, int size) {
    XmlPart& part = Of(parser);
    if (part.skipped_ > 0 || part.states_.empty()) return;
    Guard(part, [&] { part.Text(part.states_.back(), {text, static_cast<std::size_t>(size)}); });
    StopIfAsked(parser, part);
  }
  static void Doctype(void* parser, const char*, const char*, const char*, int) {
    Of(parser).Refuse();
    StopIfAsked(parser, Of(parser));
  }

  static XmlPart& Of(void* parser) {
    return *static_cast<XmlPart*>(XML_GetUserData(static_cast<XML_Parser>(parser)));
  }
  static void StopIfAsked(void* parser, const XmlPart& part) {
    if (part.is_stopped_) XML_StopParser(static_cast<XML_Parser>(parser), XML_FALSE);
  }
};

bool XmlPart::Read(ZipPackage& package) {
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate(nullptr), &XML_ParserFree);
  if (!parser) throw std::bad_alloc();
  XML_SetUserData(parser.get(), this);
  XML_UseParserAsHandlerArg(parser.get());
  XML_SetElementHandler(parser.get(), Callbacks::Start, Callbacks::End);
  XML_SetCharacterDataHandler(parser.get(), Callbacks::Text);
  XML_SetStartDoctypeDeclHandler(parser.get(), Callbacks::Doctype);

  std::uint64_t given = 0;
  while (!is_stopped_) {
    const std::span<const char> ahead = package.Ahead(1);
    const bool is_last = ahead.empty();
    const XML_Status status =
        XML_Parse(parser.get(), ahead.data(), static_cast<int>(ahead.size()), is_last ? 1 : 0);
    if (thrown_) std::rethrow_exception(thrown_);
    if (is_stopped_ || is_last) {
      if (!is_stopped_ && status != XML_STATUS_OK) Refuse();
      break;
    }
    if (XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    given += ahead.size();
    const auto parsed = static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser.get()));
    if (status != XML_STATUS_OK || given - parsed > kLongestTag) Refuse();
    package.Skip(ahead.size());
  }
  return !is_refused_ && !package.failed();
}

XmlPart::State XmlPart::Next(State parent, std::string_view name) const {
  if (name.size() <= prefix_) return kNowhere;
  name.remove_prefix(prefix_);
  for (const Step& step : steps_)
    if (step.parent == parent && step.name == name) return step.state;
  return kNowhere;
}

void XmlPart::OnStart(const char* name, const char** attributes) {
  if (skipped_ + states_.size() >= kDeepest) return Refuse();
  if (skipped_ > 0) {
    ++skipped_;
    return;
  }
  const std::string_view whole = name;
  if (states_.empty()) {
    const std::size_t colon = whole.find(':');
    prefix_ = colon == std::string_view::npos ? 0 : colon + 1;
  }
  const State state = Next(states_.empty() ? kNowhere : states_.back(), whole);
  if (state != kNowhere) {
    states_.push_back(state);
    Start(state, XmlAttributes(attributes));
  } else if (states_.empty()) {
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

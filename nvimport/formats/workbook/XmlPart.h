#pragma once

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

struct XML_ParserStruct;

namespace nvimport {

class Budget;
class ZipPackage;

// The attributes of an element.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char** pairs) : pairs_(pairs) {}

  // The value, none where there is no such attribute. A name without a prefix finds only one
  // without, "*:id" one with any.
  std::optional<std::string_view> Find(std::string_view name) const;

  // Calls `take(name, value)` for each.
  template <typename Take>
  void ForEach(Take take) const {
    for (const char** pair = pairs_; *pair != nullptr; pair += 2)
      take(std::string_view(pair[0]), std::string_view(pair[1]));
  }

  // Calls `take(letter, value)` for each whose name is one letter.
  template <typename Take>
  void ForEachLetter(Take take) const {
    for (const char** pair = pairs_; *pair != nullptr; pair += 2)
      if (pair[0][0] != '\0' && pair[0][1] == '\0') take(pair[0][0], std::string_view(pair[1]));
  }

 private:
  const char** pairs_;
};

// Reads a part that is XML from its beginning to its end, in pieces. Of its elements only those
// count that a subclass has names for; others are passed over with what they hold.
//
// An element is known by its way from the root: `states` tells what a name means within its parent.
class XmlPart {
 public:
  using State = unsigned char;
  struct Step {
    State parent;      // kNowhere for the root
    const char* name;  // "*" for any, whatever its prefix
    State state;       // kNowhere for one that "*" further down shall not find
  };
  static constexpr State kNowhere = 0;

  // How elements are told by their prefixes.
  enum class Prefixes {
    kOne,  // that of the root is that of all
    kAny   // each has its own; parts may be in Windows-1252 as well
  };

  // With `takes_directly` the subclass may take plain stretches itself.
  explicit XmlPart(std::span<const Step> steps, bool takes_directly = false,
                   Prefixes prefixes = Prefixes::kOne)
      : steps_(steps), prefixes_(prefixes), is_offered_(takes_directly) {}
  XmlPart(const XmlPart&) = delete;
  XmlPart& operator=(const XmlPart&) = delete;
  virtual ~XmlPart() = default;

  // Reads the part that the package has open. False when it is no XML, has another root or a DTD,
  // when it is damaged anywhere (also behind what was wanted), when it overdraws the package's
  // budget, and when a subclass refused it.
  bool Read(ZipPackage& package);

  // The root was not one of those that there are names for.
  bool has_other_root() const { return has_other_root_; }
  // There was a root that there is a name for.
  bool has_root() const { return has_root_; }

 protected:
  virtual void Start(State state, XmlAttributes attributes) = 0;
  // The name of the element that starts, without its prefix.
  std::string_view Element() const { return element_.substr(element_.rfind(':') + 1); }
  virtual void End(State) {}
  // A piece of the text of the innermost element.
  virtual void Text(State, std::string_view) {}
  // Of what lies ahead behind a tag, inside an element of `state` and no other, the bytes that the
  // subclass takes by itself. Without them the part must be as well-formed as with them.
  virtual std::size_t TakeDirectly(State, std::string_view) { return 0; }

  // Reads no further: all that counts has come, or the part is not what it should be.
  void Stop() { is_stopped_ = true; }
  // The same, and the rest of the part is not looked at.
  void Leave() { is_stopped_ = is_left_ = true; }
  void Refuse() { is_stopped_ = is_refused_ = true; }
  bool is_refused() const { return is_refused_; }

  // What has just ended is wanted, so that it is no work in vain.
  void Excuse() { unexcused_ -= std::min(unexcused_, kTagsOfOne); }

 private:
  // Tags and pieces of text, mostly, of a cell with its share of a row, and of a text with its
  // font.
  static constexpr unsigned kTagsOfOne = 20;

  struct Callbacks;
  void CountTag();
  State Next(State parent, const char* name) const;
  bool IsBetweenTags(std::uint64_t given) const;
  std::size_t TakeDirectly(ZipPackage& package, std::uint64_t given);
  void OnStart(const char* name, const char** attributes);
  void OnEnd();

  std::span<const Step> steps_;
  Prefixes prefixes_;
  std::vector<State> states_;  // of the elements that are open and count
  std::uint64_t skipped_ = 0;  // open elements that don't count
  std::size_t prefix_ = 0;
  std::string_view element_;            // that starts
  XML_ParserStruct* parser_ = nullptr;  // while reading
  Budget* budget_ = nullptr;            // likewise
  bool is_offered_;                     // to the subclass, as long as it takes some
  int in_vain_ = 0;                     // tags parsed since TakeDirectly took something
  unsigned unexcused_ = 0;              // tags and pieces of text
  bool is_stopped_ = false;
  bool is_left_ = false;
  bool is_refused_ = false;
  bool has_root_ = false;
  bool has_other_root_ = false;
  std::exception_ptr thrown_;
};

}  // namespace nvimport

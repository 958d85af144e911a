#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

class ZipPackage;

// The attributes of an element.
class XmlAttributes {
 public:
  explicit XmlAttributes(const char** pairs) : pairs_(pairs) {}

  // The value, none where there is no such attribute. A name without a prefix finds only one
  // without, "*:id" one with any.
  std::optional<std::string_view> Find(std::string_view name) const;

  // Calls `take(name, value)` for each, as they stand.
  template <typename Take>
  void ForEach(Take take) const {
    for (const char** pair = pairs_; *pair != nullptr; pair += 2)
      take(std::string_view(pair[0]), std::string_view(pair[1]));
  }

 private:
  const char** pairs_;
};

// Reads a part that is XML from its beginning to its end, in pieces. Of its elements only those
// count that a subclass has names for; others are passed over with what they hold.
//
// An element is known by its way from the root: `states` tells what a name means within its parent.
// The prefix of the root is that of all elements.
class XmlPart {
 public:
  using State = unsigned char;
  struct Step {
    State parent;  // kNowhere for the root
    std::string_view name;
    State state;
  };
  static constexpr State kNowhere = 0;

  explicit XmlPart(std::span<const Step> steps) : steps_(steps) {}
  XmlPart(const XmlPart&) = delete;
  XmlPart& operator=(const XmlPart&) = delete;
  virtual ~XmlPart() = default;

  // Reads the part that the package has open. False when it is no XML, has another root, a DTD,
  // or more depth or longer tags than a document needs; and when a subclass refused it.
  bool Read(ZipPackage& package);

 protected:
  virtual void Start(State state, XmlAttributes attributes) = 0;
  virtual void End(State) {}
  // A piece of the text of the innermost element.
  virtual void Text(State, std::string_view) {}

  // Reads no further: all that counts has come, or the part is not what it should be.
  void Stop() { is_stopped_ = true; }
  void Refuse() { is_stopped_ = is_refused_ = true; }

 private:
  struct Callbacks;
  State Next(State parent, std::string_view name) const;
  void OnStart(const char* name, const char** attributes);
  void OnEnd();

  std::span<const Step> steps_;
  std::vector<State> states_;  // of the elements that are open and count
  std::uint64_t skipped_ = 0;  // open elements that don't count
  std::size_t prefix_ = 0;
  bool is_stopped_ = false;
  bool is_refused_ = false;
  std::exception_ptr thrown_;
};

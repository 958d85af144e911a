#include "nvimport/framework/USDBase.h"

#include <algorithm>

namespace nvimport {

USDBase::~USDBase() = default;

bool USDBase::AskForInterval(const std::string& title, const std::string& path,
                             RangeChoice& choice) const {
  const auto answer = Dialogs::Current().SelectRange(
      {title, path, GetFirstPoint(), GetLastPoint(), GetPointSpacing(), GetNumberOfPoints()});
  if (answer) choice = *answer;
  return answer.has_value();
}

bool USDBase::SetInterval(const RangeChoice& choice) {
  const int points = GetNumberOfPoints();
  if (choice.first < 1 || choice.first > std::max(points, 1)) return false;
  if (choice.last < 0 || (choice.last != 0 && choice.last < choice.first)) return false;
  first_index_ = choice.first - 1;
  interval_size_ = choice.LastOf(points) - first_index_;
  return true;
}

}  // namespace nvimport

#pragma once

#include <string>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The interval selection: lets the user restrict an import to a range of points of the x axis. A
// reader derives from it beside SpreadsheetFile.
class NVIMPORT_API USDBase {
 public:
  USDBase() = default;
  virtual ~USDBase();

  // The axis that is chosen from: first and last x, their spacing, and the number of points.
  virtual double GetFirstPoint() const = 0;
  virtual double GetLastPoint() const = 0;
  virtual double GetPointSpacing() const = 0;
  virtual int GetNumberOfPoints() const = 0;

 protected:
  USDBase(const USDBase&) = default;
  USDBase& operator=(const USDBase&) = default;

  // Asks in the range import wizard called `title`; false when the user cancels.
  bool AskForInterval(const std::string& title, const std::string& path, RangeChoice& choice) const;

  // Takes a range; a last point beyond the axis is its end. False when no such range can be.
  bool SetInterval(const RangeChoice& choice);

  // The points taken: the first counts from 0.
  int first_index() const { return first_index_; }
  int interval_size() const { return interval_size_; }

 private:
  int first_index_ = 0;
  int interval_size_ = 0;
};

}  // namespace nvimport

#pragma once

namespace nvimport {

// A date and time as hosts keep it: days since 30 December 1899, the time of day as a fraction.
struct COleDateTime {
  double m_dt = 0;
};

}  // namespace nvimport

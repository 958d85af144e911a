#pragma once

namespace nvimport {

// The statuses of JCAMP-DX files. Their texts stand in JCAMPFile.cpp.
enum JCAMPStatus : int {
  kNoFile = 1536,
  kNotJCAMP = 1537,
  kBinaryForm = 1538,
  kNoEqualsSign = 1539,
  kNoValue = 1540,
  kUnevenTitles = 1541,
  kFreeText = 1542,
  kIllegalValue = 1543,
  kIllegalPoints = 1544,
  kNoneSelected = 1545,
  kReadFailed = 1546,
  kNoPoints = 1547,
  kNoData = 1548,
  kUnknownClass = 1549,
  kAssignmentsMet = 1550,
  kRADataMet = 1551,
  kNTuplesMet = 1552,
  kXYPointsMet = 1554,
  kXYPairsMet = 1555,
  kIllegalSeries = 1556,
  kNoSpacing = 1557,
  kAbscissaRepeats = 1558,
  kDifferenceFirst = 1559,
  kUnexpectedEnd = 1560,
  kIllegalCharacter = 1561,
  kNotPlain = 1562,
  kTwoDups = 1563,
  kOnlyXYData = 1566,
  kReferenceCancelled = 1567
};

}  // namespace nvimport

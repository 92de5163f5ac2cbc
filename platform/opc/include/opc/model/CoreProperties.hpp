// The standard descriptive properties of a package (creator, dates, title, ...).
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <opc/Export.hpp>
#include <opc/String.hpp>

namespace opc::model {

/// The core properties. Texts are empty and times not_a_date_time when absent; only
/// present values are written.
class OPC_API CoreProperties {
 public:
  ustring category;
  ustring contentStatus;
  boost::posix_time::ptime created;  ///< UTC
  ustring creator;
  ustring description;
  ustring identifier;
  ustring keywords;
  ustring language;
  ustring lastModifiedBy;
  boost::posix_time::ptime lastPrinted;  ///< UTC
  boost::posix_time::ptime modified;     ///< UTC
  ustring revision;
  ustring subject;
  ustring title;
  ustring version;

  /// "YYYY-MM-DDThh:mm:ssZ" for a UTC time, with ".f" to ".ffffff" (trailing zeros dropped)
  /// when it has a fraction of a second; empty for not_a_date_time. Throws
  /// std::runtime_error for an infinite time.
  static ustring convertTimeToString(const boost::posix_time::ptime& time);
  /// Parses the date-time forms of W3CDTF and xsd:dateTime: "YYYY", "YYYY-MM", "YYYY-MM-DD",
  /// and "YYYY-MM-DDThh:mm[:ss[.f+]]" followed by "Z", "+hh:mm", "-hh:mm" or nothing (taken
  /// as UTC); returns the time in UTC (fractions kept to the microsecond). The empty text
  /// gives not_a_date_time; any other text that does not fit throws std::runtime_error
  /// naming the text and the reason. Exact inverse of convertTimeToString.
  static boost::posix_time::ptime convertStringToTime(const ustring& text);

  friend OPC_API bool operator==(const CoreProperties& a, const CoreProperties& b);
  friend bool operator!=(const CoreProperties& a, const CoreProperties& b) { return !(a == b); }
};

}  // namespace opc::model

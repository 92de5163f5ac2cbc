// Core properties: value comparison and the W3CDTF date-time texts.
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <cstdio>
#include <opc/model/CoreProperties.hpp>
#include <stdexcept>
#include <string>

#include "../util/Text.hpp"

namespace opc::model {

namespace pt = boost::posix_time;
namespace greg = boost::gregorian;

namespace {

class TimeTextParser {
 public:
  explicit TimeTextParser(const ustring& text) : text_(text) {}

  pt::ptime parse() {
    int year = number(4, "a four-digit year");
    int month = 1;
    int day = 1;
    pt::time_duration timeOfDay(0, 0, 0);
    pt::time_duration offset(0, 0, 0);
    if (accept(u'-')) {
      month = bounded(number(2, "a two-digit month"), 1, 12, "month");
      if (accept(u'-')) {
        day = number(2, "a two-digit day");
        if (accept(u'T')) {
          timeOfDay = time();
          offset = zone();
        }
      }
    }
    if (pos_ != text_.size()) fail("unexpected text at offset " + std::to_string(pos_));
    // Boost's calendar covers the years 1400 to 9999.
    bounded(year, 1400, 9999, "year");
    bounded(day, 1,
            greg::gregorian_calendar::end_of_month_day(static_cast<unsigned short>(year),
                                                       static_cast<unsigned short>(month)),
            "day");
    greg::date date(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                    static_cast<unsigned short>(day));
    return pt::ptime(date, timeOfDay) - offset;
  }

 private:
  pt::time_duration time() {
    int hour = bounded(number(2, "a two-digit hour"), 0, 23, "hour");
    expect(u':');
    int minute = bounded(number(2, "two-digit minutes"), 0, 59, "minutes");
    int second = 0;
    std::int64_t fraction = 0;
    if (accept(u':')) {
      second = bounded(number(2, "two-digit seconds"), 0, 59, "seconds");
      if (accept(u'.')) fraction = fractionTicks();
    }
    return pt::time_duration(hour, minute, second) + pt::time_duration(0, 0, 0, fraction);
  }

  // Digits of a fraction of a second, as ticks of the clock's resolution; digits beyond the
  // resolution are dropped.
  std::int64_t fractionTicks() {
    const int resolution = pt::time_duration::num_fractional_digits();
    std::int64_t ticks = 0;
    int digits = 0;
    while (pos_ < text_.size() && isDigit(text_[pos_])) {
      if (digits < resolution) ticks = ticks * 10 + (text_[pos_] - u'0');
      ++digits;
      ++pos_;
    }
    if (digits == 0) fail("expected digits after '.' at offset " + std::to_string(pos_));
    for (int d = digits; d < resolution; ++d) ticks *= 10;
    return ticks;
  }

  pt::time_duration zone() {
    if (accept(u'Z') || pos_ == text_.size()) return pt::time_duration(0, 0, 0);
    bool negative = text_[pos_] == u'-';
    if (!accept(u'+') && !accept(u'-')) {
      fail("expected 'Z', '+hh:mm' or '-hh:mm' at offset " + std::to_string(pos_));
    }
    int hours = bounded(number(2, "two-digit offset hours"), 0, 14, "offset hours");
    expect(u':');
    int minutes = bounded(number(2, "two-digit offset minutes"), 0, 59, "offset minutes");
    pt::time_duration offset(hours, minutes, 0);
    return negative ? offset.invert_sign() : offset;
  }

  static bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

  int number(int digits, const char* what) {
    int value = 0;
    for (int i = 0; i < digits; ++i, ++pos_) {
      if (pos_ >= text_.size() || !isDigit(text_[pos_])) {
        fail(std::string("expected ") + what + " at offset " + std::to_string(pos_));
      }
      value = value * 10 + (text_[pos_] - u'0');
    }
    return value;
  }

  int bounded(int value, int low, int high, const char* what) {
    if (value < low || value > high) {
      fail(std::string(what) + " " + std::to_string(value) + " is out of range");
    }
    return value;
  }

  bool accept(char16_t c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  void expect(char16_t c) {
    if (!accept(c)) {
      fail("expected '" + std::string(1, static_cast<char>(c)) + "' at offset " +
           std::to_string(pos_));
    }
  }

  [[noreturn]] void fail(const std::string& reason) const {
    throw std::runtime_error("invalid date-time \"" + detail::describe(text_) + "\": " + reason);
  }

  const ustring& text_;
  std::size_t pos_ = 0;
};

}  // namespace

ustring CoreProperties::convertTimeToString(const pt::ptime& time) {
  if (time.is_not_a_date_time()) return ustring();
  if (time.is_special()) throw std::runtime_error("an infinite time has no date-time text");
  greg::date date = time.date();
  pt::time_duration clock = time.time_of_day();
  char text[64];
  int length = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d",
                             static_cast<int>(date.year()), static_cast<int>(date.month()),
                             static_cast<int>(date.day()), static_cast<int>(clock.hours()),
                             static_cast<int>(clock.minutes()), static_cast<int>(clock.seconds()));
  std::string result(text, static_cast<std::size_t>(length));
  auto fraction = clock.fractional_seconds();
  if (fraction != 0) {
    int digits = pt::time_duration::num_fractional_digits();
    std::string fractionText = std::to_string(fraction);
    fractionText.insert(0, static_cast<std::size_t>(digits) - fractionText.size(), '0');
    fractionText.erase(fractionText.find_last_not_of('0') + 1);
    result += '.' + fractionText;
  }
  result += 'Z';
  return detail::widenAscii(result);
}

pt::ptime CoreProperties::convertStringToTime(const ustring& text) {
  if (text.empty()) return pt::ptime(pt::not_a_date_time);
  return TimeTextParser(text).parse();
}

bool operator==(const CoreProperties& a, const CoreProperties& b) {
  return a.category == b.category && a.contentStatus == b.contentStatus && a.created == b.created &&
         a.creator == b.creator && a.description == b.description && a.identifier == b.identifier &&
         a.keywords == b.keywords && a.language == b.language &&
         a.lastModifiedBy == b.lastModifiedBy && a.lastPrinted == b.lastPrinted &&
         a.modified == b.modified && a.revision == b.revision && a.subject == b.subject &&
         a.title == b.title && a.version == b.version;
}

}  // namespace opc::model

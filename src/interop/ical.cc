#include "interop/ical.h"

#include <libical/ical.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "interop/ical_time.h"
#include "interop/series_rule.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/categories.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/enums.h"
#include "orncalendar/error.h"
#include "orncalendar/file.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"
#include "orncalendar/task.h"

namespace orncal::interop {
namespace {

constexpr Date kSecond = 1.0 / 86400.0;
constexpr double kYear = 365.2425;
constexpr const char* kProductId = "-//Ornavel//Ornavel Calendar//EN";

// ------------------------------------------------------------------ colours

struct NamedColor {
  const char* name;
  uint32_t rgb;
};
constexpr NamedColor kCssColors[] = {
    {"aliceblue", 0xf0f8ff},
    {"antiquewhite", 0xfaebd7},
    {"aqua", 0x00ffff},
    {"aquamarine", 0x7fffd4},
    {"azure", 0xf0ffff},
    {"beige", 0xf5f5dc},
    {"bisque", 0xffe4c4},
    {"black", 0x000000},
    {"blanchedalmond", 0xffebcd},
    {"blue", 0x0000ff},
    {"blueviolet", 0x8a2be2},
    {"brown", 0xa52a2a},
    {"burlywood", 0xdeb887},
    {"cadetblue", 0x5f9ea0},
    {"chartreuse", 0x7fff00},
    {"chocolate", 0xd2691e},
    {"coral", 0xff7f50},
    {"cornflowerblue", 0x6495ed},
    {"cornsilk", 0xfff8dc},
    {"crimson", 0xdc143c},
    {"cyan", 0x00ffff},
    {"darkblue", 0x00008b},
    {"darkcyan", 0x008b8b},
    {"darkgoldenrod", 0xb8860b},
    {"darkgray", 0xa9a9a9},
    {"darkgreen", 0x006400},
    {"darkgrey", 0xa9a9a9},
    {"darkkhaki", 0xbdb76b},
    {"darkmagenta", 0x8b008b},
    {"darkolivegreen", 0x556b2f},
    {"darkorange", 0xff8c00},
    {"darkorchid", 0x9932cc},
    {"darkred", 0x8b0000},
    {"darksalmon", 0xe9967a},
    {"darkseagreen", 0x8fbc8f},
    {"darkslateblue", 0x483d8b},
    {"darkslategray", 0x2f4f4f},
    {"darkslategrey", 0x2f4f4f},
    {"darkturquoise", 0x00ced1},
    {"darkviolet", 0x9400d3},
    {"deeppink", 0xff1493},
    {"deepskyblue", 0x00bfff},
    {"dimgray", 0x696969},
    {"dimgrey", 0x696969},
    {"dodgerblue", 0x1e90ff},
    {"firebrick", 0xb22222},
    {"floralwhite", 0xfffaf0},
    {"forestgreen", 0x228b22},
    {"fuchsia", 0xff00ff},
    {"gainsboro", 0xdcdcdc},
    {"ghostwhite", 0xf8f8ff},
    {"gold", 0xffd700},
    {"goldenrod", 0xdaa520},
    {"gray", 0x808080},
    {"green", 0x008000},
    {"greenyellow", 0xadff2f},
    {"grey", 0x808080},
    {"honeydew", 0xf0fff0},
    {"hotpink", 0xff69b4},
    {"indianred", 0xcd5c5c},
    {"indigo", 0x4b0082},
    {"ivory", 0xfffff0},
    {"khaki", 0xf0e68c},
    {"lavender", 0xe6e6fa},
    {"lavenderblush", 0xfff0f5},
    {"lawngreen", 0x7cfc00},
    {"lemonchiffon", 0xfffacd},
    {"lightblue", 0xadd8e6},
    {"lightcoral", 0xf08080},
    {"lightcyan", 0xe0ffff},
    {"lightgoldenrodyellow", 0xfafad2},
    {"lightgray", 0xd3d3d3},
    {"lightgreen", 0x90ee90},
    {"lightgrey", 0xd3d3d3},
    {"lightpink", 0xffb6c1},
    {"lightsalmon", 0xffa07a},
    {"lightseagreen", 0x20b2aa},
    {"lightskyblue", 0x87cefa},
    {"lightslategray", 0x778899},
    {"lightslategrey", 0x778899},
    {"lightsteelblue", 0xb0c4de},
    {"lightyellow", 0xffffe0},
    {"lime", 0x00ff00},
    {"limegreen", 0x32cd32},
    {"linen", 0xfaf0e6},
    {"magenta", 0xff00ff},
    {"maroon", 0x800000},
    {"mediumaquamarine", 0x66cdaa},
    {"mediumblue", 0x0000cd},
    {"mediumorchid", 0xba55d3},
    {"mediumpurple", 0x9370db},
    {"mediumseagreen", 0x3cb371},
    {"mediumslateblue", 0x7b68ee},
    {"mediumspringgreen", 0x00fa9a},
    {"mediumturquoise", 0x48d1cc},
    {"mediumvioletred", 0xc71585},
    {"midnightblue", 0x191970},
    {"mintcream", 0xf5fffa},
    {"mistyrose", 0xffe4e1},
    {"moccasin", 0xffe4b5},
    {"navajowhite", 0xffdead},
    {"navy", 0x000080},
    {"oldlace", 0xfdf5e6},
    {"olive", 0x808000},
    {"olivedrab", 0x6b8e23},
    {"orange", 0xffa500},
    {"orangered", 0xff4500},
    {"orchid", 0xda70d6},
    {"palegoldenrod", 0xeee8aa},
    {"palegreen", 0x98fb98},
    {"paleturquoise", 0xafeeee},
    {"palevioletred", 0xdb7093},
    {"papayawhip", 0xffefd5},
    {"peachpuff", 0xffdab9},
    {"peru", 0xcd853f},
    {"pink", 0xffc0cb},
    {"plum", 0xdda0dd},
    {"powderblue", 0xb0e0e6},
    {"purple", 0x800080},
    {"red", 0xff0000},
    {"rosybrown", 0xbc8f8f},
    {"royalblue", 0x4169e1},
    {"saddlebrown", 0x8b4513},
    {"salmon", 0xfa8072},
    {"sandybrown", 0xf4a460},
    {"seagreen", 0x2e8b57},
    {"seashell", 0xfff5ee},
    {"sienna", 0xa0522d},
    {"silver", 0xc0c0c0},
    {"skyblue", 0x87ceeb},
    {"slateblue", 0x6a5acd},
    {"slategray", 0x708090},
    {"slategrey", 0x708090},
    {"snow", 0xfffafa},
    {"springgreen", 0x00ff7f},
    {"steelblue", 0x4682b4},
    {"tan", 0xd2b48c},
    {"teal", 0x008080},
    {"thistle", 0xd8bfd8},
    {"tomato", 0xff6347},
    {"turquoise", 0x40e0d0},
    {"violet", 0xee82ee},
    {"wheat", 0xf5deb3},
    {"white", 0xffffff},
    {"whitesmoke", 0xf5f5f5},
    {"yellow", 0xffff00},
    {"yellowgreen", 0x9acd32},
};

// 0x00BBGGRR <-> 0xRRGGBB.
uint32_t SwapRedBlue(uint32_t value) {
  return ((value & 0xff) << 16) | (value & 0xff00) | ((value >> 16) & 0xff);
}

// ------------------------------------------------------------------- times

Date FromTm(const std::tm& tm) {
  return DateFromParts(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday) +
         TimeFromParts(tm.tm_hour, tm.tm_min, tm.tm_sec);
}

// Local wall-clock time as UTC, by the system's zone rules.
icaltimetype UtcOf(Date local) {
  const DateParts p = SplitDate(local);
  std::tm tm{};
  tm.tm_year = p.Year - 1900;
  tm.tm_mon = p.Month - 1;
  tm.tm_mday = p.Day;
  tm.tm_hour = p.Hour;
  tm.tm_min = p.Minute;
  tm.tm_sec = p.Second;
  tm.tm_isdst = -1;
  const std::time_t t = std::mktime(&tm);
  return icaltime_from_timet_with_zone(t, 0, icaltimezone_get_utc_timezone());
}

bool IsFloating(const icaltimetype& t) {
  return t.is_date || (t.zone == nullptr && !icaltime_is_utc(t));
}

// A moment of the seconds-since-1970 kind as local wall-clock time; a
// floating time was counted as if it were UTC.
Date FromEpoch(std::time_t t, bool floating) {
  std::tm tm{};
  if (floating)
    gmtime_r(&t, &tm);
  else
    localtime_r(&t, &tm);
  return FromTm(tm);
}

// An iCalendar time as local wall-clock time: floating times and dates as
// they are, times in a zone (or UTC) converted by the system's zone rules.
// A time before the year 100 or after 9999 is refused as input the
// calendar cannot hold.
Date ToLocal(const icaltimetype& t) {
  try {
    if (IsFloating(t)) {
      Date date = DateFromParts(t.year, t.month, t.day);
      if (!t.is_date) date += TimeFromParts(t.hour, t.minute, t.second);
      return date;
    }
    const icaltimezone* zone = t.zone ? t.zone : icaltimezone_get_utc_timezone();
    return FromEpoch(icaltime_as_timet_with_zone(t, zone), false);
  } catch (const Error&) {
    throw ImportError("a time in the year " + std::to_string(t.year) +
                      ", outside the years 100 to 9999 the calendar holds");
  }
}

std::string Number17(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

// ------------------------------------------------------------- properties

// X- property values are kept as written, so text in them is escaped
// here as TEXT values are.
std::string EscapeText(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c == '\\' || c == ';' || c == ',')
      out += '\\', out += c;
    else if (c == '\n')
      out += "\\n";
    else if (c != '\r')
      out += c;
  }
  return out;
}

std::string UnescapeText(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      const char next = text[++i];
      out += next == 'n' || next == 'N' ? '\n' : next;
    } else {
      out += text[i];
    }
  }
  return out;
}

void AddX(icalcomponent* c, const char* name, const std::string& value) {
  icalproperty* p = icalproperty_new_x(value.c_str());
  icalproperty_set_x_name(p, name);
  icalcomponent_add_property(c, p);
}

std::optional<std::string> GetX(icalcomponent* c, const char* name) {
  for (icalproperty* p = icalcomponent_get_first_property(c, ICAL_X_PROPERTY); p;
       p = icalcomponent_get_next_property(c, ICAL_X_PROPERTY)) {
    const char* x = icalproperty_get_x_name(p);
    if (x && std::string_view(x) == name) {
      const char* value = icalproperty_get_x(p);
      return value ? std::string(value) : std::string();
    }
  }
  return std::nullopt;
}

std::string Text(const char* value) { return value ? value : ""; }

void AddAlarm(icalcomponent* c, const std::string& title, std::optional<int32_t> offset,
              std::optional<Date> at) {
  icalcomponent* alarm = icalcomponent_new_valarm();
  icalcomponent_add_property(alarm, icalproperty_new_action(ICAL_ACTION_DISPLAY));
  icalcomponent_add_property(alarm, icalproperty_new_description(title.c_str()));
  icaltriggertype trigger{};
  trigger.time = icaltime_null_time();
  trigger.duration = icaldurationtype_null_duration();
  if (offset) trigger.duration = icaldurationtype_from_int(*offset);
  if (at) trigger.time = UtcOf(*at);
  icalcomponent_add_property(alarm, icalproperty_new_trigger(trigger));
  icalcomponent_add_component(c, alarm);
}

std::string SeriesText(const DateTimeSerial& s) {
  return "MODE=" + std::to_string(s.RepetitionMode()) + ";M=" + std::to_string(s.m()) +
         ";N=" + std::to_string(s.n()) + ";INMONTH=" + std::to_string(s.InMonth()) +
         ";WEEKDAYS=" + std::to_string(s.Weekdays()) + ";START=" + Number17(s.StartDateTime()) +
         ";END=" + Number17(s.EndDateTime()) + ";FROM=" + Number17(s.SeriesStartDateTime()) +
         ";UNTIL=" + Number17(s.SeriesEndDateTime()) + ";ETERNAL=" + (s.Eternal() ? "1" : "0");
}

std::optional<DateTimeSerialPtr> SeriesFromText(std::string_view text) {
  std::map<std::string, std::string, std::less<>> fields;
  while (!text.empty()) {
    const size_t end = std::min(text.find(';'), text.size());
    const std::string_view pair = text.substr(0, end);
    const size_t eq = pair.find('=');
    if (eq == std::string_view::npos) return std::nullopt;
    fields[std::string(pair.substr(0, eq))] = std::string(pair.substr(eq + 1));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  const auto whole = [&](const char* key) -> std::optional<int32_t> {
    const auto found = fields.find(key);
    if (found == fields.end()) return std::nullopt;
    char* end = nullptr;
    const long long value = std::strtoll(found->second.c_str(), &end, 10);
    if (!end || *end || found->second.empty() || value < INT32_MIN || value > INT32_MAX) {
      return std::nullopt;
    }
    return static_cast<int32_t>(value);
  };
  const auto date = [&](const char* key) -> std::optional<Date> {
    const auto found = fields.find(key);
    if (found == fields.end()) return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(found->second.c_str(), &end);
    if (!end || *end || found->second.empty() || !std::isfinite(value)) return std::nullopt;
    if (value < kMinDate - 1 || value > kMaxDate + 1) return std::nullopt;
    return value;
  };
  const auto mode = whole("MODE"), m = whole("M"), n = whole("N"), in_month = whole("INMONTH"),
             weekdays = whole("WEEKDAYS"), eternal = whole("ETERNAL");
  const auto start = date("START"), end = date("END"), from = date("FROM"), until = date("UNTIL");
  if (!mode || !m || !n || !in_month || !weekdays || !eternal || !start || !end || !from ||
      !until) {
    return std::nullopt;
  }
  DateTimeSerialPtr s = DateTimeSerial::New();
  s->SetRepetitionMode(static_cast<calRepetitionModes>(*mode));
  s->Setm(*m);
  s->Setn(*n);
  s->SetInMonth(*in_month);
  s->SetWeekdays(*weekdays);
  s->SetStartDateTime(*start);
  s->SetEndDateTime(*end);
  s->SetSeriesStartDateTime(*from);
  s->SetSeriesEndDateTime(*until);
  s->SetEternal(*eternal != 0);
  return s;
}

// ------------------------------------------------------------------ export

void AddCommon(icalcomponent* c, const std::string& uid, const std::string& title,
               const std::string& notes, const std::string& project) {
  icalcomponent_add_property(c, icalproperty_new_uid(uid.c_str()));
  icalcomponent_add_property(c, icalproperty_new_dtstamp(UtcOf(CurrentClock().Now())));
  icalcomponent_add_property(c, icalproperty_new_summary(title.c_str()));
  if (!notes.empty()) icalcomponent_add_property(c, icalproperty_new_description(notes.c_str()));
  if (!project.empty()) AddX(c, "X-ORNCAL-PROJECT", EscapeText(project));
}

void AddCategory(Calendar& calendar, icalcomponent* c, Appointment& a) {
  const std::string& category = a.Category();
  if (category.empty()) return;
  icalcomponent_add_property(c, icalproperty_new_categories(category.c_str()));
  const std::optional<int32_t> color = calendar.Categories()->KnownColor(category);
  if (!color || *color < 0 || *color > 0xFFFFFF) return;
  const std::string name = CssColorName(*color);
  if (!name.empty()) {
    icalcomponent_add_property(c, icalproperty_new_from_string(("COLOR:" + name).c_str()));
  } else {
    char hex[8];
    std::snprintf(hex, sizeof hex, "#%06x", SwapRedBlue(static_cast<uint32_t>(*color)));
    AddX(c, "X-ORNCAL-COLOR", hex);
  }
}

// The end of an all-day stretch as the exclusive date iCalendar wants: the
// day after its last day.
Date AllDayEnd(Date start, Date end) {
  const Date first = DayPart(start);
  Date after = DayPart(end) == end ? end : DayPart(end) + 1;
  return std::max(after, first + 1);
}

icalcomponent* EventFor(Calendar& calendar, const LocalItem& item, const ExportOptions& options,
                        ExportCounts& counts) {
  Appointment& a = *item.appointment;
  const DateTimePtr period = a.DateTime();
  if (!period) return nullptr;
  const bool all_day = a.AllDay();
  icalcomponent* c = icalcomponent_new_vevent();
  AddCommon(c, item.uid, a.Title(), a.Notes(), a.Project());
  Date start = 0, end = 0;
  if (const DateTimeSerialPtr series = period->Series()) {
    const WrittenSeries written = WriteSeries(*series, options.From, options.To, all_day);
    if (written.Rule) {
      start = written.First.Start;
      icalcomponent_add_property(
          c, icalproperty_new_rrule(icalrecurrencetype_from_string(written.Rule->c_str())));
      ++counts.SeriesAsRule;
    } else if (!written.Shown.empty()) {
      start = written.Shown.front().Start;
      for (size_t i = 1; i < written.Shown.size(); ++i) {
        icaldatetimeperiodtype date{};
        date.time = LocalIcalTime(written.Shown[i].Start, all_day);
        date.period = icalperiodtype_null_period();
        icalproperty* p = icalproperty_new_rdate(date);
        if (all_day) icalproperty_add_parameter(p, icalparameter_new_value(ICAL_VALUE_DATE));
        icalcomponent_add_property(c, p);
      }
      ++counts.SeriesAsDates;
    } else {
      ++counts.SeriesWithoutDays;
      icalcomponent_free(c);
      return nullptr;
    }
    end = start + written.Length;
    AddX(c, "X-ORNCAL-SERIES", SeriesText(*series));
  } else {
    start = period->StartDateTime();
    end = period->EndDateTime();
  }
  if (all_day) {
    icalcomponent_add_property(c, icalproperty_new_dtstart(LocalIcalTime(start, true)));
    icalcomponent_add_property(c,
                               icalproperty_new_dtend(LocalIcalTime(AllDayEnd(start, end), true)));
  } else {
    icalcomponent_add_property(c, icalproperty_new_dtstart(LocalIcalTime(start, false)));
    if (end > start)
      icalcomponent_add_property(c, icalproperty_new_dtend(LocalIcalTime(end, false)));
  }
  AddCategory(calendar, c, a);
  if (a.Flags() != 0) AddX(c, "X-ORNCAL-FLAGS", std::to_string(a.Flags()));
  if (a.Remind()) AddAlarm(c, a.Title(), a.RemindAt(), std::nullopt);
  ++counts.Events;
  return c;
}

icalcomponent* TodoFor(const LocalItem& item) {
  Task& task = *item.task;
  icalcomponent* c = icalcomponent_new_vtodo();
  AddCommon(c, item.uid, task.Title(), task.Notes(), task.Project());
  const DateTimeNormalPtr period = task.DateTime();
  const Date start = period ? period->StartDateTime() : 0;
  const Date due = task.PlannedEnd();
  if (start != 0 && (due == 0 || start <= due)) {
    icalcomponent_add_property(c, icalproperty_new_dtstart(LocalIcalTime(start, false)));
  }
  if (due != 0) icalcomponent_add_property(c, icalproperty_new_due(LocalIcalTime(due, false)));
  if (item.kind == LocalItem::kDoneTask) {
    icalcomponent_add_property(c, icalproperty_new_status(ICAL_STATUS_COMPLETED));
    icalcomponent_add_property(c, icalproperty_new_percentcomplete(100));
    if (period)
      icalcomponent_add_property(c, icalproperty_new_completed(UtcOf(period->EndDateTime())));
  } else {
    icalcomponent_add_property(c, icalproperty_new_status(ICAL_STATUS_NEEDSACTION));
    if (const Date remind = task.RemindAt(); remind != 0) {
      AddAlarm(c, task.Title(), std::nullopt, remind);
    }
  }
  return c;
}

std::string ComponentText(icalcomponent* c) {
  char* text = icalcomponent_as_ical_string_r(c);
  std::string out = text ? text : "";
  free(text);
  return out;
}

// Whether a simple period or the span of a series meets [from, to).
bool Meets(DateTime& period, Date from, Date to) {
  if (const DateTimeSerialPtr series = period.Series()) {
    return series->GetFirstDate() < to && (series->Eternal() || series->GetLastDate() > from);
  }
  const Date start = period.StartDateTime(), end = period.EndDateTime();
  return (start < to && end > from) || (start >= from && start < to);
}

template <class Visit>
void ForEachReal(Calendar& calendar, Visit visit) {
  const CollectionPtr<int32_t> all = calendar.AllFiles();
  const std::vector<int32_t> months(all->begin(), all->end());
  for (int32_t month : months) {
    FilePtr file;
    try {
      file = calendar.GetMonthFile(MonthRef{.Key = std::to_string(month), .FileLong = month},
                                   {.ResolveLinks = true});
    } catch (const Error&) {
      continue;
    }
    const AppointmentsPtr list = file ? file->Appointments() : nullptr;
    if (!list) continue;
    const std::vector<AppointmentPtr> entries(list->begin(), list->end());
    for (const AppointmentPtr& a : entries)
      if (a && a->AppointmentType() == 1) visit(a);
  }
}

}  // namespace

std::string CssColorName(int32_t color) {
  if (color < 0 || color > 0xFFFFFF) return "";
  const uint32_t rgb = SwapRedBlue(static_cast<uint32_t>(color));
  for (const NamedColor& named : kCssColors)
    if (named.rgb == rgb) return named.name;
  return "";
}

int32_t ColorFromCss(std::string_view text) {
  std::string lower;
  for (char c : text)
    if (c != ' ') lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower.size() == 7 && lower[0] == '#') {
    uint32_t value = 0;
    for (size_t i = 1; i < 7; ++i) {
      const char c = lower[i];
      if (!std::isxdigit(static_cast<unsigned char>(c))) return -1;
      value = value * 16 + static_cast<uint32_t>(c <= '9' ? c - '0' : c - 'a' + 10);
    }
    return static_cast<int32_t>(SwapRedBlue(value));
  }
  for (const NamedColor& named : kCssColors)
    if (lower == named.name) return static_cast<int32_t>(SwapRedBlue(named.rgb));
  return -1;
}

bool FitsCp1252(std::string_view text) {
  // The code points of 0x80 to 0x9F in Windows-1252.
  static constexpr char32_t kHigh[] = {0x20AC, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x017D, 0x2018,
                                       0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC,
                                       0x2122, 0x0161, 0x203A, 0x0153, 0x017E, 0x0178};
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    size_t length = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > text.size()) return false;
    char32_t cp = length == 1 ? b : b & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3F);
    }
    i += length;
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) continue;
    if (std::find(std::begin(kHigh), std::end(kHigh), cp) == std::end(kHigh)) return false;
  }
  return true;
}

std::vector<LocalItem> CollectItems(Calendar& calendar, Identity& identity, Date from, Date to) {
  std::vector<LocalItem> items;
  ForEachReal(calendar, [&](const AppointmentPtr& a) {
    const int32_t flags = a->Flags();
    const DateTimePtr period = a->DateTime();
    if (!period || !Meets(*period, from, to)) return;
    if (flags & calTask) {
      // A task's reminder belongs to the open task; its completion
      // appointment is the completed task.
      if (flags & calOnlyRemind) return;
      LocalItem item{LocalItem::kDoneTask, a, nullptr, identity.AppointmentUid(*a)};
      if (period->DateTimeType() != 1) return;
      item.task = calendar.TaskFromCompletedAppointment(a);
      items.push_back(std::move(item));
      return;
    }
    if (flags & calInvisible) return;
    items.push_back({LocalItem::kAppointment, a, nullptr, identity.AppointmentUid(*a)});
  });
  for (const TaskPtr& task : *calendar.IncompleteTasks())
    if (task) items.push_back({LocalItem::kOpenTask, nullptr, task, identity.TaskUid(*task)});
  return items;
}

namespace {

// A moment to the second: the same moment reached by other arithmetic (a
// day plus a time, or as read back from a file) digests the same.
std::string Moment(Date date) { return std::to_string(std::llround(date * 86400.0)); }

std::string SeriesDigestText(const DateTimeSerial& s) {
  return std::to_string(s.RepetitionMode()) + "," + std::to_string(s.m()) + "," +
         std::to_string(s.n()) + "," + std::to_string(s.InMonth()) + "," +
         std::to_string(s.Weekdays()) + "," + Moment(s.StartDateTime()) + "," +
         Moment(s.EndDateTime()) + "," + Moment(s.SeriesStartDateTime()) + "," +
         Moment(s.SeriesEndDateTime()) + "," + (s.Eternal() ? "1" : "0");
}

void DigestAppointment(std::string& s, Appointment& a) {
  const auto add = [&](const std::string& field) { s += field, s += '\x1f'; };
  add(a.Title());
  add(a.Notes());
  add(a.Category());
  add(a.Project());
  add(std::to_string(a.AllDay()) + std::to_string(a.Remind()) + "," + std::to_string(a.RemindAt()) +
      "," + std::to_string(a.Flags()));
  const DateTimePtr period = a.DateTime();
  if (!period) return;
  if (const DateTimeSerialPtr series = period->Series()) {
    add(SeriesDigestText(*series));
  } else {
    add(Moment(period->StartDateTime()) + "," + Moment(period->EndDateTime()));
  }
}

}  // namespace

std::string ContentDigest(const LocalItem& item) {
  std::string s = std::to_string(item.kind) + '\x1f';
  if (item.kind == LocalItem::kAppointment) {
    DigestAppointment(s, *item.appointment);
  } else {
    Task& t = *item.task;
    const DateTimeNormalPtr period = t.DateTime();
    s += t.Title() + '\x1f' + t.Notes() + '\x1f' + t.Project() + '\x1f';
    if (period) s += Moment(period->StartDateTime()) + "," + Moment(period->EndDateTime());
    s += '\x1f' + Moment(t.PlannedEnd()) + '\x1f' + Moment(t.RemindAt());
  }
  return Digest(s);
}

std::string ExportItems(Calendar& calendar, const std::vector<LocalItem>& items,
                        const ExportOptions& options, ExportCounts* counts) {
  ExportCounts local;
  ExportCounts& c = counts ? *counts : local;
  // Written component by component, so that the whole calendar is never
  // held as one tree of objects.
  std::string out = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:" + std::string(kProductId) + "\r\n";
  for (const LocalItem& item : items) {
    icalcomponent* component = nullptr;
    try {
      component = item.kind == LocalItem::kAppointment ? EventFor(calendar, item, options, c)
                                                       : TodoFor(item);
    } catch (const Error&) {
      continue;  // an appointment whose period cannot be read is left out
    }
    if (!component) continue;
    if (item.kind != LocalItem::kAppointment) ++c.Todos;
    out += ComponentText(component);
    icalcomponent_free(component);
  }
  out += "END:VCALENDAR\r\n";
  return out;
}

// ------------------------------------------------------------------ import

namespace {

struct Fields {
  std::string title, notes, category, project;
  int32_t flags = 0;
  bool all_day = false;
  bool remind = false;
  int32_t remind_at = 0;
  int32_t color = -1;
};

struct Instance {
  Occurrence when;
  Fields fields;
};

struct Planned {
  std::string uid;
  bool todo = false;
  Fields fields;
  // A single appointment or a series.
  DateTimePtr period;
  // Or the occurrences of a recurrence no series describes.
  bool expanded = false;
  std::vector<Instance> instances;
  // A task.
  Date start = 0, due = 0, completed_at = 0, remind = 0;
  bool completed = false;
};

std::string TextProperty(icalcomponent* c, icalproperty_kind kind) {
  icalproperty* p = icalcomponent_get_first_property(c, kind);
  if (!p) return "";
  const char* value = icalproperty_get_value_as_string(p);
  if (kind == ICAL_SUMMARY_PROPERTY) value = icalproperty_get_summary(p);
  if (kind == ICAL_DESCRIPTION_PROPERTY) value = icalproperty_get_description(p);
  return Text(value);
}

Fields ReadFields(icalcomponent* c) {
  Fields f;
  f.title = TextProperty(c, ICAL_SUMMARY_PROPERTY);
  f.notes = TextProperty(c, ICAL_DESCRIPTION_PROPERTY);
  if (icalproperty* p = icalcomponent_get_first_property(c, ICAL_CATEGORIES_PROPERTY)) {
    f.category = Text(icalproperty_get_categories(p));
  }
  if (auto project = GetX(c, "X-ORNCAL-PROJECT")) f.project = UnescapeText(*project);
  if (auto flags = GetX(c, "X-ORNCAL-FLAGS")) {
    char* end = nullptr;
    const long long value = std::strtoll(flags->c_str(), &end, 10);
    if (end && !*end && value >= INT32_MIN && value <= INT32_MAX) {
      f.flags = static_cast<int32_t>(value);
    }
  }
  for (icalproperty* p = icalcomponent_get_first_property(c, ICAL_ANY_PROPERTY); p;
       p = icalcomponent_get_next_property(c, ICAL_ANY_PROPERTY)) {
    const char* name = icalproperty_get_property_name(p);
    if (name && std::string_view(name) == "COLOR") {
      f.color = ColorFromCss(Text(icalproperty_get_value_as_string(p)));
    }
  }
  if (f.color < 0) {
    if (auto color = GetX(c, "X-ORNCAL-COLOR")) f.color = ColorFromCss(*color);
  }
  // The first alarm relative to the start becomes the reminder.
  for (icalcomponent* alarm = icalcomponent_get_first_component(c, ICAL_VALARM_COMPONENT); alarm;
       alarm = icalcomponent_get_next_component(c, ICAL_VALARM_COMPONENT)) {
    icalproperty* p = icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
    if (!p) continue;
    const icaltriggertype trigger = icalproperty_get_trigger(p);
    if (!icaltime_is_null_time(trigger.time)) continue;
    icalparameter* related = icalproperty_get_first_parameter(p, ICAL_RELATED_PARAMETER);
    if (related && icalparameter_get_related(related) == ICAL_RELATED_END) continue;
    const int seconds = icaldurationtype_as_int(trigger.duration);
    f.remind = true;
    f.remind_at = seconds;
    break;
  }
  return f;
}

// The end of an event: DTEND, or DTSTART + DURATION, or a day after an
// all-day start, or the start itself.
Date EventEnd(icalcomponent* c, const icaltimetype& dtstart, Date start) {
  if (icalcomponent_get_first_property(c, ICAL_DTEND_PROPERTY)) {
    return ToLocal(icalcomponent_get_dtend(c));
  }
  if (icalproperty* p = icalcomponent_get_first_property(c, ICAL_DURATION_PROPERTY)) {
    return start + icaldurationtype_as_int(icalproperty_get_duration(p)) * kSecond;
  }
  return dtstart.is_date ? start + 1 : start;
}

struct Span {
  Date start, end;
};

// The most instances of one recurring component that are taken.
constexpr size_t kMaxInstances = 200000;

// Where a walk over a component's recurrences from `start` to `end` has
// to stop so that no rule yields more than kMaxInstances on the way: the
// walk cannot be stopped from within, and a rule every second, or one with
// a COUNT walked from a start centuries back, would otherwise run for
// hours. The rules are walked from where icalcomponent_foreach_recurrence
// starts them: a COUNT from DTSTART, any other from the window's start less
// the component's duration.
icaltimetype WalkEnd(icalcomponent* c, icaltimetype start, icaltimetype end) {
  const icaltimetype dtstart = icalcomponent_get_dtstart(c);
  icaltime_adjust(&start, 0, 0, 0, -icaldurationtype_as_int(icalcomponent_get_duration(c)));
  for (icalproperty* p = icalcomponent_get_first_property(c, ICAL_RRULE_PROPERTY); p;
       p = icalcomponent_get_next_property(c, ICAL_RRULE_PROPERTY)) {
    const icalrecurrencetype rule = icalproperty_get_rrule(p);
    icalrecur_iterator* it = icalrecur_iterator_new(rule, dtstart);
    if (!it) continue;
    if (rule.count == 0 && icaltime_compare(start, dtstart) > 0)
      icalrecur_iterator_set_start(it, start);
    size_t seen = 0;
    for (icaltimetype t = icalrecur_iterator_next(it);
         !icaltime_is_null_time(t) && icaltime_compare(t, end) <= 0;
         t = icalrecur_iterator_next(it)) {
      if (++seen > kMaxInstances) {
        end = t;
        break;
      }
    }
    icalrecur_iterator_free(it);
  }
  return end;
}

// Every instance of a recurring component in [from, to), in local time.
std::vector<Span> Instances(icalcomponent* c, bool floating, Date from, Date to) {
  struct Collect {
    bool floating;
    std::vector<Span> spans;
  } collect{floating, {}};
  const auto callback = [](icalcomponent*, struct icaltime_span* span, void* data) {
    auto* into = static_cast<Collect*>(data);
    if (into->spans.size() > kMaxInstances) return;
    into->spans.push_back(
        {FromEpoch(span->start, into->floating), FromEpoch(span->end, into->floating)});
  };
  // The window is widened by a day each way for the zones, then cut.
  const icaltimetype start = UtcOf(from - 1);
  icalcomponent_foreach_recurrence(c, start, WalkEnd(c, start, UtcOf(to + 1)), callback, &collect);
  std::vector<Span> inside;
  for (const Span& s : collect.spans)
    if (s.start >= from && s.start < to) inside.push_back(s);
  std::sort(inside.begin(), inside.end(),
            [](const Span& a, const Span& b) { return a.start < b.start; });
  return inside;
}

int64_t Seconds(Date date) { return std::llround(date * 86400.0); }

// A series that shows exactly the days of a component's single RRULE, or
// nothing.
DateTimePtr ExactSeries(icalcomponent* c, const icaltimetype& dtstart, Date start, Date end) {
  icalproperty* rule_property = icalcomponent_get_first_property(c, ICAL_RRULE_PROPERTY);
  if (!rule_property || icalcomponent_get_next_property(c, ICAL_RRULE_PROPERTY) ||
      icalcomponent_get_first_property(c, ICAL_RDATE_PROPERTY) ||
      icalcomponent_get_first_property(c, ICAL_EXDATE_PROPERTY)) {
    return nullptr;
  }
  icalrecurrencetype rule = icalproperty_get_rrule(rule_property);
  const bool floating = IsFloating(dtstart);
  std::optional<Date> last;
  if (rule.count > 0) {
    if (rule.count > 100000) return nullptr;
    icalrecur_iterator* it = icalrecur_iterator_new(rule, dtstart);
    if (!it) return nullptr;
    icaltimetype final = icaltime_null_time();
    for (icaltimetype t = icalrecur_iterator_next(it); !icaltime_is_null_time(t);
         t = icalrecur_iterator_next(it)) {
      final = t;
    }
    icalrecur_iterator_free(it);
    if (icaltime_is_null_time(final)) return nullptr;
    final.zone = dtstart.zone;
    last = ToLocal(final);
  } else if (!icaltime_is_null_time(rule.until)) {
    last = ToLocal(rule.until);
  }
  rule.count = 0;
  rule.until = icaltime_null_time();
  char* text = icalrecurrencetype_as_string_r(&rule);
  const std::string rule_text = text ? text : "";
  free(text);
  const std::optional<DateTimeSerialPtr> series =
      SeriesFromRule(rule_text, start, end - start, dtstart.is_date, last);
  if (!series) return nullptr;
  // The series has to show the rule's days over the first ten years.
  const Date from = DayPart(start), to = from + 10 * kYear;
  std::vector<int64_t> shown, ruled;
  for (const Occurrence& o : CalendarOccurrences(**series, from, to))
    shown.push_back(Seconds(o.Start));
  for (const Span& s : Instances(c, floating, from, to))
    ruled.push_back(Seconds(s.start));
  shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
  if (shown != ruled || shown.empty()) return nullptr;
  return *series;
}

std::string Describe(icalcomponent* c) {
  const char* uid = icalcomponent_get_uid(c);
  return std::string(icalcomponent_kind_to_string(icalcomponent_isa(c))) + " '" + (uid ? uid : "") +
         "'";
}

icaltimetype RequiredStart(icalcomponent* c) {
  if (!icalcomponent_get_first_property(c, ICAL_DTSTART_PROPERTY)) {
    throw ImportError(Describe(c) + " has no DTSTART");
  }
  const icaltimetype t = icalcomponent_get_dtstart(c);
  if (icaltime_is_null_time(t) || !icaltime_is_valid_time(t) || t.year < 100 || t.year > 9999) {
    throw ImportError(Describe(c) + " has a DTSTART that is no date");
  }
  return t;
}

// Finds the first error libical noted while it parsed.
void RefuseErrors(icalcomponent* c) {
  if (icalproperty* p = icalcomponent_get_first_property(c, ICAL_XLICERROR_PROPERTY)) {
    throw ImportError("malformed iCalendar data: " + Text(icalproperty_get_xlicerror(p)));
  }
  for (icalcomponent* inner = icalcomponent_get_first_component(c, ICAL_ANY_COMPONENT); inner;
       inner = icalcomponent_get_next_component(c, ICAL_ANY_COMPONENT)) {
    RefuseErrors(inner);
  }
}

// Times may name a zone of the system's zone database (TZID=Europe/Paris)
// without a VTIMEZONE that defines it. Such zones are added to the
// VCALENDAR from the system's database, so those times are converted
// rather than taken as floating; names the database does not know stay
// floating (wall-clock time as written).
void AddSystemZones(icalcomponent* cal) {
  std::set<std::string> wanted;
  const auto collect = [&](icalcomponent* c) {
    for (icalproperty* p = icalcomponent_get_first_property(c, ICAL_ANY_PROPERTY); p;
         p = icalcomponent_get_next_property(c, ICAL_ANY_PROPERTY)) {
      if (icalparameter* tzid = icalproperty_get_first_parameter(p, ICAL_TZID_PARAMETER)) {
        if (const char* name = icalparameter_get_tzid(tzid)) wanted.insert(name);
      }
    }
  };
  for (icalcomponent* c = icalcomponent_get_first_component(cal, ICAL_ANY_COMPONENT); c;
       c = icalcomponent_get_next_component(cal, ICAL_ANY_COMPONENT)) {
    const icalcomponent_kind kind = icalcomponent_isa(c);
    if (kind == ICAL_VEVENT_COMPONENT || kind == ICAL_VTODO_COMPONENT) collect(c);
  }
  for (const std::string& name : wanted) {
    if (icalcomponent_get_timezone(cal, name.c_str())) continue;
    icaltimezone* zone = icaltimezone_get_builtin_timezone(name.c_str());
    icalcomponent* definition = zone ? icaltimezone_get_component(zone) : nullptr;
    if (!definition) continue;
    icalcomponent* copy = icalcomponent_new_clone(definition);
    // The copy answers to the name the times use.
    icalproperty* id = icalcomponent_get_first_property(copy, ICAL_TZID_PROPERTY);
    if (id)
      icalproperty_set_tzid(id, name.c_str());
    else
      icalcomponent_add_property(copy, icalproperty_new_tzid(name.c_str()));
    icalcomponent_add_component(cal, copy);
  }
}

// The lines of the text must open and close a VCALENDAR, and every BEGIN
// must have its END.
void RefuseBrokenFrame(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::vector<std::string> open;
  bool any = false;
  size_t line_number = 0;
  for (size_t pos = 0; pos < text.size();) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    ++line_number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == ' ' || line.front() == '\t') continue;
    std::string upper(line);
    for (char& ch : upper)
      ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    if (!any && upper != "BEGIN:VCALENDAR") {
      throw ImportError("no iCalendar data: line " + std::to_string(line_number) +
                        " is not BEGIN:VCALENDAR");
    }
    any = true;
    if (upper.starts_with("BEGIN:")) {
      open.push_back(upper.substr(6));
    } else if (upper.starts_with("END:")) {
      if (open.empty() || open.back() != upper.substr(4)) {
        throw ImportError("malformed iCalendar data: line " + std::to_string(line_number) +
                          " ends " + upper.substr(4) + " where " +
                          (open.empty() ? std::string("nothing") : open.back()) + " is open");
      }
      open.pop_back();
    } else if (upper.find(':') == std::string::npos) {
      throw ImportError("malformed iCalendar data: line " + std::to_string(line_number) +
                        " has no ':'");
    } else if (open.empty()) {
      throw ImportError("malformed iCalendar data: line " + std::to_string(line_number) +
                        " stands outside VCALENDAR");
    }
  }
  if (!any) throw ImportError("no iCalendar data: the input is empty");
  if (!open.empty())
    throw ImportError("malformed iCalendar data: " + open.back() + " is not ended");
}

}  // namespace

// What the calendar holds under each UID.
struct Importer::Index {
  std::unordered_map<std::string, std::vector<AppointmentPtr>> appointments;
};

Importer::Importer(Calendar& calendar, Identity& identity)
    : calendar_(calendar), identity_(identity) {}
Importer::~Importer() = default;

Importer::Index& Importer::Known() {
  if (index_) return *index_;
  index_ = std::make_unique<Index>();
  ForEachReal(calendar_, [&](const AppointmentPtr& a) {
    if (std::optional<std::string> uid = TagValue(*a, kUidTag)) {
      index_->appointments[*uid].push_back(a);
    }
  });
  return *index_;
}

std::vector<LocalItem> Importer::ItemsOf(const std::string& uid) {
  std::vector<LocalItem> items;
  if (std::optional<int32_t> id = identity_.OwnTask(uid)) {
    if (TaskPtr task = calendar_.IncompleteTaskFromID(*id)) {
      items.push_back({LocalItem::kOpenTask, nullptr, task, uid});
      return items;
    }
  }
  std::vector<AppointmentPtr> found;
  if (auto known = Known().appointments.find(uid); known != Known().appointments.end()) {
    found = known->second;
  } else if (auto own = identity_.OwnAppointment(uid)) {
    AppointmentPtr a = calendar_.FindStoredAppointment(own->first, own->second);
    if (a && !TagValue(*a, kUidTag)) found.push_back(a);
  }
  for (const AppointmentPtr& a : found) {
    if (!a->Exists()) continue;
    if ((a->Flags() & calTask) && !(a->Flags() & calOnlyRemind)) {
      items.push_back({LocalItem::kDoneTask, a, calendar_.TaskFromCompletedAppointment(a), uid});
    } else if (!(a->Flags() & calTask)) {
      items.push_back({LocalItem::kAppointment, a, nullptr, uid});
    }
  }
  return items;
}

bool Importer::Remove(const std::string& uid) {
  bool removed = false;
  for (const LocalItem& item : ItemsOf(uid)) {
    if (item.kind == LocalItem::kOpenTask) {
      identity_.ForgetTask(item.task->ID());
      item.task->Remove();
    } else {
      item.appointment->Remove();
    }
    removed = true;
  }
  Known().appointments.erase(uid);
  return removed;
}

namespace {

void ApplyFields(Appointment& a, const Fields& f, const std::string& suffix) {
  a.SetTitle(f.title + suffix);
  a.SetNotes(f.notes);
  a.SetCategory(f.category);
  a.SetProject(f.project);
  a.SetFlags(f.flags);
  a.SetAllDay(f.all_day);
  a.SetRemind(f.remind);
  a.SetRemindAt(f.remind_at);
}

// Text as the files keep it: each character Windows-1252 has not becomes
// '?', so what is compared with the calendar is what it holds.
std::string Storable(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    size_t length = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 1;
    length = std::min(length, text.size() - i);
    const std::string_view one = text.substr(i, length);
    if (FitsCp1252(one))
      out += one;
    else
      out += '?';
    i += length;
  }
  return out;
}

// Notes the texts with characters Windows-1252 has not, and puts them as
// the calendar will keep them.
void NoteUnstorable(ImportReport& report, const std::string& uid, Fields& f) {
  const std::pair<const char*, std::string*> texts[] = {{"SUMMARY", &f.title},
                                                        {"DESCRIPTION", &f.notes},
                                                        {"CATEGORIES", &f.category},
                                                        {"X-ORNCAL-PROJECT", &f.project}};
  for (const auto& [name, text] : texts) {
    if (FitsCp1252(*text)) continue;
    report.Unstorable.push_back(uid + ": " + name);
    *text = Storable(*text);
  }
}

// The digest an appointment made from planned fields and a period would
// have.
std::string ProbeDigest(const Fields& f, DateTimePtr period, const std::string& suffix) {
  const AppointmentRealPtr probe = AppointmentReal::New();
  ApplyFields(*probe, f, suffix);
  probe->SetDateTime(std::move(period));
  return ContentDigest({LocalItem::kAppointment, probe, nullptr, ""});
}

// Whether what the calendar holds under a UID is what a planned object
// would make of it.
bool Matches(const Planned& p, const std::vector<LocalItem>& items, const std::string& suffix) {
  if (p.todo) {
    if (items.size() != 1 || !items.front().task) return false;
    Task& t = *items.front().task;
    const bool done = items.front().kind == LocalItem::kDoneTask;
    if (done != p.completed || t.Title() != p.fields.title + suffix ||
        t.Notes() != p.fields.notes || t.Project() != p.fields.project ||
        Seconds(t.PlannedEnd()) != Seconds(p.due)) {
      return false;
    }
    if (done) return true;
    const DateTimeNormalPtr period = t.DateTime();
    return period && Seconds(period->StartDateTime()) == Seconds(p.start) &&
           Seconds(t.RemindAt()) == Seconds(p.remind);
  }
  std::multiset<std::string> want, have;
  if (p.expanded) {
    for (const Instance& i : p.instances) {
      Date end = i.when.End;
      if (i.fields.all_day) end = std::max(end, i.when.Start + 1);
      want.insert(ProbeDigest(i.fields, DateTimeNormal::New(i.when.Start, end), suffix));
    }
  } else {
    want.insert(ProbeDigest(p.fields, p.period, suffix));
  }
  for (const LocalItem& item : items) {
    if (item.kind != LocalItem::kAppointment) return false;
    if (!p.expanded && TagValue(*item.appointment, kInstanceTag)) return false;
    have.insert(ContentDigest(item));
  }
  return want == have;
}

}  // namespace

ImportReport Importer::Import(std::string_view text, const ImportOptions& options) {
  ImportReport report;
  RefuseBrokenFrame(text);
  const std::string owned(text);
  icalcomponent* root = icalparser_parse_string(owned.c_str());
  if (!root) throw ImportError("no iCalendar data could be read");
  struct Free {
    icalcomponent* c;
    ~Free() { icalcomponent_free(c); }
  } free_root{root};
  RefuseErrors(root);

  std::vector<icalcomponent*> calendars;
  if (icalcomponent_isa(root) == ICAL_VCALENDAR_COMPONENT) {
    calendars.push_back(root);
  } else {
    for (icalcomponent* c = icalcomponent_get_first_component(root, ICAL_VCALENDAR_COMPONENT); c;
         c = icalcomponent_get_next_component(root, ICAL_VCALENDAR_COMPONENT)) {
      calendars.push_back(c);
    }
  }
  if (calendars.empty()) throw ImportError("no iCalendar data: no VCALENDAR");
  for (icalcomponent* cal : calendars)
    AddSystemZones(cal);

  const Date now = options.Now;
  const Date horizon_from = DayPart(now - options.HorizonYears * kYear);
  const Date horizon_to = DayPart(now + options.HorizonYears * kYear) + 1;

  // Everything is read and checked before anything is changed.
  std::vector<Planned> plan;
  for (icalcomponent* cal : calendars) {
    // Masters first; a component with RECURRENCE-ID changes one instance.
    std::map<std::string, std::vector<icalcomponent*>> overrides;
    std::vector<icalcomponent*> masters;
    for (icalcomponent* c = icalcomponent_get_first_component(cal, ICAL_ANY_COMPONENT); c;
         c = icalcomponent_get_next_component(cal, ICAL_ANY_COMPONENT)) {
      const icalcomponent_kind kind = icalcomponent_isa(c);
      if (kind != ICAL_VEVENT_COMPONENT && kind != ICAL_VTODO_COMPONENT) continue;
      if (!icalcomponent_get_uid(c)) {
        // Without UID the object is named by what it holds, so that reading
        // it again finds it.
        icalcomponent_set_uid(c, ("orncal-import-" + Digest(ComponentText(c))).c_str());
      }
      if (icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY)) {
        overrides[icalcomponent_get_uid(c)].push_back(c);
      } else {
        masters.push_back(c);
      }
    }
    for (icalcomponent* c : masters) {
      Planned p;
      p.uid = icalcomponent_get_uid(c);
      p.fields = ReadFields(c);
      NoteUnstorable(report, p.uid, p.fields);
      if (icalcomponent_isa(c) == ICAL_VTODO_COMPONENT) {
        p.todo = true;
        if (icalcomponent_get_first_property(c, ICAL_DTSTART_PROPERTY)) {
          p.start = ToLocal(RequiredStart(c));
        }
        if (icalcomponent_get_first_property(c, ICAL_DUE_PROPERTY)) {
          p.due = ToLocal(icalcomponent_get_due(c));
        }
        icalproperty* status = icalcomponent_get_first_property(c, ICAL_STATUS_PROPERTY);
        icalproperty* completed = icalcomponent_get_first_property(c, ICAL_COMPLETED_PROPERTY);
        p.completed =
            completed || (status && icalproperty_get_status(status) == ICAL_STATUS_COMPLETED);
        p.completed_at = completed ? ToLocal(icalproperty_get_completed(completed)) : now;
        for (icalcomponent* alarm = icalcomponent_get_first_component(c, ICAL_VALARM_COMPONENT);
             alarm; alarm = icalcomponent_get_next_component(c, ICAL_VALARM_COMPONENT)) {
          icalproperty* t = icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
          if (!t) continue;
          const icaltriggertype trigger = icalproperty_get_trigger(t);
          if (!icaltime_is_null_time(trigger.time))
            p.remind = ToLocal(trigger.time);
          else if (p.due != 0)
            p.remind = p.due + icaldurationtype_as_int(trigger.duration) * kSecond;
          if (p.remind != 0) break;
        }
        plan.push_back(std::move(p));
        continue;
      }
      const icaltimetype dtstart = RequiredStart(c);
      const Date start = ToLocal(dtstart);
      const Date end = std::max(start, EventEnd(c, dtstart, start));
      p.fields.all_day = dtstart.is_date;
      const bool recurring = icalcomponent_get_first_property(c, ICAL_RRULE_PROPERTY) ||
                             icalcomponent_get_first_property(c, ICAL_RDATE_PROPERTY);
      const auto own = overrides.find(p.uid);
      if (auto x = GetX(c, "X-ORNCAL-SERIES"); x && own == overrides.end()) {
        if (std::optional<DateTimeSerialPtr> series = SeriesFromText(*x)) p.period = *series;
      }
      if (!p.period && recurring && own == overrides.end()) {
        p.period = ExactSeries(c, dtstart, start, end);
      }
      if (!p.period && recurring) {
        // Expanded within the horizon, each instance an appointment of its
        // own; an instance with RECURRENCE-ID takes that component's place.
        p.expanded = true;
        std::vector<Span> spans = Instances(c, IsFloating(dtstart), horizon_from, horizon_to);
        std::set<int64_t> replaced;
        std::vector<Instance> changed;
        if (own != overrides.end()) {
          for (icalcomponent* o : own->second) {
            const Date instance = ToLocal(icalcomponent_get_recurrenceid(o));
            replaced.insert(Seconds(instance));
            const icaltimetype o_start = RequiredStart(o);
            const Date s = ToLocal(o_start);
            if (s < horizon_from || s >= horizon_to) continue;
            Fields f = ReadFields(o);
            f.all_day = o_start.is_date;
            NoteUnstorable(report, p.uid, f);
            changed.push_back({{s, std::max(s, EventEnd(o, o_start, s))}, f});
          }
        }
        for (const Span& s : spans) {
          if (replaced.contains(Seconds(s.start))) continue;
          p.instances.push_back({{s.start, std::max(s.start, s.end)}, p.fields});
        }
        p.instances.insert(p.instances.end(), changed.begin(), changed.end());
        ++report.Expanded;
        report.ExpandedAppointments += static_cast<int>(p.instances.size());
        report.ExpandedFrom = horizon_from;
        report.ExpandedTo = horizon_to;
      } else if (!p.period) {
        Date last = end;
        if (p.fields.all_day) last = std::max(start + 1, last);
        p.period = DateTimeNormal::New(start, last);
      } else {
        ++report.Series;
      }
      plan.push_back(std::move(p));
    }
  }
  // A copy is a new object of its own.
  if (options.AsNewCopies)
    for (Planned& p : plan)
      p.uid = "orncal-copy-" + RandomId();
  for (const Planned& p : plan)
    report.Uids.push_back(p.uid);
  if (options.DryRun) {
    for (const Planned& p : plan) {
      const std::vector<LocalItem> items =
          options.AsNewCopies ? std::vector<LocalItem>{} : ItemsOf(p.uid);
      if (!items.empty() && Matches(p, items, options.TitleSuffix)) {
        ++(p.todo ? report.TasksUnchanged : report.Unchanged);
      } else if (p.todo) {
        (items.empty() ? report.TasksCreated : report.TasksUpdated)++;
      } else {
        (items.empty() ? report.Created : report.Updated)++;
      }
    }
    return report;
  }

  for (Planned& p : plan) {
    std::vector<LocalItem> existing = ItemsOf(p.uid);
    const std::string& suffix = options.TitleSuffix;
    if (!p.fields.category.empty() && p.fields.color >= 0 &&
        !calendar_.Categories()->CategoryExists(p.fields.category)) {
      calendar_.Categories()->Add(p.fields.category, {.Color = p.fields.color});
      categories_changed_ = true;
    }
    if (p.todo) {
      TaskPtr task;
      bool was_done = false;
      for (const LocalItem& item : existing) {
        if (item.kind == LocalItem::kOpenTask) task = item.task;
        if (item.kind == LocalItem::kDoneTask) task = item.task, was_done = true;
      }
      if (task && Matches(p, existing, suffix)) {
        ++report.TasksUnchanged;
        continue;
      }
      (task ? report.TasksUpdated : report.TasksCreated)++;
      if (task && was_done && !p.completed) {
        task->InComplete();
        Known().appointments.erase(p.uid);
      }
      if (!task) task = calendar_.Task({.SaveNow = false});
      if (!task->Completed()) {
        task->SetTitle(p.fields.title + suffix);
        task->SetNotes(p.fields.notes);
        task->SetProject(p.fields.project);
        DateTimeNormalPtr period = DateTimeNormal::New(p.start, p.due);
        task->SetDateTime(period);
        task->NotifyChange();
        if (task->RemindAt() != p.remind && !p.completed) task->SetRemindAt(p.remind);
        identity_.SetTaskUid(task->ID(), p.uid);
        if (p.completed) {
          identity_.ForgetTask(task->ID());
          task->Complete();
          if (AppointmentPtr done = task->ConnectedAppointment()) {
            done->BeforeDateTimeChange();
            const DateTimePtr when = done->DateTime();
            when->SetEndDateTime(std::max(when->StartDateTime(), p.completed_at));
            SetTagValue(*done, kUidTag, p.uid);
            done->AfterDateTimeChange();
            Known().appointments[p.uid] = {task->ConnectedAppointment()};
          }
        }
      } else {
        // A completed task keeps its completion; its texts follow.
        task->SetTitle(p.fields.title + suffix);
        task->SetNotes(p.fields.notes);
        task->SetProject(p.fields.project);
        task->SetPlannedEnd(p.due);
        task->NotifyChange();
      }
      continue;
    }

    // An appointment, or the instances of an expanded recurrence.
    std::vector<AppointmentPtr> old;
    for (const LocalItem& item : existing)
      if (item.kind == LocalItem::kAppointment) old.push_back(item.appointment);
    if (!old.empty() && old.size() == existing.size() && Matches(p, existing, suffix) &&
        TagValue(*old.front(), kUidTag)) {
      ++report.Unchanged;
      continue;
    }
    if (!p.expanded && old.size() == 1 && !TagValue(*old.front(), kInstanceTag)) {
      const AppointmentPtr& a = old.front();
      a->BeforeDateTimeChange();
      ApplyFields(*a, p.fields, suffix);
      a->SetDateTime(p.period);
      SetTagValue(*a, kUidTag, p.uid);
      AppointmentPtr filed = a;
      filed->AfterDateTimeChange();
      Known().appointments[p.uid] = {filed};
      ++report.Updated;
      continue;
    }
    for (const AppointmentPtr& a : old)
      a->Remove();
    (old.empty() ? report.Created : report.Updated)++;
    std::vector<AppointmentPtr>& known = Known().appointments[p.uid];
    known.clear();
    const auto add = [&](DateTimePtr period, const Fields& f, const std::string* instance) {
      AppointmentPtr a = calendar_.Appointment({.SaveNow = false});
      a->SetDateTime(std::move(period));
      ApplyFields(*a, f, suffix);
      a->AddTag(std::string(kUidTag), std::string(kTagType), p.uid);
      if (instance) a->AddTag(std::string(kInstanceTag), std::string(kTagType), *instance);
      a->AfterDateTimeChange();
      known.push_back(a);
    };
    if (!p.expanded) {
      add(p.period, p.fields, nullptr);
      continue;
    }
    for (const Instance& i : p.instances) {
      Date end = i.when.End;
      if (i.fields.all_day) end = std::max(end, i.when.Start + 1);
      const std::string instance = IcalDateTimeText(i.when.Start);
      add(DateTimeNormal::New(i.when.Start, end), i.fields, &instance);
    }
  }
  return report;
}

ImportReport ImportText(Calendar& calendar, Identity& identity, std::string_view text,
                        const ImportOptions& options) {
  Importer importer(calendar, identity);
  return importer.Import(text, options);
}

}  // namespace orncal::interop

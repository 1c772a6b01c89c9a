#include "store/month_file_format.h"

#include <bit>
#include <cstring>
#include <limits>

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/error.h"
#include "orncalendar/month_file.h"
#include "platform/encoding.h"

namespace orncal::store {
namespace {

constexpr uint8_t kRealRecord = 1;
constexpr uint8_t kLinkRecord = 2;
constexpr uint8_t kSerialPeriod = 2;
constexpr uint8_t kTrue = 0xFF;
// The smallest a tag can be: three empty texts.
constexpr size_t kSmallestTag = 12;

// The length of the leading run of ASCII bytes, which read the same in
// Windows-1252 and UTF-8 and are copied as they are.
size_t AsciiPrefix(const char* p, size_t n) {
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t word;
    std::memcpy(&word, p + i, 8);
    if (word & 0x8080808080808080ULL) break;
  }
  while (i < n && !(static_cast<unsigned char>(p[i]) & 0x80))
    ++i;
  return i;
}

// ---------------------------------------------------------------- reading

struct Malformed {
  std::string what;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes)
      : begin_(bytes.data()), p_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  bool AtEnd() const { return p_ == end_; }
  size_t Offset() const { return static_cast<size_t>(p_ - begin_); }
  size_t Remaining() const { return static_cast<size_t>(end_ - p_); }

  uint8_t Byte() {
    Need(1);
    return static_cast<uint8_t>(*p_++);
  }

  bool Flag() { return Byte() != 0; }

  int32_t Long() {
    Need(4);
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
      v = (v << 8) | static_cast<uint8_t>(p_[i]);
    p_ += 4;
    return static_cast<int32_t>(v);
  }

  Date Double() {
    Need(8);
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
      v = (v << 8) | static_cast<uint8_t>(p_[i]);
    p_ += 8;
    return std::bit_cast<Date>(v);
  }

  // A length-prefixed Windows-1252 text, as UTF-8.
  std::string Text() {
    const size_t at = Offset();
    const int32_t n = Long();
    if (n <= 0) return {};
    if (static_cast<size_t>(n) > Remaining()) {
      throw Malformed{"a text of " + std::to_string(n) + " bytes at byte " + std::to_string(at) +
                      " reaches beyond the end of the data"};
    }
    const char* text = p_;
    p_ += n;
    const auto size = static_cast<size_t>(n);
    const size_t ascii = AsciiPrefix(text, size);
    std::string utf8(text, ascii);
    if (ascii < size) utf8 += platform::Cp1252ToUtf8(std::string_view(text + ascii, size - ascii));
    return utf8;
  }

 private:
  void Need(size_t n) {
    if (Remaining() < n) {
      throw Malformed{"the data ends in the middle of a field at byte " + std::to_string(Offset())};
    }
  }

  const char* begin_;
  const char* p_;
  const char* end_;
};

DateTimePtr ReadPeriod(Reader& in, int32_t version) {
  if (in.Byte() != kSerialPeriod) {
    const Date start = in.Double();
    const Date end = in.Double();
    return DateTimeNormal::New(start, end);
  }
  DateTimeSerialPtr serial = DateTimeSerial::New();
  serial->SetStartDateTime(in.Double());
  serial->SetEndDateTime(in.Double());
  serial->SetSeriesStartDateTime(in.Double());
  serial->SetSeriesEndDateTime(in.Double());
  serial->SetEternal(in.Flag());
  serial->SetRepetitionMode(static_cast<calRepetitionModes>(in.Long()));
  serial->Setn(in.Long());
  serial->Setm(in.Long());
  serial->SetWeekdays(in.Long());
  if (version >= 10002) serial->SetInMonth(in.Long());
  return serial;
}

AppointmentPtr ReadReal(Reader& in, int32_t version, int32_t id, int32_t fileLong,
                        const CalendarPtr& owner) {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetOutsideID(id);
  a->SetOutsideFile(fileLong);
  a->SetTitle(in.Text());
  a->SetNotes(in.Text());
  a->SetCategory(in.Text());
  a->SetAllDay(in.Flag());
  a->SetRemind(in.Flag());
  a->SetRemindAt(in.Long());
  if (owner) a->SetOwnerCalendar(owner);
  if (version >= 10001) {
    a->SetFlags(in.Long());
    const size_t at = in.Offset();
    const int32_t count = in.Long();
    if (count > 0) {
      if (static_cast<size_t>(count) > in.Remaining() / kSmallestTag) {
        throw Malformed{std::to_string(count) + " tags at byte " + std::to_string(at) +
                        " cannot fit in the rest of the data"};
      }
      const auto size = static_cast<size_t>(count) + 1;
      std::vector<std::string> names(size), types(size), data(size);
      for (size_t i = 1; i < size; ++i) {
        names[i] = in.Text();
        types[i] = in.Text();
        data[i] = in.Text();
      }
      a->SetTags(std::move(names), std::move(types), std::move(data));
    }
  }
  if (version >= 10003) a->SetProject(in.Text());
  a->SetDateTime(ReadPeriod(in, version));
  return a;
}

AppointmentPtr ReadLink(Reader& in, int32_t id, int32_t fileLong) {
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetOutsideID(id);
  link->SetOutsideFile(fileLong);
  link->SetDestinationFile(in.Long());
  link->SetDestinationID(in.Long());
  return link;
}

// ---------------------------------------------------------------- writing

class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}

  void Byte(uint8_t value) { out_.push_back(static_cast<char>(value)); }
  void Flag(bool value) { Byte(value ? kTrue : 0); }

  void Long(int32_t value) {
    const auto v = static_cast<uint32_t>(value);
    const char bytes[4] = {static_cast<char>(v), static_cast<char>(v >> 8),
                           static_cast<char>(v >> 16), static_cast<char>(v >> 24)};
    out_.append(bytes, 4);
  }

  void Double(Date value) {
    const auto v = std::bit_cast<uint64_t>(value);
    char bytes[8];
    for (int i = 0; i < 8; ++i)
      bytes[i] = static_cast<char>(v >> (8 * i));
    out_.append(bytes, 8);
  }

  void Text(const std::string& utf8) {
    const size_t ascii = AsciiPrefix(utf8.data(), utf8.size());
    if (ascii == utf8.size()) return Counted(utf8);
    std::string cp1252(utf8, 0, ascii);
    cp1252 += platform::Utf8ToCp1252(std::string_view(utf8).substr(ascii));
    Counted(cp1252);
  }

 private:
  void Counted(std::string_view text) {
    if (text.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      throw Error(ErrorNumber::kOverflow);
    }
    Long(static_cast<int32_t>(text.size()));
    out_.append(text);
  }

  std::string& out_;
};

void WritePeriod(Writer& out, const DateTimePtr& period) {
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  const int16_t type = period->DateTimeType();
  if (type != kSerialPeriod) {
    out.Byte(type == 0 ? 0 : 1);
    out.Double(period->StartDateTime());
    out.Double(period->EndDateTime());
    return;
  }
  DateTimeSerialPtr serial = period->Series();
  if (!serial) throw Error(ErrorNumber::kTypeMismatch);
  out.Byte(kSerialPeriod);
  out.Double(serial->StartDateTime());
  out.Double(serial->EndDateTime());
  out.Double(serial->SeriesStartDateTime());
  out.Double(serial->SeriesEndDateTime());
  out.Flag(serial->Eternal());
  out.Long(serial->RepetitionMode());
  out.Long(serial->n());
  out.Long(serial->m());
  out.Long(serial->Weekdays());
  out.Long(serial->InMonth());
}

void WriteReal(Writer& out, Appointment& a) {
  out.Text(a.Title());
  out.Text(a.Notes());
  out.Text(a.Category());
  out.Flag(a.AllDay());
  out.Flag(a.Remind());
  out.Long(a.RemindAt());
  out.Long(a.Flags());
  const int32_t count = a.TagsCount();
  out.Long(count);
  for (int32_t i = 1; i <= count; ++i) {
    out.Text(a.TagName(i));
    out.Text(a.TagType(i));
    out.Text(a.TagData(i));
  }
  out.Text(a.Project());
  WritePeriod(out, a.DateTime());
}

void WriteLink(Writer& out, Appointment& a) {
  if (auto* link = dynamic_cast<AppointmentLink*>(&a)) {
    out.Long(link->DestinationFile());
    out.Long(link->DestinationID());
  } else {
    out.Long(a.File());
    out.Long(a.ID());
  }
}

}  // namespace

DecodeResult DecodeMonthFileInto(std::string_view bytes, int32_t fileLong, const CalendarPtr& owner,
                                 Appointments& into) {
  DecodeResult result;
  Reader in(bytes);
  // Room for the records a file of this size holds, guessed generously (a
  // record takes 13 bytes at the least, an appointment with its period 70
  // and more) while no allocation outgrows the file.
  into.Reserve(static_cast<size_t>(into.Count()) + bytes.size() / 48);
  try {
    result.version = in.Long();
    while (!in.AtEnd()) {
      const size_t at = in.Offset();
      const uint8_t type = in.Byte();
      if (type == 0) break;
      if (type != kRealRecord && type != kLinkRecord) {
        throw Malformed{"unknown record type " + std::to_string(type) + " at byte " +
                        std::to_string(at)};
      }
      const int32_t id = in.Long();
      AppointmentPtr record = type == kRealRecord
                                  ? ReadReal(in, result.version, id, fileLong, owner)
                                  : ReadLink(in, id, fileLong);
      try {
        into.AddKeyed(std::move(record));
      } catch (const Error&) {
        throw Malformed{"the number " + std::to_string(id) + " at byte " + std::to_string(at) +
                        " is used twice"};
      }
    }
  } catch (const Malformed& fault) {
    result.ok = false;
    result.problem = fault.what;
  }
  return result;
}

std::string EncodeMonthFile(const Appointments& list) {
  std::string bytes;
  bytes.reserve(5 + static_cast<size_t>(list.Count()) * 96);
  Writer out(bytes);
  out.Long(kMonthFileVersion);
  for (const AppointmentPtr& entry : list) {
    const int16_t type = entry->AppointmentType();
    out.Byte(static_cast<uint8_t>(type));
    out.Long(entry->OutsideID());
    if (type == kRealRecord) {
      WriteReal(out, *entry);
    } else if (type == kLinkRecord) {
      WriteLink(out, *entry);
    }
  }
  out.Byte(0);
  return bytes;
}

}  // namespace orncal::store

namespace orncal {

MonthFileContents DecodeMonthFile(std::string_view bytes, int32_t fileLong) {
  MonthFileContents contents;
  contents.Records = Appointments::New();
  store::DecodeResult result =
      store::DecodeMonthFileInto(bytes, fileLong, nullptr, *contents.Records);
  contents.Version = result.version;
  contents.Complete = result.ok;
  contents.Problem = std::move(result.problem);
  return contents;
}

}  // namespace orncal

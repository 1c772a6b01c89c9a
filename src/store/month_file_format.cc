#include "store/month_file_format.h"

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/error.h"
#include "orncalendar/month_file.h"
#include "store/binary_fields.h"

namespace orncal::store {
namespace {

constexpr uint8_t kRealRecord = 1;
constexpr uint8_t kLinkRecord = 2;
constexpr uint8_t kSerialPeriod = 2;
// The smallest a tag can be: three empty texts.
constexpr size_t kSmallestTag = 12;

DateTimePtr ReadPeriod(FieldReader& in, int32_t version) {
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

AppointmentPtr ReadReal(FieldReader& in, int32_t version, int32_t id, int32_t fileLong,
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

AppointmentPtr ReadLink(FieldReader& in, int32_t id, int32_t fileLong) {
  AppointmentLinkPtr link = AppointmentLink::New();
  link->SetOutsideID(id);
  link->SetOutsideFile(fileLong);
  link->SetDestinationFile(in.Long());
  link->SetDestinationID(in.Long());
  return link;
}

// ---------------------------------------------------------------- writing

void WritePeriod(FieldWriter& out, const DateTimePtr& period) {
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

void WriteReal(FieldWriter& out, Appointment& a) {
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

void WriteLink(FieldWriter& out, Appointment& a) {
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
  FieldReader in(bytes);
  // Room for the records a file of this size holds, guessed generously (a
  // record takes 13 bytes at the least, an appointment with its period 70
  // and more) while no allocation outgrows the file.
  into.Reserve(static_cast<size_t>(into.Count()) + bytes.size() / 48);
  try {
    result.version = in.Long();
    while (!in.AtEnd()) {
      const size_t at = in.Offset();
      const uint8_t type = in.Byte();
      if (type == 0) {
        result.end_mark = true;
        break;
      }
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
  FieldWriter out(bytes);
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

std::string EncodeAppointmentRecord(const Appointment& appointment) {
  std::string bytes;
  FieldWriter out(bytes);
  // The writer only reads, through members that are not marked const.
  Appointment& a = const_cast<Appointment&>(appointment);
  out.Byte(kRealRecord);
  out.Long(a.OutsideID());
  WriteReal(out, a);
  return bytes;
}

AppointmentRealPtr DecodeAppointmentRecord(std::string_view bytes, int32_t fileLong,
                                           std::string* problem) {
  FieldReader in(bytes);
  try {
    if (in.Byte() != kRealRecord) throw Malformed{"the record is no real appointment"};
    const int32_t id = in.Long();
    AppointmentPtr record = ReadReal(in, kMonthFileVersion, id, fileLong, nullptr);
    if (!in.AtEnd()) {
      throw Malformed{std::to_string(in.Remaining()) + " bytes follow the appointment's record"};
    }
    return std::static_pointer_cast<AppointmentReal>(record);
  } catch (const Malformed& fault) {
    if (problem) *problem = fault.what;
  } catch (const std::exception& fault) {
    if (problem) *problem = fault.what();
  }
  return nullptr;
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
  contents.EndMark = result.end_mark;
  contents.Problem = std::move(result.problem);
  return contents;
}

}  // namespace orncal

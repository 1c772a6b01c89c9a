// Appointments. Clients and the library see every appointment through the
// abstract Appointment interface; AppointmentReal holds an appointment's own
// data, AppointmentLink stands in one list for a real appointment stored
// elsewhere (a stored link in a later month, or one occurrence of a series).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orncalendar/fwd.h"

namespace orncal {

namespace core {
class CalendarRef;
}

// The interface every appointment implements, members in the order of the
// object model. Appointment::New() gives the bare implementation, which has
// plain fields and no behaviour: PartDateTime, AppointmentType, Color,
// Target, the date-change pair, Remove, NotifyChange and Exists answer with
// the message "UNEXPECTED" and an empty result; the tag members and Series
// answer empty results silently.
//
// Plain property writes never mark an appointment changed: a client that
// edits fields calls NotifyChange (or the date-change pair) to have them
// saved.
class Appointment : public std::enable_shared_from_this<Appointment> {
 public:
  virtual ~Appointment() = default;
  Appointment(const Appointment&) = delete;
  Appointment& operator=(const Appointment&) = delete;

  static AppointmentPtr New();

  // Number within its month file; 0 = not filed yet.
  virtual int32_t ID() const = 0;
  virtual void SetID(int32_t value) = 0;
  // FileLong of the month file that stores the appointment.
  virtual int32_t File() const = 0;
  virtual void SetFile(int32_t value) = 0;
  // Number and FileLong of the list entry itself (a link's own, a real
  // appointment's ID and File).
  virtual int32_t OutsideID() const = 0;
  virtual void SetOutsideID(int32_t value) = 0;
  virtual int32_t OutsideFile() const = 0;
  virtual void SetOutsideFile(int32_t value) = 0;
  virtual const std::string& Title() const = 0;
  virtual void SetTitle(std::string value) = 0;
  virtual const std::string& Notes() const = 0;
  virtual void SetNotes(std::string value) = 0;
  virtual bool AllDay() const = 0;
  virtual void SetAllDay(bool value) = 0;
  virtual bool Remind() const = 0;
  virtual void SetRemind(bool value) = 0;
  virtual int32_t RemindAt() const = 0;
  virtual void SetRemindAt(int32_t value) = 0;
  // Whether the appointment must be written back.
  virtual bool Changed() const = 0;
  virtual void SetChanged(bool value) = 0;
  virtual const std::string& Category() const = 0;
  virtual void SetCategory(std::string value) = 0;
  virtual const std::string& Project() const = 0;
  virtual void SetProject(std::string value) = 0;
  // calAppointmentFlags bits.
  virtual int32_t Flags() const = 0;
  virtual void SetFlags(int32_t value) = 0;
  virtual DateTimePtr DateTime() const = 0;
  virtual void SetDateTime(DateTimePtr value) = 0;
  // The period of this entry: a series occurrence's own period, otherwise
  // the same as DateTime.
  virtual DateTimePtr PartDateTime() = 0;
  virtual void SetPartDateTime(DateTimePtr value) = 0;
  // 1 = real, 2 = stored link, 3 = part of a series.
  virtual int16_t AppointmentType() = 0;
  // The colour of the appointment's category; -1 for none.
  virtual int32_t Color() = 0;
  // The object model's `Appointment` property: the real appointment this
  // entry stands for. (A C++ member cannot carry its class's name.)
  virtual AppointmentPtr Target() = 0;
  // Called around a change of the period of a filed appointment: takes it
  // out of the month files of its old period, then files it into those of
  // the new one.
  virtual void BeforeDateTimeChange() = 0;
  virtual void AfterDateTimeChange() = 0;
  // Takes the appointment out of the calendar.
  virtual void Remove() = 0;
  // Marks the appointment changed and tells the other processes.
  virtual void NotifyChange() = 0;
  // Whether the appointment is held by its month file.
  virtual bool Exists() = 0;
  // Tags are numbered 1 to TagsCount.
  virtual int32_t TagsCount() = 0;
  virtual const std::string& TagName(int32_t Index) const = 0;
  virtual void SetTagName(int32_t Index, std::string value) = 0;
  virtual const std::string& TagType(int32_t Index) const = 0;
  virtual void SetTagType(int32_t Index, std::string value) = 0;
  virtual const std::string& TagData(int32_t Index) const = 0;
  virtual void SetTagData(int32_t Index, std::string value) = 0;
  // Note the order: name, type, data.
  virtual void AddTag(std::string name, std::string type, std::string data) = 0;
  virtual void RemoveTag(int32_t Index) = 0;
  // The series appointment of a part, else nullptr.
  virtual AppointmentPtr Series() = 0;

 protected:
  Appointment() = default;
};

// An appointment whose data lives in the month file that holds it. ID and
// OutsideID are one field, as are File and OutsideFile, and DateTime and
// PartDateTime.
class AppointmentReal final : public Appointment {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit AppointmentReal(Key);
  ~AppointmentReal() override;

  static AppointmentRealPtr New();

  int32_t ID() const override { return id_; }
  void SetID(int32_t value) override { id_ = value; }
  int32_t File() const override { return file_; }
  void SetFile(int32_t value) override { file_ = value; }
  int32_t OutsideID() const override { return id_; }
  void SetOutsideID(int32_t value) override { id_ = value; }
  int32_t OutsideFile() const override { return file_; }
  void SetOutsideFile(int32_t value) override { file_ = value; }
  const std::string& Title() const override { return title_; }
  void SetTitle(std::string value) override { title_ = std::move(value); }
  const std::string& Notes() const override { return notes_; }
  void SetNotes(std::string value) override { notes_ = std::move(value); }
  bool AllDay() const override { return all_day_; }
  void SetAllDay(bool value) override { all_day_ = value; }
  bool Remind() const override { return remind_; }
  void SetRemind(bool value) override { remind_ = value; }
  int32_t RemindAt() const override { return remind_at_; }
  void SetRemindAt(int32_t value) override { remind_at_ = value; }
  bool Changed() const override { return changed_; }
  void SetChanged(bool value) override { changed_ = value; }
  const std::string& Category() const override { return category_; }
  // Also forgets the cached colour.
  void SetCategory(std::string value) override;
  const std::string& Project() const override { return project_; }
  void SetProject(std::string value) override { project_ = std::move(value); }
  int32_t Flags() const override { return flags_; }
  void SetFlags(int32_t value) override { flags_ = value; }
  DateTimePtr DateTime() const override { return date_time_; }
  void SetDateTime(DateTimePtr value) override { date_time_ = std::move(value); }
  DateTimePtr PartDateTime() override { return date_time_; }
  void SetPartDateTime(DateTimePtr value) override { date_time_ = std::move(value); }
  int16_t AppointmentType() override { return 1; }
  // Looked up once through the calendar's categories, then cached until the
  // category is set again: -1 for an empty category or one the calendar
  // does not know.
  int32_t Color() override;
  AppointmentPtr Target() override { return shared_from_this(); }
  // When filed (ID not 0), takes the appointment out of its month files.
  void BeforeDateTimeChange() override;
  // Marks the appointment changed and files it into the months of its
  // period (the month file then holds a copy, see Calendar).
  void AfterDateTimeChange() override;
  void Remove() override;
  void NotifyChange() override;
  // False for ID 0 or File 0 without touching any file; otherwise whether
  // the month file File holds an entry numbered ID.
  bool Exists() override;
  int32_t TagsCount() override { return tag_count_; }
  // An index outside the tag arrays raises error 9.
  const std::string& TagName(int32_t Index) const override;
  void SetTagName(int32_t Index, std::string value) override;
  const std::string& TagType(int32_t Index) const override;
  void SetTagType(int32_t Index, std::string value) override;
  const std::string& TagData(int32_t Index) const override;
  void SetTagData(int32_t Index, std::string value) override;
  void AddTag(std::string name, std::string type, std::string data) override;
  // Closes the gap left by tag Index. An Index at or above TagsCount drops
  // the last tag instead; with no tags left the count becomes -1 and
  // error 9 is raised.
  void RemoveTag(int32_t Index) override;
  AppointmentPtr Series() override { return nullptr; }

  // Copies the three tag arrays whole (entry 0 included) and returns
  // TagsCount.
  int32_t GetTags(std::vector<std::string>& Out_a1Name, std::vector<std::string>& Out_a1Type,
                  std::vector<std::string>& Out_a1Data) const;

  // -- Library-internal

  // Sets the cached colour (the categories do when a colour changes).
  void SetColor(int32_t value) { color_cache_ = value; }
  // The owning calendar: the one held, else the shared calendar.
  CalendarPtr OwnerCalendar() const;
  // The shared calendar clears the reference; any other calendar keeps what
  // OwnerCalendar answers at this moment (the given object is never
  // stored), so an appointment without a held calendar stays with the
  // shared one.
  void SetOwnerCalendar(const CalendarPtr& calendar);
  // Takes over three tag arrays of equal bounds; TagsCount becomes their
  // upper bound. Empty arrays raise error 9.
  void SetTags(std::vector<std::string> names, std::vector<std::string> types,
               std::vector<std::string> data);
  // Becomes a copy of a real appointment: ID, File, the texts but Project
  // (which is kept), the switches, Changed set, the source's colour, its
  // tags and a new copy of its period. A source that is no real appointment
  // raises error 13 (after the fields before the tags were copied).
  void CopyFrom(Appointment& source);

 private:
  int32_t id_ = 0;
  int32_t file_ = 0;
  DateTimePtr date_time_;
  std::string title_;
  std::string notes_;
  bool all_day_ = false;
  bool remind_ = false;
  int32_t remind_at_ = 0;
  bool changed_ = false;
  std::string category_;
  std::string project_;
  // Entry 0 holds no tag; empty vectors stand for arrays never dimensioned.
  std::vector<std::string> tag_names_;
  std::vector<std::string> tag_types_;
  std::vector<std::string> tag_data_;
  int32_t tag_count_ = 0;
  int32_t flags_ = 0;
  int32_t color_cache_ = -2;  // -2 = not looked up yet
  // Made only when a calendar other than the shared one is held.
  std::unique_ptr<core::CalendarRef> owner_;
};

// A list entry standing for a real appointment: a stored link of a month
// file (type 2), pointing at its destination by file and number until the
// file resolves it, or a part of a series (type 3) carrying one
// occurrence's period. Everything but the members noted below forwards to
// the destination; a forwarded member without destination raises error 91.
class AppointmentLink final : public Appointment {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit AppointmentLink(Key) {}

  static AppointmentLinkPtr New();

  // The destination's ID and File, or the stored numbers while unresolved.
  int32_t ID() const override;
  void SetID(int32_t value) override;
  int32_t File() const override;
  void SetFile(int32_t value) override;
  // The link's own number and FileLong in the month file it stands in.
  int32_t OutsideID() const override { return outside_id_; }
  void SetOutsideID(int32_t value) override { outside_id_ = value; }
  int32_t OutsideFile() const override { return outside_file_; }
  void SetOutsideFile(int32_t value) override { outside_file_ = value; }
  const std::string& Title() const override;
  void SetTitle(std::string value) override;
  const std::string& Notes() const override;
  void SetNotes(std::string value) override;
  bool AllDay() const override;
  void SetAllDay(bool value) override;
  bool Remind() const override;
  void SetRemind(bool value) override;
  int32_t RemindAt() const override;
  void SetRemindAt(int32_t value) override;
  bool Changed() const override;
  void SetChanged(bool value) override;
  const std::string& Category() const override;
  void SetCategory(std::string value) override;
  const std::string& Project() const override;
  void SetProject(std::string value) override;
  int32_t Flags() const override;
  void SetFlags(int32_t value) override;
  // A part's own period, else the destination's.
  DateTimePtr DateTime() const override;
  // Always replaces the destination's period, also for a part.
  void SetDateTime(DateTimePtr value) override;
  DateTimePtr PartDateTime() override { return DateTime(); }
  // Replaces a part's own period; on a stored link the destination's.
  void SetPartDateTime(DateTimePtr value) override;
  int16_t AppointmentType() override { return is_part_ ? 3 : 2; }
  int32_t Color() override;
  AppointmentPtr Target() override { return destination_; }
  void BeforeDateTimeChange() override;
  void AfterDateTimeChange() override;
  void Remove() override;
  void NotifyChange() override;
  // False without destination.
  bool Exists() override;
  int32_t TagsCount() override;
  const std::string& TagName(int32_t Index) const override;
  void SetTagName(int32_t Index, std::string value) override;
  const std::string& TagType(int32_t Index) const override;
  void SetTagType(int32_t Index, std::string value) override;
  const std::string& TagData(int32_t Index) const override;
  void SetTagData(int32_t Index, std::string value) override;
  void AddTag(std::string name, std::string type, std::string data) override;
  void RemoveTag(int32_t Index) override;
  // The destination of a part, else nullptr.
  AppointmentPtr Series() override { return is_part_ ? destination_ : nullptr; }

  // The appointment the link stands for (nullptr while unresolved).
  AppointmentPtr DestinationAppointment() const { return destination_; }
  // The stored FileLong and number of the destination.
  int32_t DestinationFile() const { return destination_file_; }
  int32_t DestinationID() const { return destination_id_; }

  // -- Library-internal

  void SetDestination(AppointmentPtr destination) { destination_ = std::move(destination); }
  // Makes the link a part carrying its own period (nullptr makes it a
  // plain link again).
  void SetPartPeriod(DateTimePtr period);
  void SetDestinationFile(int32_t value) { destination_file_ = value; }
  void SetDestinationID(int32_t value) { destination_id_ = value; }

 private:
  Appointment& Destination() const;

  int32_t outside_file_ = 0;
  int32_t outside_id_ = 0;
  AppointmentPtr destination_;
  bool is_part_ = false;
  DateTimePtr part_period_;
  int32_t destination_file_ = 0;
  int32_t destination_id_ = 0;
};

}  // namespace orncal

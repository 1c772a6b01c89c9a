// Forward declarations and the shared-pointer names used throughout the
// object model. Objects with identity are always handled through these.
#pragma once

#include <cstdint>
#include <memory>

namespace orncal {

// An OLE automation date: days since 30 December 1899 00:00, the fraction
// being the time of day.
using Date = double;

template <class T>
class Collection;
template <class T>
using CollectionPtr = std::shared_ptr<Collection<T>>;

class Appointment;
class AppointmentReal;
class AppointmentLink;
class Appointments;
class Calendar;
class CalendarMain;
class Categories;
class DateTime;
class DateTimeNormal;
class DateTimeSerial;
class File;
class Notificator;
class SpecialRemindTime;
class Task;
struct TaskFileRecord;

using AppointmentPtr = std::shared_ptr<Appointment>;
using AppointmentRealPtr = std::shared_ptr<AppointmentReal>;
using AppointmentLinkPtr = std::shared_ptr<AppointmentLink>;
using AppointmentsPtr = std::shared_ptr<Appointments>;
using CalendarPtr = std::shared_ptr<Calendar>;
using CategoriesPtr = std::shared_ptr<Categories>;
using DateTimePtr = std::shared_ptr<DateTime>;
using DateTimeNormalPtr = std::shared_ptr<DateTimeNormal>;
using DateTimeSerialPtr = std::shared_ptr<DateTimeSerial>;
using FilePtr = std::shared_ptr<File>;
using NotificatorPtr = std::shared_ptr<Notificator>;
using SpecialRemindTimePtr = std::shared_ptr<SpecialRemindTime>;
using TaskPtr = std::shared_ptr<Task>;

// The pieces of a period that OverLapsWith hands back.
using Periods = Collection<DateTimeNormalPtr>;
using PeriodsPtr = std::shared_ptr<Periods>;

}  // namespace orncal

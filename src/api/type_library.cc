// The automation surface, table by table. Members stand in slot order;
// names, argument names, order, optionality and defaults are the contract
// clients call by name, spelling included (Calend, FirstOccurency,
// SeperateSerials, OverLapsWith).
//
// Dispatch identifiers: the default members (Appointments.Item,
// Categories.Color, Collection.Item) are 0, every NewEnum is -4; the other
// members of an interface are numbered from 1 in the order of the table.
// An interface that adds to the one its class is handled through
// (AppointmentReal and AppointmentLink to Appointment, DateTimeNormal and
// DateTimeSerial to DateTime) gives a member of the same name the same
// number there and numbers its own members from 101, so that the members a
// class shows under one name never share a number. The numbers are written
// out rather than counted, so that they never move.
//
// Interface identifiers were chosen once for this library and never change;
// each interface is named after its class with a leading underscore, the
// events of Notificator with two.
#include "api/type_library.h"

#include <cstdio>

namespace orncal::api {
namespace {

// ------------------------------------------------------------------ types

constexpr TypeRef kVoid{TypeKind::kVoid};
constexpr TypeRef kBool{TypeKind::kBool};
constexpr TypeRef kInteger{TypeKind::kInt16};
constexpr TypeRef kLong{TypeKind::kInt32};
constexpr TypeRef kDate{TypeKind::kDate};
constexpr TypeRef kString{TypeKind::kString};
constexpr TypeRef kVariant{TypeKind::kVariant};
constexpr TypeRef kStringArray{TypeKind::kStringArray};
constexpr TypeRef Object(std::string_view interface) { return {TypeKind::kObject, interface}; }
constexpr TypeRef Enum(std::string_view name) { return {TypeKind::kEnum, name}; }

constexpr TypeRef kCalendar = Object("_Calendar");
constexpr TypeRef kAppointment = Object("_Appointment");
constexpr TypeRef kAppointments = Object("_Appointments");
constexpr TypeRef kDateTime = Object("_DateTime");
constexpr TypeRef kDateTimeNormal = Object("_DateTimeNormal");
constexpr TypeRef kDateTimeSerial = Object("_DateTimeSerial");
constexpr TypeRef kTask = Object("_Task");
constexpr TypeRef kCategories = Object("_Categories");
constexpr TypeRef kNotificator = Object("_Notificator");
constexpr TypeRef kCollection = Object("Collection");
constexpr TypeRef kEnumerator = Object("Enumerator");

// -------------------------------------------------------------- arguments

constexpr DefaultValue Default(bool value) { return {DefaultValue::Kind::kBool, value ? -1 : 0}; }
constexpr DefaultValue Default(int32_t value) { return {DefaultValue::Kind::kInt, value}; }

constexpr ArgInfo In(std::string_view name, TypeRef type) { return {name, type, kByValue}; }
constexpr ArgInfo Ref(std::string_view name, TypeRef type) { return {name, type, kByRef}; }
constexpr ArgInfo Opt(std::string_view name, TypeRef type, DefaultValue d = {}) {
  return {name, type, kOptional, d};
}
constexpr ArgInfo OptRef(std::string_view name, TypeRef type, DefaultValue d = {}) {
  return {name, type, kByRef | kOptional, d};
}
// By reference, and handed back changed.
constexpr ArgInfo Out(std::string_view name, TypeRef type) { return {name, type, kByRef | kOut}; }
constexpr ArgInfo OptOut(std::string_view name, TypeRef type) {
  return {name, type, kByRef | kOptional | kOut};
}

constexpr ArgInfo kIdArgs[] = {Ref("ID", kLong)};
constexpr ArgInfo kIndexArgs[] = {Ref("Index", kLong)};
constexpr ArgInfo kPeriodArgs[] = {Ref("Period", kDateTimeNormal)};
constexpr ArgInfo kCategoryArgs[] = {Ref("Category", kString)};
constexpr ArgInfo kSaveNowArgs[] = {Opt("SaveNow", kBool, Default(true))};
constexpr ArgInfo kNewAppointmentArgs[] = {
    OptRef("StartDateTime", kDate),
    OptRef("EndDateTime", kDate),
    Opt("AllDay", kBool),
    Opt("SaveNow", kBool, Default(true)),
};

// ----------------------------------------------------------------- members

constexpr MemberInfo Method(std::string_view name, DispId id, TypeRef result = kVoid,
                            std::span<const ArgInfo> args = {}) {
  return {name, Access::kMethod, id, result, args};
}
constexpr MemberInfo Get(std::string_view name, DispId id, TypeRef type,
                         std::span<const ArgInfo> args = {}) {
  return {name, Access::kGet, id, type, args};
}
constexpr MemberInfo GetLet(std::string_view name, DispId id, TypeRef type,
                            std::span<const ArgInfo> args = {}) {
  return {name, Access::kGetLet, id, type, args};
}
constexpr MemberInfo GetSet(std::string_view name, DispId id, TypeRef type) {
  return {name, Access::kGetSet, id, type};
}
constexpr MemberInfo SetGet(std::string_view name, DispId id, TypeRef type) {
  return {name, Access::kSetGet, id, type};
}

constexpr ArgInfo kItemExistsArgs[] = {Ref("ID", kLong)};
constexpr MemberInfo kFileMembers[] = {
    GetLet("LinksResolved", 1, kBool),
    GetLet("Changed", 2, kBool),
    GetSet("Appointments", 3, kAppointments),
    GetLet("Month", 4, kLong),
    GetLet("Year", 5, kLong),
    GetLet("FileName", 6, kString),
    GetLet("FilePath", 7, kString),
    GetLet("FileLong", 8, kLong),
    Get("Calendar", 9, kCalendar),
    Method("ResolveLinks", 10),
    Method("GetEmptyID", 11, kLong),
    Method("ItemExists", 12, kBool, kItemExistsArgs),
    Method("Load", 13, kBool),
    Method("ResetChanged", 14),
    Method("NewLoaded", 15),
};

constexpr ArgInfo kGetTagsArgs[] = {
    Out("Out_a1Name", kStringArray),
    Out("Out_a1Type", kStringArray),
    Out("Out_a1Data", kStringArray),
};
constexpr MemberInfo kAppointmentRealMembers[] = {
    Method("GetTags", 101, kLong, kGetTagsArgs),
};

constexpr ArgInfo kCollectionItemExistsArgs[] = {
    Ref("Coll", kCollection),
    Ref("ItemKey", kString),
};
constexpr MemberInfo kCalendarMainMembers[] = {
    Method("Calendar", 1, kCalendar),
    Method("Calend", 2, kCalendar),
    Method("CollectionItemExists", 3, kBool, kCollectionItemExistsArgs),
    Method("Appointment", 4, kAppointment, kNewAppointmentArgs),
    Method("Task", 5, kTask, kSaveNowArgs),
};

constexpr ArgInfo kAddTagArgs[] = {
    Ref("TagName", kString),
    Ref("TagType", kString),
    Ref("Data", kString),
};
constexpr MemberInfo kAppointmentMembers[] = {
    GetLet("ID", 1, kLong),
    GetLet("File", 2, kLong),
    GetLet("OutsideID", 3, kLong),
    GetLet("OutsideFile", 4, kLong),
    GetLet("Title", 5, kString),
    GetLet("Notes", 6, kString),
    GetLet("AllDay", 7, kBool),
    GetLet("Remind", 8, kBool),
    GetLet("RemindAt", 9, kLong),
    GetLet("Changed", 10, kBool),
    GetLet("Category", 11, kString),
    GetLet("Project", 12, kString),
    GetLet("Flags", 13, kLong),
    GetSet("DateTime", 14, kDateTime),
    GetSet("PartDateTime", 15, kDateTime),
    Get("AppointmentType", 16, kInteger),
    Get("Color", 17, kLong),
    Get("Appointment", 18, kAppointment),
    Method("BeforeDateTimeChange", 19),
    Method("AfterDateTimeChange", 20),
    Method("Remove", 21),
    Method("NotifyChange", 22),
    Method("Exists", 23, kBool),
    Method("TagsCount", 24, kLong),
    GetLet("TagName", 25, kString, kIndexArgs),
    GetLet("TagType", 26, kString, kIndexArgs),
    GetLet("TagData", 27, kString, kIndexArgs),
    Method("AddTag", 28, kVoid, kAddTagArgs),
    Method("RemoveTag", 29, kVoid, kIndexArgs),
    Get("Series", 30, kAppointment),
};

constexpr ArgInfo kOverLapsWithArgs[] = {
    Ref("Period", kDateTimeNormal),
    OptOut("Out_Periods", kCollection),
    Opt("ReturnPeriods", kBool, Default(false)),
};
constexpr MemberInfo kDateTimeMembers[] = {
    GetLet("StartDateTime", 1, kDate), GetLet("EndDateTime", 2, kDate),
    Get("DateTimeType", 3, kInteger),  Method("OverLapsWith", 4, kBool, kOverLapsWithArgs),
    Method("GetFirstDate", 5, kDate),  Method("GetLastDate", 6, kDate),
    Get("Series", 7, kDateTimeSerial), Method("FirstOccurency", 8, kDate),
};

constexpr MemberInfo kAppointmentLinkMembers[] = {
    GetLet("OutsideFile", 4, kLong),
    GetLet("OutsideID", 3, kLong),
    Get("DestinationAppointment", 101, kAppointment),
};

constexpr MemberInfo kDateTimeSerialMembers[] = {
    GetLet("StartDateTime", 1, kDate),
    GetLet("EndDateTime", 2, kDate),
    GetLet("SeriesStartDateTime", 101, kDate),
    GetLet("SeriesEndDateTime", 102, kDate),
    GetLet("RepetitionMode", 103, Enum("calRepetitionModes")),
    GetLet("m", 104, kLong),
    GetLet("n", 105, kLong),
    GetLet("InMonth", 106, kLong),
    GetLet("Weekdays", 107, kLong),
    GetLet("Eternal", 108, kBool),
    Method("AdjustStartDate", 109),
};

constexpr MemberInfo kDateTimeNormalMembers[] = {
    GetLet("StartDateTime", 1, kDate),
    GetLet("EndDateTime", 2, kDate),
    Method("OverLapsWith", 4, kBool, kPeriodArgs),
};

constexpr ArgInfo kIndexKeyArgs[] = {Ref("IndexKey", kVariant)};
constexpr MemberInfo kAppointmentsMembers[] = {
    Method("ConvertToCollection", 1, kCollection),
    Get("Item", kDispIdValue, kAppointment, kIndexKeyArgs),
    Get("Count", 2, kLong),
    Method("RemoveDoubles", 3),
    Get("NewEnum", kDispIdNewEnum, kEnumerator),
    Method("Sort", 4),
};

constexpr ArgInfo kGetRemindAppointmentsArgs[] = {Out("Out_Appointments", kCollection)};
constexpr ArgInfo kAllAppointmentsInPeriodArgs[] = {
    Ref("Period", kDateTimeNormal),
    Opt("SeperateSerials", kBool, Default(true)),
    Opt("AlsoAllDay", kBool, Default(true)),
    Opt("OnlyAllDay", kBool, Default(false)),
    Opt("UseRemindTime", kBool),
    Opt("Flags", kLong, Default(0)),
    Opt("NotFlags", kLong, Default(1)),
    Opt("OrFlags", kLong, Default(0)),
    Opt("NotAndFlags", kLong, Default(0)),
    Opt("RemoveDoubles", kBool),
};
constexpr ArgInfo kGetAppointmentArgs[] = {Ref("File", kLong), Ref("ID", kLong)};
constexpr ArgInfo kFindAppointmentArgs[] = {
    In("ApmName", kString),
    OptRef("Direction", kInteger, Default(0)),
    Opt("StartAt", kDate, Default(0)),
    Opt("SeperateSerials", kBool, Default(true)),
    Opt("AlsoAllDay", kBool, Default(true)),
    Opt("OnlyAllDay", kBool, Default(false)),
    Opt("Flags", kLong, Default(0)),
    Opt("NotFlags", kLong, Default(1)),
    Opt("OrFlags", kLong, Default(0)),
    Opt("NotAndFlags", kLong, Default(0)),
};
constexpr ArgInfo kIncompleteTasksBeforeArgs[] = {Ref("DateTime", kDate)};
constexpr ArgInfo kSortTasksArgs[] = {Out("Tasks", kCollection)};
constexpr MemberInfo kCalendarMembers[] = {
    Method("AllFiles", 1, kCollection),
    Method("GetRemindAppointments", 2, kBool, kGetRemindAppointmentsArgs),
    Method("Categories", 3, kCategories),
    Method("Notificator", 4, kNotificator),
    Method("SpecialRemindTimes", 5, kCollection),
    Get("Path", 6, kString),
    Method("AllAppointmentsInPeriod", 7, kAppointments, kAllAppointmentsInPeriodArgs),
    Method("Appointment", 8, kAppointment, kNewAppointmentArgs),
    Method("Save", 9),
    Method("SaveSpecialRemindTimes", 10),
    Method("GetAppointment", 11, kAppointment, kGetAppointmentArgs),
    Method("FindAppointment", 12, kAppointment, kFindAppointmentArgs),
    Method("Release", 13),
    Method("ShowAbout", 14),
    Get("IncompleteTasks", 15, kCollection),
    Method("IncompleteTasksInPeriod", 16, kCollection, kPeriodArgs),
    Method("IncompleteTasksBefore", 17, kCollection, kIncompleteTasksBeforeArgs),
    Method("CompleteTasksInPeriod", 18, kCollection, kPeriodArgs),
    Method("Task", 19, kTask, kSaveNowArgs),
    Method("SortTasks", 20, kVoid, kSortTasksArgs),
    Method("IncompleteTaskFromID", 21, kTask, kIdArgs),
};

constexpr ArgInfo kRaiseChangeArgs[] = {Opt("AllInstances", kBool, Default(true))};
constexpr MemberInfo kNotificatorMembers[] = {
    Method("RaiseChange", 1, kVoid, kRaiseChangeArgs),
};

constexpr ArgInfo kAddCategoryArgs[] = {
    Ref("Category", kString),
    OptRef("Color", kLong, Default(-1)),
};
constexpr MemberInfo kCategoriesMembers[] = {
    GetLet("Changed", 1, kBool),
    Get("Calendar", 2, kCalendar),
    Method("CategoryExists", 3, kBool, kCategoryArgs),
    GetLet("Color", kDispIdValue, kLong, kCategoryArgs),
    Method("Add", 4, kVoid, kAddCategoryArgs),
    Method("Remove", 5, kVoid, kCategoryArgs),
    Method("Count", 6, kLong),
    Method("Save", 7),
    Method("Names", 8, kVariant),
};

constexpr MemberInfo kSpecialRemindTimeMembers[] = {
    GetLet("RemindAt", 1, kDate),
    GetSet("Appointment", 2, kAppointment),
};

constexpr MemberInfo kTaskMembers[] = {
    Get("Completed", 1, kBool),
    Get("ConnectedAppointment", 2, kAppointment),
    SetGet("RemindAppointment", 3, kAppointment),
    GetLet("PlannedEnd", 4, kDate),
    GetSet("DateTime", 5, kDateTimeNormal),
    Method("AfterDateTimeChange", 6),
    Method("BeforeDateTimeChange", 7),
    Method("NotifyChange", 8),
    Get("Changed", 9, kBool),
    GetLet("Title", 10, kString),
    GetLet("Notes", 11, kString),
    GetLet("Project", 12, kString),
    Method("Remove", 13),
    Method("Complete", 14),
    Method("InComplete", 15),
    Get("ID", 16, kLong),
    GetLet("RemindAt", 17, kDate),
};

constexpr MemberInfo kNotificatorEvents[] = {
    Method("Change", 1),
    Method("TasksChange", 2),
};

// The collection and its enumerator come from the automation runtime; the
// members below are those the library's collections answer.
constexpr ArgInfo kCollectionAddArgs[] = {
    Ref("Item", kVariant),
    OptRef("Key", kVariant),
};
constexpr ArgInfo kCollectionIndexArgs[] = {Ref("Index", kVariant)};
constexpr MemberInfo kCollectionMembers[] = {
    Method("Add", 1, kVoid, kCollectionAddArgs),
    Method("Count", 2, kLong),
    Method("Item", kDispIdValue, kVariant, kCollectionIndexArgs),
    Method("Remove", 3, kVoid, kCollectionIndexArgs),
    Method("NewEnum", kDispIdNewEnum, kEnumerator),
};

// -------------------------------------------------------------- interfaces

constexpr InterfaceInfo kInterfaces[] = {
    {"_CalendarMain", Guid::Of("{FAB864A5-AF5D-461F-8598-8C77F22BCE20}"), InterfaceKind::kDual,
     kCalendarMainMembers},
    {"_Calendar", Guid::Of("{55FD2D24-1F8E-43FB-B22C-7CCA568220C1}"), InterfaceKind::kDual,
     kCalendarMembers},
    {"_File", Guid::Of("{F3E99D3E-1E68-4DE4-94EE-756C2306FE17}"), InterfaceKind::kDual,
     kFileMembers},
    {"_Appointment", Guid::Of("{DBB05CB2-B8C3-4C2C-9DA7-971439B38145}"), InterfaceKind::kDual,
     kAppointmentMembers},
    {"_AppointmentReal", Guid::Of("{562433F7-C817-454B-9C10-688BE9B4E1E4}"), InterfaceKind::kDual,
     kAppointmentRealMembers},
    {"_AppointmentLink", Guid::Of("{892B9F39-83BE-4427-B2B6-B59EDEF6B354}"), InterfaceKind::kDual,
     kAppointmentLinkMembers},
    {"_Appointments", Guid::Of("{A06A7DDE-84AA-4080-B071-8C52EB092CF2}"), InterfaceKind::kDual,
     kAppointmentsMembers},
    {"_DateTime", Guid::Of("{A024BFAC-8CCC-437B-8031-7EB71EB1625C}"), InterfaceKind::kDual,
     kDateTimeMembers},
    {"_DateTimeNormal", Guid::Of("{1317FE39-2346-4F48-AFB9-EA93414A65F3}"), InterfaceKind::kDual,
     kDateTimeNormalMembers},
    {"_DateTimeSerial", Guid::Of("{43546191-AEE2-4FA4-AFA5-97A4C44C3658}"), InterfaceKind::kDual,
     kDateTimeSerialMembers},
    {"_Task", Guid::Of("{7DE47E8E-8DD5-4F06-BDAF-4C251059E2E9}"), InterfaceKind::kDual,
     kTaskMembers},
    {"_Categories", Guid::Of("{E8F4791C-9D3B-4244-892C-BEB2E4AA9ED2}"), InterfaceKind::kDual,
     kCategoriesMembers},
    {"_SpecialRemindTime", Guid::Of("{10B8187D-462D-4F6C-9B66-D79AF37F9A82}"), InterfaceKind::kDual,
     kSpecialRemindTimeMembers},
    {"_Notificator", Guid::Of("{DFB084FA-CEC0-4134-AD3C-B75A7FAFBCAD}"), InterfaceKind::kDual,
     kNotificatorMembers},
    {"__Notificator", Guid::Of("{1D3F37FB-4E32-4DCC-81E6-B54E869C7829}"), InterfaceKind::kEvents,
     kNotificatorEvents},
    {"Collection", {}, InterfaceKind::kRuntime, kCollectionMembers},
    {"Enumerator", {}, InterfaceKind::kRuntime, {}},
};

// ----------------------------------------------------------------- classes

constexpr ClassInfo kClasses[] = {
    {.name = "CalendarMain",
     .clsid = Guid::Of("{2A2FD60C-095A-4C34-8257-45CD04C2AD60}"),
     .default_interface = "_CalendarMain",
     .creatable = true,
     .application_object = true},
    {.name = "Calendar",
     .clsid = Guid::Of("{47226089-FB0B-4A8C-9E3B-7B4ECCC6FCF8}"),
     .default_interface = "_Calendar"},
    {.name = "File",
     .clsid = Guid::Of("{9FD99FAF-ABCA-4CA2-95BE-1FBF810273C4}"),
     .default_interface = "_File"},
    {.name = "Appointment",
     .clsid = Guid::Of("{8A262022-7712-4576-8A7E-A956C3864806}"),
     .default_interface = "_Appointment"},
    {.name = "AppointmentReal",
     .clsid = Guid::Of("{115E7EBB-6B2B-460D-93A3-1D18A99FA481}"),
     .default_interface = "_AppointmentReal",
     .also_implements = "_Appointment",
     .creatable = true},
    {.name = "AppointmentLink",
     .clsid = Guid::Of("{338D129E-5103-4DA5-BB4B-D0D2D56F9BA7}"),
     .default_interface = "_AppointmentLink",
     .also_implements = "_Appointment",
     .creatable = true},
    {.name = "Appointments",
     .clsid = Guid::Of("{E2DDE06D-CE01-4C94-B673-D6CEE864EF47}"),
     .default_interface = "_Appointments",
     .creatable = true},
    {.name = "DateTime",
     .clsid = Guid::Of("{83ADFBDB-D420-4690-B1F6-8EEC3045A9FD}"),
     .default_interface = "_DateTime",
     .creatable = true},
    {.name = "DateTimeNormal",
     .clsid = Guid::Of("{8D884760-A34C-466E-BEBA-870595D9F343}"),
     .default_interface = "_DateTimeNormal",
     .also_implements = "_DateTime",
     .creatable = true},
    {.name = "DateTimeSerial",
     .clsid = Guid::Of("{5CF7C3B8-61BF-4C89-8E2A-C3D20CA8C7C4}"),
     .default_interface = "_DateTimeSerial",
     .also_implements = "_DateTime",
     .creatable = true},
    {.name = "Task",
     .clsid = Guid::Of("{F01F6778-D4AC-4772-B211-76543B9FD730}"),
     .default_interface = "_Task",
     .creatable = true},
    {.name = "Categories",
     .clsid = Guid::Of("{6B1BCB60-8E84-47FB-A2A9-980C69B377F9}"),
     .default_interface = "_Categories"},
    {.name = "SpecialRemindTime",
     .clsid = Guid::Of("{C39BC781-7D01-4D44-A24A-F5DED6FA9313}"),
     .default_interface = "_SpecialRemindTime",
     .creatable = true},
    {.name = "Notificator",
     .clsid = Guid::Of("{5D75E0CD-DCE6-42E0-916F-2927F9A8BF55}"),
     .default_interface = "_Notificator",
     .source_interface = "__Notificator",
     .creatable = true},
};

// ------------------------------------------------------------ enumerations

constexpr EnumValue kRepetitionModes[] = {
    {"calDaily", 1},   {"calWeekly", 2},         {"calMonthly", 3},       {"calYearly", 4},
    {"calYearly2", 5}, {"calWeekdayInMonth", 6}, {"calWeekdayInYear", 7}, {"calWeekdayInYear2", 8},
};
constexpr EnumValue kWeekdays[] = {
    {"calMonday", 1},  {"calTuesday", 2},   {"calWednesday", 4}, {"calThursday", 8},
    {"calFriday", 16}, {"calSaturday", 32}, {"calSunday", 64},   {"calOnlyAtOne", 128},
};
constexpr EnumValue kAppointmentFlags[] = {
    {"calInvisible", 1},  {"calNoEdit", 2}, {"calNoDTChange", 4},
    {"calOnlyRemind", 8}, {"calTask", 16},
};
constexpr EnumInfo kEnums[] = {
    {"calRepetitionModes", kRepetitionModes},
    {"calWeekdays", kWeekdays},
    {"calAppointmentFlags", kAppointmentFlags},
};

constexpr ClassInfo kCollectionClass{.name = "Collection", .default_interface = "Collection"};
constexpr ClassInfo kEnumeratorClass{.name = "Enumerator", .default_interface = "Enumerator"};

constexpr LibraryInfo kLibrary{
    .name = "OrnCalendar",
    .libid = Guid::Of("{0B24AD5C-18B7-44FD-BA5F-E2F587F3B1A0}"),
    .lcid = 0x409,
    .major_version = 1,
    .minor_version = 0,
    .classes = kClasses,
    .interfaces = kInterfaces,
    .enums = kEnums,
};

}  // namespace

const LibraryInfo& TypeLibrary() { return kLibrary; }

const ClassInfo& CollectionClass() { return kCollectionClass; }
const ClassInfo& EnumeratorClass() { return kEnumeratorClass; }

const ClassInfo* FindClass(std::string_view name) {
  for (const ClassInfo& c : kLibrary.classes) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

const InterfaceInfo* FindInterface(std::string_view name) {
  for (const InterfaceInfo& i : kLibrary.interfaces) {
    if (i.name == name) return &i;
  }
  return nullptr;
}

const EnumInfo* FindEnum(std::string_view name) {
  for (const EnumInfo& e : kLibrary.enums) {
    if (e.name == name) return &e;
  }
  return nullptr;
}

std::string ProgID(const ClassInfo& c) {
  std::string id(kLibrary.name);
  id += '.';
  id += c.name;
  return id;
}

std::string Guid::ToString() const {
  char text[39];
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(data1), data2, data3, data4[0], data4[1], data4[2], data4[3],
                data4[4], data4[5], data4[6], data4[7]);
  return text;
}

}  // namespace orncal::api

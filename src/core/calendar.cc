// Start-up and lifecycle of a Calendar.
#include "orncalendar/calendar.h"

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "orncalendar/notificator.h"
#include "orncalendar/platform.h"
#include "orncalendar/remind_times.h"
#include "platform/file_system.h"
#include "platform/system.h"

namespace orncal {
namespace {

// The FileLong a month file's name stands for: the part of the name before
// its first ".", trimmed, when it is a 32-bit decimal number.
bool ParseMonthStem(std::string_view name, std::string* stem, int32_t* value) {
  std::string_view part = name.substr(0, name.find('.'));
  size_t first = part.find_first_not_of(' ');
  if (first == std::string_view::npos) return false;
  part = part.substr(first, part.find_last_not_of(' ') - first + 1);
  size_t i = part[0] == '-' || part[0] == '+' ? 1 : 0;
  if (i == part.size()) return false;
  int64_t number = 0;
  for (; i < part.size(); ++i) {
    if (part[i] < '0' || part[i] > '9') return false;
    number = number * 10 + (part[i] - '0');
    if (number > 2147483648LL) return false;
  }
  if (part[0] == '-') number = -number;
  if (number > 2147483647LL) return false;
  *stem = std::string(part);
  *value = static_cast<int32_t>(number);
  return true;
}

}  // namespace

Calendar::Calendar(Key) : state_(std::make_unique<State>()) { ResetRemindScan(); }

Calendar::~Calendar() = default;

CalendarPtr Calendar::New() { return std::make_shared<Calendar>(Key{}); }

CollectionPtr<int32_t> Calendar::AllFiles() const { return state_->all_files; }

const std::string& Calendar::Path() const { return state_->path; }

bool Calendar::Initialized() const { return state_->initialized; }

const std::string& Calendar::TasksFilePath() const { return state_->tasks_file_path; }

int32_t Calendar::RemindScanHour() const { return state_->remind_scan_hour; }

Date Calendar::RemindScanFrom() const { return state_->remind_scan_from; }

void Calendar::AddClient() { ++state_->client_count; }

int32_t Calendar::ClientCount() const { return state_->client_count; }

void Calendar::ResetRemindScan() {
  state_->remind_scan_hour = -1;
  state_->remind_scan_from = CurrentClock().Now();
}

void Calendar::InitCalendar(std::string_view dataFolder) {
  State& s = *state_;
  if (s.initialized) return;
  s.path = platform::NormalizeDataPath(dataFolder);
  s.notifier = core::MakeNotifierServer();
  s.notifier->Bind(shared_from_this());
  int32_t instance = core::InstanceID();
  try {
    s.notifier->RegisterCalendar(instance, s.path);
  } catch (const Error&) {
    // Without the notifier the calendar starts alone; its messages try to
    // reach the notifier again and fail as long as it cannot be reached.
  }
  // Another process may have started in the same millisecond.
  core::SetInstanceID(instance);
  ScanMonthFiles();
  LoadSpecialRemindTimes();
  s.notificator = Notificator::New();
  s.notificator->SetCalendar(shared_from_this());
  // Any change signalled to the clients restarts the reminder scan.
  s.notificator->Subscribe(Notificator::Event::kChange, [weak = weak_from_this()] {
    if (CalendarPtr self = weak.lock()) self->ResetRemindScan();
  });
  s.tasks_file_path = s.path + platform::kPathSeparator + "tasks.xtf";
  s.initialized = true;
}

NotificatorPtr Calendar::Notificator() const { return state_->notificator; }

int Calendar::ProcessNotifications() {
  return state_->notifier ? state_->notifier->ProcessNotifications() : 0;
}

std::intptr_t Calendar::NotificationDescriptor() const {
  return state_->notifier ? state_->notifier->Descriptor() : -1;
}

CollectionPtr<SpecialRemindTimePtr> Calendar::SpecialRemindTimes() const {
  return state_->special_remind_times;
}

void Calendar::ScanMonthFiles() {
  auto all = std::make_shared<Collection<int32_t>>();
  state_->all_files = all;
  std::vector<std::string> names;
  if (!platform::Fs().List(state_->path, ".xmf", &names).ok()) return;
  for (const std::string& name : names) {
    if (name.empty() || name[0] == '.') continue;
    std::string stem;
    int32_t file_long;
    if (!ParseMonthStem(name, &stem, &file_long) || all->Exists(stem)) continue;
    all->Add(file_long, stem);
  }
}

void Calendar::Release() {
  Save();
  SaveSpecialRemindTimes();
  if (core::IsShared(this)) return;
  // Nothing raises the count of clients above zero, so the first Release of
  // a calendar other than the shared one drops its caches.
  if (--state_->client_count <= 0) {
    state_->files = std::make_shared<Collection<FilePtr>>();
    state_->reach.Clear();
    state_->special_remind_times = std::make_shared<Collection<SpecialRemindTimePtr>>();
    state_->categories = nullptr;
    state_->tasks = nullptr;
    state_->tasks_changed = false;
    state_->tasks_load_failed = false;
    state_->own_changes.clear();
    state_->own_task_changes = false;
    state_->own_filed.clear();
    state_->renumbered.clear();
  }
}

void Calendar::ShowAbout() const {
  ShowMessage(std::string(kMessageCaption) + " " + ORNCAL_VERSION + "\r\n" + Path());
}

}  // namespace orncal

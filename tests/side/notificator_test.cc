#include "orncalendar/notificator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/notifier.h"
#include "core/shared_calendar.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using Event = Notificator::Event;

TEST(Notificator, RaisesEachEventToItsSubscribersInOrder) {
  auto source = Notificator::New();
  std::vector<std::string> calls;
  source->Subscribe(Event::kChange, [&] { calls.push_back("change 1"); });
  source->Subscribe(Event::kTasksChange, [&] { calls.push_back("tasks"); });
  source->Subscribe(Event::kChange, [&] { calls.push_back("change 2"); });
  source->RaiseChange({.AllInstances = false});
  source->RaiseTasksChange();
  EXPECT_EQ(calls, (std::vector<std::string>{"change 1", "change 2", "tasks"}));
}

TEST(Notificator, SubscribersMayComeAndGoWhileAnEventIsRaised) {
  auto source = Notificator::New();
  std::vector<std::string> calls;
  Notificator::Cookie second = 0, self = 0;
  source->Subscribe(Event::kChange, [&] {
    calls.push_back("first");
    source->Unsubscribe(second);
    source->Subscribe(Event::kChange, [&] { calls.push_back("late"); });
  });
  second = source->Subscribe(Event::kChange, [&] { calls.push_back("second"); });
  self = source->Subscribe(Event::kChange, [&] {
    calls.push_back("once");
    source->Unsubscribe(self);
  });
  source->RaiseChange({.AllInstances = false});
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "once"}));
  calls.clear();
  source->RaiseChange({.AllInstances = false});
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "late"}));
}

TEST(Notificator, AScopedSubscriptionEndsWithItsScopeAndOutlivesItsSource) {
  auto source = Notificator::New();
  int calls = 0;
  {
    ScopedSubscription kept(source, Event::kChange, [&] { ++calls; });
    source->RaiseChange({.AllInstances = false});
  }
  source->RaiseChange({.AllInstances = false});
  EXPECT_EQ(calls, 1);
  ScopedSubscription orphan(source, Event::kChange, [&] { ++calls; });
  source.reset();  // the subscription's end must not touch the gone source
}

class NotificatorMessages : public testing::CalendarTest {
 protected:
  struct Recorder : core::SilentNotifierServer {
    std::vector<std::pair<int32_t, std::string>> anything_changed;
    void NotifyAnythingChanged(int32_t id, const std::string& path) override {
      anything_changed.emplace_back(id, path);
    }
  };
  NotificatorMessages() {
    core::SetNotifierFactory([this] { return recorder_; });
  }
  ~NotificatorMessages() override { core::SetNotifierFactory(nullptr); }
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
};

TEST_F(NotificatorMessages, OnlyAllInstancesTellsTheOtherProcesses) {
  CalendarPtr calendar = StartCalendar();
  auto source = Notificator::New();
  int local = 0;
  source->Subscribe(Event::kChange, [&] { ++local; });
  source->RaiseChange({.AllInstances = false});
  EXPECT_TRUE(recorder_->anything_changed.empty());
  source->RaiseChange();
  EXPECT_EQ(local, 2);
  ASSERT_EQ(recorder_->anything_changed.size(), 1u);
  EXPECT_EQ(recorder_->anything_changed[0].first, core::InstanceID());
  EXPECT_EQ(recorder_->anything_changed[0].second, calendar->Path());
}

TEST_F(NotificatorMessages, TheCalendarOfANotificatorIsTheSharedOneUnlessSetOtherwise) {
  CalendarPtr shared = StartCalendar();
  auto source = Notificator::New();
  EXPECT_EQ(source->GetCalendar(), shared);
  CalendarPtr other = Calendar::New();
  source->SetCalendar(other);
  EXPECT_EQ(source->GetCalendar(), other);
  source->SetCalendar(shared);
  EXPECT_EQ(source->GetCalendar(), shared);
}

}  // namespace
}  // namespace orncal

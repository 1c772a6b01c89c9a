#include "orncalendar/notificator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/shared_calendar.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

using Event = Notificator::Event;
using Calls = std::vector<std::string>;

TEST(Notificator, RaisesEachEventToItsSubscribersInOrderWhileTheyComeAndGo) {
  auto source = Notificator::New();
  Calls calls;
  Notificator::Cookie second = 0, self = 0;
  source->Subscribe(Event::kChange, [&] {
    calls.push_back("first");
    source->Unsubscribe(second);
    source->Subscribe(Event::kChange, [&] { calls.push_back("late"); });
  });
  source->Subscribe(Event::kTasksChange, [&] { calls.push_back("tasks"); });
  second = source->Subscribe(Event::kChange, [&] { calls.push_back("second"); });
  // It unsubscribes itself and goes on using what it holds.
  self = source->Subscribe(Event::kChange, [&, word = std::string("once")] {
    source->Unsubscribe(self);
    calls.push_back(word);
  });
  source->RaiseChange({.AllInstances = false});
  source->RaiseTasksChange();
  EXPECT_EQ(calls, (Calls{"first", "once", "tasks"}));
  calls.clear();
  source->RaiseChange({.AllInstances = false});
  EXPECT_EQ(calls, (Calls{"first", "late"}));
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

class NotificatorMessages : public testing::RecordingCalendarTest {};

TEST_F(NotificatorMessages, OnlyAllInstancesTellsTheOtherProcessesOfItsCalendar) {
  CalendarPtr calendar = StartCalendar();
  auto source = Notificator::New();
  EXPECT_EQ(source->GetCalendar(), calendar);  // the shared one unless set otherwise
  int local = 0;
  source->Subscribe(Event::kChange, [&] { ++local; });
  source->RaiseChange({.AllInstances = false});
  EXPECT_TRUE(notifier_->sent.empty());
  source->RaiseChange();
  EXPECT_EQ(local, 2);
  EXPECT_EQ(notifier_->sent, Calls{"AnythingChanged"});
  EXPECT_EQ(notifier_->last_instance, core::InstanceID());
  EXPECT_EQ(notifier_->last_path, calendar->Path());
}

}  // namespace
}  // namespace orncal

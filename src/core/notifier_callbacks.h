// The receiving side of the notifier: what a calendar does with the
// messages of other processes.
#pragma once

#include "core/notifier_protocol.h"
#include "orncalendar/fwd.h"

namespace orncal::core {

// Applies a message of another process to `calendar`, but only when it
// comes from another instance (a process's own changes are applied
// already) and names this calendar's data folder (compared exactly).
// Returns whether it applied. Errors of the actions that suppress them
// (BeforeLoadFile, DoChange) are swallowed; the others pass to the caller.
bool Receive(Calendar& calendar, const protocol::Message& message);

// Makes up for messages missed while the process had no link to the
// notifier: the cached months and the task list are read again at their
// next use, except those holding changes this process made itself and has
// not seen written (those keep them, and miss what they missed); the
// categories and the special remind times are read again; links into
// months read again are bound anew; the clients hear Change and
// TasksChange.
void CatchUp(Calendar& calendar);

}  // namespace orncal::core

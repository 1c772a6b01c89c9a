' Change and TasksChange reach the Sub handlers of the script.
Dim cal, n, changes, taskChanges, a, t
changes = 0
taskChanges = 0
Sub cal_Change()
  changes = changes + 1
End Sub
Sub cal_TasksChange()
  taskChanges = taskChanges + 1
End Sub

Set cal = CreateObject("OrnCalendar.CalendarMain").Calendar
Set n = cal.Notificator
WScript.ConnectObject n, "cal_"
n.RaiseChange False
CheckEqual changes, 1, "RaiseChange raises Change"
Set a = cal.Appointment(#5/14/2008 9:00#, #5/14/2008 10:00#)
a.Title = "Besprechung"
a.NotifyChange
Check changes >= 2, "a change of an appointment raises Change: " & changes
Set t = cal.Task
CheckEqual taskChanges, 1, "a new task raises TasksChange"
t.Remove
CheckEqual taskChanges, 2, "a removed task raises TasksChange"
WScript.DisconnectObject n
a = changes
n.RaiseChange False
CheckEqual changes, a, "no events after DisconnectObject"

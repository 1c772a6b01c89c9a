' The first of two script processes on one data folder: the changes the
' second makes reach this one's Sub handlers while it sleeps (the host
' handles its messages meanwhile), and its calendar holds them.
Dim cal, n, changes, taskChanges, fso, ready, waited, apps
changes = 0
taskChanges = 0
Sub other_Change()
  changes = changes + 1
End Sub
Sub other_TasksChange()
  taskChanges = taskChanges + 1
End Sub

Set cal = CreateObject("OrnCalendar.CalendarMain").Calendar
Set n = cal.Notificator
WScript.ConnectObject n, "other_"
CheckEqual cal.AllAppointmentsInPeriod(Period(#5/1/2008#, #5/31/2008 23:59:59#)).Count, 0, _
  "May is empty at first"
CheckEqual cal.IncompleteTasks.Count, 0, "no tasks at first"

' Tells the test that the second process may start.
Set fso = CreateObject("Scripting.FileSystemObject")
Set ready = fso.CreateTextFile(cal.Path & "\listener.ready", True)
ready.Close

waited = 0
Do While (changes = 0 Or taskChanges = 0) And waited < 30000
  WScript.Sleep 100
  waited = waited + 100
Loop
Check changes > 0, "Change came from the other process"
Check taskChanges > 0, "TasksChange came from the other process"
Set apps = cal.AllAppointmentsInPeriod(Period(#5/1/2008#, #5/31/2008 23:59:59#))
CheckEqual apps.Count, 1, "the other process's appointment is here"
If apps.Count = 1 Then CheckEqual apps(1).Title, "Von nebenan", "with its title"
CheckEqual cal.IncompleteTasks.Count, 1, "and its task"

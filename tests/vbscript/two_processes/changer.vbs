' The second of two script processes on one data folder: it files an
' appointment and a task, which the first hears of.
Dim cal, a, t
Set cal = CreateObject("OrnCalendar.CalendarMain").Calendar
Set a = cal.Appointment(#5/14/2008 9:00#, #5/14/2008 10:00#)
a.Title = "Von nebenan"
a.NotifyChange
cal.Save
Set t = cal.Task
t.Title = "Anrufen"
Check True, "changed"

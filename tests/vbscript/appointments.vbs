' Appointments created, changed, moved, removed and saved; the period query
' with optional arguments left out and given; walking and indexing.
Dim cal, may, a, b, hidden, apps, entry, titles, fso
Set cal = CreateObject("OrnCalendar.CalendarMain").Calendar
Set may = Period(#5/1/2008#, #5/31/2008 23:59:59#)

Set a = cal.Appointment(#5/14/2008 11:00#, #5/14/2008 12:00#)
a.Title = "Zahnarzt"
a.NotifyChange
Set b = cal.Appointment(#5/14/2008 9:00#, #5/14/2008 10:00#)
b.Title = "Frühstück"
b.Category = "Work"
b.NotifyChange
Set hidden = cal.Appointment(#5/20/2008 9:00#, #5/20/2008 10:00#)
hidden.Title = "hidden"
hidden.Flags = 1
hidden.NotifyChange
CheckEqual a.File, 200805, "filed in its month"

' Only the period: the invisible one stays out (NotFlags 1).
Set apps = cal.AllAppointmentsInPeriod(may)
CheckEqual apps.Count, 2, "the defaults leave out the invisible"
' Positions left out take their defaults; NotFlags given as 0.
CheckEqual cal.AllAppointmentsInPeriod(may, , , , , , 0).Count, 3, "NotFlags 0 by position"
CheckEqual cal.AllAppointmentsInPeriod(may, True, False, False, False, 0, 0).Count, 3, "all given"
CheckEqual cal.AllAppointmentsInPeriod(may, , , True).Count, 0, "only all-day ones"

apps.Sort
CheckEqual apps(1).Title, "Frühstück", "apps(1) through the default member"
Check apps(2) Is apps.Item(2), "the default member and Item give one object"
Check apps(2) Is a, "the query hands out the appointment itself"
titles = ""
For Each entry In apps
  titles = titles & entry.Title & ";"
Next
CheckEqual titles, "Frühstück;Zahnarzt;", "For Each walks in order"

' Changed and moved into June: it leaves May.
a.Title = "Zahnarzt (neu)"
a.BeforeDateTimeChange
a.DateTime.StartDateTime = #6/2/2008 8:00#
a.DateTime.EndDateTime = #6/2/2008 9:00#
a.AfterDateTimeChange
CheckEqual cal.AllAppointmentsInPeriod(may).Count, 1, "moved out of May"
CheckEqual cal.AllAppointmentsInPeriod(Period(#6/1/2008#, #6/30/2008#))(1).Title, "Zahnarzt (neu)", "moved into June"
CheckEqual a.File, 200806, "filed in June"

b.Remove
Check Not b.Exists, "removed"
CheckEqual cal.AllAppointmentsInPeriod(may, , , , , , 0).Count, 1, "only the hidden one is left in May"

cal.Save
Set fso = CreateObject("Scripting.FileSystemObject")
Check fso.FileExists(cal.Path & "\200805.xmf"), "May written"
Check fso.FileExists(cal.Path & "\200806.xmf"), "June written"
Check Not cal.FindAppointment("Zahnarzt (neu)", 1, #1/1/2008#) Is Nothing, "found by name"

' Out arguments come back into the script's variables; an object property
' is set with Set.
Dim names, types, data
a.AddTag "Ort", "text", "Praxis"
CheckEqual a.GetTags(names, types, data), 1, "one tag"
CheckEqual names(1) & "/" & types(1) & "/" & data(1), "Ort/text/Praxis", "the tag through out arguments"
Set a.DateTime = Period(#6/3/2008 9:00#, #6/3/2008 10:00#)
CheckEqual a.DateTime.StartDateTime, #6/3/2008 9:00#, "a new period set"

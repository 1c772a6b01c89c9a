' Errors arrive in Err.Number with the library's numbers.
Dim cal, apps, p, s
Set cal = CreateObject("OrnCalendar.CalendarMain").Calendar
Set apps = cal.AllAppointmentsInPeriod(Period(#5/1/2008#, #5/31/2008#))
On Error Resume Next
' (Wine's engine loses the error of a default member whose result is used
' as an object, as in Set p = apps(1): the value is read here.)
p = apps(1)
CheckError 9, "an index past the end, through the default member"
Set p = apps.Item(1)
CheckError 9, "an index past the end"
cal.Nowhere
CheckError 438, "a member the object does not have"
Set p = cal.AllAppointmentsInPeriod()
CheckError 449, "a required argument left out"
Set p = cal.AllAppointmentsInPeriod(Period(#5/1/2008#, #5/31/2008#), "perhaps")
CheckError 13, "a text where a Boolean belongs"
Set p = cal.AllAppointmentsInPeriod(Nothing)
CheckError 91, "no period"
Set s = CreateObject("OrnCalendar.DateTimeSerial")
s.RepetitionMode = 99
s.StartDateTime = #5/1/2008 9:00#
s.EndDateTime = #5/1/2008 10:00#
s.SeriesStartDateTime = #5/1/2008#
s.SeriesEndDateTime = #5/31/2008#
Set apps = CreateObject("OrnCalendar.Appointments")
Check Err.Number = 0, "no error yet: " & Err.Number
Err.Clear
On Error Goto 0
Check Err.Number = 0, "cleared"

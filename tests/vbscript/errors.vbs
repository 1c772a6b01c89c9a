' Errors arrive in Err.Number with the library's numbers.
Dim cal, apps, p
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

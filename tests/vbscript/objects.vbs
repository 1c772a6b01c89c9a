' Creating the classes, identity, and what a client may not create.
Dim main, cal, name
Set main = CreateObject("OrnCalendar.CalendarMain")
Set cal = main.Calendar
Check cal Is main.Calend, "Calendar and Calend are one object"
Check cal Is CreateObject("OrnCalendar.CalendarMain").Calendar, "every CalendarMain hands out one Calendar"
Check TypeName(cal) = "_Calendar", "the calendar's interface: " & TypeName(cal)
Check Len(cal.Path) > 0, "the data folder"

For Each name In Array("AppointmentReal", "AppointmentLink", "Appointments", "DateTime", _
                       "DateTimeNormal", "DateTimeSerial", "Task", "SpecialRemindTime", "Notificator")
  Check Not CreateObject("OrnCalendar." & name) Is Nothing, name & " is creatable"
Next

On Error Resume Next
For Each name In Array("Calendar", "File", "Appointment", "Categories", "Nowhere")
  Set main = CreateObject("OrnCalendar." & name)
  CheckError 429, name & " is not creatable"
Next

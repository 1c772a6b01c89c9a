' Categories: the colour is the default member.
Dim cats, names
Set cats = CreateObject("OrnCalendar.CalendarMain").Calendar.Categories
cats.Add "Work", 255
cats.Add "Home"
CheckEqual cats("Work"), 255, "cats(""Work"") reads the colour"
CheckEqual cats("HOME"), -1, "Add without a colour gives -1; names are blind to case"
cats("Home") = 65280
CheckEqual cats.Color("home"), 65280, "written through the default member"
CheckEqual cats.Count, 2, "two categories"
names = cats.Names
CheckEqual UBound(names) - LBound(names) + 1, 2, "two names"
On Error Resume Next
cats.Add "work"
CheckError 457, "a category given twice"

' The checks of the VBScript tests; the host counts them and prints
' "N passed, N failed" at the end.
Option Explicit

Sub Check(condition, what)
  If condition Then
    WScript.Pass
  Else
    WScript.Fail what
  End If
End Sub

Sub CheckEqual(actual, expected, what)
  If actual = expected Then
    WScript.Pass
  Else
    WScript.Fail what & ": got " & actual & ", expected " & expected
  End If
End Sub

' The error of the statement before (run under On Error Resume Next); the
' error is cleared.
Sub CheckError(number, what)
  CheckEqual Err.Number, number, what
  Err.Clear
End Sub

Function Period(first, last)
  Set Period = CreateObject("OrnCalendar.DateTimeNormal")
  Period.StartDateTime = first
  Period.EndDateTime = last
End Function

Function CreateObject(progid)
  Set CreateObject = WScript.CreateObject(progid)
End Function
